#include "formats/lepage.h"

#include "base/failure.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& text)
{
    try {
        readlepage(textfile("LePage.inp", text));
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

// As the program writes it of the example; the cell is that of its first solution.
TEST(LePageFiles, OfTheProgramAreRead)
{
    const std::string input =
        readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/4_calcite_volumes.idx");
    const auto files = runtorvik("_SaveLePage\n2\n" + input).files;
    const auto jobs = readlepage(textfile("LePage.inp", files.at("LePage.inp")));
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0].metric, 0.3);
    EXPECT_EQ(jobs[0].cell.centring, 'P');
    EXPECT_NEAR(jobs[0].cell.cell[0], 4.989, 1e-3); // of calcite, by examples/README.md
    EXPECT_TRUE(islepage(textfile("LePage.inp", files.at("LePage.inp"))));
    EXPECT_FALSE(islepage(textfile("a.res", files.at("a_idx.res"))));
}

TEST(LePageFiles, HaveCentredCellsAndTolerancesThatHoldUntilQuit)
{
    const auto jobs = readlepage(textfile("LePage.inp", "metr 1\ncell 5 6 7 90 95 90 C\nCALC\n"
                                                        "cell 5 5 5 90 90 90\ncalc\nquit\n"
                                                        "CELL 4 4 4 90 90 90 F\nCALC\n"));
    ASSERT_EQ(jobs.size(), 3U);
    EXPECT_EQ(jobs[0].cell.centring, 'C');
    EXPECT_EQ(jobs[1].metric, 1.0);
    EXPECT_FALSE(jobs[2].metric.has_value());
}

TEST(LePageFiles, WithFaultsAreRefusedWithTheirPlace)
{
    EXPECT_EQ(messageof("METR\n"), "LePage.inp, line 1: expected METR and one number.");
    EXPECT_EQ(messageof("METR -1\n"),
              "LePage.inp, line 1, column 6: expected a tolerance above 0.");
    EXPECT_EQ(messageof("CELL 1 2 3\n"),
              "LePage.inp, line 1: expected CELL, six numbers and a letter.");
    EXPECT_EQ(messageof("CELL 1 2 x 4 5 6 P\n"),
              "LePage.inp, line 1, column 10: expected a length or an angle, found 'x'.");
    for (const char* letter : {"X", "CC", "\x01", "P,1"})
        EXPECT_EQ(messageof(std::string("CELL 5 6 7 90 90 90 ") + letter),
                  "LePage.inp, line 1, column 21: expected one of P, A, B, C, I, F and R.");
    EXPECT_EQ(messageof("QUIT\nCALC\n"), "LePage.inp, line 2: CALC without a CELL before it.");
    EXPECT_EQ(messageof("HELLO\n"),
              "LePage.inp, line 1, column 1: expected NOSCREEN, METR, CELL, CALC or QUIT.");
    EXPECT_EQ(messageof(""), "LePage.inp: there is no job with CELL and CALC.");
}

} // namespace

} // namespace torvik::tools
