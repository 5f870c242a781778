#include "solver/numeric/lanes.h"

#include "simulation/randomnumbers.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace torvik::solver {

namespace {

using chance = tools::randomnumbers;
using eight = std::array<float, float_lanes>;

// In a function each: vectors are passed in memory.
void exponentials(const eight& x, eight& y)
{
    store(y.data(), exponential(load<floats>(x.data())));
}
void logarithms(const eight& x, eight& y)
{
    store(y.data(), logarithm(load<floats>(x.data())));
}
void rounded(const eight& x, eight& y)
{
    store(y.data(), nearest_whole(load<floats>(x.data())));
}
void summed(const eight& x, float& y)
{
    y = sum_of(load<floats>(x.data()));
}

// The same for a processor with AVX2.
TORVIK_SOLVER_AVX2 void exponentials_avx2(const eight& x, eight& y)
{
    store(y.data(), exponential(load<floats>(x.data())));
}
TORVIK_SOLVER_AVX2 void logarithms_avx2(const eight& x, eight& y)
{
    store(y.data(), logarithm(load<floats>(x.data())));
}
TORVIK_SOLVER_AVX2 void rounded_avx2(const eight& x, eight& y)
{
    store(y.data(), nearest_whole(load<floats>(x.data())));
}
TORVIK_SOLVER_AVX2 void summed_avx2(const eight& x, float& y)
{
    y = sum_of(load<floats>(x.data()));
}

eight random_lanes(chance& random, double low, double high)
{
    eight x;
    for (float& lane : x) lane = static_cast<float>(random.between(low, high));
    return x;
}

bool same_bits(const eight& x, const eight& y)
{
    return std::memcmp(x.data(), y.data(), sizeof x) == 0;
}

TEST(TheExponentialOfLanes, HasARelativeErrorBelowItsBound)
{
    chance random(1);
    double worst = 0.0;
    for (int i = 0; i < 50000; ++i) {
        const eight x =
            i % 2 == 0 ? random_lanes(random, -80.0, 80.0) : random_lanes(random, -2.0, 2.0);
        eight y;
        exponentials(x, y);
        for (std::size_t k = 0; k < float_lanes; ++k) {
            const double exact = std::exp(static_cast<double>(x[k]));
            worst = std::max(worst, std::fabs(static_cast<double>(y[k]) / exact - 1.0));
        }
    }
    EXPECT_LT(worst, 3e-7);
}

TEST(TheExponentialOfLanes, TakesWhatIsBelowMinus80ForMinus80)
{
    const eight x = {-80.0F, -80.01F, -1000.0F, -3e38F, -HUGE_VALF, 0.0F, -0.0F, 80.0F};
    eight y;
    exponentials(x, y);
    for (std::size_t k = 1; k < 5; ++k) EXPECT_EQ(y[k], y[0]);
    EXPECT_NEAR(static_cast<double>(y[0]) / std::exp(-80.0), 1.0, 3e-7);
    EXPECT_EQ(y[5], 1.0F);
    EXPECT_EQ(y[6], 1.0F);
    EXPECT_NEAR(static_cast<double>(y[7]) / std::exp(80.0), 1.0, 3e-7);
}

TEST(TheLogarithmOfLanes, HasAnErrorBelowItsBoundForAllNormalFloats)
{
    chance random(2);
    for (int i = 0; i < 50000; ++i) {
        eight x = random_lanes(random, 0.5, 2.0);
        if (i % 2 == 0)
            for (float& lane : x)
                lane = static_cast<float>(std::exp2(random.between(-126.0, 127.9)));
        eight y;
        logarithms(x, y);
        for (std::size_t k = 0; k < float_lanes; ++k) {
            const double exact = std::log(static_cast<double>(x[k]));
            ASSERT_NEAR(static_cast<double>(y[k]), exact, 2e-7 + 1.3e-7 * std::fabs(exact)) << x[k];
        }
    }
    const eight ones = {1, 1, 1, 1, 1, 1, 1, 1};
    eight zeros;
    logarithms(ones, zeros);
    for (const float zero : zeros) EXPECT_EQ(zero, 0.0F);
}

TEST(TheNearestWholeNumberOfLanes, IsThatOfTheStandardWithHalvesToEven)
{
    chance random(3);
    const double end = 4194304.0; // 2^22
    for (int i = 0; i < 20000; ++i) {
        eight x = i % 2 == 0 ? random_lanes(random, -end, end) : random_lanes(random, -20.0, 20.0);
        x[0] = std::floor(x[0]) + 0.5F;
        eight y;
        rounded(x, y);
        for (std::size_t k = 0; k < float_lanes; ++k) ASSERT_EQ(y[k], std::nearbyint(x[k])) << x[k];
    }
}

// The sum is one of seven additions, each right to half a unit in the last place.
TEST(TheSumOfLanes, IsTakenInOneOrder)
{
    chance random(4);
    for (int i = 0; i < 5000; ++i) {
        const eight x = random_lanes(random, -1.0, 1.0);
        float sum = 0.0F;
        summed(x, sum);
        double exact = 0.0;
        double sizes = 0.0;
        for (const float lane : x) {
            exact += static_cast<double>(lane);
            sizes += std::fabs(static_cast<double>(lane));
        }
        EXPECT_NEAR(static_cast<double>(sum), exact, 3.0 * 0x1p-24 * sizes);
    }
    // 2^24 + 1 is no float: which of the ones survive tells the order.
    const eight ordered = {0x1p24F, 1.0F, 0.0F, 0.0F, -0x1p24F, 0.0F, 1.0F, 1.0F};
    float sum = 0.0F;
    summed(ordered, sum);
    EXPECT_EQ(sum, 3.0F);
    const eight other = {0x1p24F, 1.0F, -0x1p24F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    summed(other, sum);
    EXPECT_EQ(sum, 1.0F);
}

TEST(LanesWithAvx2, HaveTheBitsOfThoseWithout)
{
    if (!has_avx2()) GTEST_SKIP() << "This processor has no AVX2.";
    chance random(5);
    for (int i = 0; i < 20000; ++i) {
        const eight x = random_lanes(random, -100.0, 80.0);
        eight positive = x;
        for (float& lane : positive) lane = std::fabs(lane) + 1e-30F;
        eight one;
        eight other;
        exponentials(x, one);
        exponentials_avx2(x, other);
        ASSERT_TRUE(same_bits(one, other));
        logarithms(positive, one);
        logarithms_avx2(positive, other);
        ASSERT_TRUE(same_bits(one, other));
        rounded(x, one);
        rounded_avx2(x, other);
        ASSERT_TRUE(same_bits(one, other));
        float sum = 0.0F;
        float sum_avx2 = 0.0F;
        summed(x, sum);
        summed_avx2(x, sum_avx2);
        ASSERT_EQ(sum, sum_avx2);
    }
}

} // namespace

} // namespace torvik::solver
