#include "solver/lattice/relations.h"

#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace torvik::solver {

namespace {

TEST(Superlattices, OfAnIndexAreAsManyAsTheSumSays)
{
    for (int n = 1; n <= 16; ++n) {
        int sum = 0;
        for (int p = 1; p <= n; ++p)
            for (int q = 1; p * q <= n; ++q)
                if (n % (p * q) == 0) sum += p * p * q;
        const auto forms = hermite_forms(n);
        EXPECT_EQ(static_cast<int>(forms.size()), sum) << n;
        for (const matrix3& T : forms) EXPECT_EQ(T.determinant(), n);
    }
}

// Two forms span one lattice if the one is a whole matrix of determinant 1 times the other.
TEST(Superlattices, OfAnIndexAreAllDifferent)
{
    for (const int n : {2, 3, 4, 6}) {
        const auto forms = hermite_forms(n);
        for (std::size_t i = 0; i < forms.size(); ++i)
            for (std::size_t j = 0; j < i; ++j) {
                const matrix3 ratio = forms[i].multiply(forms[j].inverse());
                double off = 0.0;
                for (int k = 0; k < 3; ++k) off = std::fmax(off, off_whole(row_of(ratio, k)));
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
        const matrix3 E = random_basis(random);
        const int index = random.whole(1, 16);
        const auto forms = hermite_forms(index);
        const auto chosen =
            static_cast<std::size_t>(random.whole(0, static_cast<int>(forms.size()) - 1));
        const matrix3 D = random_unimodular(random, 5).multiply(forms[chosen]).multiply(E);
        const auto up = relation_between(D, E);
        const auto down = relation_between(E, D);
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
        const matrix3 E = niggli(random_basis(random)).basis;
        const int index = random.whole(1, 4);
        matrix3 D = hermite_forms(index).back().multiply(E);
        for (auto& row : D.a)
            for (double& x : row) x *= 1.0 + random.between(-0.002, 0.002);
        const auto found = relation_between(random_change(random, 4).multiply(D), E);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->index, index);
    }
}

TEST(Relations, FinerLatticesAreThoseThatHaveTheLatticeAsASuperlatticeEachOnce)
{
    chance random(10);
    const matrix3 E = niggli(random_basis(random)).basis;
    for (const int index : {2, 3, 4, 6}) {
        const auto forms = finer_forms(index);
        ASSERT_EQ(forms.size(), hermite_forms(index).size());
        for (std::size_t i = 0; i < forms.size(); ++i) {
            const matrix3 finer = forms[i].multiply(E);
            const auto related = relation_between(E, finer);
            ASSERT_TRUE(related);
            EXPECT_EQ(related->how, kinship::super);
            EXPECT_EQ(related->index, index);
            for (std::size_t j = 0; j < i; ++j)
                EXPECT_FALSE(same_lattice(forms[j].multiply(E), finer)) << index << ": " << i << j;
        }
    }
}

TEST(Relations, ABasisOfOneLatticeIsToldFromThatOfASuperlattice)
{
    chance random(9);
    for (int n = 0; n < 200; ++n) {
        const matrix3 E = niggli(random_basis(random)).basis;
        EXPECT_TRUE(same_lattice(random_change(random, 4).multiply(E), E));
        const int index = random.whole(2, 4);
        EXPECT_FALSE(same_lattice(hermite_forms(index).front().multiply(E), E));
        EXPECT_FALSE(same_lattice(E, hermite_forms(index).front().multiply(E)));
    }
}

TEST(Relations, BetweenStrangersThereAreNone)
{
    chance random(8);
    int found = 0;
    for (int n = 0; n < 200; ++n)
        if (relation_between(random_basis(random), random_basis(random))) ++found;
    EXPECT_EQ(found, 0);
    const matrix3 E = random_basis(random);
    EXPECT_FALSE(relation_between(scaled(E, 3.0), E)); // the index is 27
    EXPECT_TRUE(relation_between(scaled(E, 3.0), E, 0.1, 27));
    EXPECT_FALSE(relation_between(matrix3(1.5, 0, 0, 0, 1, 0, 0, 0, 1), matrix3()));
}

// The basis T * D, in another orientation, has the cell of E.
void expectcongruent(const matrix3& D, const matrix3& E)
{
    const cell_parameters one = cell_of(D);
    const cell_parameters other = cell_of(E);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(one[i], other[i], 1e-7 * other[i]);
    EXPECT_GT(D.determinant() * E.determinant(), 0.0);
}

TEST(MatchingCells, OfTurnedSuperlatticesAreFoundBothWays)
{
    chance random(9);
    for (int n = 0; n < 100; ++n) {
        const matrix3 E = random_basis(random);
        const int index = random.whole(1, 6);
        const auto forms = hermite_forms(index);
        const auto chosen =
            static_cast<std::size_t>(random.whole(0, static_cast<int>(forms.size()) - 1));
        const matrix3 D = random_unimodular(random, 5)
                              .multiply(forms[chosen])
                              .multiply(E)
                              .multiply(random_rotation(random));
        const auto up = match_cells(D, E);
        const auto down = match_cells(E, D);
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
    for (const centred_cell& one : bravais_cells())
        for (int n = 0; n < 3; ++n) {
            matrix3 D = primitive_basis(one);
            matrix3 E = D;
            for (auto& row : D.a)
                for (double& x : row) x += random.between(-0.01, 0.01);
            for (auto& row : E.a)
                for (double& x : row) x += random.between(-0.01, 0.01);
            const auto found = match_cells(
                random_unimodular(random, 5).multiply(D).multiply(random_rotation(random)), E);
            ASSERT_TRUE(found) << one.centring << one.cell[2];
            EXPECT_EQ(found->how, kinship::same);
            EXPECT_LT(found->misfit, 0.02);
        }
}

TEST(MatchingCells, OfStrangersAreNone)
{
    chance random(11);
    EXPECT_FALSE(match_cells(basis_of({5, 6, 7, 90, 90, 90}), basis_of({5.2, 6, 7, 90, 90, 90})));
    EXPECT_TRUE(
        match_cells(basis_of({5, 6, 7, 90, 90, 90}), basis_of({5.2, 6, 7, 90, 90, 90}), 0.05));
    EXPECT_FALSE(match_cells(basis_of({5, 6, 7, 90, 93, 90}), basis_of({5, 6, 7, 90, 90, 90})));
    // Axes that are 1 % off a multiple match only as that multiple.
    const auto found =
        match_cells(basis_of({5, 6, 14.1, 90, 90, 90}), basis_of({5, 6, 7, 90, 90, 90}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->how, kinship::super);
    EXPECT_EQ(found->index, 2);
    EXPECT_NEAR(found->misfit, 0.1 / 14.1, 1e-3);
}

} // namespace

} // namespace torvik::solver
