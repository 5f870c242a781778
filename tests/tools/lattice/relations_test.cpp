#include "lattice/relations.h"

#include "randombases.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace torvik::tools {

namespace {

TEST(Superlattices, OfAnIndexAreAsManyAsTheSumSays)
{
    for (int n = 1; n <= 16; ++n) {
        int sum = 0;
        for (int p = 1; p <= n; ++p)
            for (int q = 1; p * q <= n; ++q)
                if (n % (p * q) == 0) sum += p * p * q;
        const auto forms = hermiteforms(n);
        EXPECT_EQ(static_cast<int>(forms.size()), sum) << n;
        for (const matrix3& T : forms) EXPECT_EQ(T.determinant(), n);
    }
}

// Two forms span one lattice if the one is a whole matrix of determinant 1 times the other.
TEST(Superlattices, OfAnIndexAreAllDifferent)
{
    for (const int n : {2, 3, 4, 6}) {
        const auto forms = hermiteforms(n);
        for (std::size_t i = 0; i < forms.size(); ++i)
            for (std::size_t j = 0; j < i; ++j) {
                const matrix3 ratio = forms[i].multiply(forms[j].inverse());
                double off = 0.0;
                for (int k = 0; k < 3; ++k) off = std::fmax(off, offwhole(rowof(ratio, k)));
                EXPECT_GT(off, 0.1) << n;
            }
    }
}

void expectmakes(const matrix3& T, const matrix3& from, const matrix3& to, double error)
{
    EXPECT_TRUE(T.multiply(from).approx(to, error));
}

TEST(Relations, OfRandomSuperlatticesAreFoundBothWays)
{
    chance random(6);
    for (int n = 0; n < 200; ++n) {
        const matrix3 E = randombasis(random);
        const int index = random.whole(1, 16);
        const auto forms = hermiteforms(index);
        const auto chosen =
            static_cast<std::size_t>(random.whole(0, static_cast<int>(forms.size()) - 1));
        const matrix3 D = randomunimodular(random, 5).multiply(forms[chosen]).multiply(E);
        const auto up = relationbetween(D, E);
        const auto down = relationbetween(E, D);
        ASSERT_TRUE(up && down);
        EXPECT_EQ(up->index, index);
        EXPECT_EQ(up->how, index == 1 ? kinship::same : kinship::super);
        EXPECT_EQ(down->how, index == 1 ? kinship::same : kinship::sub);
        EXPECT_EQ(std::fabs(up->T.determinant()), index);
        EXPECT_LT(up->misfit, 1e-9);
        expectmakes(up->T, E, D, 1e-9);
        if (index > 1)
            expectmakes(down->T, E, D, 1e-9);
        else
            expectmakes(down->T, D, E, 1e-9);
    }
}

// Errors of 1 % leave elements of the matrix within a tenth of whole numbers, up to the index 4.
TEST(Relations, SurviveErrorsOfMeasurement)
{
    chance random(7);
    for (int n = 0; n < 200; ++n) {
        const matrix3 E = niggli(randombasis(random)).basis;
        const int index = random.whole(1, 4);
        matrix3 D = hermiteforms(index).back().multiply(E);
        for (auto& row : D.a)
            for (double& x : row) x *= 1.0 + random.between(-0.002, 0.002);
        const auto found = relationbetween(randomchange(random, 4).multiply(D), E);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->index, index);
    }
}

TEST(Relations, FinerLatticesAreThoseThatHaveTheLatticeAsASuperlatticeEachOnce)
{
    chance random(10);
    const matrix3 E = niggli(randombasis(random)).basis;
    for (const int index : {2, 3, 4, 6}) {
        const auto forms = finerforms(index);
        ASSERT_EQ(forms.size(), hermiteforms(index).size());
        for (std::size_t i = 0; i < forms.size(); ++i) {
            const matrix3 finer = forms[i].multiply(E);
            const auto related = relationbetween(E, finer);
            ASSERT_TRUE(related);
            EXPECT_EQ(related->how, kinship::super);
            EXPECT_EQ(related->index, index);
            for (std::size_t j = 0; j < i; ++j)
                EXPECT_FALSE(samelattice(forms[j].multiply(E), finer)) << index << ": " << i << j;
        }
    }
}

