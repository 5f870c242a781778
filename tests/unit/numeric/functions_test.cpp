#include "numeric/functions.h"

#include "support/fresh.h"
#include "support/longdoubles.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace torvik {

namespace {

class Functions : public fresh {
protected:
    double uniform(double from, double to)
    {
        const double part = static_cast<double>(random_() >> 11) * 0x1p-53;
        return from + part * (to - from);
    }

private:
    std::mt19937_64 random_{20261121};
};

// The library's answer in the 64 bits of a long double is off by less than one unit of its last
// place, a 2048th of the place of a double; whoever gives the nearest double is off by half a unit
// and that, at most.
void expectnearest(double ours, long double exact)
{
    const double nearest = static_cast<double>(exact);
    const double unit = std::fabs(std::nextafter(nearest, 2.0 * nearest) - nearest);
    EXPECT_LE(std::fabs(static_cast<double>(exact - ours)), (0.5 + 1.0 / 1024) * unit)
        << ours << " is not nearest to " << nearest;
}

TEST_F(Functions, OfAnglesGiveTheNearestDouble)
{
    if (!longdoublesarelonger()) GTEST_SKIP() << shortlongdoubles;
    for (int i = 0; i < 20000; ++i) {
        const double x = uniform(-7.0, 7.0) * std::exp2(uniform(0.0, 40.0));
        expectnearest(sine(x), std::sin(static_cast<long double>(x)));
        expectnearest(cosine(x), std::cos(static_cast<long double>(x)));
    }
}

TEST_F(Functions, ThatGiveAnglesGiveTheNearestDouble)
{
    if (!longdoublesarelonger()) GTEST_SKIP() << shortlongdoubles;
    for (int i = 0; i < 20000; ++i) {
        const double x = uniform(-1.0, 1.0);
        const double y = uniform(-1.0, 1.0) * std::exp2(uniform(-20.0, 0.0));
        expectnearest(arcsine(x), std::asin(static_cast<long double>(x)));
        expectnearest(arccosine(x), std::acos(static_cast<long double>(x)));
        expectnearest(arctangent(y, x), std::atan2(static_cast<long double>(y), x));
    }
}

TEST_F(Functions, OfGrowthGiveTheNearestDouble)
{
    if (!longdoublesarelonger()) GTEST_SKIP() << shortlongdoubles;
    for (int i = 0; i < 20000; ++i) {
        const double x = uniform(-600.0, 600.0);
        const double y = std::exp2(uniform(-800.0, 800.0));
        expectnearest(exponential(x / 20.0), std::exp(static_cast<long double>(x / 20.0)));
        expectnearest(logarithm(y), std::log(static_cast<long double>(y)));
        expectnearest(logarithm(x * x), std::log(static_cast<long double>(x * x)));
    }
}

// From a calculation with 113 bits. Libraries that come close to the nearest double give another one
// for these.
TEST_F(Functions, GiveTheNearestDoubleWhereItIsNearlyATie)
{
    EXPECT_EQ(arccosine(0x1.73fde221d9376p-1), 0x1.83d8e3c090213p-1);
    EXPECT_EQ(arccosine(0x1.d0386016e056p-1), 0x1.bde6bb9b2a268p-2);
    EXPECT_EQ(arcsine(-0x1.06b152006cbd4p-2), -0x1.09a9ae3d80edfp-2);
    EXPECT_EQ(arcsine(-0x1.c0172e8d972dp-3), -0x1.c3beb31c22f19p-3);
    EXPECT_EQ(cosine(0x1.3c4fd1321922ep+2), 0x1.d2dd08e72b1d5p-3);
    EXPECT_EQ(cosine(0x1.deaf11ce0691ep+1), -0x1.a71cf672987c5p-1);
    EXPECT_EQ(exponential(-0x1.ed103e18d195p+1), 0x1.5bee2c0e4c9a4p-6);
    EXPECT_EQ(exponential(0x1.893bd9595bd5p+0), 0x1.295cd8f42b5bap+2);
    EXPECT_EQ(logarithm(0x1.583147854e90cp+3), 0x1.300f3e3f14d23p+1);
    EXPECT_EQ(logarithm(0x1.a80d8f9da0984p+2), 0x1.e416f50d312c2p+0);
    EXPECT_EQ(sine(0x1.705a5bd54547p+1), 0x1.0b0b30e5eca99p-2);
    EXPECT_EQ(sine(0x1.cbe91102741cp-3), 0x1.c80dfbe992ba2p-3);
}

TEST_F(Functions, KeepWhatIsExact)
{
    EXPECT_EQ(std::bit_cast<std::uint64_t>(sine(-0.0)), std::bit_cast<std::uint64_t>(-0.0));
    EXPECT_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(sine(1e-300), 1e-300);
    EXPECT_EQ(arcsine(1.0), 0x1.921fb54442d18p+0); // pi / 2
    EXPECT_EQ(arccosine(1.0), 0.0);
    EXPECT_EQ(arccosine(-1.0), 0x1.921fb54442d18p+1); // pi
    EXPECT_EQ(arctangent(0.0, -1.0), 0x1.921fb54442d18p+1);
    EXPECT_EQ(arctangent(0.0, 0.0), 0.0);
    EXPECT_EQ(exponential(0.0), 1.0);
    EXPECT_EQ(logarithm(1.0), 0.0);
}

TEST_F(Functions, AnswerAsTheLibraryWhereThereIsNoNumber)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double none = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(sine(infinity)));
    EXPECT_TRUE(std::isnan(cosine(none)));
    EXPECT_TRUE(std::isnan(arcsine(1.0 + 0x1p-52)));
    EXPECT_TRUE(std::isnan(arccosine(none)));
    EXPECT_TRUE(std::isnan(arctangent(none, 1.0)));
    EXPECT_TRUE(std::isnan(logarithm(-1.0)));
    EXPECT_EQ(logarithm(0.0), -infinity);
    EXPECT_EQ(exponential(infinity), infinity);
    EXPECT_EQ(exponential(-infinity), 0.0);
}

} // namespace

} // namespace torvik
