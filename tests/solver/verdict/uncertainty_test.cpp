#include "solver/verdict/uncertainty.h"

#include "solver/evidence/known_cell.h"
#include "solver/lattice/deformation.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <vector>

namespace torvik::solver {

namespace {

const cell_parameters low_cell = {7.0, 8.0, 10.0, 85.0, 100.0, 95.0};

// The pulls of many fits: differences from the truth over their uncertainties.
TEST(UncertaintiesOfACell, AreThoseOfRepeatedMeasurements)
{
    double squares = 0.0;
    int pulls = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        crystal_request asked;
        asked.cell = low_cell;
        asked.reflections = 40;
        asked.noise = 0.02;
        asked.seed = seed;
        const simulated_crystal made = simulated(asked);
        const auto& vectors = made.vectors;
        const assessment found = assess(vectors, made.basis);
        const uncertain_cell cell = uncertainty_of(vectors, found);
        for (std::size_t k = 0; k < 6; ++k) {
            const double pull = (cell.cell[k] - low_cell[k]) / cell.error[k];
            squares += pull * pull;
            ++pulls;
        }
    }
    // 360 pulls, six of each fit correlated: the mean of their squares is 1 within some 10 %.
    EXPECT_NEAR(squares / pulls, 1.0, 0.25);
}

TEST(NumbersWithUncertainty, GiveItInUnitsOfTheLastDigit)
{
    EXPECT_EQ(with_uncertainty(7.71334, 0.0023), "7.713(2)");
    EXPECT_EQ(with_uncertainty(7.71334, 0.0014), "7.7133(14)");
    EXPECT_EQ(with_uncertainty(90.04, 0.14), "90.04(14)");
    EXPECT_EQ(with_uncertainty(1711069.4, 906.2), "1711069(906)");
    EXPECT_EQ(with_uncertainty(5.0, 0.0), "5.0000");
}

// The pulls of many fits: differences from the truth over their uncertainties. The given
// cells are drawn from their prior.
TEST(TheUncertaintiesOfAKnownCell, AreThoseOfRepeatedMeasurements)
{
    double squares = 0.0;
    int pulls = 0;
    for (std::uint64_t seed = 1; seed <= 60; ++seed) {
        const simulated_crystal made = simulated({low_cell, 14, 0, 1.0, 0.03, {}, seed});
        chance random(seed);
        nine strain = {};
        for (std::size_t k = 3; k < 9; ++k) strain[k] = usual_strain * normal_deviate(random);
        const matrix3 off = matrix3() + deformation_of(strain);
        const given_cell given(cell_of(made.basis.multiply(off)));
        assessment found = assess_known(made.vectors, given, given.orientation_of(made.basis));
        found.basis = given.to_given.multiply(found.basis);
        found.known = 0;
        const uncertain_cell cell = uncertainty_of(made.vectors, found);
        for (std::size_t k = 0; k < 6; ++k) {
            const double pull = (cell.cell[k] - low_cell[k]) / cell.error[k];
            squares += pull * pull;
            ++pulls;
        }
    }
    // 360 pulls, six of each fit correlated: the mean of their squares is 1 within some 10 %.
    EXPECT_NEAR(squares / pulls, 1.0, 0.25);
}

} // namespace

} // namespace torvik::solver