TEST(Relations, ABasisOfOneLatticeIsToldFromThatOfASuperlattice)
{
    chance random(9);
    for (int n = 0; n < 200; ++n) {
        const matrix3 E = niggli(randombasis(random)).basis;
        EXPECT_TRUE(samelattice(randomchange(random, 4).multiply(E), E));
        const int index = random.whole(2, 4);
        EXPECT_FALSE(samelattice(hermiteforms(index).front().multiply(E), E));
        EXPECT_FALSE(samelattice(E, hermiteforms(index).front().multiply(E)));
    }
}

TEST(Relations, BetweenStrangersThereAreNone)
{
    chance random(8);
    int found = 0;
    for (int n = 0; n < 200; ++n)
        if (relationbetween(randombasis(random), randombasis(random))) ++found;
    EXPECT_EQ(found, 0);
    const matrix3 E = randombasis(random);
    EXPECT_FALSE(relationbetween(scaled(E, 3.0), E)); // the index is 27
    EXPECT_TRUE(relationbetween(scaled(E, 3.0), E, 0.1, 27));
    EXPECT_FALSE(relationbetween(matrix3(1.5, 0, 0, 0, 1, 0, 0, 0, 1), matrix3()));
}

// The basis T * D, in another orientation, has the cell of E.
void expectcongruent(const matrix3& D, const matrix3& E)
{
    const cell6 one = cellof(D);
    const cell6 other = cellof(E);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(one[i], other[i], 1e-7 * other[i]);
    EXPECT_GT(D.determinant() * E.determinant(), 0.0);
}

TEST(MatchingCells, OfTurnedSuperlatticesAreFoundBothWays)
{
    chance random(9);
    for (int n = 0; n < 100; ++n) {
        const matrix3 E = randombasis(random);
        const int index = random.whole(1, 6);
        const auto forms = hermiteforms(index);
        const auto chosen =
            static_cast<std::size_t>(random.whole(0, static_cast<int>(forms.size()) - 1));
        const matrix3 D = randomunimodular(random, 5)
                              .multiply(forms[chosen])
                              .multiply(E)
                              .multiply(randomrotation(random));
        const auto up = matchcells(D, E);
        const auto down = matchcells(E, D);
        ASSERT_TRUE(up && down);
        EXPECT_EQ(up->index, index);
        EXPECT_EQ(down->index, index);
        EXPECT_EQ(up->how, index == 1 ? kinship::same : kinship::super);
        EXPECT_EQ(down->how, index == 1 ? kinship::same : kinship::sub);
        if (index > 1) {
            expectcongruent(up->T.multiply(E), D);
            expectcongruent(down->T.multiply(E), D);
        } else {
            expectcongruent(up->T.multiply(D), E);
        }
    }
}

// A cell of nearly cubic shape, whose reduced form jumps with each small error.
TEST(MatchingCells, NearABoundaryOfTheReducedFormsMatchAllTheSame)
{
    chance random(10);
    for (const centredcell& one : bravaiscells())
        for (int n = 0; n < 3; ++n) {
            matrix3 D = primitivebasis(one);
            matrix3 E = D;
            for (auto& row : D.a)
                for (double& x : row) x += random.between(-0.01, 0.01);
            for (auto& row : E.a)
                for (double& x : row) x += random.between(-0.01, 0.01);
            const auto found = matchcells(
                randomunimodular(random, 5).multiply(D).multiply(randomrotation(random)), E);
            ASSERT_TRUE(found) << one.centring << one.cell[2];
            EXPECT_EQ(found->how, kinship::same);
            EXPECT_LT(found->misfit, 0.02);
        }
}

TEST(MatchingCells, OfStrangersAreNone)
{
    chance random(11);
    EXPECT_FALSE(matchcells(basisof({5, 6, 7, 90, 90, 90}), basisof({5.2, 6, 7, 90, 90, 90})));
    EXPECT_TRUE(matchcells(basisof({5, 6, 7, 90, 90, 90}), basisof({5.2, 6, 7, 90, 90, 90}), 0.05));
    EXPECT_FALSE(matchcells(basisof({5, 6, 7, 90, 93, 90}), basisof({5, 6, 7, 90, 90, 90})));
    // Axes that are 1 % off a multiple match only as that multiple.
    const auto found =
        matchcells(basisof({5, 6, 14.1, 90, 90, 90}), basisof({5, 6, 7, 90, 90, 90}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->how, kinship::super);
    EXPECT_EQ(found->index, 2);
    EXPECT_NEAR(found->misfit, 0.1 / 14.1, 1e-3);
}

} // namespace

} // namespace torvik::tools
