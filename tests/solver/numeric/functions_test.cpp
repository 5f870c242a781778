#include "solver/numeric/functions.h"

#include "simulation/randomnumbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

using limits = std::numeric_limits<double>;
using chance = tools::randomnumbers;

// "A few units in the last place", as the header has it. The references are those of the standard library in
// long double, with errors below a hundredth of a unit where that has 64 bits.
constexpr double few_units = 4.0;

// The error in units in the last place of the exact value.
double units_off(double value, long double exact)
{
    if (static_cast<long double>(value) == exact) return 0.0;
    const double rounded = std::fabs(static_cast<double>(exact));
    const double unit = std::nextafter(rounded, limits::infinity()) - rounded;
    return static_cast<double>(std::fabs(static_cast<long double>(value) - exact)
                               / static_cast<long double>(unit));
}

// A number whose logarithm is uniform.
double random_positive(chance& random, double low, double high)
{
    return std::exp2(random.between(std::log2(low), std::log2(high)));
}

TEST(TheExponential, IsRightToAFewUnitsOverItsWholeRange)
{
    chance random(1);
    double worst = 0.0;
    for (int i = 0; i < 50000; ++i) {
        const double x = i % 2 == 0 ? random.between(-708.0, 709.0) : random.between(-2.0, 2.0);
        worst = std::max(worst, units_off(exponential(x), std::exp(static_cast<long double>(x))));
    }
    EXPECT_LE(worst, few_units);
    EXPECT_EQ(exponential(0.0), 1.0);
    EXPECT_EQ(exponential(-0.0), 1.0);
    EXPECT_LE(units_off(exponential(709.0), std::exp(709.0L)), few_units);
}

TEST(TheExponential, ReachesSubnormalNumbersAndZero)
{
    chance random(2);
    for (int i = 0; i < 2000; ++i) {
        const double x = random.between(-745.0, -708.0);
        // Rounded twice: to 53 bits, then to a multiple of the smallest number.
        EXPECT_LE(units_off(exponential(x), std::exp(static_cast<long double>(x))), few_units) << x;
    }
    EXPECT_EQ(exponential(-745.0), 0.0);
    EXPECT_EQ(exponential(-1e300), 0.0);
    EXPECT_EQ(exponential(-limits::infinity()), 0.0);
}

TEST(TheExponential, IsInfiniteAbove709AndKeepsWhatIsNotANumber)
{
    EXPECT_EQ(exponential(709.1), limits::infinity());
    EXPECT_EQ(exponential(limits::infinity()), limits::infinity());
    EXPECT_TRUE(std::isnan(exponential(limits::quiet_NaN())));
}

TEST(TheLogarithm, IsRightToAFewUnitsForNormalAndSubnormalNumbers)
{
    chance random(3);
    double worst = 0.0;
    for (int i = 0; i < 50000; ++i) {
        const double x =
            i % 2 == 0 ? random_positive(random, 5e-324, 1.7e308) : random.between(0.5, 2.0);
        worst = std::max(worst, units_off(logarithm(x), std::log(static_cast<long double>(x))));
    }
    EXPECT_LE(worst, few_units);
    for (const double x :
         {limits::min(), limits::denorm_min(), limits::max(), 1e-310, std::nextafter(1.0, 0.0),
          std::nextafter(1.0, 2.0), std::numbers::sqrt2 / 2.0,
          std::nextafter(std::numbers::sqrt2 / 2.0, 0.0)})
        EXPECT_LE(units_off(logarithm(x), std::log(static_cast<long double>(x))), few_units) << x;
}

TEST(TheLogarithm, OfOneIsZeroOfZeroMinusInfinityAndBelowZeroNoNumber)
{
    EXPECT_EQ(logarithm(1.0), 0.0);
    EXPECT_EQ(logarithm(0.0), -limits::infinity());
    EXPECT_EQ(logarithm(-0.0), -limits::infinity());
    EXPECT_EQ(logarithm(limits::infinity()), limits::infinity());
    for (const double x : {-1.0, -limits::denorm_min(), -limits::infinity(), limits::quiet_NaN()})
        EXPECT_TRUE(std::isnan(logarithm(x))) << x;
}

