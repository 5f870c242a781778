#include "report/writebasis.h"
#include "search/fitting.h"
#include "text/units.h"
#include "unit/report/reportfolder.h"

#include <cmath>
#include <limits>

namespace torvik {

namespace {

class ListOfSolutions : public fresh {
protected:
    // The limits of the table are then 1/16, 1/8 and 1/4, all exact in binary.
    ListOfSolutions()
    {
        otherglobalvariables.themaincriterion = 0.125;
    }

    static std::string written(int first = 0)
    {
        return writtenby(resultsunit, [&] { writebasis2(first); });
    }

    // The table of reflections of the only solution: line j of it is reflection j.
    static std::string reflectionline(int j)
    {
        return linesof(written())[static_cast<std::size_t>(10 + j)];
    }

    // The line of a reflection under the unit basis, whose fractional indices are its components.
    static std::string lineof(const vector3& reflection)
    {
        setreflections({reflection});
        fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}});
        return reflectionline(1);
    }

    static std::string countline()
    {
        const int N = recorded_reflections.numberofreflections;
        return linesof(written())[static_cast<std::size_t>(10 + N + 2)];
    }
};

TEST_F(ListOfSolutions, LaysOutASolutionInFixedColumns)
{
    setreflections(
        {{{0.5, -0.25, 0.125}}, {{0.525, 0.0, 0.0}}, {{0.55, 0.0, 0.0}}, {{0.7, 0.0, 0.0}}});
    fillstore({{diagonal(2.0, 4.0, 8.0), 2.5}});
    // Under diag(2, 4, 8) the indices are (1, -1, 1), (1.05, 0, 0), (1.1, 0, 0) and (1.4, 0, 0): an
    // H, an H, an h and none (0.4 is beyond twice 0.125). Quality: 2.5 / (4 (0.3 + 0.7)) = 0.625.
    EXPECT_EQ(written(), " --------------------------------------------------------\n"
                         "  Solution nr   1 out of   1.\n"
                         "\n"
                         "   Direct basis vectors (in rows) = inverse of UB matrix;\n"
                         "   transforms RL vectors to Miller indices :\n"
                         "              2.00000000    0.00000000    0.00000000\n"
                         "              0.00000000    4.00000000    0.00000000\n"
                         "              0.00000000    0.00000000    8.00000000\n"
                         "\n"
                         "         |   h   k   l |      Real (hkl)       |  Error\n"
                         " --------------------------------------------------------\n"
                         "   1  H- |   1  -1   1 |   1.00  -1.00   1.00  |  0.000\n"
                         "   2  H- |   1   0   0 |   1.05   0.00   0.00  |  0.050\n"
                         "   3  -h |   1   0   0 |   1.10   0.00   0.00  |  0.100\n"
                         "   4\n"
                         " --------------------------------------------------------\n"
                         "    3h and   2H vectors out of   4.    Quality : 0.625\n"
                         "\n"
                         "  Primitive cell :\n"
                         "                           2.000    4.000    8.000\n"
                         "                          90.00    90.00    90.00\n"
                         "\n"
                         "  Volume of the cell  :       64.00\n"
                         "\n");
}

TEST_F(ListOfSolutions, IsEmptyForAnEmptyStore)
{
    setreflections({{{1.0, 0.0, 0.0}}});
    EXPECT_EQ(written(1), "");
    EXPECT_EQ(printedby([] { written(1); }), "");
}

