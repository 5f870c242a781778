#include "volumes/peaks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace torvik {

namespace {

constexpr double infinite = std::numeric_limits<double>::infinity();

// A search for the largest of some values, of which bounds are given.
struct search {
    periodogrambounds bounds;
    std::vector<double> values;
    std::vector<int> computed; // the values that it asked for, in order

    int largest()
    {
        return largestin(bounds, 0, static_cast<int>(values.size()) - 1, [&](int i) {
            computed.push_back(i);
            return values[static_cast<std::size_t>(i)];
        });
    }
};

using periods = std::vector<int>;

TEST(Peaks, KnownValuesNeedNoSums)
{
    search known = {{{1, 3, 2, 3}, {1, 3, 2, 3}}, {1, 3, 2, 3}, {}};
    EXPECT_EQ(known.largest(), 1); // the first of equals
    EXPECT_TRUE(known.computed.empty());
}

TEST(Peaks, BoundsApartFromAllOthersDecide)
{
    search apart = {{{1, 4, 2}, {3, 5, 3.9}}, {2, 4.5, 3}, {}};
    EXPECT_EQ(apart.largest(), 1);
    EXPECT_TRUE(apart.computed.empty());
}

TEST(Peaks, BoundsThatTouchAreDecidedByValues)
{
    search touching = {{{1, 4, 2}, {3, 5, 4}}, {2, 4, 4}, {}};
    EXPECT_EQ(touching.largest(), 1);
    EXPECT_EQ(touching.computed, (periods{1})); // 4, and what comes later cannot be larger
}

TEST(Peaks, ALaterValueThatIsLargerWins)
{
    search overlapping = {{{1, 4, 2}, {3, 5, 4.5}}, {2, 4, 4.25}, {}};
    EXPECT_EQ(overlapping.largest(), 2);
    EXPECT_EQ(overlapping.computed, (periods{1, 2}));
}

TEST(Peaks, AnEarlierValueThatIsEqualWins)
{
    search tied = {{{1, 4, 2}, {4.5, 5, 3}}, {4.25, 4.25, 3}, {}};
    EXPECT_EQ(tied.largest(), 0);
    EXPECT_EQ(tied.computed, (periods{1, 0}));
}

TEST(Peaks, OnlyThoseThatReachTheLargestAreComputed)
{
    search few = {{{4, 1, 4, 0, 4}, {6, 3, 6.5, 1, 6.25}}, {5, 2, 4.5, 0.5, 4.75}, {}};
    EXPECT_EQ(few.largest(), 0);
    EXPECT_EQ(few.computed, (periods{2, 4, 0}));
    EXPECT_EQ(few.bounds.least[1], 1.0); // still bounds
}

TEST(Peaks, NothingAboveZeroIsNoPeak)
{
    search below = {{{-2, -1, 0}, {-1, -0.5, 0}}, {-1.5, -0.75, 0}, {}};
    EXPECT_EQ(below.largest(), -1);
    EXPECT_TRUE(below.computed.empty());
}

TEST(Peaks, BoundsAroundZeroAreDecidedByValues)
{
    search around = {{{-1, -1}, {1, 0.5}}, {-0.5, 0.25}, {}};
    EXPECT_EQ(around.largest(), 1);
    EXPECT_EQ(around.computed, (periods{0, 1}));
    search zero = {{{0, -1}, {1, 0.5}}, {0.0, -0.25}, {}};
    EXPECT_EQ(zero.largest(), -1);
    EXPECT_EQ(zero.computed, (periods{0, 1}));
    search apart = {{{-1, -3}, {1, -2}}, {-0.5, -2.5}, {}};
    EXPECT_EQ(apart.largest(), -1);
    EXPECT_EQ(apart.computed, periods{0});
}

TEST(Peaks, WhatIsNotANumberIsNoPeak)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    search unknown = {{{-infinite, 1}, {infinite, 2}}, {none, 1.5}, {}};
    EXPECT_EQ(unknown.largest(), 1);
    EXPECT_EQ(unknown.computed, (periods{0}));
    EXPECT_EQ(unknown.bounds.least[0], -infinite); // known now, and below all others
    EXPECT_EQ(unknown.bounds.most[0], -infinite);
    search nothing = {{{-infinite, -infinite}, {infinite, infinite}}, {none, none}, {}};
    EXPECT_EQ(nothing.largest(), -1);
}

TEST(Peaks, InfinityIsTheLargestValue)
{
    search infinities = {
        {{1, infinite, infinite}, {2, infinite, infinite}}, {1.5, infinite, infinite}, {}};
    EXPECT_EQ(infinities.largest(), 1);
    EXPECT_TRUE(infinities.computed.empty());
}

TEST(Peaks, BoundsThatAreWideEverywhereAreSettledTogether)
{
    // Each value once at most: to ask anew after each would take the square of their number.
    constexpr int n = 100000;
    search wide = {{std::vector<double>(n, -infinite), std::vector<double>(n, infinite)}, {}, {}};
    for (int i = 0; i < n; ++i) wide.values.push_back(i % 1000 - 500.0);
    wide.bounds.most[70999] = 498.0; // not the largest, surely
    EXPECT_EQ(wide.largest(), 999);
    EXPECT_LE(wide.computed.size(), 100000U);
    EXPECT_EQ(std::count(wide.computed.begin(), wide.computed.end(), 70999), 0);
}

TEST(Peaks, ThoseThatCouldWinAreSettledInOrderOnceManyWereComputed)
{
    constexpr int n = 100;
    search wide = {{std::vector<double>(n, -1.0), std::vector<double>(n, 0.0)},
                   std::vector<double>(n, 0.5),
                   {}};
    for (int i = 0; i < n; ++i) wide.bounds.most[static_cast<std::size_t>(i)] = 1000.0 + i;
    wide.bounds.most[10] = 0.25; // below the value of others
    wide.values[50] = 0.75;
    EXPECT_EQ(wide.largest(), 50);
    periods expected;
    for (int i = 99; i >= 68; --i) expected.push_back(i); // 32 times the highest
    for (int i = 0; i <= 67; ++i)
        if (i != 10) expected.push_back(i);
    EXPECT_EQ(wide.computed, expected);
}

TEST(Peaks, OnlyTheStretchIsLookedAt)
{
    periodogrambounds bounds = {{9, 1, 3, 2, 9}, {9, 1, 3, 2, 9}};
    const auto none = [](int) { return 0.0; };
    EXPECT_EQ(largestin(bounds, 1, 3, none), 2);
    EXPECT_EQ(largestin(bounds, 3, 3, none), 3);
    EXPECT_EQ(largestin(bounds, 3, 4, none), 4);
    EXPECT_EQ(largestin(bounds, 3, 2, none), -1);
}

} // namespace

} // namespace torvik
