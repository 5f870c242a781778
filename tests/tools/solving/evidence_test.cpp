#include "lattice/relations.h"
#include "simulation/simulate.h"
#include "solving/evidence.h"
#include "solving/pool.h"
#include "solving/uncertainty.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace torvik::tools {

namespace {

simulationrequest half(std::uint64_t seed)
{
    simulationrequest asked;
    asked.volume = 700.0;
    asked.reflections = 20;
    asked.wrong = 10;
    asked.smallestd = 1.0;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

bool finds(const pool& candidates, const matrix3& truth)
{
    if (candidates.lattices().empty()) return false;
    return samelattice(candidates.lattices()[0].basis, truth, 0.15);
}

TEST(TheEvidence, IsHighForTheTrueLatticeAndRecoversItsErrors)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const simulated made = simulate(half(seed));
        const assessment truth = assess(made.vectors(), made.truth().primitive);
        EXPECT_GT(truth.evidence, 12.0) << seed;
        EXPECT_NEAR(truth.wrong, 0.5, 0.1);
        // Ten reflections: 21 degrees of freedom, so the standard deviation of s is 15 %.
        EXPECT_NEAR(truth.sigma / made.noise, 1.0, 0.6) << seed;
        EXPECT_GE(truth.indexed, 9);
    }
}

TEST(TheEvidence, RisesFromADisturbedStart)
{
    const simulated made = simulate(half(3));
    const auto vectors = made.vectors();
    const matrix3 truth = made.truth().primitive;
    const matrix3 start =
        truth.multiply(matrix3(1.002, 0.001, 0, 0, 0.998, 0.001, 0.001, 0, 1.001));
    EXPECT_NEAR(assess(vectors, start).evidence, assess(vectors, truth).evidence, 1e-3);
}

// Each genuine reflection that a cell twice as large might have put elsewhere costs log 2.
TEST(TheEvidence, OfASupercellIsLessByLogOfItsIndexForEachReflection)
{
    simulationrequest asked = half(5);
    asked.wrong = 0;
    asked.reflections = 40;
    const simulated made = simulate(asked);
    const auto vectors = made.vectors();
    const matrix3 truth = made.truth().primitive;
    const double best = assess(vectors, truth).evidence;
    for (const matrix3& T : hermiteforms(2)) {
        const double larger = assess(vectors, T.multiply(truth)).evidence;
        EXPECT_NEAR(best - larger, 40.0 * std::log(2.0), 0.1 * 40.0 * std::log(2.0));
    }
}

TEST(TheEvidence, OfASubcellFallsBecauseReflectionsAreLost)
{
    const simulated made = simulate(half(7));
    const auto vectors = made.vectors();
    const matrix3 truth = made.truth().primitive;
    const double best = assess(vectors, truth).evidence;
    for (const matrix3& T : finerforms(2))
        EXPECT_LT(assess(vectors, T.multiply(truth)).evidence, best);
}

TEST(TheEvidence, IsNoneForVectorsInAPlaneOrABasisOfNoVolume)
{
    const std::vector<vector3> flat = {{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.1, 0}};
    EXPECT_FALSE(std::isfinite(assess(flat, matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10)).evidence));
    EXPECT_FALSE(std::isfinite(assess(flat, matrix3(0.0)).evidence));
    EXPECT_FALSE(std::isfinite(assess({}, matrix3(1, 0, 0, 0, 1, 0, 0, 0, 1)).evidence));
}

// Points so dense that any vector lies on one, to the digits that it is written with.
TEST(TheEvidence, IsNoneForACellBeyondTheDigitsOfTheVectors)
{
    const simulated made = simulate(half(2));
    const matrix3 huge = scaled(made.truth().primitive, 1e7);
    EXPECT_FALSE(std::isfinite(assess(made.vectors(), huge).evidence));
}

TEST(ThePool, FindsTheLatticeFromItsMultiplesAndItsParts)
{
    int starts = 0;
    for (const int index : {2, 3, 4, 5, 6}) {
        const simulated made = simulate(half(10 + static_cast<std::uint64_t>(index)));
        const auto vectors = made.vectors();
        const matrix3 truth = made.truth().primitive;
        for (const matrix3& T : {hermiteforms(index).front(), hermiteforms(index).back()}) {
            pool candidates(vectors);
            candidates.add({T.multiply(truth)});
            candidates.explore();
            EXPECT_TRUE(finds(candidates, truth)) << index;
            ++starts;
        }
    }
    EXPECT_EQ(starts, 10);
}

TEST(ThePool, HoldsEachLatticeOnceTheMostEvidentFirst)
{
    const simulated made = simulate(half(4));
    const auto vectors = made.vectors();
    const matrix3 truth = made.truth().primitive;
    pool candidates(vectors);
    const matrix3 another(1, 1, 0, 0, 1, 0, 0, 1, 1); // of determinant 1
    candidates.add({another.multiply(truth), truth, scaled(truth, -1.0)});
    EXPECT_EQ(candidates.lattices().size(), 1U);
    candidates.explore();
    for (std::size_t i = 1; i < candidates.lattices().size(); ++i)
        EXPECT_GE(candidates.lattices()[i - 1].evidence, candidates.lattices()[i].evidence);
    EXPECT_TRUE(finds(candidates, truth));
}

// The pulls of many fits: differences from the truth over their uncertainties.
TEST(UncertaintiesOfACell, AreThoseOfRepeatedMeasurements)
{
    double squares = 0.0;
    int pulls = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        simulationrequest asked;
        asked.cell = cell6{7.0, 8.0, 10.0, 85.0, 100.0, 95.0};
        asked.reflections = 40;
        asked.noise = 0.02;
        asked.seed = seed;
        const simulated made = simulate(asked);
        const auto vectors = made.vectors();
        const assessment found = assess(vectors, made.truth().conventional);
        const uncertaincell cell = uncertaintyof(vectors, found);
        for (std::size_t k = 0; k < 6; ++k) {
            const double pull = (cell.cell[k] - (*asked.cell)[k]) / cell.error[k];
            squares += pull * pull;
            ++pulls;
        }
    }
    // 360 pulls, six of each fit correlated: the mean of their squares is 1 within some 10 %.
    EXPECT_NEAR(squares / pulls, 1.0, 0.25);
}

TEST(NumbersWithUncertainty, GiveItInUnitsOfTheLastDigit)
{
    EXPECT_EQ(withuncertainty(7.71334, 0.0023), "7.713(2)");
    EXPECT_EQ(withuncertainty(7.71334, 0.0014), "7.7133(14)");
    EXPECT_EQ(withuncertainty(90.04, 0.14), "90.04(14)");
    EXPECT_EQ(withuncertainty(1711069.4, 906.2), "1711069(906)");
    EXPECT_EQ(withuncertainty(5.0, 0.0), "5.0000");
}

} // namespace

} // namespace torvik::tools
