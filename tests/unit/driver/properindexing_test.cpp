#include "driver/properindexing.h"

#include "support/fresh.h"
#include "text/clock.h"
#include "text/fields.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace torvik {

namespace {

const std::string logecho = " Log file :                                                  1\n";

std::set<std::string> namesof(const namedfiles& files)
{
    std::set<std::string> names;
    for (const auto& [name, content] : files) names.insert(name);
    return names;
}

// Gives the last lines of a text.
std::vector<std::string> lastlines(const std::string& text, std::ptrdiff_t n)
{
    const std::vector<std::string> lines = linesof(text);
    return {lines.end() - std::min(n, std::ssize(lines)), lines.end()};
}

class Run : public fresh {
protected:
    using names = std::set<std::string>;
};

TEST_F(Run, WithoutALogLeavesTheResultsAlone)
{
    const runresult run = runtorvik(solvedinput);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(namesof(run.files), names({"a_idx.res"}));
}

TEST_F(Run, WithLogLevelZeroCreatesNoLog)
{
    EXPECT_EQ(namesof(runtorvik("_CreateLogFile\n0\n" + solvedinput).files), names({"a_idx.res"}));
}

TEST_F(Run, WithLogLevelZeroHasTheParametersAndTheNumberOfSolutionsInTheResults)
{
    const std::string results = runtorvik(solvedinput).files.at("a_idx.res");
    EXPECT_NE(results.find("\n Number of reflections :                                6\n"
                           " Min. volume of primitive cell :                      0.0\n"
                           " Max. volume of primitive cell :              3.40282E+38\n"
                           " User provided volumes :                                T\n"),
              std::string::npos);
    EXPECT_NE(results.find("\n Number of solutions:                                  "),
              std::string::npos);
}

TEST_F(Run, WithALogLeavesItBesideTheResults)
{
    const runresult run = runtorvik("_CreateLogFile\n1\n" + solvedinput);
    EXPECT_EQ(namesof(run.files), names({"a_idx.res", "a_idx.log"}));
    EXPECT_EQ(run.files.at("a_idx.log").find(" Number of solutions:"), std::string::npos);
}

TEST_F(Run, WritesLePageOnlyWhenAsked)
{
    EXPECT_EQ(namesof(runtorvik("_SaveLePage\n0\n" + solvedinput).files), names({"a_idx.res"}));
    EXPECT_EQ(namesof(runtorvik("_SaveLePage\n1\n" + solvedinput).files),
              names({"a_idx.res", "LePage.inp"}));
}

TEST_F(Run, WritesLePageToTheWorkingFolderAndAllElseBesideTheInput)
{
    runsetting setting;
    setting.arguments = {"folder/a.idx"};
    setting.files = {{"folder/a.idx", "_CreateLogFile\n1\n_SaveLePage\n1\n" + solvedinput}};
    EXPECT_EQ(namesof(runtorvik(setting).files),
              names({"folder/a_idx.res", "folder/a_idx.log", "LePage.inp"}));
}

// The figures stand in eight columns.
TEST_F(Run, EndsOnTheTerminalWithItsTiming)
{
    const std::string output = runtorvik(solvedinput).output;
    const std::regex timing(" System time :               [ 0-9]{4}\\.[0-9]{3} seconds\n"
                            " CPU time    :               [ 0-9]{4}\\.[0-9]{3} seconds\n"
                            "\n");
    const std::size_t start = output.find(" System time");
    ASSERT_NE(start, std::string::npos);
    EXPECT_TRUE(std::regex_match(output.substr(start), timing)) << output.substr(start);
}

// Forty-nine signs of equality behind the blank of a free-format line; the figures stand in
// thirteen columns.
TEST_F(Run, EndsInTheLogWithItsTiming)
{
    const std::string log = runtorvik("_CreateLogFile\n1\n" + solvedinput).files.at("a_idx.log");
    const std::regex timing("\n"
                            " =================================================\n"
                            " System time :               [ 0-9]{10}\\.[0-9]{2} seconds\n"
                            " CPU time    :               [ 0-9]{10}\\.[0-9]{2} seconds\n");
    const std::string rule = "\n =================================================\n System time";
    const std::size_t start = log.find(rule);
    ASSERT_NE(start, std::string::npos);
    EXPECT_EQ(log[start - 1], '\n') << "an empty line stands before the rule";
    EXPECT_TRUE(std::regex_match(log.substr(start), timing)) << log.substr(start);
}

TEST_F(Run, DoesNotCountTheTimeThatItWaitsAsProcessorTime)
{
    // The input comes through a pipe, a second after the program has begun to read it.
    runsetting setting;
    setting.program = "/bin/sh";
    setting.files = {{"late.idx", "_CreateLogFile\n1\n" + solvedinput}};
    setting.arguments = {
        "-c", "mkfifo a.idx; (exec 3>a.idx; sleep 1; cat late.idx >&3) & '" TORVIK_PROGRAM
              "' a.idx; rm a.idx"};
    const runresult run = runtorvik(setting);
    for (const std::string& text : {run.output, run.files.at("a_idx.log")}) {
        const std::regex timing(" System time : +([0-9.]+) seconds\n"
                                " CPU time    : +([0-9.]+) seconds\n");
        std::smatch figure;
        ASSERT_TRUE(std::regex_search(text, figure, timing)) << text;
        EXPECT_LT(std::stod(figure[2]) + 0.5, std::stod(figure[1])) << text;
    }
}

TEST_F(Run, WithALogHasTheTimingOnTheTerminalAsWell)
{
    const runresult run = runtorvik("_CreateLogFile\n1\n" + solvedinput);
    const std::vector<std::string> expected = {
        " System time : <8 columns> seconds",
        " CPU time    : <8 columns> seconds",
        "",
    };
    EXPECT_EQ(lastlines(masked(run.output), 3), expected);
}

// A run of 12345.6 seconds: four digits, the point and three decimals are all that fit into the
// eight columns.
TEST_F(Run, OfTenThousandSecondsFillsTheTerminalWithAsterisksAndTheLogWithTheFigure)
{
    const float seconds = 12345.6F;
    EXPECT_EQ(F(8, 3, seconds), "********");
    EXPECT_EQ(F(13, 2, seconds), "     12345.60");
    EXPECT_EQ(F(8, 3, 9999.999F), "9999.999");
    EXPECT_EQ(F(8, 3, 10000.0F), "********");
}

// 23:59:59.5 to 0:00:00.25 is three quarters of a second.
TEST_F(Run, AcrossMidnightTakesTheTimeThatItTakes)
{
    EXPECT_EQ(elapsedseconds(86399.5F, 0.25F), 0.75F);
    EXPECT_EQ(elapsedseconds(10.0F, 12.5F), 2.5F);
    EXPECT_EQ(elapsedseconds(10.0F, 10.0F), 0.0F);
}

TEST_F(Run, WithTestVolumesOfTheUserSkipsTheirEstimation)
{
    const std::string output = runtorvik(solvedinput).output;
    EXPECT_EQ(output.find("Number of test periods"), std::string::npos);
    EXPECT_EQ(output.find("periodogram"), std::string::npos);
}

TEST_F(Run, WithoutTestVolumesOfTheUserEstimatesThem)
{
    const std::string output = runtorvik(sixreflections).output;
    EXPECT_NE(output.find("\n Number of test periods :           "), std::string::npos);
}

// The smaller cell, which is the larger reciprocal cell, is tried first.
TEST_F(Run, SortsTheTestVolumesOfTheUser)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), "_UserProvidedTestVolumes\n3\n100 50 200\n");
    printedbyreturning([&] { properindexing(makefilename(folder.file("a.idx"))); });
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 3);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 0.02);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(2), 0.01);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(3), 0.005);
}

