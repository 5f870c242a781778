#include "solver/lattice/cell.h"

#include "solver/lattice/invalid_input.h"
#include "solver/lattice/library_steps.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::solver {

namespace {

void expect_cells_near(const cell_parameters& found, const cell_parameters& expected, double part)
{
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(found[i], expected[i], expected[i] * part) << "element " << i;
}

// The largest relative difference of two cells.
double apart(const cell_parameters& one, const cell_parameters& other)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < 6; ++i)
        largest = std::fmax(largest, std::fabs(one[i] - other[i]) / other[i]);
    return largest;
}

// T is an integer matrix, its determinant the sign of the hand, and T * basis the reduced basis, which is
// right-handed.
void expect_sound(const reduction& found, const matrix3& basis)
{
    for (int i = 0; i < 3; ++i) EXPECT_EQ(off_whole(row_of(found.T, i)), 0.0);
    EXPECT_EQ(found.T.determinant(), basis.determinant() > 0.0 ? 1.0 : -1.0);
    EXPECT_GT(found.basis.determinant(), 0.0);
    EXPECT_TRUE(found.T.multiply(basis).approx(found.basis, 1e-9));
}

std::string message_of(const cell_parameters& cell)
{
    try {
        check_cell(cell);
    } catch (const invalid_input& why) {
        return why.what();
    }
    return "nothing";
}

TEST(Cells, AndTheirBasesAreMadeFromEachOther)
{
    for (const centred_cell& one : bravais_cells()) {
        const matrix3 basis = basis_of(one.cell);
        expect_cells_near(cell_of(basis), one.cell, 1e-12);
        EXPECT_NEAR(basis.determinant(), volume_of(one.cell), 1e-9);
        EXPECT_EQ(basis[0][1], 0.0);
        EXPECT_EQ(basis[1][2], 0.0);
    }
}

TEST(Cells, WithRightAnglesHaveBasesWithoutRounding)
{
    EXPECT_EQ(basis_of({3, 4, 5, 90, 90, 90})[2][0], 0.0);
    EXPECT_EQ(basis_of({3, 4, 5, 90, 90, 90})[2][2], 5.0);
    EXPECT_EQ(basis_of({4, 4, 5, 90, 90, 120})[1][0], -2.0);
    EXPECT_EQ(cell_of(basis_of({3, 4, 5, 90, 90, 90})), (cell_parameters{3, 4, 5, 90, 90, 90}));
}

TEST(Cells, ThatAreNoneAreRefusedWithASentence)
{
    EXPECT_EQ(message_of({1, 2, 3, 90, 90, 90}), "nothing");
    EXPECT_EQ(message_of({1, -2, 3, 90, 90, 90}),
              "The cell has b = -2.0000: a length must be above 0.");
    EXPECT_EQ(message_of({1, 2, 0, 90, 90, 90}),
              "The cell has c = 0.0000: a length must be above 0.");
    EXPECT_EQ(message_of({1, 2, 3, 90, 180, 90}),
              "The cell has beta = 180.0000: an angle must be above 0 "
              "and below 180 degrees.");
    EXPECT_EQ(message_of({1, 2, 3, 120, 120, 120}),
              "The angles 120.000, 120.000 and 120.000 belong to no cell: its three axes lie in a "
              "plane, or cannot meet.");
    EXPECT_EQ(message_of({1, 2, 3, 30, 30, 90}).substr(0, 33), "The angles 30.000, 30.000 and 90.");
    EXPECT_EQ(message_of({std::nan(""), 2, 3, 90, 90, 90}).substr(0, 14), "The cell has a");
}

// Volumes of the primitive cells: 1, 1/2, 1/2, 1/2, 1/2, 1/4 and 1/3 of the conventional one.
TEST(PrimitiveBases, HaveTheirPartOfTheVolumeAndTheSameHand)
{
    const std::vector<std::pair<char, double>> parts = {
        {'P', 1.0}, {'A', 0.5}, {'B', 0.5}, {'C', 0.5}, {'I', 0.5}, {'F', 0.25}, {'R', 1.0 / 3.0}};
    for (const auto& [centring, part] : parts)
        EXPECT_NEAR(primitive_transformation(centring).determinant(), part, 1e-15) << centring;
    EXPECT_THROW(primitive_transformation('X'), invalid_input);
}

