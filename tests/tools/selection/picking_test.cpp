#include "base/failure.h"
#include "selection/picking.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace torvik::tools {

namespace {

measurement fivespots()
{
    measurement measured = measurementof(
        {{0.5, 0.0, 0.0}, {0.1, 0.0, 0.0}, {0.0, 0.3, 0.0}, {0.0, 0.2, 0.0}, {0.0, 0.0, 0.4}});
    const double intensities[] = {5.0, 1.0, 9.0, 7.0, 3.0};
    for (std::size_t i = 0; i < 5; ++i) measured.spots[i].intensity = intensities[i];
    return measured;
}

std::vector<std::size_t> picked(const measurement& measured, pick how, std::size_t count,
                                std::uint64_t seed = 1)
{
    return pickspots(measured.spots, vectorsof(measured), how, count, seed);
}

TEST(TheStrongest, AreThoseOfTheLargestIntensitiesInTheOrderOfTheFile)
{
    EXPECT_EQ(picked(fivespots(), pick::strongest, 3), (std::vector<std::size_t>{0, 2, 3}));
}

TEST(TheShortest, AreThoseOfTheLargestSpacingsInTheOrderOfTheFile)
{
    EXPECT_EQ(picked(fivespots(), pick::shortest, 2), (std::vector<std::size_t>{1, 3}));
}

TEST(FriedelMates, AreTakenAfterAllOthers)
{
    const measurement measured = measurementof({{0.1, 0.0, 0.0},
                                                {-0.1001, 0.0, 0.0},
                                                {0.0, 0.2, 0.0},
                                                {0.0, -0.2001, 0.0},
                                                {0.0, 0.0, 0.3}});
    EXPECT_EQ(picked(measured, pick::shortest, 3), (std::vector<std::size_t>{0, 2, 4}));
    EXPECT_EQ(picked(measured, pick::shortest, 4), (std::vector<std::size_t>{0, 1, 2, 4}));
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const auto taken = picked(measured, pick::random, 3, seed);
        EXPECT_EQ(taken.back(), 4U);
        EXPECT_NE(taken[0] / 2, taken[1] / 2);
    }
}

TEST(TheUsualChoice, IsTheStrongestOfTheShorterHalfWithIntensitiesAndTheShortestWithout)
{
    measurement measured = fivespots();
    EXPECT_EQ(picked(measured, pick::usual, 2), (std::vector<std::size_t>{2, 3}));
    EXPECT_EQ(picked(measured, pick::usual, 4), (std::vector<std::size_t>{0, 1, 2, 3}));
    measured.spots[2].intensity = 0.5;
    EXPECT_EQ(picked(measured, pick::usual, 2), (std::vector<std::size_t>{1, 3}));
    for (spot& one : measured.spots) one.intensity = 0.0;
    EXPECT_EQ(picked(measured, pick::usual, 3), picked(measured, pick::shortest, 3));
    measured = fivespots();
    measured.spots[4].intensity.reset();
    EXPECT_EQ(picked(measured, pick::usual, 3), picked(measured, pick::shortest, 3));
}

TEST(TheStrongest, CannotBePickedWithoutIntensities)
{
    measurement measured = fivespots();
    for (spot& one : measured.spots) one.intensity = 1.0;
    EXPECT_THROW(picked(measured, pick::strongest, 2), failure);
    for (spot& one : measured.spots) one.intensity.reset();
    EXPECT_THROW(picked(measured, pick::strongest, 2), failure);
}

TEST(TheStrongest, AreTakenBeforeThoseWithoutIntensity)
{
    measurement measured = fivespots();
    measured.spots[2].intensity.reset();
    EXPECT_EQ(picked(measured, pick::strongest, 2), (std::vector<std::size_t>{0, 3}));
    EXPECT_EQ(picked(measured, pick::strongest, 4), (std::vector<std::size_t>{0, 1, 3, 4}));
}

TEST(AChoiceOfAll, TakesAllWhateverTheWay)
{
    measurement measured = fivespots();
    measured.spots[4].intensity.reset();
    for (const std::string& name : picknames())
        EXPECT_EQ(picked(measured, picknamed(name), 5).size(), 5U) << name;
}

// The numbers are those of the 64-bit Mersenne twister, which the standard fixes.
TEST(AChoiceByChance, IsTheSameForTheSameSeed)
{
    const measurement measured = measurementof(triclinicpoints(0.5));
    const auto first = picked(measured, pick::random, 10, 7);
    EXPECT_EQ(first, picked(measured, pick::random, 10, 7));
    EXPECT_NE(first, picked(measured, pick::random, 10, 8));
    EXPECT_TRUE(std::is_sorted(first.begin(), first.end()));
    EXPECT_EQ(std::adjacent_find(first.begin(), first.end()), first.end());
}

TEST(AChoiceByChance, TakesEverySpotAboutAsOften)
{
    std::vector<vector3> half = triclinicpoints(0.2);
    std::erase_if(half, [](const vector3& r) { return r.z < 0.0 || (r.z == 0.0 && r.y <= 0.0); });
    const measurement measured = measurementof(half);
    const std::size_t all = half.size();
    std::vector<int> taken(all, 0);
    const int rounds = 2000;
    for (int seed = 0; seed < rounds; ++seed)
        for (const std::size_t i : picked(measured, pick::random, all / 2, 100U + unsigned(seed)))
            ++taken[i];
    for (const int count : taken) EXPECT_NEAR(count, rounds / 2, 5.0 * std::sqrt(rounds / 4.0));
}

// Half of the spots crowd around one direction.
TEST(ASpreadChoice, IsMoreEvenOverDirectionsAndLengthsThanOneByChance)
{
    std::vector<vector3> vectors = triclinicpoints(0.6);
    const std::size_t even = vectors.size();
    for (const vector3& r : disturbed(std::vector<vector3>(even, {0.3, 0.3, 0.3}), 0.02, 5))
        vectors.push_back(r);
    const measurement measured = measurementof(vectors);
    const auto crowded = [&](const std::vector<std::size_t>& positions) {
        return std::count_if(positions.begin(), positions.end(),
                             [&](std::size_t i) { return i >= even; });
    };
    EXPECT_GT(crowded(picked(measured, pick::random, 40)), 12);
    EXPECT_LT(crowded(picked(measured, pick::spread, 40)), 6);
}

TEST(ASpreadChoice, HasShortMiddleAndLongVectors)
{
    const measurement measured = measurementof(triclinicpoints(0.6));
    const auto vectors = vectorsof(measured);
    auto lengths = std::vector<double>();
    for (const vector3& r : vectors) lengths.push_back(r.length());
    std::sort(lengths.begin(), lengths.end());
    int part[3] = {};
    for (const std::size_t i : picked(measured, pick::spread, 30)) {
        const double length = vectors[i].length();
        ++part[length < lengths[lengths.size() / 3]       ? 0
               : length < lengths[2 * lengths.size() / 3] ? 1
                                                          : 2];
    }
    for (const int count : part) EXPECT_GE(count, 5);
}

TEST(TheWaysToPick, HaveNames)
{
    for (const std::string& name : picknames()) EXPECT_EQ(nameof(picknamed(name)), name);
    EXPECT_THROW(picknamed("best"), failure);
}

} // namespace

} // namespace torvik::tools
