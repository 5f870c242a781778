#include "support/runs.h"
#include "text/units.h"
#include "unit/volumes/periodogramcases.h"
#include "volumes/testvolumes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

class LargestTripleProduct : public fresh {};

class VolumeRange : public fresh {
protected:
    // The user's limits on the DS volume.
    static void setlimits(double smallest, double largest)
    {
        otherglobalvariables.limitsonvolumeofprimitivecell = true;
        otherglobalvariables.minvolumeofprimitivecell = smallest;
        otherglobalvariables.maxvolumeofprimitivecell = largest;
    }
};

std::string initialized()
{
    return printedby(initializingvolumes2);
}

std::string loginitialized()
{
    write_log_file = {1, logunit};
    return writtenby(logunit, [] { initialized(); });
}

int N()
{
    return testperiods.number_of_test_periods;
}

double P(int i)
{
    return testperiods.tableoftestperiods(i);
}

TEST_F(LargestTripleProduct, IsZeroWithFewerThanThreeReflections)
{
    EXPECT_EQ(maxrlvolumeinperiodogram(), 0.0);
    setreflections({{{1, 0, 0}}});
    EXPECT_EQ(maxrlvolumeinperiodogram(), 0.0);
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}});
    EXPECT_EQ(maxrlvolumeinperiodogram(), 0.0);
}

TEST_F(LargestTripleProduct, IsTheLargestWhereverItStands)
{
    setfourproducts(2.0, 3.0, 5.0);
    EXPECT_EQ(maxrlvolumeinperiodogram(), 5.0);
    setfourproducts(7.0, 3.0, 5.0);
    EXPECT_EQ(maxrlvolumeinperiodogram(), 7.0);
    setfourproducts(0.25, 0.5, 0.125);
    EXPECT_EQ(maxrlvolumeinperiodogram(), 1.0); // the first triple
}

TEST_F(LargestTripleProduct, CountsLeftHandedTriplesByTheirVolume)
{
    setreflections({{{0, 2, 0}}, {{3, 0, 0}}, {{0, 0, 1}}}); // determinant -6
    EXPECT_EQ(maxrlvolumeinperiodogram(), 6.0);
}

TEST_F(LargestTripleProduct, AgreesWithNestedLoops)
{
    std::mt19937 random(17);
    auto& r = recorded_reflections;
    r.numberofreflections = 20;
    for (int i = 1; i <= 20; ++i) {
        const auto component = [&] { return static_cast<double>(random() % 2000) / 1000.0 - 1.0; };
        const double x = component(), y = component(), z = component();
        r.reflections(i) = {{x, y, z}};
    }
    double largest = 0.0;
    for (int a = 1; a <= 20; ++a)
        for (int b = a + 1; b <= 20; ++b)
            for (int c = b + 1; c <= 20; ++c)
                largest =
                    std::max(largest, std::fabs(deter(rowsmatrix(r.reflections(a), r.reflections(b),
                                                                 r.reflections(c)))));
    EXPECT_EQ(maxrlvolumeinperiodogram(), largest);
}

TEST_F(VolumeRange, UserLimitsSetTheEndsOfTheGrid)
{
    setoneproduct(1.0);
    setlimits(10.0, 20.0);
    otherglobalvariables.iextentofthesearch = 1; // q = 0.25: N = 10 x 1 / 0.25
    initialized();
    ASSERT_EQ(N(), 40);
    EXPECT_EQ(P(0), 1.0 / 20.0);
    EXPECT_NEAR(1.0 / P(40), 10.0, 1e-12);
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 10.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 20.0);
}

