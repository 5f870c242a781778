#include "search/quality.h"

#include "numeric/constants.h"
#include "support/fresh.h"

namespace torvik {

namespace {

class ReflectionQuality : public fresh {};
class RankingCurve : public fresh {};

TEST_F(ReflectionQuality, IsOneHalfForAnIndexMidwayBetweenIntegers)
{
    EXPECT_EQ(reflexquality222({{1.5, 0.0, 0.0}}), 0.5);
    EXPECT_EQ(reflexquality222({{0.0, -2.5, 0.0}}), 0.5);
}

TEST_F(ReflectionQuality, IsTheLargestOfTheThreeDeviations)
{
    // 2.12 is 0.12 above 2, -0.95 is 0.05 above -1, 3 is whole.
    EXPECT_NEAR(reflexquality222({{2.12, -0.95, 3.0}}), 0.12, 1e-15);
    EXPECT_NEAR(reflexquality222({{-0.95, 3.0, 2.12}}), 0.12, 1e-15);
    EXPECT_NEAR(reflexquality222({{3.0, 2.12, -0.95}}), 0.12, 1e-15);
}

TEST_F(ReflectionQuality, CountsADeviationBelowAnIntegerLikeOneAboveIt)
{
    EXPECT_EQ(reflexquality222({{1.75, 0.0, 0.0}}), 0.25);
    EXPECT_EQ(reflexquality222({{-1.75, 0.0, 0.0}}), 0.25);
}

TEST_F(ReflectionQuality, IsTheSameForThreeSeparateIndices)
{
    EXPECT_EQ(reflexquality222f(1.5, 0.0, 0.0), 0.5);
    EXPECT_EQ(reflexquality222f(2.12, -0.95, 3.0), reflexquality222({{2.12, -0.95, 3.0}}));
    EXPECT_EQ(reflexquality222f(7.3, 8.45, -9.2), reflexquality222({{7.3, 8.45, -9.2}}));
}

TEST_F(ReflectionQuality, ErrorIsTheLengthOfTheDeviationVector)
{
    // 0.1^2 + 0.2^2 + 0.2^2 = 0.3^2
    EXPECT_NEAR(reflexquality333({{0.1, 0.2, 0.2}}), 0.3, 1e-15);
    EXPECT_NEAR(reflexquality333({{4.1, -2.8, 6.8}}), 0.3, 1e-14);
}

TEST_F(ReflectionQuality, ErrorReachesHalfTheDiagonalOfACube)
{
    EXPECT_NEAR(reflexquality333({{0.5, -0.5, 1.5}}), std::sqrt(3.0) / 2.0, 1e-15);
}

TEST_F(ReflectionQuality, DeviationsKeepTheirSigns)
{
    const vector3 d = deviations({{2.25, 1.75, -0.75}});
    EXPECT_EQ(d(1), 0.25);
    EXPECT_EQ(d(2), -0.25);
    EXPECT_EQ(d(3), 0.25);
}

TEST_F(ReflectionQuality, LargestIndexIsRoundedAndWithoutSign)
{
    EXPECT_EQ(largestindex({{1.4, -7.5, 3.0}}), 8); // halves away from zero
    EXPECT_EQ(largestindex({{0.4, -0.4, 0.0}}), 0);
    EXPECT_EQ(largestindex({{-99.6, 5.0, 99.0}}), 100);
    EXPECT_EQ(largestindex({{1.0, 2.0, 12.0}}), 12);
}

TEST_F(RankingCurve, IsOneAtPhaseZeroAndNoneAtPhaseOneHalf)
{
    for (const double kappa : {-9.0, -3.0, 0.01, 3.0, 9.0}) {
        EXPECT_NEAR(vonmises(kappa, 0.0), 1.0, 1e-15) << kappa;
        EXPECT_NEAR(vonmises(kappa, 0.5), 0.0, 1e-12) << kappa;
    }
}

TEST_F(RankingCurve, IsNarrowForAPositiveKappaAndBroadForANegativeOne)
{
    // At a quarter the cosine vanishes: (1 - exp(-k)) / (exp(k) - exp(-k)) = 1 / (1 + exp(k)).
    EXPECT_NEAR(vonmises(9.0, 0.25), 1.0 / (1.0 + std::exp(9.0)), 1e-6);
    EXPECT_NEAR(vonmises(-9.0, 0.25), 1.0 / (1.0 + std::exp(-9.0)), 1e-6);
}

TEST_F(RankingCurve, TakesTheSinglePrecisionTwoPi)
{
    // At x = 1000.25 the two constants put the cosine 1.7e-4 apart: by the difference 1.75e-7 of
    // the constants times 1000.25. The slope of the curve with kappa 3 is 3 / (2 sinh 3) there.
    const double exact = 2.0 * 3.14159265358979323846;
    const double slope = 3.0 / (2.0 * std::sinh(3.0));
    const double shift = (twopi - exact) * 1000.25;
    const double atquarter = 1.0 / (1.0 + std::exp(3.0));
    EXPECT_NEAR(vonmises(3.0, 1000.25), atquarter - slope * shift, 1e-8);
}

TEST_F(RankingCurve, IsTabulatedAtMultiplesOfAStepOf511ths)
{
    // Recomputed from the definition, sum and quotients in index order.
    double expected[512];
    for (int i = 0; i < 512; ++i) {
        const double c = std::cos(6.2831854820251465 * (i / 511.0));
        expected[i] = (std::exp(-5.0 * c) - std::exp(5.0)) / (std::exp(-5.0) - std::exp(5.0));
    }
    double s = 0.0;
    for (const double value : expected) s += value;
    rankingcurve table;
    getavonmisestypefunction(-5, table);
    for (int i = 0; i < 512; ++i) EXPECT_EQ(table(i), expected[i] / s) << i;
}

TEST_F(RankingCurve, HasItsLastPointAWholePeriodAfterItsFirst)
{
    // 512 points make 511 steps: points 0 and 511 are one phase, and the lowest phase, 0.5, falls
    // between the points 255 and 256.
    rankingcurve table;
    getavonmisestypefunction(-9, table);
    EXPECT_NEAR(table(511) / table(0), 1.0, 1e-9);
    EXPECT_NEAR(table(255) / table(256), 1.0, 1e-3);
    EXPECT_GT(table(254), table(255));
    EXPECT_LT(table(256), table(257));
    EXPECT_GT(table(255), 0.0);
}

TEST_F(RankingCurve, SumsToOne)
{
    for (const int itype : {-9, -4, -1, 0, 1, 9, 10}) {
        rankingcurve table;
        getavonmisestypefunction(itype, table);
        double sum = 0.0;
        for (int i = 0; i < curvepoints; ++i) sum += table(i);
        EXPECT_NEAR(sum, 1.0, 1e-13) << itype;
    }
}

TEST_F(RankingCurve, TypeZeroIsTheNearlyFlatKappaOfOneHundredth)
{
    rankingcurve table;
    getavonmisestypefunction(0, table);
    // With a small kappa k the curve is (1 + cos) / 2 - k sin^2 / 4 to first order; its 512 values,
    // one phase twice, sum to 511/2 + 1 - 511 k / 8.
    EXPECT_NEAR(table(0), 1.0 / (256.5 - 511.0 * 0.01 / 8.0), 1e-8);
    double sum = 0.0;
    for (int i = 0; i < curvepoints; ++i) sum += vonmises(0.01, i / 511.0);
    EXPECT_EQ(table(100), vonmises(0.01, 100 / 511.0) / sum);
}

TEST_F(RankingCurve, EveryTypeBeyondNineIsTheSameSumOfThreeCurves)
{
    rankingcurve ten;
    rankingcurve other;
    getavonmisestypefunction(10, ten);
    for (const int itype : {-42, -10, 11, 2000000000}) {
        getavonmisestypefunction(itype, other);
        for (int i = 0; i < curvepoints; ++i) ASSERT_EQ(other(i), ten(i)) << itype << ' ' << i;
    }
    double sum = 0.0;
    const auto three = [](double x) {
        return (vonmises(-3.0, x) + vonmises(0.01, x)) + vonmises(3.0, x);
    };
    for (int i = 0; i < curvepoints; ++i) sum += three(i / 511.0);
    EXPECT_EQ(ten(77), three(77 / 511.0) / sum);
}

TEST_F(RankingCurve, OfTheSumAddsTheNegativeKappaAndTheSmallOneBeforeThePositiveOne)
{
    // Another order gives other last bits, which can decide between two reflections.
    double expected[512];
    double s = 0.0;
    int regrouped = 0;
    for (int i = 0; i < 512; ++i) {
        const double x = i / 511.0;
        const double a = vonmises(-3.0, x);
        const double b = vonmises(0.01, x);
        const double c = vonmises(3.0, x);
        expected[i] = (a + b) + c;
        if (a + (b + c) != expected[i]) ++regrouped;
        s += expected[i];
    }
    rankingcurve table;
    getavonmisestypefunction(10, table);
    for (int i = 0; i < 512; ++i) EXPECT_EQ(table(i), expected[i] / s) << i;
    EXPECT_GT(regrouped, 0);
}

TEST_F(RankingCurve, NineAndMinusNineDiffer)
{
    rankingcurve narrow;
    rankingcurve broad;
    getavonmisestypefunction(9, narrow);
    getavonmisestypefunction(-9, broad);
    EXPECT_GT(narrow(0), 3.0 * broad(0)); // the same area under a narrow peak and a plateau
    EXPECT_LT(narrow(128), 0.01 * broad(128));
}

TEST_F(RankingCurve, LeavesTheUnusedMemberOfItsGroupAtZero)
{
    EXPECT_EQ(tabulcos.xvonmisesnumberofdatapoints, 0.0);
    getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
    EXPECT_EQ(tabulcos.xvonmisesnumberofdatapoints, 0.0);
}

} // namespace

} // namespace torvik
