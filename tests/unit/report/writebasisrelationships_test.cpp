#include "report/writebasis.h"
#include "text/units.h"
#include "unit/report/reportfolder.h"

#include <limits>

namespace torvik {

namespace {

class Relationships : public fresh {
protected:
    static std::string written()
    {
        return writtenby(resultsunit, [] { writebasisrelationships(); });
    }
};

// What is written of two bases of which one has the first vector 2a + b of the other.
std::string doubled(const std::string& smaller, const std::string& larger)
{
    return D + "    1 <=>   2\n\n  Basis   " + smaller + " => Basis   " + larger + " = T * Basis   "
           + smaller
           + ".\n"
             "  Transformation matrix T:\n"
             "              2.00    1.00    0.00\n"
             "              0.00    1.00    0.00\n"
             "              0.00    0.00    1.00\n"
             "\n"
             "  Volume ratio :      2.00\n"
             "\n"
           + D;
}

TEST_F(Relationships, ExpressTheLargerCellInTheSmallerOne)
{
    // The second cell is the first with a new first vector 2a + b: T has the rows (2, 1, 0),
    // (0, 1, 0) and (0, 0, 1), the ratio is 2.
    fillstore({{diagonal(3.0, 4.0, 5.0), 1.0},
               {{{{6.0, 4.0, 0.0}, {0.0, 4.0, 0.0}, {0.0, 0.0, 5.0}}}, 1.0}});
    EXPECT_EQ(written(), doubled("1", "2"));
}

TEST_F(Relationships, TurnRoundWhenTheFirstCellIsTheLarger)
{
    fillstore({{{{{6.0, 4.0, 0.0}, {0.0, 4.0, 0.0}, {0.0, 0.0, 5.0}}}, 1.0},
               {diagonal(3.0, 4.0, 5.0), 1.0}});
    EXPECT_EQ(written(), doubled("2", "1"));
}

TEST_F(Relationships, OfEqualVolumesExpressTheFirstBasisInTheSecond)
{
    // diag(2, 2, 8) = T diag(2, 4, 4) with T = diag(1, 1/2, 2); the other way T would hold 2, 1/2.
    fillstore({{diagonal(2.0, 2.0, 8.0), 1.0}, {diagonal(2.0, 4.0, 4.0), 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[3], "  Basis   2 => Basis   1 = T * Basis   2.");
    EXPECT_EQ(lines[5], "              1.00    0.00    0.00");
    EXPECT_EQ(lines[6], "              0.00    0.50    0.00");
    EXPECT_EQ(lines[7], "              0.00    0.00    2.00");
    EXPECT_EQ(lines[9], "  Volume ratio :      1.00");
}

TEST_F(Relationships, GoBySizeAndNotByTheSignOfTheDeterminant)
{
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}, {diagonal(1.0, 1.0, -3.0), 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[3], "  Basis   1 => Basis   2 = T * Basis   1.");
    EXPECT_EQ(lines[7], "              0.00    0.00   -3.00");
    EXPECT_EQ(lines[9], "  Volume ratio :      3.00");
}

TEST_F(Relationships, AreWrittenForEveryPairWhetherOrNotTIsWhole)
{
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0},
               {diagonal(1.5, 1.0, 1.0), 1.0},
               {diagonal(2.0, 1.0, 1.0), 1.0}});
    const auto lines = linesof(written());
    ASSERT_EQ(lines.size(), 3U * 11 + 1);
    EXPECT_EQ(lines[1], "    1 <=>   2");
    EXPECT_EQ(lines[9], "  Volume ratio :      1.50");
    EXPECT_EQ(lines[12], "    1 <=>   3");
    EXPECT_EQ(lines[20], "  Volume ratio :      2.00");
    EXPECT_EQ(lines[23], "    2 <=>   3");
    EXPECT_EQ(lines[27], "              1.33    0.00    0.00");
    EXPECT_EQ(lines[31], "  Volume ratio :      1.33");
}

TEST_F(Relationships, OfOneSolutionOrNoneAreASingleRule)
{
    EXPECT_EQ(written(), D);
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}});
    EXPECT_EQ(written(), D);
}

TEST_F(Relationships, FillFieldsThatAreTooNarrowWithAsterisks)
{
    // T(1,1) = 100000.00 takes 9 columns of 8, the ratio 1e7 takes 11 of 10.
    fillstore({{diagonal(1.0, 1.0, 1.0), 1.0}, {diagonal(100000.0, -1000.0, 0.1), 1.0}});
    const auto lines = linesof(written());
    EXPECT_EQ(lines[5], "          ********    0.00    0.00");
    EXPECT_EQ(lines[6], "              0.00-1000.00    0.00");
    EXPECT_EQ(lines[9], "  Volume ratio :**********");
}

TEST_F(Relationships, ToABasisWithoutVolumeAreInfinite)
{
    // The flat cell is the smaller one and cannot be inverted; the run goes on all the same.
    fillstore({{diagonal(1.0, 1.0, 0.0), 1.0}, {diagonal(1.0, 1.0, 1.0), 1.0}});
    const auto lines = linesof(written());
    ASSERT_EQ(lines.size(), 12U);
    EXPECT_EQ(lines[3], "  Basis   1 => Basis   2 = T * Basis   1.");
    EXPECT_EQ(lines[9], "  Volume ratio :  Infinity");
}

} // namespace

} // namespace torvik
