#include "solver/evidence/shifted_lattice.h"

#include "solver/lattice/relations.h"
#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <array>

namespace torvik::solver {

namespace {

// A vector with components of indices in the reciprocal axes.
vector3 in_axes(const matrix3& basis, double h, double k, double l)
{
    return basis.inverse().multiply(vector3(h, k, l));
}

crystal_request request(std::uint64_t seed)
{
    crystal_request asked;
    asked.reflections = 60;
    asked.outliers = 10;
    asked.noise = 0.01;
    asked.seed = seed;
    return asked;
}

simulated_crystal shifted_crystal(std::uint64_t seed, double by, vector3& shift)
{
    crystal_request asked = request(seed);
    const matrix3 basis = simulated(asked).basis; // the seed alone decides
    shift = in_axes(basis, by, -0.5 * by, 0.3 * by);
    asked.offset = shift;
    return simulated(asked);
}

TEST(AShiftedLattice, IsFoundWithItsShift)
{
    for (const double by : {0.05, 0.1, 0.2, 0.3})
        for (std::uint64_t seed = 1; seed <= 5; ++seed) {
            vector3 shift;
            const simulated_crystal made = shifted_crystal(seed, by, shift);
            const vector3 start = shift + in_axes(made.basis, 0.04, 0.03, -0.04);
            const assessment found = assess_shifted(made.vectors, made.basis, start);
            EXPECT_TRUE(same_lattice(found.basis, made.basis, 0.02));
            // The mean of 50 inliers, and what the errors of the lattice add.
            EXPECT_LT((found.shift - shift).length(), 5.0 * made.sigma / std::sqrt(50.0)) << seed;
            EXPECT_GE(found.indexed, 48);
            EXPECT_NEAR(found.sigma / made.sigma, 1.0, 0.3);
        }
}

// A vector of the lattice added to the shift makes no difference: the shortest is given.
TEST(AShift, IsTheShortestOfThoseThatDifferByLatticeVectors)
{
    vector3 shift;
    const simulated_crystal made = shifted_crystal(3, 0.2, shift);
    const assessment near = assess_shifted(made.vectors, made.basis, shift);
    const vector3 far = shift + in_axes(made.basis, 3, -2, 5);
    const assessment found = assess_shifted(made.vectors, made.basis, far);
    EXPECT_NEAR(found.evidence, near.evidence, 1e-6);
    EXPECT_LT((found.shift - near.shift).length(), 1e-9);
}

// The three parameters more cost what the header says, 15 to 25 nats.
TEST(TheEvidence, OfALatticeWithoutAShiftIsHigherWithoutOne)
{
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const simulated_crystal made = simulated(request(seed));
        const double without = assess(made.vectors, made.basis).evidence;
        const double with = assess_shifted(made.vectors, made.basis, {}).evidence;
        EXPECT_GT(without - with, 10.0) << seed;
        EXPECT_LT(without - with, 30.0) << seed;
    }
}

TEST(TheEvidence, OfAShiftedLatticeIsHigherWithTheShift)
{
    for (const double by : {0.1, 0.2, 0.3})
        for (std::uint64_t seed = 1; seed <= 5; ++seed) {
            vector3 shift;
            const simulated_crystal made = shifted_crystal(seed, by, shift);
            EXPECT_GT(assess_shifted(made.vectors, made.basis, shift).evidence,
                      assess(made.vectors, made.basis).evidence + 10.0)
                << by << " " << seed;
        }
}

// log of the sum over all 12 parameters, by its definition: L + 4 log V + 6 log(2 pi) + 12 log s
// - 3/2 log det(K^T K) - log(zeta(2) zeta(3) log 10^6) + log p, computed with 4 x 4 matrices.
TEST(TheEvidence, OfAShiftedLatticeIsThatOfItsFormula)
{
    vector3 shift;
    const simulated_crystal made = shifted_crystal(2, 0.2, shift);
    const assessment found = assess_shifted(made.vectors, made.basis, shift);
    const double volume = std::fabs(found.basis.determinant());
    const double variance = found.sigma * found.sigma;
    double likelihood = 0.0;
    std::array<std::array<double, 4>, 4> product = {};
    for (const vector3& measured : made.vectors) {
        const vector3 q = measured - found.shift;
        const vector3 x = found.basis.multiply(q);
        const vector3 h(std::round(x.x), std::round(x.y), std::round(x.z));
        const double square = (q - found.basis.inverse().multiply(h)).length_sq();
        const double density = (1.0 - found.outlier_fraction) / volume
                               * std::exp(-0.5 * square / variance)
                               / std::pow(2.0 * std::numbers::pi * variance, 1.5);
        likelihood += std::log(density + found.outlier_fraction);
        const double inlier = density / (density + found.outlier_fraction);
        const std::array<double, 4> K = {h.x, h.y, h.z, 1.0};
        for (std::size_t i = 0; i < 4; ++i)
            for (std::size_t j = 0; j < 4; ++j) product[i][j] += inlier * K[i] * K[j];
    }
    double determinant = 1.0; // by elimination
    for (std::size_t i = 0; i < 4; ++i) {
        determinant *= product[i][i];
        for (std::size_t j = i + 1; j < 4; ++j) {
            const double factor = product[j][i] / product[i][i];
            for (std::size_t k = i; k < 4; ++k) product[j][k] -= factor * product[i][k];
        }
    }
    const double zeta2 = std::numbers::pi * std::numbers::pi / 6.0;
    const double expected = likelihood + 4.0 * std::log(volume)
                            + 6.0 * std::log(2.0 * std::numbers::pi) + 12.0 * std::log(found.sigma)
                            - 1.5 * std::log(determinant)
                            - std::log(zeta2 * 1.2020569031595943 * std::log(1e6)) + std::log(0.05);
    EXPECT_NEAR(found.evidence, expected, 1e-6);
}

TEST(TheEvidence, OfAShiftedLatticeIsNoneForTooFewVectorsOrABasisOfNoVolume)
{
    const std::vector<vector3> three = {{0.1, 0, 0}, {0, 0.1, 0}, {0, 0, 0.1}};
    EXPECT_FALSE(
        std::isfinite(assess_shifted(three, matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10), {}).evidence));
    EXPECT_FALSE(std::isfinite(assess_shifted(three, matrix3(0.0), {}).evidence));
}

} // namespace

} // namespace torvik::solver
