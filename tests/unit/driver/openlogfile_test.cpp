#include "driver/openlogfile.h"

#include "support/fresh.h"
#include "support/runs.h"
#include "text/units.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvik {

namespace {

class Log : public fresh {
protected:
    // Gives the lines of the log of a run with this argument and the input file "data.idx".
    static std::vector<std::string> logofrun(const std::string& argument)
    {
        runsetting setting;
        setting.arguments = {argument};
        setting.files = {{"data.idx", "_CreateLogFile\n1\n" + solvedinput}};
        const runresult run = runtorvik(setting);
        EXPECT_TRUE(run.files.contains("data_idx.log"));
        return run.files.contains("data_idx.log") ? linesof(masked(run.files.at("data_idx.log")))
                                                  : std::vector<std::string>(100);
    }
};

// Rules of 56 characters, each with the blank of a free-format line before it.
TEST_F(Log, BeginsWithItsHeaderAndTheParameters)
{
    std::vector<std::string> lines = logofrun("data.idx");
    lines.resize(24);
    const std::vector<std::string> expected = {
        " ========================================================",
        " --------------------------------------------------------",
        "",
        "           Report created by Torvik_03.exe (v. 1.0)",
        "           for data.idx",
        "",
        " --------------------------------------------------------",
        " ========================================================",
        " Date : <date>",
        " --------------------------------------------------------",
        " Number of reflections :                                6",
        " Min. volume of primitive cell :                      0.0",
        " Max. volume of primitive cell :              3.40282E+38",
        " User provided volumes :                                T",
        " Max. allowed Miller index :                          100",
        " Allowed deviation from integer index :             0.120",
        " Weights for sorting solutions :               0.30  0.70",
        " Extent of the search :                                 2",
        " Fraction of supporting reflections :                0.50",
        " Max. number of saved solutions :                      16",
        " Method of sorting in output file :                     0",
        " --------------------------------------------------------",
        "",
    };
    lines.resize(expected.size());
    EXPECT_EQ(lines, expected);
}

TEST_F(Log, IsNamedFromTheInputWithoutTheBlanksAroundItsName)
{
    EXPECT_EQ(logofrun("  data.idx")[4], "           for data.idx");
    EXPECT_EQ(logofrun("data.idx   ")[4], "           for data.idx");
}

TEST_F(Log, StandsBesideTheInput)
{
    runsetting setting;
    setting.arguments = {"folder/data.idx"};
    setting.files = {{"folder/data.idx", "_CreateLogFile\n1\n" + solvedinput}};
    const runresult run = runtorvik(setting);
    ASSERT_TRUE(run.files.contains("folder/data_idx.log"));
    EXPECT_EQ(linesof(run.files.at("folder/data_idx.log"))[4], "           for folder/data.idx");
}

TEST_F(Log, TakesUnitSeventeenWhenItIsOpened)
{
    const temporaryfolder folder;
    openlogfile(makefilename(folder.file("data.idx")));
    EXPECT_EQ(write_log_file.log_file_number, 17);
    closeoutput(logunit);
    EXPECT_EQ(linesof(readfile(folder.file("data_idx.log"))).size(), 23u);
}

TEST_F(Log, ReplacesAnExistingOne)
{
    const temporaryfolder folder;
    writefile(folder.file("data_idx.log"), std::string(100000, 'x'));
    openlogfile(makefilename(folder.file("data.idx")));
    closeoutput(logunit);
    const std::string content = readfile(folder.file("data_idx.log"));
    EXPECT_TRUE(content.starts_with(" ====="));
    EXPECT_EQ(content.find("xxxxx"), std::string::npos);
}

TEST_F(Log, ThatCannotBeCreatedStopsTheRun)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", "_CreateLogFile\n1\n"}, {"a_idx.log/x", ""}};
    expectstopped(runtorvik(setting),
                  " Log file :                                                  1\n"
                  " Error: Cannot write a_idx.log.\n");
}

} // namespace

} // namespace torvik