// The obverse setting: reflections with -h + k + l = 3n have integer indices in the primitive basis.
TEST(PrimitiveBases, OfRhombohedralLatticesAreObverse)
{
    const matrix3 T = primitive_transformation('R');
    EXPECT_LT(off_whole(T.multiply(vector3(1, 0, 1))), 1e-12);
    EXPECT_LT(off_whole(T.multiply(vector3(0, 1, 2))), 1e-12);
    EXPECT_GT(off_whole(T.multiply(vector3(1, 0, 2))), 0.3);
}

// Known Niggli cells: International Tables A, section 9.2: the rhombohedral primitive cell of an
// F lattice has 60 degrees and edges of a / sqrt 2, that of an I lattice 109.47 degrees and edges of
// a sqrt 3 / 2.
TEST(NiggliCells, OfCubicLatticesAreThoseOfTheTables)
{
    const double f = 5.0 / std::sqrt(2.0);
    const double i = 5.0 * std::sqrt(3.0) / 2.0;
    const double tetrahedral = gemmi::deg(std::acos(-1.0 / 3.0));
    expect_cells_near(cell_of(niggli(primitive_basis({{5, 5, 5, 90, 90, 90}, 'F'})).basis),
                      {f, f, f, 60, 60, 60}, 1e-12);
    expect_cells_near(cell_of(niggli(primitive_basis({{5, 5, 5, 90, 90, 90}, 'I'})).basis),
                      {i, i, i, tetrahedral, tetrahedral, tetrahedral}, 1e-12);
    expect_cells_near(cell_of(niggli(basis_of({6, 5, 4, 90, 90, 90})).basis), {4, 5, 6, 90, 90, 90},
                      1e-12);
    expect_cells_near(cell_of(niggli(basis_of({5, 5, 4, 90, 90, 120})).basis),
                      {4, 5, 5, 120, 90, 90}, 1e-12);
}

// The example of Krivy & Gruber (1976): G6 = 9 27 4 -5 -4 -22 becomes 4 9 9 9 3 4.
TEST(NiggliCells, OfThePublishedExampleAreReached)
{
    const double a = 3.0;
    const double b = std::sqrt(27.0);
    const double c = 2.0;
    const auto angle = [](double twice, double u, double v) {
        return gemmi::deg(std::acos(twice / (2.0 * u * v)));
    };
    const matrix3 basis =
        basis_of({a, b, c, angle(-5.0, b, c), angle(-4.0, a, c), angle(-22.0, a, b)});
    expect_cells_near(cell_of(niggli(basis).basis),
                      {2, 3, 3, angle(9.0, 3, 3), angle(3.0, 2, 3), angle(4.0, 2, 3)}, 1e-9);
}

template <typename function>
void expect_unique(const function& reduce, const matrix3& basis, chance& random, const char* what)
{
    const reduction first = reduce(basis);
    expect_sound(first, basis);
    for (int k = 0; k < 6; ++k) {
        const matrix3 changed =
            random_unimodular(random, 8).multiply(basis).multiply(random_rotation(random));
        const reduction again = reduce(changed);
        expect_sound(again, changed);
        EXPECT_LT(apart(cell_of(again.basis), cell_of(first.basis)), 1e-8)
            << what << " " << cell_of(basis)[0];
    }
}

const auto niggli_form = [](const matrix3& basis) { return niggli(basis); };
const auto delaunay_form = [](const matrix3& basis) { return delaunay(basis); };

TEST(ReducedCells, OfRandomLatticesAreTheSameForAnyBasis)
{
    chance random(1976);
    for (int n = 0; n < 300; ++n) {
        const matrix3 basis = random_basis(random);
        expect_unique(niggli_form, basis, random, "Niggli");
        expect_unique(delaunay_form, basis, random, "Delaunay");
    }
}

