#include "solver/lattice/bravais.h"

#include "solver/lattice/library_steps.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

namespace torvik::solver {

namespace {

struct known {
    centred_cell cell;
    std::string symbol;
};

// A cell of each Bravais lattice, in its conventional axes and without relations that would raise its
// symmetry; several where the reduced form depends on the ratio of the axes.
std::vector<known> allfourteen()
{
    std::vector<known> all = {{{{5, 6.1, 7.3, 77, 81, 69}, 'P'}, "aP"},
                              {{{5, 6.1, 7.3, 97, 101, 93}, 'P'}, "aP"},
                              {{{5, 6, 7, 90, 90, 90}, 'P'}, "oP"}};
    for (const char centring : {'P', 'I', 'F'})
        all.push_back({{{5, 5, 5, 90, 90, 90}, centring}, std::string("c") + centring});
    for (const double c : {2.1, 3.3, 4.4, 5.6, 7.7, 9.1, 21.0}) {
        for (const char centring : {'P', 'I'})
            all.push_back({{{5, 5, c, 90, 90, 90}, centring}, std::string("t") + centring});
        all.push_back({{{5, 5, c, 90, 90, 120}, 'P'}, "hP"});
        all.push_back({{{5, 5, c, 90, 90, 120}, 'R'}, "hR"});
        all.push_back({{{5, 6.6, c + 4.7, 90, 90, 90}, 'I'}, "oI"});
        all.push_back({{{5, 6.6, c + 4.7, 90, 90, 90}, 'F'}, "oF"});
        all.push_back({{{5, 6.6, c, 90, 90, 90}, 'C'}, "oC"});
        all.push_back({{{5, c + 0.31, 5.7, 90, 97.3, 90}, 'P'}, "mP"});
        all.push_back({{{8.3, c + 0.31, 5.7, 90, 93.3, 90}, 'C'}, "mC"});
        all.push_back({{{4.1, c + 0.31, 5.7, 90, 95.2, 90}, 'C'}, "mC"});
    }
    return all;
}

void expectcell(const cell_parameters& found, const cell_parameters& expected, double part,
                const std::string& what)
{
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(found[i], expected[i], expected[i] * part) << what << ", element " << i;
}

TEST(BravaisLattices, OfAllFourteenKindsAreRecognisedWithTheirCells)
{
    chance random(14);
    for (const known& one : allfourteen()) {
        const matrix3 given = random_unimodular(random, 5)
                                  .multiply(primitive_basis(one.cell))
                                  .multiply(random_rotation(random));
        const bravais_lattice best = bravais_lattices(given).front();
        EXPECT_EQ(best.symbol, one.symbol) << one.cell.cell[2];
        EXPECT_TRUE(best.accepted);
        EXPECT_LT(best.obliquity, 1e-4);
        EXPECT_LT(best.strain, 1e-7);
        const setting& standard = best.settings.front();
        EXPECT_EQ(standard.centring, one.symbol[1]);
        EXPECT_GT(standard.T.multiply(given).determinant(), 0.0);
        if (one.symbol != "aP") {
            expectcell(standard.cell, one.cell.cell, 1e-6, one.symbol);
            expectcell(standard.ideal, one.cell.cell, 1e-6, one.symbol);
        }
        expectcell(cell_of(standard.T.multiply(given)), standard.cell, 1e-9, one.symbol);
    }
}

// The volume of the conventional cell is that of the primitive one, times its lattice points.
TEST(BravaisLattices, HaveWholeMatricesWithTheDeterminantOfTheCentring)
{
    const std::map<char, int> points = {{'P', 1}, {'C', 2}, {'I', 2}, {'F', 4}, {'R', 3}};
    for (const known& one : allfourteen())
        for (const bravais_lattice& found : bravais_lattices(primitive_basis(one.cell)))
            for (const setting& each : found.settings) {
                EXPECT_NEAR(each.T.determinant(), points.at(each.centring), 1e-9) << found.symbol;
                for (int i = 0; i < 3; ++i) EXPECT_EQ(off_whole(row_of(each.T, i)), 0.0);
                // The centring is true: the primitive vectors it promises are in the lattice.
                const matrix3 back = primitive_transformation(each.centring).multiply(each.T);
                for (int i = 0; i < 3; ++i) EXPECT_LT(off_whole(row_of(back, i)), 1e-9);
            }
}

// The holohedry has 1, 2, 4, 8, 6, 12 or 24 rotations; gemmi counts those of the reduced cell.
TEST(BravaisLattices, HaveAsManyRotationsAsTheReducedCell)
{
    for (const known& one : allfourteen()) {
        const cell_parameters cell = cell_of(niggli(primitive_basis(one.cell)).basis);
        EXPECT_EQ(
            static_cast<std::size_t>(bravais_lattices(primitive_basis(one.cell)).front().order),
            rotation_count(cell, 0.3))
            << one.symbol;
    }
}

// The subgroups of 432 that two-fold axes generate: the identity; 222 on the axes, and with two
// diagonals, three alike; 2 along an axis, three alike, and along a diagonal, six alike; 422, three
// alike; 32, four alike; and itself.
TEST(BravaisLattices, OfACubicLatticeAreListedOnceForEveryClass)
{
    std::vector<std::pair<std::string, int>> found;
    for (const bravais_lattice& one : bravais_lattices(basis_of({5, 5, 5, 90, 90, 90})))
        found.emplace_back(one.symbol, one.ways);
    std::sort(found.begin(), found.end());
    const std::vector<std::pair<std::string, int>> expected = {
        {"aP", 1}, {"cP", 1}, {"hR", 4}, {"mC", 6}, {"mP", 3}, {"oC", 3}, {"oP", 1}, {"tP", 3}};
    EXPECT_EQ(found, expected);
}

// A cell of 5 6 7 with gamma 90.2: the axes are off their planes by 0.2 degrees.
TEST(Obliquity, IsTheAngleBetweenAxisAndNormal)
{
    const auto found = bravais_lattices(basis_of({5, 6, 7, 90, 90, 90.2}));
    EXPECT_EQ(found.front().symbol, "oP");
    EXPECT_NEAR(found.front().obliquity, 0.2, 1e-6);
    EXPECT_NEAR(found.front().strain, gemmi::rad(0.2), 1e-6);
    expectcell(found.front().settings.front().ideal, {5, 6, 7, 90, 90, 90}, 1e-5, "oP");
    const auto strict = bravais_lattices(basis_of({5, 6, 7, 90, 90, 90.2}), 0.1);
    EXPECT_EQ(strict.front().symbol, "mP");
    EXPECT_NEAR(strict.front().obliquity, 0.0, 1e-6);
    const auto doubtful =
        std::find_if(strict.begin(), strict.end(), [](const auto& one) { return !one.accepted; });
    ASSERT_NE(doubtful, strict.end());
    EXPECT_EQ(doubtful->symbol, "oP");
    EXPECT_EQ(strict.front().settings.front().cell[4] > 90.1, true); // beta is the odd angle
}

// Errors of measurement of some 0.2 % leave obliquities below half a degree or so.
TEST(BravaisLattices, SurviveErrorsOfMeasurement)
{
    chance random(3);
    for (const known& one : allfourteen())
        for (int n = 0; n < 5; ++n) {
            matrix3 D = primitive_basis(one.cell);
            for (auto& row : D.a)
                for (double& x : row) x += random.between(-0.01, 0.01);
            const auto found = bravais_lattices(random_unimodular(random, 5).multiply(D), 1.0, 1.0);
            EXPECT_TRUE(std::any_of(
                found.begin(), found.end(),
                [&](const bravais_lattice& each) {
                    if (each.symbol != one.symbol) return false;
                    if (one.symbol == "aP") return true;
                    for (std::size_t i = 0; i < 6; ++i) // 2.1 angstroms suffer the most
                        if (std::fabs(each.settings.front().cell[i] / one.cell.cell[i] - 1.0)
                            > 0.03)
                            return false;
                    return true;
                }))
                << one.symbol << " " << one.cell.cell[2];
        }
}

// The answer does not depend on the basis in which the lattice is given.
TEST(BravaisLattices, AreTheSameForAnyBasis)
{
    chance random(4);
    for (const known& one : allfourteen()) {
        matrix3 D = primitive_basis(one.cell);
        for (auto& row : D.a)
            for (double& x : row) x += random.between(-0.003, 0.003);
        const auto first = bravais_lattices(D);
        const auto again = bravais_lattices(random_unimodular(random, 5).multiply(D));
        ASSERT_EQ(first.size(), again.size());
        for (std::size_t i = 0; i < first.size(); ++i) {
            EXPECT_EQ(first[i].symbol, again[i].symbol);
            EXPECT_NEAR(first[i].obliquity, again[i].obliquity, 1e-5);
            expectcell(first[i].settings.front().cell, again[i].settings.front().cell, 1e-8,
                       first[i].symbol);
        }
    }
}

// An I cell of a = 5, c = 6 and beta = 92 has C axes with a = -a - c and beta far from 90.
TEST(MonoclinicCells, ComeWithTheBodyCentredSettingWhereItsAngleIsNearerToNinety)
{
    const matrix3 D = primitive_basis({{5, 7.3, 6, 90, 92, 90}, 'I'});
    const bravais_lattice found = bravais_lattices(D).front();
    EXPECT_EQ(found.symbol, "mC");
    ASSERT_EQ(found.settings.size(), 2U);
    EXPECT_EQ(found.settings[1].centring, 'I');
    expectcell(found.settings[1].cell, {5, 7.3, 6, 90, 92, 90}, 1e-9, "mI");
    EXPECT_GT(found.settings[0].cell[4], 120.0);
}

} // namespace

} // namespace torvik::solver
