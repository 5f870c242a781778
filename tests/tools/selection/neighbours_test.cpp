#include "selection/estimate.h"
#include "selection/neighbours.h"
#include "selection/repeats.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace torvik::tools {

namespace {

// As it is defined: all are looked at.
template <class Condition>
std::optional<std::size_t> plainnearest(const std::vector<vector3>& points, const vector3& place,
                                        Condition suits)
{
    std::optional<std::size_t> best;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double squared = (points[i] - place).length_sq();
        if (squared >= least || !suits(i)) continue;
        best = i;
        least = squared;
    }
    return best;
}

void expectsame(const std::vector<vector3>& points, unsigned seed)
{
    std::mt19937 chance(seed);
    std::normal_distribution<double> normal(0.0, 0.3);
    const sortedpoints sorted(points);
    for (int k = 0; k < 50; ++k) {
        const bool ofthem = k % 2 == 0 && !points.empty();
        const vector3 place = ofthem ? points[chance() % points.size()]
                                     : vector3(normal(chance), normal(chance), normal(chance));
        const std::size_t part = chance() % 7 + 1;
        const auto suits = [&](std::size_t i) { return i % part == 0 && points[i].y > -0.2; };
        EXPECT_EQ(sorted.nearest(place, suits), plainnearest(points, place, suits));
        const auto all = [](std::size_t) { return true; };
        EXPECT_EQ(sorted.nearest(place, all), plainnearest(points, place, all));
    }
}

TEST(TheNearestPoint, IsThatOfAllPointsAndTheFirstOfEquals)
{
    expectsame({}, 1);
    expectsame({{0.1, 0.2, 0.3}}, 2);
    expectsame(triclinicpoints(0.3), 3);
    expectsame(latticepoints({0.1, 0, 0}, {0, 0.1, 0}, {0, 0, 0.1}, 0.4), 4); // many equals
    expectsame(disturbed(triclinicpoints(0.3), 0.01, 5), 5);
    std::vector<vector3> plane = triclinicpoints(0.3);
    for (vector3& r : plane) r.x = 0.0;
    expectsame(plane, 6);
    expectsame(std::vector<vector3>(20, vector3(0.1, 0.1, 0.1)), 7);
}

// The tolerance as it is defined, from all pairs.
double plaintolerance(const std::vector<vector3>& vectors)
{
    constexpr double share = 1.0 / 8.0;
    double tolerance = std::numeric_limits<double>::infinity();
    for (const vector3& r : vectors) tolerance = std::fmin(tolerance, share * r.length());
    std::vector<std::size_t> sequence(vectors.size());
    for (std::size_t i = 0; i < sequence.size(); ++i) sequence[i] = i;
    for (int round = 0; round < 50 && tolerance > 0.0; ++round) {
        std::vector<vector3> apart;
        for (const auto& group : groupsof(vectors, sequence, tolerance))
            apart.push_back(vectors[group.front()]);
        if (apart.size() < 2) {
            tolerance /= 2.0;
            continue;
        }
        std::vector<double> nearest;
        for (std::size_t i = 0; i < apart.size(); i += apart.size() / 1000 + 1) {
            const auto next = plainnearest(apart, apart[i], [&](std::size_t k) { return k != i; });
            nearest.push_back((apart[*next] - apart[i]).length());
        }
        std::sort(nearest.begin(), nearest.end());
        const double next = share * nearest[(nearest.size() - 1) / 10];
        if (next >= tolerance) break;
        tolerance = next;
    }
    return tolerance;
}

TEST(TheToleranceForRepeats, IsThatOfAllPairs)
{
    for (unsigned seed = 1; seed <= 3; ++seed) {
        std::vector<vector3> vectors = disturbed(triclinicpoints(0.4), 0.002, seed);
        for (const vector3& r : disturbed(triclinicpoints(0.4), 0.002, seed + 10))
            vectors.push_back(r);
        EXPECT_EQ(usualtolerance(vectors), plaintolerance(vectors));
    }
}

} // namespace

} // namespace torvik::tools
