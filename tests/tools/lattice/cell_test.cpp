#include "lattice/cell.h"

#include "base/failure.h"
#include "lattice/librarysteps.h"
#include "randombases.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

void expectcellsnear(const cell6& found, const cell6& expected, double part)
{
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(found[i], expected[i], expected[i] * part) << "element " << i;
}

// The largest relative difference of two cells.
double apart(const cell6& one, const cell6& other)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < 6; ++i)
        largest = std::fmax(largest, std::fabs(one[i] - other[i]) / other[i]);
    return largest;
}

// T is whole, its determinant that of the hand, T * basis the reduced one, which is right-handed.
void expectsound(const reduced& found, const matrix3& basis)
{
    for (int i = 0; i < 3; ++i) EXPECT_EQ(offwhole(rowof(found.T, i)), 0.0);
    EXPECT_EQ(found.T.determinant(), basis.determinant() > 0.0 ? 1.0 : -1.0);
    EXPECT_GT(found.basis.determinant(), 0.0);
    EXPECT_TRUE(found.T.multiply(basis).approx(found.basis, 1e-9));
}

std::string messageof(const std::string& text)
{
    try {
        cellfrom(text);
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

// ------------------------------------------------------------------------------ cells

TEST(Cells, AndTheirBasesAreMadeFromEachOther)
{
    for (const centredcell& one : bravaiscells()) {
        const matrix3 basis = basisof(one.cell);
        expectcellsnear(cellof(basis), one.cell, 1e-12);
        EXPECT_NEAR(basis.determinant(), volumeof(one.cell), 1e-9);
        EXPECT_EQ(basis[0][1], 0.0);
        EXPECT_EQ(basis[1][2], 0.0);
    }
}

TEST(Cells, WithRightAnglesHaveBasesWithoutRounding)
{
    EXPECT_EQ(basisof({3, 4, 5, 90, 90, 90})[2][0], 0.0);
    EXPECT_EQ(basisof({3, 4, 5, 90, 90, 90})[2][2], 5.0);
    EXPECT_EQ(basisof({4, 4, 5, 90, 90, 120})[1][0], -2.0);
    EXPECT_EQ(cellof(basisof({3, 4, 5, 90, 90, 90})), (cell6{3, 4, 5, 90, 90, 90}));
}

TEST(Cells, AreReadWithBlanksOrCommasAndALetter)
{
    EXPECT_EQ(cellfrom("7.71 8.66 10.81 90 102.96 90").cell,
              (cell6{7.71, 8.66, 10.81, 90, 102.96, 90}));
    EXPECT_EQ(cellfrom("7.71 8.66 10.81 90 102.96 90").centring, 'P');
    EXPECT_EQ(cellfrom(" 5,5, 5, 90 90,90 F").centring, 'F');
}

TEST(Cells, ThatAreNoneAreRefusedWithASentence)
{
    EXPECT_EQ(messageof("1 2 3"),
              "A cell is six numbers a, b, c, alpha, beta, gamma, and perhaps a letter of the "
              "centring; '1 2 3' has 3 items.");
    EXPECT_EQ(messageof("1 2 x 90 90 90"),
              "The cell '1 2 x 90 90 90' has 'x' where a number is expected for c.");
    EXPECT_EQ(messageof("1 2 3 90 90 90 X"), "The centring 'X' is none of P, A, B, C, I, F and R.");
    EXPECT_EQ(messageof("1 -2 3 90 90 90"), "The cell has b = -2.0000: a length must be above 0.");
    EXPECT_EQ(messageof("1 2 3 90 180 90"),
              "The cell has beta = 180.0000: an angle must be above 0 "
              "and below 180 degrees.");
    EXPECT_EQ(messageof("1 2 3 120 120 120"),
              "The angles 120.000, 120.000 and 120.000 belong to no cell: its three axes lie in a "
              "plane, or cannot meet.");
    EXPECT_EQ(messageof("1 2 3 30 30 90").substr(0, 33), "The angles 30.000, 30.000 and 90.");
    EXPECT_EQ(messageof("nan 2 3 90 90 90").substr(0, 14), "The cell has a");
}

// Volumes of the primitive cells: 1, 1/2, 1/2, 1/2, 1/2, 1/4 and 1/3 of the conventional one.
TEST(PrimitiveBases, HaveTheirPartOfTheVolumeAndTheSameHand)
{
    const std::vector<std::pair<char, double>> parts = {
        {'P', 1.0}, {'A', 0.5}, {'B', 0.5}, {'C', 0.5}, {'I', 0.5}, {'F', 0.25}, {'R', 1.0 / 3.0}};
    for (const auto& [centring, part] : parts)
        EXPECT_NEAR(primitivetransformation(centring).determinant(), part, 1e-15) << centring;
    EXPECT_THROW(primitivetransformation('X'), failure);
}

// The obverse setting: reflections with -h + k + l a multiple of 3 are whole in the primitive basis.
TEST(PrimitiveBases, OfRhombohedralLatticesAreObverse)
{
    const matrix3 T = primitivetransformation('R');
    EXPECT_LT(offwhole(T.multiply(vector3(1, 0, 1))), 1e-12);
    EXPECT_LT(offwhole(T.multiply(vector3(0, 1, 2))), 1e-12);
    EXPECT_GT(offwhole(T.multiply(vector3(1, 0, 2))), 0.3);
}

// ------------------------------------------------------------------------------ reduction

// Known Niggli cells: International Tables A, section 9.2: the rhombohedral primitive cell of an
// F lattice has 60 degrees and edges of a / sqrt 2, that of an I lattice 109.47 degrees and edges of
// a sqrt 3 / 2.
TEST(NiggliCells, OfCubicLatticesAreThoseOfTheTables)
{
    const double f = 5.0 / std::sqrt(2.0);
    const double i = 5.0 * std::sqrt(3.0) / 2.0;
    const double tetrahedral = gemmi::deg(std::acos(-1.0 / 3.0));
    expectcellsnear(cellof(niggli(primitivebasis({{5, 5, 5, 90, 90, 90}, 'F'})).basis),
                    {f, f, f, 60, 60, 60}, 1e-12);
    expectcellsnear(cellof(niggli(primitivebasis({{5, 5, 5, 90, 90, 90}, 'I'})).basis),
                    {i, i, i, tetrahedral, tetrahedral, tetrahedral}, 1e-12);
    expectcellsnear(cellof(niggli(basisof({6, 5, 4, 90, 90, 90})).basis), {4, 5, 6, 90, 90, 90},
                    1e-12);
    expectcellsnear(cellof(niggli(basisof({5, 5, 4, 90, 90, 120})).basis), {4, 5, 5, 120, 90, 90},
                    1e-12);
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
        basisof({a, b, c, angle(-5.0, b, c), angle(-4.0, a, c), angle(-22.0, a, b)});
    expectcellsnear(cellof(niggli(basis).basis),
                    {2, 3, 3, angle(9.0, 3, 3), angle(3.0, 2, 3), angle(4.0, 2, 3)}, 1e-9);
}

template <typename function>
void expectunique(const function& reduce, const matrix3& basis, chance& random, const char* what)
{
    const reduced first = reduce(basis);
    expectsound(first, basis);
    for (int k = 0; k < 6; ++k) {
        const matrix3 changed =
            randomunimodular(random, 8).multiply(basis).multiply(randomrotation(random));
        const reduced again = reduce(changed);
        expectsound(again, changed);
        EXPECT_LT(apart(cellof(again.basis), cellof(first.basis)), 1e-8)
            << what << " " << cellof(basis)[0];
    }
}

const auto niggliform = [](const matrix3& basis) { return niggli(basis); };
const auto delaunayform = [](const matrix3& basis) { return delaunay(basis); };

TEST(ReducedCells, OfRandomLatticesAreTheSameForAnyBasis)
{
    chance random(1976);
    for (int n = 0; n < 300; ++n) {
        const matrix3 basis = randombasis(random);
        expectunique(niggliform, basis, random, "Niggli");
        expectunique(delaunayform, basis, random, "Delaunay");
    }
}

TEST(ReducedCells, OfSymmetricLatticesAreTheSameForAnyBasis)
{
    chance random(1933);
    for (const centredcell& one : bravaiscells()) {
        expectunique(niggliform, primitivebasis(one), random, "Niggli");
        expectunique(delaunayform, primitivebasis(one), random, "Delaunay");
    }
}

// Distortions from far below to far above the tolerance, which is 1e-5.
TEST(ReducedCells, OfNearlySymmetricLatticesAreTheSameForAnyBasis)
{
    chance random(2004);
    for (const centredcell& one : bravaiscells())
        for (const double size : {1e-12, 1e-9, 1e-7, 1e-6, 3e-6, 1e-5, 3e-5, 1e-4, 1e-2}) {
            matrix3 basis = primitivebasis(one);
            for (auto& row : basis.a)
                for (double& x : row) x += 5.0 * size * random.between(-1.0, 1.0);
            expectunique(niggliform, basis, random, "Niggli");
            expectunique(delaunayform, basis, random, "Delaunay");
        }
}

// gemmi has the published steps, and reaches the same cell where no condition is near an equality.
TEST(NiggliCells, OfRandomLatticesAreThoseOfThePublishedSteps)
{
    chance random(12);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 basis = randombasis(random);
        EXPECT_LT(apart(cellof(niggli(basis).basis), nigglibysteps(basis, 1e-9)), 1e-8);
    }
}

TEST(NiggliCells, OfSymmetricLatticesAreThoseOfThePublishedSteps)
{
    for (const centredcell& one : bravaiscells()) {
        const matrix3 basis = primitivebasis(one);
        EXPECT_LT(apart(cellof(niggli(basis).basis), nigglibysteps(basis, 1e-6)), 1e-8);
    }
}

// The four vectors of the Selling-Delaunay form by gemmi's steps have the same lengths.
TEST(DelaunayCells, OfRandomLatticesAreThoseOfThePublishedSteps)
{
    chance random(13);
    for (int n = 0; n < 1000; ++n) {
        const matrix3 basis = randombasis(random);
        const cell6 found = cellof(delaunay(basis).basis);
        const cell6 expected = delaunaybysteps(basis, 1e-9);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(found[i], expected[i], 1e-7);
    }
}

TEST(DelaunayCells, HaveNoAcuteAnglesAmongTheirFourVectors)
{
    chance random(14);
    for (int n = 0; n < 500; ++n) {
        const matrix3 D = delaunay(randombasis(random)).basis;
        const std::array<vector3, 4> v = {rowof(D, 0), rowof(D, 1), rowof(D, 2),
                                          -(rowof(D, 0) + rowof(D, 1) + rowof(D, 2))};
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t j = 0; j < i; ++j) EXPECT_LT(v[i].dot(v[j]), 1e-2);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_LT(v[i].length(), v[i + 1].length() + 1e-2);
    }
}

TEST(Reduction, KeepsABasisThatIsReducedAsItIs)
{
    for (const centredcell& one : bravaiscells()) {
        const matrix3 first = niggli(primitivebasis(one)).basis;
        EXPECT_TRUE(niggli(first).T.is_identity()) << one.centring;
    }
}

TEST(Reduction, RefusesRowsInAPlane)
{
    EXPECT_THROW(niggli(matrix3(1, 2, 3, 4, 5, 6, 7, 8, 9)), failure);
    EXPECT_THROW(niggli(matrix3(0, 0, 0, 4, 5, 6, 7, 8, 9)), failure);
    EXPECT_THROW(delaunay(matrix3(1, 0, 0, 0, 1, 0, 0, 0, std::nan(""))), failure);
}

// Twenty-five steps give factors of some millions.
TEST(Reduction, FindsTheWayBackFromVerySkewBases)
{
    chance random(15);
    for (int n = 0; n < 100; ++n) {
        const matrix3 basis = randombasis(random);
        const matrix3 skew = randomchange(random, 25).multiply(basis);
        EXPECT_LT(apart(cellof(niggli(skew).basis), cellof(niggli(basis).basis)), 1e-4);
    }
}

} // namespace

} // namespace torvik::tools
