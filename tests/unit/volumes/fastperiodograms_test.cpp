#include "volumes/fastperiodograms.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace torvik {

namespace {

// 47905 triples, those of 67 reflections, are the first whose square wraps around to a negative number.
TEST(BoundsOnRayleighsPeriodogram, AreInOrderWhereTheDivisorIsNegative)
{
    const interval x = rayleighbounds({3.0, 4.0, 0.125}, -2.0); // the length is 5
    EXPECT_NEAR(x.least, -0.5 * 5.125 * 5.125, 1e-12);
    EXPECT_NEAR(x.most, -0.5 * 4.875 * 4.875, 1e-12);
}

TEST(BoundsOnRayleighsPeriodogram, AreNoneWhereTheDivisorVanishesAndTheSumMay)
{
    const interval x = rayleighbounds({0.0, 0.5, 1.0}, 0.0);
    EXPECT_EQ(x.least, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(x.most, std::numeric_limits<double>::infinity());
}

// The sum may be 1 - 1.5, whose angle is pi.
TEST(BoundsOnTheAngleOfASum, AreNoneWhereTheSumMayVanish)
{
    const interval x = anglebounds({0.0, 1.0, 1.5});
    EXPECT_EQ(x.least, -std::numeric_limits<double>::infinity());
    EXPECT_EQ(x.most, std::numeric_limits<double>::infinity());
}

// A sum off by up to half its length turns by up to 30 degrees.
TEST(BoundsOnTheAngleOfASum, HoldTheAnglesThatItMayHave)
{
    const interval x = anglebounds({1.0, 1.0, 0.5 * std::sqrt(2.0)});
    EXPECT_LT(x.least, 15.0);
    EXPECT_GT(x.least, -5.0);
    EXPECT_GT(x.most, 75.0);
    EXPECT_LT(x.most, 95.0);
}

} // namespace

} // namespace torvik
