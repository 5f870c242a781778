#include "volumes/lanesines.h"

#include "property/randomlattices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace torvik {

namespace {

// The largest error of both functions over random angles up to a limit, against long double.
long double largesterror(double limit, int angles)
{
    randomnumbers random(1);
    long double largest = 0.0L;
    for (int n = 0; n < angles; ++n) {
        const double y = random.between(-limit, limit);
        const lanesines four = sinesof(fourof(y));
        largest =
            std::max(largest, std::fabs(four.sine[0] - std::sin(static_cast<long double>(y))));
        largest =
            std::max(largest, std::fabs(four.cosine[0] - std::cos(static_cast<long double>(y))));
    }
    return largest;
}

TEST(LaneSines, AreOffByLessThanTheirBound)
{
    for (const double limit : {0.1, 1.0, 100.0, 1e4, 1e6, lanesinelimit}) {
        const long double error = largesterror(limit, 20000);
        EXPECT_LT(error, lanesineerror) << limit;
        EXPECT_GT(error, 0x1p-56) << limit; // the check does see roundings
    }
}

TEST(LaneSines, WorkOnFourDifferentAngles)
{
    const lanesines four = sinesof(lanes{0.0, 1.0, -2.0, 1000.0});
    EXPECT_EQ(four.sine[0], 0.0);
    EXPECT_EQ(four.cosine[0], 1.0);
    EXPECT_NEAR(four.sine[1], std::sin(1.0), lanesineerror);
    EXPECT_NEAR(four.sine[2], std::sin(-2.0), lanesineerror);
    EXPECT_NEAR(four.cosine[3], std::cos(1000.0), lanesineerror);
}

TEST(LaneSines, HoldNextToMultiplesOfAQuarterTurn)
{
    // The nearest doubles to k pi/2: what is left of them is all of the sine or cosine.
    for (int k = 1; k <= 20000000; k += 99991) {
        const double y = k * 1.5707963267948966;
        const lanesines four = sinesof(fourof(y));
        EXPECT_NEAR(four.sine[2], std::sin(y), lanesineerror) << k;
        EXPECT_NEAR(four.cosine[2], std::cos(y), lanesineerror) << k;
    }
}

TEST(LaneSines, WholePartsAreCutTowardsZero)
{
    const lanes x = {0.0, 0.9999999999999999, 1.0, 1.5};
    const lanes y = {2.5, 3.4999999999999996, 1073741823.9999999, 1125899906842623.5};
    for (int j = 0; j < lanecount; ++j) {
        EXPECT_EQ(wholepart(x)[j], std::floor(x[j]));
        EXPECT_EQ(wholepart(y)[j], std::floor(y[j]));
    }
}

TEST(LaneSines, NearestWholeNumbersComeAsIntegersToo)
{
    wholelanes whole;
    const lanes x = {-2.7, 0.4, 1e9 + 0.6, -1e15};
    const lanes nearest = nearestlanes(x, whole);
    const double expected[] = {-3.0, 0.0, 1e9 + 1.0, -1e15};
    for (int j = 0; j < lanecount; ++j) {
        EXPECT_EQ(nearest[j], expected[j]);
        EXPECT_EQ(static_cast<double>(whole[j]), expected[j]);
    }
}

TEST(LaneSines, MagnitudesLoseTheSignOnly)
{
    const lanes x = magnitude(lanes{-1.5, -0.0, 2.0, -1e300});
    EXPECT_EQ(x[0], 1.5);
    EXPECT_FALSE(std::signbit(x[1]));
    EXPECT_EQ(x[2], 2.0);
    EXPECT_EQ(x[3], 1e300);
}

} // namespace

} // namespace torvik
