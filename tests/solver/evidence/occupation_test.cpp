#include "solver/evidence/occupation.h"

#include "simulation/randomnumbers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace torvik::solver {

namespace {

using index = std::array<int, 3>;

// Indices as exact reflections of a cube with an edge of 10 angstroms.
struct indexed_list {
    std::vector<vector3> vectors;
    assessment lattice;
};

indexed_list list_of(const std::vector<index>& indices, double inlier = 1.0)
{
    indexed_list made;
    made.lattice.basis = matrix3(10, 0, 0, 0, 10, 0, 0, 0, 10);
    for (const index& h : indices) made.vectors.push_back({0.1 * h[0], 0.1 * h[1], 0.1 * h[2]});
    made.lattice.inlier.assign(indices.size(), inlier);
    return made;
}

// Random indices; those with an odd l with a probability.
std::vector<index> drawn(int count, double odd, std::uint64_t seed)
{
    tools::randomnumbers random(seed);
    std::vector<index> indices;
    for (int i = 0; i < count; ++i) {
        index h;
        for (int& x : h) x = random.whole(-6, 6);
        const bool want_odd = random.between(0.0, 1.0) < odd;
        if ((h[2] % 2 != 0) != want_odd) ++h[2];
        indices.push_back(h);
    }
    return indices;
}

// By Simpson's rule.
double integral(int even, int odd)
{
    constexpr int steps = 20000;
    double sum = 0.0;
    for (int i = 0; i <= steps; ++i) {
        const double f = static_cast<double>(i) / steps;
        const double weight = i == 0 || i == steps ? 1.0 : i % 2 == 1 ? 4.0 : 2.0;
        sum += weight * std::pow(f, even) * std::pow(1.0 - f, odd);
    }
    return sum / (3.0 * steps);
}

// The definition: without a preference, or with one for each of the seven halves, f from 0 to 1.
double gain_by_integration(const std::vector<index>& indices)
{
    const auto total = static_cast<int>(indices.size());
    double odds = 1.0 - superstructure_prior;
    for (int half = 1; half <= 7; ++half) {
        int even = 0;
        for (const index& h : indices) {
            const int sum = (half & 1) * h[0] + (half >> 1 & 1) * h[1] + (half >> 2 & 1) * h[2];
            if (sum % 2 == 0) ++even;
        }
        odds += superstructure_prior / 7.0 * std::pow(2.0, total) * integral(even, total - even);
    }
    return std::log(odds);
}

TEST(TheGainOfAnOccupation, IsThatOfItsDefinitionIntegratedDirectly)
{
    for (const int count : {1, 6, 15, 40})
        for (const double odd : {0.5, 0.2, 0.0})
            for (std::uint64_t seed = 1; seed <= 3; ++seed) {
                const auto indices = drawn(count, odd, seed);
                const indexed_list made = list_of(indices);
                EXPECT_NEAR(occupation_gain(made.vectors, made.lattice),
                            gain_by_integration(indices), 1e-6)
                    << count << " " << odd;
            }
}

// Of 40 reflections with 4 of odd order: 2^40 36! 4! / 41! = e^12.6, times a seventh of the prior.
TEST(TheGainOfAnOccupation, IsLargeForASuperstructureWithWeakOddOrders)
{
    std::vector<index> indices = drawn(36, 0.0, 5);
    const std::vector<index> odd = drawn(4, 1.0, 6);
    indices.insert(indices.end(), odd.begin(), odd.end());
    const indexed_list made = list_of(indices);
    const double gain = occupation_gain(made.vectors, made.lattice);
    const double one_half = 40.0 * std::log(2.0) + std::lgamma(37.0) + std::lgamma(5.0)
                            - std::lgamma(42.0) + std::log(superstructure_prior / 7.0);
    EXPECT_GT(gain, one_half);
    EXPECT_GT(gain, 4.0);
    EXPECT_NEAR(gain, one_half, 0.1);
}

TEST(TheGainOfAnOccupation, OfAnOrdinaryLatticeIsALossOfLittle)
{
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        const indexed_list made = list_of(drawn(60, 0.5, seed));
        const double gain = occupation_gain(made.vectors, made.lattice);
        EXPECT_GE(gain, std::log(1.0 - superstructure_prior));
        EXPECT_LT(gain, 1.0) << seed; // chance makes one half of 60 preferred, a little
    }
}

TEST(TheGainOfAnOccupation, CountsInliersAlone)
{
    indexed_list made = list_of(drawn(30, 0.0, 7));
    const double before = occupation_gain(made.vectors, made.lattice);
    const auto outliers = drawn(30, 0.5, 8);
    for (const index& h : outliers) made.vectors.push_back({0.1 * h[0], 0.1 * h[1], 0.1 * h[2]});
    made.lattice.inlier.resize(60, 0.0);
    EXPECT_NEAR(occupation_gain(made.vectors, made.lattice), before, 1e-12);
    // Without any inlier the integral is 1, and nothing is gained or lost.
    made.lattice.inlier.assign(60, 0.0);
    EXPECT_NEAR(occupation_gain(made.vectors, made.lattice), 0.0, 1e-12);
}

} // namespace

} // namespace torvik::solver
