#include "volumes/wholephases.h"

#include "numeric/lanes.h"
#include "property/randomlattices.h"
#include "volumes/evenspacing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace torvik {

namespace {

std::vector<double> randomproducts(int count)
{
    randomnumbers random(1);
    std::vector<double> t;
    for (int e = 0; e < count; ++e) t.push_back(random.between(0.0, 3.0));
    return t;
}

TEST(WholePhases, AddUpTheFoldingsOf256Periods)
{
    const std::vector<double> t = randomproducts(termsatonce);
    constexpr double a = 123.25, s = -0.0625;
    std::vector<std::uint32_t> sums(phasesatonce, 0);
    addwholephases(t.data(), termsatonce, a, s, sums.data());
    for (int k = -127; k <= 128; ++k) {
        double expected = 0.0;
        for (const double product : t) {
            const double x = product * (a + s * k);
            expected += std::fabs(2.0 * (x - std::floor(x)) - 1.0);
        }
        // Each term is cut to 2^-23, and its phase is off by 2^-26 at most.
        const double sum = sums[static_cast<std::size_t>(k + 127)] * 0x1p-23;
        EXPECT_LE(sum, expected + termsatonce * 0x1p-25) << k;
        EXPECT_GE(sum, expected - termsatonce * (0x1p-23 + 0x1p-25)) << k;
    }
}

TEST(WholePhases, HoldTheLargestSumOf256Terms)
{
    const std::vector<double> t(termsatonce, 0.0); // every term is 1
    std::vector<std::uint32_t> sums(phasesatonce, 0);
    addwholephases(t.data(), termsatonce, 1.0, 0.5, sums.data());
    for (const std::uint32_t sum : sums) EXPECT_EQ(sum, 256U * ((1U << 23) - 1));
}

TEST(WholePhases, AreTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    const std::vector<double> t = randomproducts(100);
    std::vector<std::uint32_t> sums(phasesatonce, 7), other(phasesatonce, 7);
    addwholephases_anywhere(t.data(), 100, 77.7, -0.031, sums.data());
    addwholephases_avx2(t.data(), 100, 77.7, -0.031, other.data());
    EXPECT_EQ(sums, other);
}

TEST(EvenSpacing, IsMeasuredFromTheMiddleOfABlock)
{
    // 1/P = 8 - k for k = -2..2, exactly, but for the last, which is off by 2^-10.
    const double P[] = {0.1, 1.0 / 9.0, 0.125, 1.0 / 7.0, 1.0 / (6.0 + 0x1p-10)};
    const evenspacing block = measured(0, 4, P, -1.0);
    EXPECT_EQ(middleof(block), 2);
    EXPECT_EQ(block.a, 8.0);
    EXPECT_DOUBLE_EQ(block.largestinverse, 10.0);
    // Four units of 10 and five of three steps.
    EXPECT_NEAR(block.error, 0x1p-10 + 55.0 * 0x1p-53, 0x1p-50);
    EXPECT_GT(measured(0, 3, P, -1.0).error, 50.0 * 0x1p-53);
    EXPECT_LT(measured(0, 3, P, -1.0).error, 80.0 * 0x1p-53);
    EXPECT_DOUBLE_EQ(stepofinverse(P, 4), -1.0);
}

} // namespace

} // namespace torvik