TEST_F(VolumeRange, AutomaticRangeComesFromTheShortestReflection)
{
    // m = 0.5: 1/m^3 = 8 and 10000/m^3 = 80000. The long reflections play no part.
    setreflections({{{9, 0, 0}}, {{0, 0.5, 0}}, {{0, 0, 0.75}}, {{0, 1e3, 0}}});
    otherglobalvariables.iextentofthesearch = 0;
    initialized();
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 8.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 80000.0);
    EXPECT_FALSE(otherglobalvariables.limitsonvolumeofprimitivecell); // stays off
    EXPECT_EQ(P(0), 0.125 / 10000.0);
}

TEST_F(VolumeRange, AutomaticRangeReplacesLimitsThatAreSwitchedOff)
{
    setoneproduct(1.0);
    otherglobalvariables.minvolumeofprimitivecell = 10.0;
    otherglobalvariables.maxvolumeofprimitivecell = 20.0;
    initialized();
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 1.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 10000.0);
    EXPECT_EQ(N(), 59994); // 9999 x 1 x 6
}

TEST_F(VolumeRange, StepIsTheInverseOfTwiceTheExtentPlusTwo)
{
    // DS range 10, Tmax 1: N = 10 / q.
    const std::vector<int> expected = {20, 40, 60, 80, 100, 120};
    for (int extent = 0; extent <= 5; ++extent) {
        setoneproduct(1.0);
        setlimits(10.0, 20.0);
        otherglobalvariables.iextentofthesearch = extent;
        initialized();
        EXPECT_EQ(N(), expected[static_cast<std::size_t>(extent)]) << extent;
    }
}

TEST_F(VolumeRange, LogShowsTheStepAndItsInverseForEveryExtent)
{
    const std::vector<std::string> expected = {
        " The values of q and 1/q : 0.5000   2", " The values of q and 1/q : 0.2500   4",
        " The values of q and 1/q : 0.1667   6", " The values of q and 1/q : 0.1250   8",
        " The values of q and 1/q : 0.1000  10", " The values of q and 1/q : 0.0833  12"};
    for (int extent = 0; extent <= 5; ++extent) {
        setoneproduct(1.0);
        setlimits(10.0, 20.0);
        otherglobalvariables.iextentofthesearch = extent;
        EXPECT_EQ(linesof(loginitialized())[4], expected[static_cast<std::size_t>(extent)]);
    }
}

TEST_F(VolumeRange, NumberOfPeriodsIsCutTowardsZero)
{
    setoneproduct(1.0);
    otherglobalvariables.iextentofthesearch = 0;
    setlimits(1.0, 2.999); // 1.999 x 1 / 0.5 = 3.998
    initialized();
    EXPECT_EQ(N(), 3);
}

TEST_F(VolumeRange, TenMillionPeriodsAreCutToTheTable)
{
    setoneproduct(1.0);
    otherglobalvariables.iextentofthesearch = 0;
    setlimits(1.0, 5000001.0); // 5000000 / 0.5 = 10000000
    EXPECT_EQ(initialized(), "\n Number of test periods :                              8388607\n");
    EXPECT_EQ(N(), 8388607);
    // The top of the range only is covered: 5000001 - 8388607 x 0.5.
    EXPECT_EQ(P(0), 1.0 / 5000001.0);
    EXPECT_NEAR(1.0 / P(8388607), 805697.5, 1e-3);
    for (int i = 1; i <= 8388607; ++i) ASSERT_LT(P(i - 1), P(i)) << i;
}

TEST_F(VolumeRange, ExactlyTheTableIsNotCut)
{
    setoneproduct(1.0);
    otherglobalvariables.iextentofthesearch = 0;
    setlimits(1.0, 1.0 + 8388606.0 / 2.0);
    initialized();
    EXPECT_EQ(N(), 8388606);
}

TEST_F(VolumeRange, ProductBeyond32BitsCountsAsTheLimit)
{
    for (const double largest : {1e10, 3.4028234663852886e+38}) {
        setoneproduct(1.0);
        setlimits(1.0, largest);
        initialized();
        EXPECT_EQ(N(), 8388607) << largest;
    }
}

