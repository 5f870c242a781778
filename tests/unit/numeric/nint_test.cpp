#include "numeric/nint.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

namespace torvik {

namespace {

class NearestInteger : public fresh {};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST_F(NearestInteger, HalvesGoAwayFromZero)
{
    EXPECT_EQ(nint(0.5), 1);
    EXPECT_EQ(nint(1.5), 2);
    EXPECT_EQ(nint(2.5), 3);
    EXPECT_EQ(nint(-0.5), -1);
    EXPECT_EQ(nint(-1.5), -2);
    EXPECT_EQ(nint(-2.5), -3);
}

TEST_F(NearestInteger, NumbersBetweenGoToTheNearer)
{
    EXPECT_EQ(nint(0.0), 0);
    EXPECT_EQ(nint(-0.0), 0);
    EXPECT_EQ(nint(2.4), 2);
    EXPECT_EQ(nint(2.6), 3);
    EXPECT_EQ(nint(-2.4), -2);
    EXPECT_EQ(nint(-2.6), -3);
    EXPECT_EQ(nint(7.0), 7);
    EXPECT_EQ(nint(DBL_TRUE_MIN), 0);
}

// Adding a half first would round these up.
TEST_F(NearestInteger, TheNumberJustBelowAHalfIsNotRoundedUp)
{
    EXPECT_EQ(nint(0.49999999999999994), 0);
    EXPECT_EQ(nint(-0.49999999999999994), 0);
    EXPECT_EQ(nint(std::nextafter(0.5, 1.0)), 1);
    EXPECT_EQ(nint(std::nextafter(2.5, 0.0)), 2);
    EXPECT_EQ(nint(std::nextafter(-2.5, 0.0)), -2);
}

TEST_F(NearestInteger, NumbersBeyondTheRangeGiveItsEnd)
{
    for (const double x : {2147483647.0, 2147483647.5, 2147483648.0, 1e10, DBL_MAX, infinity}) {
        EXPECT_EQ(nint(x), 2147483647);
        EXPECT_EQ(nint(-x), -2147483647);
        EXPECT_EQ(truncated(x), 2147483647);
        EXPECT_EQ(truncated(-x), -2147483647);
    }
}

TEST_F(NearestInteger, NumbersAtTheEndOfTheRangeAreRoundedWithinIt)
{
    EXPECT_EQ(nint(2147483646.4), 2147483646);
    EXPECT_EQ(nint(2147483646.5), 2147483647);
    EXPECT_EQ(nint(2147483646.75), 2147483647);
    EXPECT_EQ(nint(-2147483646.4), -2147483646);
    EXPECT_EQ(nint(-2147483646.5), -2147483647);
    EXPECT_EQ(truncated(2147483646.75), 2147483646);
    EXPECT_EQ(truncated(-2147483646.75), -2147483646);
}

TEST_F(NearestInteger, NotANumberGivesZero)
{
    EXPECT_EQ(nint(nan), 0);
    EXPECT_EQ(nint(-nan), 0);
    EXPECT_EQ(truncated(nan), 0);
    const volatile double atruntime = nan; // not folded by the compiler, which makes it 0
    EXPECT_EQ(nint(atruntime), 0);
    EXPECT_EQ(truncated(atruntime), 0);
}

TEST_F(NearestInteger, TruncationGoesTowardsZero)
{
    EXPECT_EQ(truncated(2.9), 2);
    EXPECT_EQ(truncated(-2.9), -2);
    EXPECT_EQ(truncated(-0.9), 0);
    EXPECT_EQ(truncated(3.0), 3);
    EXPECT_EQ(truncated(std::nextafter(3.0, 0.0)), 2);
}

TEST_F(NearestInteger, RoundsAsTheMathLibraryDoes)
{
    std::mt19937 random(12);
    std::uniform_real_distribution<double> wide(-2147483646.0, 2147483646.0);
    std::uniform_real_distribution<double> narrow(-12.0, 12.0);
    std::uniform_int_distribution<int> whole(-100000, 100000);
    for (int k = 0; k < 200000; ++k) {
        const double half = whole(random) + 0.5;
        for (const double x : {wide(random), narrow(random), half, std::nextafter(half, 0.0)}) {
            ASSERT_EQ(nint(x), std::lround(x)) << x;
            ASSERT_EQ(truncated(x), static_cast<int>(std::trunc(x))) << x;
        }
    }
}

} // namespace

} // namespace torvik