// The shortest reflection has the length 0.1, so that the automatic range is 1000 to 10000 times as
// much. The log is written before, the results file after it was determined.
TEST_F(Run, ShowsTheAutomaticVolumeRangeInTheResultsButNotInTheHeadOfTheLog)
{
    const runresult run = runtorvik("_CreateLogFile\n1\n" + sixreflections);
    EXPECT_NE(run.files.at("a_idx.log")
                  .find("\n Min. volume of primitive cell :                      0.0\n"
                        " Max. volume of primitive cell :              3.40282E+38\n"),
              std::string::npos);
    EXPECT_NE(run.files.at("a_idx.res")
                  .find("\n Min. volume of primitive cell :                   1000.0\n"
                        " Max. volume of primitive cell :               10000000.0\n"),
              std::string::npos);
}

TEST_F(Run, BeginsWithDefaultsAndAnEmptyStore)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), "# nothing\n");
    otherglobalvariables.iextentofthesearch = 5;
    otherglobalvariables.isave_lepage = 128;
    modofsavedbases.numberofsavedbases = 100;
    printedbyreturning([&] { properindexing(makefilename(folder.file("a.idx"))); });
    EXPECT_EQ(otherglobalvariables.iextentofthesearch, 2);
    EXPECT_EQ(otherglobalvariables.isave_lepage, 0);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 0);
    EXPECT_NE(readfile(folder.file("a_idx.res"))
                  .find("\n Number of solutions:                                   0\n"),
              std::string::npos);
}

