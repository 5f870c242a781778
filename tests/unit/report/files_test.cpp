// Whole runs: which files a run leaves, and where.

#include "support/runs.h"

#include <gtest/gtest.h>

namespace torvik {

namespace {

// Eight reflections of an orthogonal cell of edges 5, 6 and 7 with the volume given, so that a run
// takes no time: the components are h/5, k/6 and l/7, and the noise of 0.0001 keeps the reductions
// from vectors of exactly equal length.
std::string input(const std::string& keywords)
{
    return keywords
           + "_ExtentOfTheSearch\n0\n"
             "_UserProvidedTestVolumes\n1 210.0\n"
             "_NumberOfReflections\n8\n"
             "_Reflections\n"
             "0.2001 0.0 0.0\n"
             "0.0 0.1667 0.0001\n"
             "0.0 0.0001 0.1428\n"
             "0.2 0.1666 0.0001\n"
             "0.2001 0.0 0.1429\n"
             "0.0001 0.1667 0.1428\n"
             "0.4 0.1666 0.1429\n"
             "0.2 0.3334 0.1428\n";
}

runsetting insubfolder(const std::string& idx)
{
    runsetting setting;
    setting.arguments = {"sub/a.idx"};
    setting.files = {{"sub/a.idx", idx}};
    return setting;
}

TEST(FilesOfARun, StandBesideTheInputExceptLePageWhichStandsInTheWorkingDirectory)
{
    const auto run = runtorvik(insubfolder(input("_CreateLogFile\n1\n_SaveLePage\n5\n")));
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.files.size(), 3U);
    EXPECT_TRUE(run.files.contains("sub/a_idx.res"));
    EXPECT_TRUE(run.files.contains("sub/a_idx.log"));
    ASSERT_TRUE(run.files.contains("LePage.inp"));
    // The first job is the true cell.
    EXPECT_EQ(linesof(run.files.at("LePage.inp"))[0], "  NOSCREEN");
    EXPECT_EQ(linesof(run.files.at("LePage.inp"))[2].substr(0, 14), "  CELL      4.");
    EXPECT_NE(run.output.find(" Results saved in file : sub/a_idx.res\n"), std::string::npos);
    EXPECT_NE(run.files.at("sub/a_idx.res").find(" Torvik (v. 1.0): Solutions for sub/a.idx\n"),
              std::string::npos);
}

TEST(FilesOfARun, AreTheResultsAloneUnlessMoreIsAskedFor)
{
    const auto run = runtorvik(insubfolder(input("")));
    ASSERT_EQ(run.files.size(), 1U);
    EXPECT_TRUE(run.files.contains("sub/a_idx.res"));
}

TEST(FilesOfARun, IncludeAnEmptyLePageInputWhenNothingWasFound)
{
    // Vectors in a plane span no cell: no triple passes.
    const auto run = runtorvik("_UserProvidedTestVolumes\n1 100\n_SaveLePage\n3\n"
                               "_SortSolutionsByQualityVsVolume\n3\n_NumberOfReflections\n4\n"
                               "_Reflections\n0.1 0 0\n0.2 0 0\n0 0.1 0\n0.1 0.1 0\n");
    EXPECT_EQ(run.status, 0);
    ASSERT_EQ(run.files.size(), 2U);
    EXPECT_EQ(run.files.at("LePage.inp"), "");
    EXPECT_EQ(run.output.find("The first solution"), std::string::npos);
    const std::string end = "            Relationships (volume based numbering)\n"
                            " --------------------------------------------------------\n";
    EXPECT_TRUE(run.files.at("a_idx.res").ends_with(end));
}

TEST(FilesOfARun, ThatCannotBeWrittenEndItWithASentence)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", input("")}, {"a_idx.res/in_the_way", ""}};
    const auto blocked = runtorvik(setting);
    EXPECT_EQ(blocked.status, 0);
    EXPECT_NE(blocked.output.find(" Error: Cannot write a_idx.res.\n"), std::string::npos);
    EXPECT_TRUE(blocked.files.empty());

    setting.files = {{"a.idx", input("_SaveLePage\n3\n")}, {"LePage.inp/in_the_way", ""}};
    const auto nolepage = runtorvik(setting);
    EXPECT_EQ(nolepage.status, 0);
    EXPECT_NE(nolepage.output.find(" Error: Cannot write LePage.inp.\n"), std::string::npos);
    EXPECT_EQ(nolepage.files.size(), 1U); // the results were complete before
}

TEST(FilesOfARun, HoldTheTrueCellWithItsLettersTheOtherWayRoundThanTheLog)
{
    const auto run = runtorvik(input("_CreateLogFile\n1\n"));
    const std::string& results = run.files.at("a_idx.res");
    EXPECT_NE(results.find("    8h and   8H vectors out of   8.    Quality : 1.000"),
              std::string::npos);
    EXPECT_NE(run.files.at("a_idx.log").find("\n Saving results\n"), std::string::npos);
}

} // namespace

} // namespace torvik
