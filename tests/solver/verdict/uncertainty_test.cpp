#include "solver/verdict/uncertainty.h"

#include "solver/evidence/known_cell.h"
#include "solver/lattice/deformation.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
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

// Both are s^2 (H^T H)^-1, once in elements of UB and once in rotations and strains.
TEST(UncertaintiesOfACell, AreThoseOfTheCovarianceThatTheAnswerGives)
{
    measurement measured;
    const simulated_crystal made = simulated({low_cell, 40, 6, 1.0, 0.01, {}, 3});
    for (const vector3& q : made.vectors) measured.vectors.push_back({q.x, q.y, q.z});
    const answer found = solve(measured);
    ASSERT_EQ(found.how, verdict::solved);
    const auto& D = found.lattices[0].basis;
    const matrix3 basis = from_rows({D[0][0], D[0][1], D[0][2]}, {D[1][0], D[1][1], D[1][2]},
                                    {D[2][0], D[2][1], D[2][2]});
    const uncertain_cell one = uncertainty_of(found.lattices[0]);
    const uncertain_cell other = uncertainty_of(made.vectors, assess(made.vectors, basis));
    for (std::size_t k = 0; k < 6; ++k) {
        EXPECT_NEAR(one.cell[k], other.cell[k], 1e-3 * other.error[k]);
        EXPECT_NEAR(one.error[k] / other.error[k], 1.0, 1e-3);
    }
    EXPECT_NEAR(one.volume_error / other.volume_error, 1.0, 1e-3);
}

TEST(UncertaintiesOfACell, AreInfiniteWithoutACovariance)
{
    lattice found;
    found.basis = {{{5.0, 0.0, 0.0}, {0.0, 6.0, 0.0}, {0.0, 0.0, 7.0}}};
    const uncertain_cell cell = uncertainty_of(found);
    EXPECT_NEAR(cell.volume, 210.0, 1e-9);
    EXPECT_TRUE(std::isinf(cell.error[0]));
    EXPECT_TRUE(std::isinf(cell.volume_error));
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