TEST_F(VolumeRange, InfiniteProductCountsAsTheLimit)
{
    setoneproduct(1e300);
    setlimits(1.0, 3.4028234663852886e+38);
    initialized();
    EXPECT_EQ(N(), 8388607);
}

TEST_F(VolumeRange, ProductThatIsNotANumberCountsAsZero)
{
    setreflections({{{1e300, 0, 0}}, {{0, 1e300, 0}}, {{0, 0, 1}}});
    setlimits(2.0, 2.0); // a range of 0 times an infinite product
    initialized();
    EXPECT_EQ(N(), 0);
}

TEST_F(VolumeRange, ZeroReflectionMakesTheBoundsInfiniteAndLeavesOnePeriod)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}, {{0, 0, 0}}});
    const std::string log = loginitialized();
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell,
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell,
              std::numeric_limits<double>::infinity());
    EXPECT_EQ(N(), 0); // infinity less infinity
    EXPECT_EQ(P(0), 0.0);
    EXPECT_EQ(linesof(log)[2], " The volumes are in the range :     Infinity     Infinity");
}

TEST_F(VolumeRange, WithoutReflectionsBothAutomaticBoundsAreZero)
{
    const std::string log = loginitialized();
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 0.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 0.0);
    EXPECT_EQ(N(), 0);
    EXPECT_EQ(linesof(log)[2], " The volumes are in the range :          0.0          0.0");
}

TEST_F(VolumeRange, ReflectionsInAPlaneLeaveOnePeriod)
{
    setplanereflections(10); // Tmax = 0
    initialized();
    EXPECT_EQ(N(), 0);
}

TEST_F(VolumeRange, CellVolumesAreEvenlySpacedFromTheLargestDownwards)
{
    setfourproducts(2.0, 3.0, 5.0);
    setlimits(100.0, 500.0);
    initialized(); // q = 1/6: N = 400 x 5 x 6
    ASSERT_EQ(N(), 12000);
    for (int i = 0; i <= N(); ++i) {
        // The step of the DS volume is q / Tmax = 1/30.
        EXPECT_NEAR(1.0 / P(i), 500.0 - i / 30.0, 1e-9) << i;
        if (i > 0) {
            ASSERT_LT(P(i - 1), P(i)) << i;
        }
    }
}

TEST_F(VolumeRange, LargestProductMovesByTheStepFromPeriodToPeriod)
{
    setfourproducts(2.0, 3.0, 5.0);
    setlimits(100.0, 120.0);
    otherglobalvariables.iextentofthesearch = 3;
    initialized();
    for (int i = 1; i <= N(); ++i) EXPECT_NEAR(5.0 / P(i - 1) - 5.0 / P(i), 0.125, 1e-9) << i;
}

TEST_F(VolumeRange, PeriodsHaveTheBitsOfTheFormula)
{
    setfourproducts(0.0123, 1.789, 0.456); // the largest product is 1.789
    setlimits(33.3, 777.7);
    otherglobalvariables.iextentofthesearch = 2;
    initialized();
    const double Rmin = 1.0 / 777.7;
    const double q = 1.0 / 6.0;
    const double d = q * Rmin / 1.789;
    const double otherwise = q * (Rmin / 1.789);
    ASSERT_NE(d, otherwise); // the case tells the groupings apart
    ASSERT_EQ(N(), 7990);    // trunc(744.4 x 1.789 x 6) = trunc(7990.39)
    for (int i = 0; i <= N(); ++i) EXPECT_EQ(P(i), Rmin / (1.0 - i * d)) << i;
}