TEST(TheCubeRoot, IsRightToAFewUnitsAndExactForCubes)
{
    chance random(4);
    double worst = 0.0;
    for (int i = 0; i < 20000; ++i) {
        const double x = random_positive(random, 5e-324, 1.7e308);
        worst = std::max(worst, units_off(cube_root(x), std::cbrt(static_cast<long double>(x))));
    }
    EXPECT_LE(worst, few_units);
    for (int i = 1; i <= 100; ++i) EXPECT_EQ(cube_root(static_cast<double>(i * i * i)), i);
    EXPECT_LE(
        units_off(cube_root(limits::max()), std::cbrt(static_cast<long double>(limits::max()))),
        few_units);
    EXPECT_EQ(cube_root(0.0), 0.0);
    EXPECT_EQ(cube_root(limits::infinity()), limits::infinity());
    EXPECT_TRUE(std::isnan(cube_root(limits::quiet_NaN())));
}

// Near the zeros the reduction by pi/2, of 84 bits, limits the absolute error instead.
constexpr double reduction_error = 1e-19;

void expect_circular(double x)
{
    const auto exact = static_cast<long double>(x);
    const double sine_off = std::fabs(static_cast<double>(sine(x) - std::sin(exact)));
    const double cosine_off = std::fabs(static_cast<double>(cosine(x) - std::cos(exact)));
    EXPECT_TRUE(sine_off <= reduction_error || units_off(sine(x), std::sin(exact)) <= few_units)
        << x;
    EXPECT_TRUE(cosine_off <= reduction_error || units_off(cosine(x), std::cos(exact)) <= few_units)
        << x;
}

TEST(SineAndCosine, AreRightToAFewUnitsUpToAMillion)
{
    chance random(5);
    for (int i = 0; i < 20000; ++i) expect_circular(random.between(-4.0, 4.0));
    for (int i = 0; i < 20000; ++i) expect_circular(random.between(-1e6, 1e6));
    for (int i = 0; i < 2000; ++i) expect_circular(random_positive(random, 1e-300, 1.0));
}

TEST(SineAndCosine, AreRightAtTheBordersOfAllQuadrants)
{
    for (int eighth = -4000; eighth <= 4000; ++eighth) {
        const double border = eighth * (std::numbers::pi / 4.0);
        for (const double x : {border, std::nextafter(border, -1e9), std::nextafter(border, 1e9)})
            expect_circular(x);
    }
    EXPECT_EQ(sine(0.0), 0.0);
    EXPECT_EQ(sine(-0.0), 0.0); // without its sign
    EXPECT_EQ(cosine(0.0), 1.0);
    EXPECT_EQ(cosine(-0.0), 1.0);
}

TEST(TheArcTangent, IsRightToAFewUnitsInAllQuadrants)
{
    chance random(6);
    double worst = 0.0;
    for (int i = 0; i < 50000; ++i) {
        const double sizes = i % 2 == 0 ? 1e150 : 10.0;
        const double y =
            random_positive(random, 1.0 / sizes, sizes) * (random.whole(0, 1) == 0 ? 1.0 : -1.0);
        const double x =
            random_positive(random, 1.0 / sizes, sizes) * (random.whole(0, 1) == 0 ? 1.0 : -1.0);
        if (std::fabs(y / x) < limits::min()) continue; // a subnormal quotient has fewer digits
        worst =
            std::max(worst, units_off(arctangent(y, x), std::atan2(static_cast<long double>(y),
                                                                   static_cast<long double>(x))));
    }
    EXPECT_LE(worst, few_units);
}