TEST_F(Run, OnAnInputWithoutReflectionsEndsNormallyWithoutASolution)
{
    for (const std::string idx : {"", "# nothing\n", "_UserProvidedTestVolumes\n1 100\n"}) {
        const runresult run = runtorvik(idx);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
        EXPECT_EQ(namesof(run.files), names({"a_idx.res"}));
        EXPECT_NE(run.files.at("a_idx.res")
                      .find("\n Number of solutions:                                   0\n"),
                  std::string::npos);
    }
}

TEST_F(Run, OnACountWithoutAListEndsNormallyWithoutASolution)
{
    for (const std::string idx :
         {"_NumberOfReflections\n4\n", "_NumberOfReflections\n4\n_UserProvidedTestVolumes\n1 100\n",
          "_Reflections\n0.1 0 0\n0 0.2 0\n0 0 0.3\n0.1 0.2 0.3\n_NumberOfReflections\n4\n"}) {
        const runresult run = runtorvik(idx);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.errors, "");
        ASSERT_TRUE(run.files.contains("a_idx.res"));
        EXPECT_NE(run.files.at("a_idx.res")
                      .find("\n Number of solutions:                                   0\n"),
                  std::string::npos);
    }
}

TEST_F(Run, OnACountRaisedBehindTheListEndsNormally)
{
    const runresult run = runtorvik(sixreflections + "_NumberOfReflections\n9\n"
                                    + "_UserProvidedTestVolumes\n1\n636.13\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_NE(run.files.at("a_idx.res")
                  .find("\n Number of reflections :                                9\n"),
              std::string::npos);
}

TEST_F(Run, OnACountLoweredBehindTheListUsesTheFirstReflections)
{
    const runresult run = runtorvik(sixreflections + "_NumberOfReflections\n4\n"
                                    + "_UserProvidedTestVolumes\n1\n636.13\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_NE(run.output.find("\n    Supporting reflections : h -   4, H -   4\n"),
              std::string::npos)
        << run.output;
}

TEST_F(Run, WithANegativePeriodogramTypeEndsWithThePeriodogram)
{
    const runresult run = runtorvik("_TypeOfPeriodogram\n-1\n" + sixreflections);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(namesof(run.files), names({"a_periodogram.res"}));
    EXPECT_EQ(run.output.find("System time"), std::string::npos);
    EXPECT_EQ(run.output.find("CPU time"), std::string::npos);
}

TEST_F(Run, WithANegativePeriodogramTypeWritesNoLogTrailer)
{
    const runresult run = runtorvik("_TypeOfPeriodogram\n-1\n_CreateLogFile\n1\n" + sixreflections);
    EXPECT_EQ(namesof(run.files), names({"a_periodogram.res", "a_idx.log"}));
    const std::string& log = run.files.at("a_idx.log");
    EXPECT_NE(log.find("           for a.idx\n"), std::string::npos);
    EXPECT_TRUE(log.ends_with("\n"));
    EXPECT_EQ(log.find("System time"), std::string::npos);
    EXPECT_EQ(log.find("CPU time"), std::string::npos);
    EXPECT_EQ(run.output.find("System time"), std::string::npos);
}

} // namespace

} // namespace torvik
