#include "report/writebasis3.h"
#include "unit/report/reportfolder.h"

#include <cmath>

namespace torvik {

namespace {

class LePageInput : public fresh {
protected:
    workingfolder folder;

    std::string written(int isave_lepage)
    {
        otherglobalvariables.isave_lepage = isave_lepage;
        writebasis3();
        return folder.read("LePage.inp");
    }

    static void savesolutions(int count)
    {
        for (int k = 1; k <= count; ++k) fillslot(k, diagonal(k, k, k), {}, 1.0);
        modofsavedbases.numberofsavedbases = count;
    }
};

TEST_F(LePageInput, IsAJobOfFiveLinesForASolution)
{
    fillstore({{diagonal(5.0, 5.0, 5.0), 1.0}});
    EXPECT_EQ(written(1),
              "  NOSCREEN\n"
              "  METR      0.3\n"
              "  CELL      5.000000    5.000000    5.000000      90.0000   90.0000   90.0000  P\n"
              "  CALC\n"
              "  QUIT\n");
}

TEST_F(LePageInput, GivesTheCellInEightyColumns)
{
    fillstore({{diagonal(5.0, 5.0, 5.0), 1.0}});
    const auto lines = linesof(written(1));
    EXPECT_EQ(lines[2].size(), 80U);
    // 2 + 4 + 2 columns before the lengths of 12 each, 3 before the angles of 10 each, 2 before P.
    EXPECT_EQ(lines[2], "  CELL" + std::string(6, ' ') + "5.000000" + std::string(4, ' ')
                            + "5.000000" + std::string(4, ' ') + "5.000000" + std::string(6, ' ')
                            + "90.0000" + std::string(3, ' ') + "90.0000" + std::string(3, ' ')
                            + "90.0000" + "  P");
}

TEST_F(LePageInput, GivesLengthsAndAnglesInTheOrderOfTheAxes)
{
    // a = (3,0,0), b = (2, 2 sqrt 3, 0), c = (0,5,5): lengths 3, 4, 7.0710678; cos alpha =
    // 10 sqrt(3) / (4 x 7.0710678) = sqrt(6)/4, alpha = 52.2388; beta = 90; cos gamma = 6/12.
    const double y = 2.0 * std::sqrt(3.0);
    fillstore({{{{{3.0, 0.0, 0.0}, {2.0, y, 0.0}, {0.0, 5.0, 5.0}}}, 1.0}});
    EXPECT_EQ(linesof(written(1))[2],
              "  CELL      3.000000    4.000000    7.071068      52.2388   90.0000   60.0000  P");
}

TEST_F(LePageInput, HoldsNoMoreJobsThanWereAskedFor)
{
    savesolutions(10);
    const auto lines = linesof(written(3));
    ASSERT_EQ(lines.size(), 15U);
    EXPECT_EQ(lines[12].substr(0, 20), "  CELL      3.000000");
}

TEST_F(LePageInput, HoldsNoMoreJobsThanThereAreSolutions)
{
    savesolutions(10);
    EXPECT_EQ(linesof(written(20)).size(), 50U);
}

TEST_F(LePageInput, RepeatsEveryLineInEveryJob)
{
    savesolutions(4);
    const auto lines = linesof(written(4));
    ASSERT_EQ(lines.size(), 20U);
    for (std::size_t job = 0; job < 4; ++job) {
        EXPECT_EQ(lines[5 * job], "  NOSCREEN");
        EXPECT_EQ(lines[5 * job + 1], "  METR      0.3");
        EXPECT_EQ(lines[5 * job + 3], "  CALC");
        EXPECT_EQ(lines[5 * job + 4], "  QUIT");
    }
}

TEST_F(LePageInput, IsAnEmptyFileWithoutASolution)
{
    EXPECT_EQ(written(5), "");
    EXPECT_EQ(folder.count(), 1); // no unfinished file stays beside it
}

TEST_F(LePageInput, ReplacesAnEarlierFile)
{
    savesolutions(10);
    written(10);
    savesolutions(1);
    EXPECT_EQ(linesof(written(10)).size(), 5U);
}

TEST_F(LePageInput, FollowsTheOrderOfTheStore)
{
    fillstore({{diagonal(7.0, 7.0, 7.0), 1.0}, {diagonal(2.0, 2.0, 2.0), 9.0}});
    const auto lines = linesof(written(2));
    EXPECT_EQ(lines[2].substr(0, 20), "  CELL      7.000000");
    EXPECT_EQ(lines[7].substr(0, 20), "  CELL      2.000000");
}

TEST_F(LePageInput, FillsFieldsThatAreTooNarrowWithAsterisksAndShowsNotANumber)
{
    fillstore({{diagonal(123456.0, 99999.0, 0.0), 1.0}});
    EXPECT_EQ(linesof(written(1))[2],
              "  CELL  ************99999.000000    0.000000          NaN       NaN   90.0000  P");
}

} // namespace

} // namespace torvik
