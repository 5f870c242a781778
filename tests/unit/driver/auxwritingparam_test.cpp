#include "driver/auxwritingparam.h"

#include "support/fresh.h"
#include "support/runs.h"
#include "text/units.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace torvik {

namespace {

// Every line with a number ends in column 56, below the end of the rules, which fill the columns 2
// to 57. The strings were counted by hand.
class ParameterEcho : public fresh {
protected:
    static std::vector<std::string> echoedto(int unit)
    {
        return linesof(writtenby(unit, [&] { auxwritingparam(unit); }));
    }
    static std::vector<std::string> echoedtothelog()
    {
        write_log_file.log_file_number = logunit;
        return echoedto(logunit);
    }
    const std::string rule =
        " --------------------------------------------------------"; // 56 times
};

TEST_F(ParameterEcho, InTheLogShowsTheDefaultsLineByLine)
{
    recorded_reflections.numberofreflections = 40;
    modofsavedbases.numberofsavedbases = 7;
    std::vector<std::string> lines = echoedtothelog();
    ASSERT_FALSE(lines.empty());
    lines.erase(lines.begin()); // the date
    const std::vector<std::string> expected = {
        rule,
        " Number of reflections :                               40",
        " Min. volume of primitive cell :                      0.0",
        " Max. volume of primitive cell :              3.40282E+38",
        " User provided volumes :                                F",
        " Max. allowed Miller index :                          100",
        " Allowed deviation from integer index :             0.120",
        " Weights for sorting solutions :               0.30  0.70",
        " Extent of the search :                                 2",
        " Fraction of supporting reflections :                0.50",
        " Max. number of saved solutions :                      16",
        " Method of sorting in output file :                     0",
        rule,
        "",
    };
    EXPECT_EQ(lines, expected);
}

TEST_F(ParameterEcho, InTheResultsFileShowsTheNumberOfSolutionsAsWell)
{
    recorded_reflections.numberofreflections = 999;
    otherglobalvariables.minvolumeofprimitivecell = 123.46;
    otherglobalvariables.maxvolumeofprimitivecell = 4567.0;
    otherglobalvariables.userprovidedvolumes = true;
    otherglobalvariables.maxallowedmillerindex = 4;
    otherglobalvariables.themaincriterion = 0.3;
    modofsavedbases.weightsforsortingbases = {{123.0, 0.125}};
    otherglobalvariables.iextentofthesearch = 5;
    otherglobalvariables.fractionofsupportingreflections = 1.0;
    modofsavedbases.maxnumberofsavedbases = 128;
    otherglobalvariables.sortsolutionsbyqualityvsvolume = 3;
    modofsavedbases.numberofsavedbases = 7;
    write_log_file.log_file_number = logunit;
    std::vector<std::string> lines = echoedto(resultsunit);
    ASSERT_FALSE(lines.empty());
    lines.erase(lines.begin()); // the date
    const std::vector<std::string> expected = {
        rule,
        " Number of reflections :                              999",
        " Min. volume of primitive cell :                    123.5",
        " Max. volume of primitive cell :                   4567.0",
        " User provided volumes :                                T",
        " Max. allowed Miller index :                            4",
        " Allowed deviation from integer index :             0.300",
        " Weights for sorting solutions :             123.00  0.12", // the tie 0.125 to even
        " Extent of the search :                                 5",
        " Fraction of supporting reflections :                1.00",
        " Max. number of saved solutions :                     128",
        " Method of sorting in output file :                     3",
        " Number of solutions:                                   7",
        rule,
        "",
    };
    EXPECT_EQ(lines, expected);
}

TEST_F(ParameterEcho, ShowsTheNumberOfSolutionsInTheResultsFileAlsoWithoutALog)
{
    ASSERT_EQ(write_log_file.log_file_number, 0);
    const auto lines = echoedto(resultsunit);
    ASSERT_EQ(lines.size(), 16u);
    EXPECT_EQ(lines[13], " Number of solutions:                                   0");
}

TEST_F(ParameterEcho, ShowsAMaximumVolumeBelowABillionInFixedPoint)
{
    otherglobalvariables.maxvolumeofprimitivecell = 999999999.0;
    EXPECT_EQ(echoedtothelog()[4], " Max. volume of primitive cell :              999999999.0");
}

TEST_F(ParameterEcho, ShowsAMaximumVolumeFromABillionOnWithAnExponent)
{
    otherglobalvariables.maxvolumeofprimitivecell = 1000000000.0;
    EXPECT_EQ(echoedtothelog()[4], " Max. volume of primitive cell :              1.00000E+09");
}

// The last double below a billion rounds to eleven columns of the twelve.
TEST_F(ParameterEcho, ComparesTheMaximumVolumeBeforeItIsRounded)
{
    otherglobalvariables.maxvolumeofprimitivecell = 999999999.9999999;
    EXPECT_EQ(echoedtothelog()[4], " Max. volume of primitive cell :             1000000000.0");
}

TEST_F(ParameterEcho, ShowsALargeMinimumVolumeAlwaysInFixedPoint)
{
    otherglobalvariables.minvolumeofprimitivecell = 1e9;
    EXPECT_EQ(echoedtothelog()[3], " Min. volume of primitive cell :             1000000000.0");
    otherglobalvariables.minvolumeofprimitivecell = 1e10;
    EXPECT_EQ(echoedtothelog()[3], " Min. volume of primitive cell :             ************");
}

// Year, month, day; twenty blanks; hours, minutes, seconds with milliseconds.
TEST_F(ParameterEcho, BeginsWithTheLocalDateAndTime)
{
    const std::regex date(" Date : [0-9]{4}\\.(0[1-9]|1[0-2])\\.([0-2][0-9]|3[01])"
                          "                    Time : "
                          "([01][0-9]|2[0-3]):[0-5][0-9]:([0-5][0-9]|60)\\.[0-9]{3}");
    const std::string line = echoedtothelog()[0];
    EXPECT_TRUE(std::regex_match(line, date)) << line;
}

} // namespace

} // namespace torvik
