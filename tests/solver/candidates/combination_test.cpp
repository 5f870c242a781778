#include "solver/candidates/combination.h"

#include "solver/lattice/relations.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

namespace torvik::solver {

namespace {

// A vector with the hits that it has, whatever the chance.
direct_vector described(const vector3& t, const std::vector<vector3>& sample, double log_chance)
{
    direct_vector one;
    one.value = t;
    one.length = t.length();
    one.log_chance = log_chance;
    for (std::size_t i = 0; i < sample.size(); ++i) {
        const double product = t.dot(sample[i]);
        if (std::fabs(product - std::round(product)) < hit_tolerances[0])
            one.hits |= std::uint64_t{1} << i;
    }
    return one;
}

simulated_crystal crystal(std::uint64_t seed, int outliers)
{
    crystal_request asked;
    asked.reflections = 40;
    asked.outliers = outliers;
    asked.noise = 0.005;
    asked.seed = seed;
    return simulated(asked);
}

std::vector<direct_vector> axes_of(const simulated_crystal& made)
{
    std::vector<direct_vector> vectors;
    for (int i = 0; i < 3; ++i)
        vectors.push_back(described(row_of(made.basis, i), made.vectors, -10.0 + i));
    return vectors;
}

TEST(Combining, FindsTheLatticeFromItsThreeAxes)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated_crystal made = crystal(seed, 0);
        const auto found = combine(axes_of(made), made.vectors, 6, 6);
        ASSERT_EQ(found.size(), 1U);
        EXPECT_TRUE(same_lattice(found[0], made.basis, 0.01)) << seed;
        EXPECT_GT(found[0].determinant(), 0.0);
    }
}

// Vectors that chance made have few reflections in common with the axes.
TEST(Combining, FindsTheLatticeAmongOutlyingVectorsAndReflections)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated_crystal made = crystal(seed, 12);
        chance random(seed + 100);
        std::vector<direct_vector> vectors;
        for (int i = 0; i < 37; ++i)
            vectors.push_back(described(normal_vector(random) * 8.0, made.vectors, -12.0));
        for (const direct_vector& axis : axes_of(made)) vectors.push_back(axis);
        const auto found = combine(vectors, made.vectors, 6, 6);
        ASSERT_FALSE(found.empty());
        EXPECT_TRUE(same_lattice(found[0], made.basis, 0.01)) << seed;
    }
}

// a, b and 2 c make a supercell, which takes all reflections. c takes them too, but is worse by chance here: it
// comes in only as one of the three shortest.
TEST(Combining, ExchangesLongVectorsForShorterOnesThatShareTheReflections)
{
    const simulated_crystal made = crystal(3, 0);
    std::vector<direct_vector> vectors = axes_of(made);
    const vector3 c = row_of(made.basis, 2);
    vectors[2] = described(2.0 * c, made.vectors, -20.0);
    EXPECT_TRUE(same_lattice(combine(vectors, made.vectors, 6, 6).at(0),
                             from_rows(row_of(made.basis, 0), row_of(made.basis, 1), 2.0 * c),
                             0.02));
    vectors.push_back(described(c, made.vectors, -1.0));
    bool found = false;
    for (const matrix3& basis : combine(vectors, made.vectors, 6, 6))
        found = found || same_lattice(basis, made.basis, 0.01);
    EXPECT_TRUE(found);
}

TEST(Combining, GivesNothingForFlatVectorsOrTooFewReflectionsInCommon)
{
    const simulated_crystal made = crystal(4, 0);
    std::vector<direct_vector> flat = axes_of(made);
    flat[2] = described(row_of(made.basis, 0) + row_of(made.basis, 1), made.vectors, -5.0);
    EXPECT_TRUE(combine(flat, made.vectors, 6, 6).empty());
    EXPECT_TRUE(combine(axes_of(made), made.vectors, 41, 6).empty());
    EXPECT_TRUE(combine({}, made.vectors, 6, 6).empty());
}

TEST(Combining, KeepsTheTriplesWithMostReflectionsIfThereAreMoreThanAskedFor)
{
    const simulated_crystal made = crystal(5, 8);
    std::vector<direct_vector> vectors = axes_of(made);
    // Vectors of two thirds of the lattice's reflections, as of one of its coincidence lattices.
    for (int i = 0; i < 3; ++i) {
        direct_vector other = described(row_of(made.basis, i) * (2.0 / 3.0), made.vectors, -30.0);
        vectors.push_back(other);
    }
    const auto most = combine(vectors, made.vectors, 3, 1);
    ASSERT_FALSE(most.empty());
    EXPECT_TRUE(same_lattice(most[0], made.basis, 0.01));
    EXPECT_GE(combine(vectors, made.vectors, 3, 20).size(), most.size());
}

TEST(TheFittedBasis, OfExactReflectionsIsExactAndTakesTheNamedReflectionsAlone)
{
    crystal_request asked;
    asked.reflections = 30;
    asked.outliers = 10; // the last ones
    asked.seed = 2;
    const simulated_crystal made = simulated(asked);
    const std::uint64_t inliers = (std::uint64_t{1} << 20U) - 1;
    const matrix3 start =
        made.basis.multiply(matrix3(1.002, 0.001, 0, 0, 0.998, 0.001, 0.001, 0, 1.001));
    const auto fitted = fitted_basis(start, made.vectors, inliers);
    ASSERT_TRUE(fitted);
    for (int i = 0; i < 3; ++i)
        EXPECT_LT((row_of(*fitted, i) - row_of(made.basis, i)).length(), 1e-9);
    const auto disturbed = fitted_basis(start, made.vectors, (std::uint64_t{1} << 30U) - 1);
    ASSERT_TRUE(disturbed);
    EXPECT_GT((row_of(*disturbed, 0) - row_of(made.basis, 0)).length(), 1e-3);
}

TEST(TheFittedBasis, IsNoneForReflectionsInAPlane)
{
    const std::vector<vector3> flat = {{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.1, 0}};
    EXPECT_FALSE(fitted_basis(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10), flat, 15));
    EXPECT_FALSE(fitted_basis(matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10), flat, 0));
}

} // namespace

} // namespace torvik::solver
