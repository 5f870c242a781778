#include "solver/evidence/free_lattice.h"

#include "solver/lattice/relations.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace torvik::solver {

namespace {

crystal_request half(std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = 20;
    asked.outliers = 10;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

TEST(TheEvidence, IsHighForTheTrueLatticeAndRecoversItsErrors)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const simulated_crystal made = simulated(half(seed));
        const assessment truth = assess(made.vectors, made.basis);
        EXPECT_GT(truth.evidence, 12.0) << seed;
        EXPECT_NEAR(truth.outlier_fraction, 0.5, 0.1);
        // Ten reflections: 21 degrees of freedom, so the standard deviation of s is 15 %.
        EXPECT_NEAR(truth.sigma / made.sigma, 1.0, 0.6) << seed;
        EXPECT_GE(truth.indexed, 9);
    }
}

TEST(TheEvidence, RisesFromADisturbedStart)
{
    const simulated_crystal made = simulated(half(3));
    const auto& vectors = made.vectors;
    const matrix3 truth = made.basis;
    const matrix3 start =
        truth.multiply(matrix3(1.002, 0.001, 0, 0, 0.998, 0.001, 0.001, 0, 1.001));
    EXPECT_NEAR(assess(vectors, start).evidence, assess(vectors, truth).evidence, 1e-3);
}

// A cell twice as large has twice as many points for each inlier: it costs log 2.
TEST(TheEvidence, OfASupercellIsLessByLogOfItsIndexForEachReflection)
{
    crystal_request asked = half(5);
    asked.outliers = 0;
    asked.reflections = 40;
    const simulated_crystal made = simulated(asked);
    const auto& vectors = made.vectors;
    const matrix3 truth = made.basis;
    const double best = assess(vectors, truth).evidence;
    for (const matrix3& T : hermite_forms(2)) {
        const double larger = assess(vectors, T.multiply(truth)).evidence;
        EXPECT_NEAR(best - larger, 40.0 * std::log(2.0), 0.1 * 40.0 * std::log(2.0));
    }
}

TEST(TheEvidence, OfASubcellFallsBecauseReflectionsAreLost)
{
    const simulated_crystal made = simulated(half(7));
    const auto& vectors = made.vectors;
    const matrix3 truth = made.basis;
    const double best = assess(vectors, truth).evidence;
    for (const matrix3& T : finer_forms(2))
        EXPECT_LT(assess(vectors, T.multiply(truth)).evidence, best);
}

// Ten exact reflections and ten outliers; one of these is five hundredths of an index off a lattice point. With
// the errors that the refinement begins with it is taken in, and bends the lattice.
TEST(TheEvidence, IsNotHeldByAnOutlierNearAPoint)
{
    const std::vector<vector3> vectors = {
        {0.362879, 0.155247, -0.876372},   {0.203937, 0.417049, 0.496628},
        {-0.028645, -0.280589, -0.587293}, {0.471283, 0.286861, 0.729219},
        {-0.829846, 0.267390, -0.387114},  {-0.663168, 0.492405, 0.086484},
        {-0.667299, -0.298761, 0.372404},  {-0.357364, 0.651695, 0.532436},
        {0.687878, -0.060396, 0.193379},   {-0.433006, 0.058211, 0.821027},
        {-0.089141, 0.938393, 0.184543},   {-0.137802, 0.868276, -0.196553},
        {0.236495, -0.495149, 0.113525},   {0.364602, -0.633750, -0.018218},
        {0.393963, -0.352990, 0.568606},   {-0.526127, -0.532939, 0.309293},
        {0.492620, 0.333479, 0.472980},    {-0.124074, 0.638395, 0.175240},
        {0.354039, 0.003039, 0.462763},    {-0.341196, 0.228673, 0.463690},
    };
    const matrix3 hexagonal(8.125, -3.097, -4.029, -5.426, 6.473, -4.530, 5.184, 7.584, 4.633);
    const assessment found = assess(vectors, hexagonal);
    EXPECT_EQ(found.indexed, 10);
    EXPECT_LT(found.sigma, 0.0005);
    EXPECT_GT(found.evidence, 45.0);
}

TEST(TheEvidence, IsNoneForVectorsInAPlaneOrABasisOfNoVolume)
{
    const std::vector<vector3> flat = {{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.1, 0}};
    EXPECT_FALSE(std::isfinite(assess(flat, matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10)).evidence));
    EXPECT_FALSE(std::isfinite(assess(flat, matrix3(0.0)).evidence));
    EXPECT_FALSE(std::isfinite(assess({}, matrix3(1, 0, 0, 0, 1, 0, 0, 0, 1)).evidence));
}

// Points so dense that any vector is on one within its rounding error.
TEST(TheEvidence, IsNoneForACellBeyondTheDigitsOfTheVectors)
{
    const simulated_crystal made = simulated(half(2));
    const matrix3 huge = scaled(made.basis, 1e7);
    EXPECT_FALSE(std::isfinite(assess(made.vectors, huge).evidence));
}

TEST(TheEvidence, IsLowerWithoutRefinementForOtherErrors)
{
    const simulated_crystal made = simulated(half(6));
    const assessment refined = assess(made.vectors, made.basis);
    EXPECT_NEAR(assess_unrefined(made.vectors, refined).evidence, refined.evidence, 1e-2);
    assessment other = refined;
    other.sigma *= 3.0;
    EXPECT_LT(assess_unrefined(made.vectors, other).evidence, refined.evidence - 1.0);
}

TEST(UnindexedVectors, AreThoseThatAreNotInliers)
{
    const simulated_crystal made = simulated(half(6));
    const assessment found = assess(made.vectors, made.basis);
    const auto unindexed = unindexed_by(made.vectors, found);
    EXPECT_EQ(static_cast<int>(unindexed.size()) + found.indexed, 20);
    for (const vector3& q : unindexed) EXPECT_GT(off_whole(found.basis.multiply(q)), 0.01);
}

} // namespace

} // namespace torvik::solver