TEST_F(VolumeRange, NumberOfPeriodsHasTheGroupingOfTheFormula)
{
    // The range is k / (6 * 1.1) and the largest product 1.1: divided by q = 1/6 they give k, or a
    // bit less, which is cut to k - 1. Grouped otherwise, some come out otherwise.
    setoneproduct(1.1);
    otherglobalvariables.iextentofthesearch = 2;
    const double q = 1.0 / 6.0;
    int regrouped = 0;
    for (int k = 1; k <= 500; ++k) {
        setlimits(1.0, 1.0 + k / 6.6);
        const double range = (1.0 + k / 6.6) - 1.0;
        initialized();
        EXPECT_EQ(N(), static_cast<int>(range * 1.1 / q)) << k;
        if (static_cast<int>(range * (1.1 / q)) != N()) ++regrouped;
    }
    EXPECT_GT(regrouped, 0);
}

TEST_F(VolumeRange, FirstAutomaticPeriodHasTheBitsOfTheFormula)
{
    // It is the cube of the shortest length over 10000, not the inverse of the largest volume.
    int regrouped = 0;
    for (int k = 1; k <= 20; ++k) {
        const double m = 0.1 + 0.013 * k;
        setreflections({{{m, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}});
        otherglobalvariables = {};
        otherglobalvariables.iextentofthesearch = 0;
        testperiods.number_of_test_periods = 0;
        const double cube = m * m * m;
        initialized();
        EXPECT_EQ(P(0), cube / 10000.0) << k;
        if (1.0 / (10000.0 / cube) != P(0)) ++regrouped;
    }
    EXPECT_GT(regrouped, 0);
}

TEST_F(VolumeRange, TerminalShowsTheNumberOfPeriodsAfterAnEmptyLine)
{
    setoneproduct(1.0);
    setlimits(10.0, 20.0);
    // 26 blanks, then ten columns.
    EXPECT_EQ(initialized(), "\n Number of test periods : "
                             "                          "
                             "        60\n");
}

TEST_F(VolumeRange, LogWithUserLimitsHasSixLines)
{
    setoneproduct(1.0);
    setlimits(10.0, 20.0);
    EXPECT_EQ(loginitialized(), " The total number of test volumes :                    60\n"
                                "\n"
                                " The volumes are in the range :         10.0         20.0\n"
                                "\n"
                                " The values of q and 1/q : 0.1667   6\n"
                                "\n");
}

TEST_F(VolumeRange, LogWithTheAutomaticRangeWarns)
{
    setreflections({{{0.5, 0, 0}}, {{0, 0.5, 0}}, {{0, 0, 0.5}}});
    otherglobalvariables.iextentofthesearch = 0; // N = 79992 x 0.125 x 2
    EXPECT_EQ(loginitialized(), " The total number of test volumes :                 19998\n"
                                "\n"
                                " The volumes are in the range :          8.0      80000.0\n"
                                " Warning: the range was determined automatically\n"
                                "\n"
                                " The values of q and 1/q : 0.5000   2\n"
                                "\n");
}

TEST_F(VolumeRange, NothingIsLoggedAtLevelZero)
{
    setoneproduct(1.0);
    setlimits(10.0, 20.0);
    EXPECT_EQ(writtenby(logunit, [] { initialized(); }), "");
}

TEST_F(VolumeRange, RunWithoutReflectionsEndsNormallyWithAnEmptyResult)
{
    const runresult run = runtorvik("# nothing but a remark\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.files.contains("a_idx.res"));
    EXPECT_NE(run.output.find(" Number of test periods :                                    0\n"),
              std::string::npos);
    EXPECT_NE(run.output.find(" Number of volumes to be tested :                            0\n"),
              std::string::npos);
}

TEST_F(VolumeRange, RunWithACountButNoListEndsNormallyWithAnEmptyResult)
{
    const runresult run = runtorvik("_NumberOfReflections\n5\n"); // five zero vectors
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.files.contains("a_idx.res"));
    EXPECT_NE(run.output.find(" Number of test periods :                                    0\n"),
              std::string::npos);
    EXPECT_NE(run.output.find(" Number of volumes to be tested :                            0\n"),
              std::string::npos);
}

} // namespace

} // namespace torvik