TEST_F(ListOfSolutions, WritesTheRowsOfTheBasisInOrder)
{
    setreflections({});
    fillstore({{{{{1.5, -2.25, 0.0}, {3.0, 4.0, -5.0}, {-0.5, 0.25, 6.0}}}, 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[5], "              1.50000000   -2.25000000    0.00000000");
    EXPECT_EQ(lines[6], "              3.00000000    4.00000000   -5.00000000");
    EXPECT_EQ(lines[7], "             -0.50000000    0.25000000    6.00000000");
}

TEST_F(ListOfSolutions, MarksAFitWithinHalfTheCriterionWithAnH)
{
    EXPECT_EQ(lineof({{1.0, -2.0, 3.0}}),
              "   1  H- |   1  -2   3 |   1.00  -2.00   3.00  |  0.000");
    // The largest double below 1 + 1/16.
    EXPECT_EQ(lineof({{std::nextafter(1.0625, 0.0), 0.0, 0.0}}),
              "   1  H- |   1   0   0 |   1.06   0.00   0.00  |  0.062");
}

TEST_F(ListOfSolutions, MarksAFitOfExactlyHalfTheCriterionWithASmallH)
{
    EXPECT_EQ(lineof({{1.0625, 0.0, 0.0}}),
              "   1  -h |   1   0   0 |   1.06   0.00   0.00  |  0.062");
    EXPECT_EQ(lineof({{0.0, -1.0625, 0.0}}),
              "   1  -h |   0  -1   0 |   0.00  -1.06   0.00  |  0.062");
}

TEST_F(ListOfSolutions, GivesNoIndicesToAFitOfExactlyTheCriterion)
{
    EXPECT_EQ(lineof({{1.125, 0.0, 0.0}}),
              "   1     |             |   1.12   0.00   0.00  |  0.125");
    EXPECT_EQ(lineof({{std::nextafter(1.125, 0.0), 0.0, 0.0}}),
              "   1  -h |   1   0   0 |   1.12   0.00   0.00  |  0.125");
}

TEST_F(ListOfSolutions, GivesOnlyTheNumberOfAReflectionOffByExactlyTwiceTheCriterion)
{
    EXPECT_EQ(lineof({{1.25, 0.0, 0.0}}), "   1");
    EXPECT_EQ(lineof({{std::nextafter(1.25, 0.0), 0.0, 0.0}}),
              "   1     |             |   1.25   0.00   0.00  |  0.250");
}

TEST_F(ListOfSolutions, GivesNoIndicesToAReflectionWithAnIndexBeyondTheLimit)
{
    otherglobalvariables.maxallowedmillerindex = 4;
    EXPECT_EQ(lineof({{4.0, 0.0, -4.0}}),
              "   1  H- |   4   0  -4 |   4.00   0.00  -4.00  |  0.000");
    EXPECT_EQ(lineof({{5.0, 0.0, 0.0}}), "   1     |             |   5.00   0.00   0.00  |  0.000");
    EXPECT_EQ(lineof({{0.0, 0.0, -5.0}}),
              "   1     |             |   0.00   0.00  -5.00  |  0.000");
    // 5.1 is within the criterion, yet beyond the limit all the same.
    EXPECT_EQ(lineof({{0.0, 5.1, 0.0}}), "   1     |             |   0.00   5.10   0.00  |  0.100");
}

TEST_F(ListOfSolutions, CountsNoReflectionWithAnIndexBeyondTheLimit)
{
    otherglobalvariables.maxallowedmillerindex = 4;
    setreflections({{{4.0, 0.0, 0.0}}, {{5.0, 0.0, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}});
    EXPECT_EQ(countline(), "    1h and   1H vectors out of   2.    Quality : 0.500");
}

TEST_F(ListOfSolutions, CallsTheLooseCountSmallHAndTheStrictOneCapitalH)
{
    setreflections({{{1.0, 0.0, 0.0}}, {{1.1, 0.0, 0.0}}, {{0.0, 1.1, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.5}});
    EXPECT_EQ(countline(), "    3h and   1H vectors out of   3.    Quality : 0.500");
    // The search gives the same two numbers the other letters.
    indexcounts counts;
    double quality = 0.0;
    basisquality(modofsavedbases.savedbases(1), counts, quality);
    EXPECT_EQ(counts, (indexcounts{.h = 1, .H = 3}));
}

TEST_F(ListOfSolutions, ExcludesTheLimitsThatTheQualityIncludes)
{
    setreflections({{{1.0625, 0.0, 0.0}}, {{1.125, 0.0, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}});
    EXPECT_EQ(countline(), "    1h and   0H vectors out of   2.    Quality : 0.500");
    indexcounts counts;
    double quality = 0.0;
    basisquality(modofsavedbases.savedbases(1), counts, quality);
    EXPECT_EQ(counts, (indexcounts{.h = 1, .H = 2}));
}

TEST_F(ListOfSolutions, ScalesTheStoredQualityByTheReflectionsAndTheWeights)
{
    modofsavedbases.weightsforsortingbases = {{1.0, 2.0}};
    setreflections({{{1.0, 0.0, 0.0}}, {{0.0, 1.0, 0.0}}, {{0.0, 0.0, 1.0}}, {{1.0, 1.0, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 3.0}}); // 3 / (4 (1 + 2)) = 1/4
    EXPECT_EQ(countline(), "    4h and   4H vectors out of   4.    Quality : 0.250");
}

TEST_F(ListOfSolutions, PrintsTheStoredQualityAndDoesNotComputeItAnew)
{
    setreflections({{{1.0, 0.0, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 0.25}});
    EXPECT_EQ(countline(), "    1h and   1H vectors out of   1.    Quality : 0.250");
}

TEST_F(ListOfSolutions, MeasuresTheErrorAsTheLengthOfTheDeviation)
{
    // (0.0625, 0.0625, 0.03125) is 0.03125 (2, 2, 1), of length 0.03125 x 3 = 0.09375.
    EXPECT_EQ(lineof({{1.0625, 2.0625, 3.03125}}),
              "   1  -h |   1   2   3 |   1.06   2.06   3.03  |  0.094");
}

TEST_F(ListOfSolutions, RoundsTheIndicesHalvesAwayFromZero)
{
    otherglobalvariables.themaincriterion = 0.6; // so that a half still has its indices
    EXPECT_EQ(lineof({{0.5, -0.5, 2.5}}),
              "   1  -h |   1  -1   3 |   0.50  -0.50   2.50  |  0.866");
}

TEST_F(ListOfSolutions, KeepsTheSignOfAValueThatRoundsToZeroFromBelow)
{
    EXPECT_EQ(lineof({{-0.001, 0.0, 1.0}}),
              "   1  H- |   0   0   1 |  -0.00   0.00   1.00  |  0.001");
}

TEST_F(ListOfSolutions, GivesOnlyTheNumberOfAReflectionThatIsNotANumber)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(lineof({{nan, nan, nan}}), "   1");
}

TEST_F(ListOfSolutions, PrintsTheCellWithItsAnglesInTheOrderAlphaBetaGamma)
{
    setreflections({});
    // See the test of the cell parameters: 52.2388, 90 and 60 degrees. V = sqrt(3)/2 = 0.866.
    const double h = std::sqrt(3.0) / 2.0;
    fillstore({{{{{1.0, 0.0, 0.0}, {0.5, h, 0.0}, {0.0, 1.0, 1.0}}}, 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[14], "  Primitive cell :");
    EXPECT_EQ(lines[15], "                           1.000    1.000    1.414");
    EXPECT_EQ(lines[16], "                          52.24    90.00    60.00");
    EXPECT_EQ(lines[17], "");
    EXPECT_EQ(lines[18], "  Volume of the cell  :        0.87");
}

TEST_F(ListOfSolutions, PrintsAnglesThatDoNotExistAsNotANumber)
{
    setreflections({});
    fillstore({{diagonal(0.0, 1.0, 1.0), 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[15], "                           0.000    1.000    1.000");
    EXPECT_EQ(lines[16], "                          90.00      NaN      NaN");
    EXPECT_EQ(lines[18], "  Volume of the cell  :        0.00");
}

TEST_F(ListOfSolutions, PrintsTheVolumeOfALeftHandedBasisAsPositive)
{
    setreflections({});
    fillstore({{diagonal(2.0, 3.0, -4.0), 1.0}});
    EXPECT_EQ(linesof(written())[18], "  Volume of the cell  :       24.00");
}

TEST_F(ListOfSolutions, FillsFieldsThatAreTooNarrowWithAsterisks)
{
    setreflections({{{-1000.0 / 200000.0, 0.0, 0.0}}});
    // 200000.00000000 takes 15 columns of 14, 200000.000 takes 10 of 9, and the volume 2e11 takes
    // 15 of 12. 99999.0 fills its fields: 14 and 9 columns. The index is -1000.00, 8 columns of 7.
    fillstore({{diagonal(200000.0, 99999.0, 10.0), 100000.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[5], "          **************    0.00000000    0.00000000");
    EXPECT_EQ(lines[6], "              0.00000000"
                        "99999.00000000    0.00000000");
    EXPECT_EQ(lines[11], "   1     |             |*******   0.00   0.00  |  0.000");
    EXPECT_EQ(lines[13], "    0h and   0H vectors out of   1.    Quality :******");
    EXPECT_EQ(lines[16], "                       *********99999.000   10.000");
    EXPECT_EQ(lines[19], "  Volume of the cell  :************");
}

TEST_F(ListOfSolutions, NumbersSolutionsAndReflectionsFromOne)
{
    setreflections({{{1.0, 0.0, 0.0}}, {{0.0, 1.0, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 1.0), 2.0}, {diagonal(1.0, 1.0, 2.0), 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[1], "  Solution nr   1 out of   2.");
    EXPECT_EQ(lines[11].substr(0, 4), "   1");
    EXPECT_EQ(lines[12].substr(0, 4), "   2");
    EXPECT_EQ(lines[23], "  Solution nr   2 out of   2.");
}

TEST_F(ListOfSolutions, ShowsTheFirstSolutionOnTheTerminalOnlyWhenAsked)
{
    setreflections({{{1.0, 0.0, 0.0}}, {{0.0, 1.1, 0.0}}});
    fillstore({{diagonal(1.0, 1.0, 2.0), 2.0}, {diagonal(1.0, 1.0, 1.0), 1.0}});
    EXPECT_EQ(printedby([] { written(1); }), " The first solution :\n"
                                             "    Cell volume :                        2.00\n"
                                             "    Supporting reflections : h -   2, H -   1\n"
                                             "\n");
    EXPECT_EQ(printedby([] { written(0); }), "");
    EXPECT_EQ(printedby([] { written(2); }), "");
}

TEST_F(ListOfSolutions, HoldsTheLargestListThereIs)
{
    // 999 reflections and 128 solutions fill the three columns of their fields.
    recorded_reflections.numberofreflections = 999;
    for (int i = 1; i <= 999; ++i) recorded_reflections.reflections(i) = {{1.0, 0.0, 0.0}};
    for (int k = 1; k <= 128; ++k) fillslot(k, diagonal(1.0, 1.0, k), {}, 999.0);
    modofsavedbases.numberofsavedbases = 128;
    const auto lines = linesof(written());
    ASSERT_EQ(lines.size(), 128U * (11 + 999 + 9));
    EXPECT_EQ(lines[127U * 1019 + 1], "  Solution nr 128 out of 128.");
    EXPECT_EQ(lines[11 + 998], " 999  H- |   1   0   0 |   1.00   0.00   0.00  |  0.000");
    EXPECT_EQ(lines[11 + 1000], "  999h and 999H vectors out of 999.    Quality : 1.000");
}

} // namespace

} // namespace torvik