TEST(ReducedCells, OfSymmetricLatticesAreTheSameForAnyBasis)
{
    chance random(1933);
    for (const centred_cell& one : bravais_cells()) {
        expect_unique(niggli_form, primitive_basis(one), random, "Niggli");
        expect_unique(delaunay_form, primitive_basis(one), random, "Delaunay");
    }
}

// Distortions from far below to far above the tolerance, which is 1e-5.
TEST(ReducedCells, OfNearlySymmetricLatticesAreTheSameForAnyBasis)
{
    chance random(2004);
    for (const centred_cell& one : bravais_cells())
        for (const double size : {1e-12, 1e-9, 1e-7, 1e-6, 3e-6, 1e-5, 3e-5, 1e-4, 1e-2}) {
            matrix3 basis = primitive_basis(one);
            for (auto& row : basis.a)
                for (double& x : row) x += 5.0 * size * random.between(-1.0, 1.0);
            expect_unique(niggli_form, basis, random, "Niggli");
            expect_unique(delaunay_form, basis, random, "Delaunay");
        }
}

// gemmi has the published steps, and reaches the same cell where no condition is near an equality.
TEST(NiggliCells, OfRandomLatticesAreThoseOfThePublishedSteps)
{
    chance random(12);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 basis = random_basis(random);
        EXPECT_LT(apart(cell_of(niggli(basis).basis), niggli_by_steps(basis, 1e-9)), 1e-8);
    }
}

TEST(NiggliCells, OfSymmetricLatticesAreThoseOfThePublishedSteps)
{
    for (const centred_cell& one : bravais_cells()) {
        const matrix3 basis = primitive_basis(one);
        EXPECT_LT(apart(cell_of(niggli(basis).basis), niggli_by_steps(basis, 1e-6)), 1e-8);
    }
}

// The four vectors of the Selling-Delaunay form by gemmi's steps have the same lengths.
TEST(DelaunayCells, OfRandomLatticesAreThoseOfThePublishedSteps)
{
    chance random(13);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 basis = random_basis(random);
        const cell_parameters found = cell_of(delaunay(basis).basis);
        const cell_parameters expected = delaunay_by_steps(basis, 1e-9);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[i], expected[i], 1e-7);
    }
}

TEST(DelaunayCells, HaveNoAcuteAnglesAmongTheirFourVectors)
{
    chance random(14);
    for (int n = 0; n < 500; ++n) {
        const matrix3 D = delaunay(random_basis(random)).basis;
        const std::array<vector3, 4> v = {row_of(D, 0), row_of(D, 1), row_of(D, 2),
                                          -(row_of(D, 0) + row_of(D, 1) + row_of(D, 2))};
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t j = 0; j < i; ++j) EXPECT_LT(v[i].dot(v[j]), 1e-2);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_LT(v[i].length(), v[i + 1].length() + 1e-2);
    }
}

TEST(Reduction, KeepsABasisThatIsReducedAsItIs)
{
    for (const centred_cell& one : bravais_cells()) {
        const matrix3 first = niggli(primitive_basis(one)).basis;
        EXPECT_TRUE(niggli(first).T.is_identity()) << one.centring;
    }
}

TEST(Reduction, RefusesRowsInAPlane)
{
    EXPECT_THROW(niggli(matrix3(1, 2, 3, 4, 5, 6, 7, 8, 9)), invalid_input);
    EXPECT_THROW(niggli(matrix3(0, 0, 0, 4, 5, 6, 7, 8, 9)), invalid_input);
    EXPECT_THROW(delaunay(matrix3(1, 0, 0, 0, 1, 0, 0, 0, std::nan(""))), invalid_input);
}

// Twenty-five steps give factors of some millions.
TEST(Reduction, FindsTheWayBackFromVerySkewBases)
{
    chance random(15);
    for (int n = 0; n < 100; ++n) {
        const matrix3 basis = random_basis(random);
        const matrix3 skew = random_change(random, 25).multiply(basis);
        EXPECT_LT(apart(cell_of(niggli(skew).basis), cell_of(niggli(basis).basis)), 1e-4);
    }
}

} // namespace

} // namespace torvik::solver