// The values of the standard, ISO C annex F: signs of zero choose the side of the cut.
TEST(TheArcTangent, OnTheAxesIsThatOfTheStandardLibrary)
{
    constexpr double infinite = limits::infinity();
    for (const double y : {0.0, -0.0, 1.0, -1.0, infinite, -infinite})
        for (const double x : {0.0, -0.0, 2.0, -2.0, infinite, -infinite}) {
            if (std::isinf(x) && std::isinf(y)) continue;
            const double expected = std::atan2(y, x);
            EXPECT_LE(units_off(arctangent(y, x), expected), 1.0) << y << " " << x;
            EXPECT_EQ(std::signbit(arctangent(y, x)), std::signbit(expected)) << y << " " << x;
        }
}

TEST(TheArcCosine, IsRightToAFewUnitsAndCountsWhatIsBeyondAsOne)
{
    chance random(7);
    double worst = 0.0;
    for (int i = 0; i < 50000; ++i) {
        const double near = 1.0 - random_positive(random, 1e-15, 1.0);
        const double x = i % 3 == 0 ? random.between(-1.0, 1.0) : i % 3 == 1 ? near : -near;
        worst = std::max(worst, units_off(arccosine(x), std::acos(static_cast<long double>(x))));
    }
    EXPECT_LE(worst, few_units);
    for (const double x : {1.0, 1.0 + 1e-15, 7.0}) EXPECT_EQ(arccosine(x), 0.0);
    for (const double x : {-1.0, -1.0 - 1e-15, -7.0}) EXPECT_EQ(arccosine(x), std::numbers::pi);
    EXPECT_EQ(arccosine(0.0), std::numbers::pi / 2.0);
    EXPECT_TRUE(std::isnan(arccosine(limits::quiet_NaN())));
}

TEST(TheLogGamma, IsRightToItsBound)
{
    chance random(8);
    for (int i = 0; i < 20000; ++i) {
        const double x =
            i % 2 == 0 ? random_positive(random, 1e-300, 1e12) : random.between(0.1, 200.0);
        const auto exact = static_cast<double>(std::lgamma(static_cast<long double>(x)));
        EXPECT_NEAR(log_gamma(x), exact, std::max(1e-12, 1e-15 * std::fabs(exact))) << x;
    }
    double factorial = 1.0;
    for (int n = 1; n <= 20; ++n) {
        factorial *= n;
        EXPECT_NEAR(log_gamma(n + 1.0), std::log(factorial), 1e-12);
    }
    EXPECT_NEAR(log_gamma(0.5), 0.5 * std::log(std::numbers::pi), 1e-12);
}

TEST(TheLogSum, IsThatOfTheExponentialsAlsoWhereTheyOverflow)
{
    chance random(9);
    for (int i = 0; i < 5000; ++i) {
        const double x = random.between(-700.0, 700.0);
        const double y = x + random.between(-60.0, 60.0);
        const long double exact =
            std::log(std::exp(static_cast<long double>(x)) + std::exp(static_cast<long double>(y)));
        EXPECT_NEAR(log_sum(x, y), static_cast<double>(exact), 1e-15 * std::fabs(x) + 1e-15) << x;
        EXPECT_EQ(log_sum(x, y), log_sum(y, x));
    }
    EXPECT_DOUBLE_EQ(log_sum(1e4, 1e4), 1e4 + std::numbers::ln2);
    EXPECT_EQ(log_sum(1e4, -1e4), 1e4);
    constexpr double none = -limits::infinity();
    EXPECT_EQ(log_sum(none, 3.0), 3.0);
    EXPECT_EQ(log_sum(3.0, none), 3.0);
    EXPECT_EQ(log_sum(none, none), none);
}

TEST(TheQuickLogarithm, IsRightToItsBoundForAllNormalFloats)
{
    chance random(10);
    for (int i = 0; i < 50000; ++i) {
        const auto x = static_cast<float>(i % 2 == 0 ? random_positive(random, 1.2e-38, 3.4e38)
                                                     : random.between(0.5, 2.0));
        const double exact = std::log(static_cast<double>(x));
        EXPECT_NEAR(static_cast<double>(quick_logarithm(x)), exact,
                    2e-7 + 1.3e-7 * std::fabs(exact))
            << x;
    }
    EXPECT_EQ(quick_logarithm(1.0F), 0.0F);
}

} // namespace

} // namespace torvik::solver
