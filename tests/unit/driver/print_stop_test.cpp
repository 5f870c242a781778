#include "driver/print_stop.h"

#include "driver/fix_parameter.h"
#include "support/fresh.h"
#include "text/units.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <ostream>
#include <string>
#include <vector>

namespace torvik {

namespace {

// The messages word for word, by their codes.
const std::vector<std::string> messages = {
    "",
    "The number of reflections exceeds the upper limit.",
    "The number of reflections is smaller than the limit of 4.",
    "The parameter TypeOfPeriodogram out of the bounds [-4,4].",
    "The parameter TypeOfPeriodogram must be non-negative when TestVolumes are UserProvided.",
    "The largest allowed Miller index out of the bounds [4,100].",
    "MinVolumeOfPrimitiveCell is too small.",
    "MinVolumeOfPrimitiveCell is larger than MaxVolumeOfPrimitiveCell.",
    "The ratio (MaxVolumeOfPrimitiveCell/MinVolumeOfPrimitiveCell) is too small.",
    "FractionOfSupportingReflections is too large.",
    "FractionOfSupportingReflections is too small.",
    "Integer for von Mises-type function in ranking is out of range.",
    "Integer for ExtentOfTheSearch is too large.",
    "Integer for ExtentOfTheSearch is too small.",
    "TheMainCriterion is too large.",
    "TheMainCriterion is too small.",
    "WeightsForSortingBases_1 is negative.",
    "WeightsForSortingBases_2 is negative.",
    "WeightsForSortingBases are too small.",
    "Integer for MaxNumberOfSavedBases is too large.",
    "Integer for MaxNumberOfSavedBases is too small.",
    "Integer for SortSolutionsByQualityVsVolume is too large.",
    "Integer for SortSolutionsByQualityVsVolume is too small.",
    "Integer for Save_LePage is too large.",
    "Integer for Save_LePage is too small.",
    "Integer for CreateLogFile is too large.",
    "Integer for CreateLogFile is too small.",
    "The parameter Wavelength out of the bounds.",
    "The number of UserProvidedTestVolumes is too small.",
    "The number of UserProvidedTestVolumes is too large.",
    "Some of UserProvidedTestVolumes are too small.",
};

// A keyword with a value that is refused, and the code of the message.
struct refusal {
    int code;
    std::string keyword;
    std::string values;
    std::string testname;

    friend void PrintTo(const refusal& r, std::ostream* stream)
    {
        *stream << r.keyword << " " << r.values.substr(0, 40) << " -> code " << r.code;
    }
};

std::string repeated(int n, const std::string& text)
{
    std::string result;
    for (int i = 0; i < n; ++i) result += text;
    return result;
}

// For every bound the value next to it: an integer one off, or the neighbouring double. Their
// counterparts, which are accepted, stand with the tests of the keywords.
const std::vector<refusal> refusals = {
    {1, "_NumberOfReflections", "1000", "ThousandReflections"},
    {1, "_NumberOfReflections", "2147483647", "TwoBillionReflections"},
    {2, "_NumberOfReflections", "3", "ThreeReflections"},
    {2, "_NumberOfReflections", "-2147483648", "MinusTwoBillionReflections"},
    {3, "_TypeOfPeriodogram", "5", "PeriodogramFive"},
    {3, "_TypeOfPeriodogram", "-5", "PeriodogramMinusFive"},
    {5, "_MaxAllowedMillerIndex", "3", "MillerIndexThree"},
    {5, "_MaxAllowedMillerIndex", "101", "MillerIndexHundredAndOne"},
    {6, "_MinMaxVolumeOfPrimitiveCell", "1.1920928955078124e-07 100", "MinVolumeBelowItsBound"},
    {6, "_MinMaxVolumeOfPrimitiveCell", "0 100", "MinVolumeZero"},
    {6, "_MinMaxVolumeOfPrimitiveCell", "-10 -20", "TheMinimumIsCheckedBeforeTheOrder"},
    {7, "_MinMaxVolumeOfPrimitiveCell", "150.00000000000003 150", "MinVolumeAboveMaxVolume"},
    {7, "_MinMaxVolumeOfPrimitiveCell", "200 100", "TheOrderIsCheckedBeforeTheRatio"},
    {8, "_MinMaxVolumeOfPrimitiveCell", "100 149", "VolumeRatioOfLessThanThreeHalves"},
    {8, "_MinMaxVolumeOfPrimitiveCell", "1 1.4999999999999998", "VolumeRatioJustBelowThreeHalves"},
    {8, "_MinMaxVolumeOfPrimitiveCell", "100 100", "EqualVolumesFailByTheirRatio"},
    {9, "_FractionOfSupportingReflections", "1.0000000000000002", "FractionJustAboveOne"},
    {10, "_FractionOfSupportingReflections", "9.999999999999998e-8", "FractionBelowItsBound"},
    {10, "_FractionOfSupportingReflections", "-0.5", "FractionNegative"},
    {11, "_vonMisesTypeFunctionInRanking", "5", "RankingFunctionFive"},
    {11, "_vonMisesTypeFunctionInRanking", "-10", "RankingFunctionMinusTen"},
    {11, "_vonMisesTypeFunctionInRanking", "1", "RankingFunctionOne"},
    {11, "_vonMisesTypeFunctionInRanking", "9", "RankingFunctionNine"},
    {11, "_vonMisesTypeFunctionInRanking", "11", "RankingFunctionEleven"},
    {12, "_ExtentOfTheSearch", "6", "ExtentSix"},
    {13, "_ExtentOfTheSearch", "-1", "ExtentMinusOne"},
    {14, "_TheMainCriterion", "0.30000000000000004", "CriterionJustAboveItsBound"},
    {15, "_TheMainCriterion", "0.029999999999999995", "CriterionJustBelowItsBound"},
    {16, "_WeightsForSortingBases", "-1e-300 1", "FirstWeightNegative"},
    {16, "_WeightsForSortingBases", "-1 -1", "TheFirstWeightIsCheckedBeforeTheSecond"},
    {17, "_WeightsForSortingBases", "1 -1e-300", "SecondWeightNegative"},
    {17, "_WeightsForSortingBases", "0 -1", "TheSignIsCheckedBeforeTheSum"},
    {18, "_WeightsForSortingBases", "0 0", "WeightsZero"},
    {18, "_WeightsForSortingBases", "0 2.2204460492503128e-16", "WeightsJustBelowTheirBound"},
    {19, "_MaxNumberOfSavedBases", "129", "SavedBases129"},
    {20, "_MaxNumberOfSavedBases", "0", "SavedBasesNone"},
    {21, "_SortSolutionsByQualityVsVolume", "4", "SortingFour"},
    {22, "_SortSolutionsByQualityVsVolume", "-1", "SortingMinusOne"},
    {23, "_SaveLePage", "129", "LePage129"},
    {24, "_SaveLePage", "-1", "LePageMinusOne"},
    {25, "_CreateLogFile", "2", "LogFileTwo"},
    {26, "_CreateLogFile", "-1", "LogFileMinusOne"},
    {27, "_Wavelength", "0", "WavelengthZero"},
    {27, "_Wavelength", "-0.0", "WavelengthMinusZero"},
    {27, "_Wavelength", "-1.54", "WavelengthNegative"},
    {27, "_Wavelength", "1e9", "WavelengthOfABillion"},
    {27, "_Wavelength", "99999999.00000002", "WavelengthJustAboveItsBound"},
    {27, "_Wavelength", "1e999", "WavelengthBeyondTheRangeOfNumbers"},
    {28, "_UserProvidedTestVolumes", "0", "TestVolumesNone"},
    {28, "_UserProvidedTestVolumes", "-1", "TestVolumesMinusOne"},
    {29, "_UserProvidedTestVolumes", "351" + repeated(351, " 100"), "TestVolumes351"},
    {29, "_UserProvidedTestVolumes", "351 351*0.0", "TheCountIsCheckedBeforeTheVolumes"},
    {29, "_UserProvidedTestVolumes", "100000 100000*1.0", "TestVolumesFarBeyondTheTable"},
    {30, "_UserProvidedTestVolumes", "2 1.1920928955078123e-05 100", "FirstTestVolumeTooSmall"},
    {30, "_UserProvidedTestVolumes", "3 100 200 0", "LastTestVolumeTooSmall"},
    {30, "_UserProvidedTestVolumes", "2 100 -100", "TestVolumeNegative"},
};

class AValueOutOfBounds : public testing::TestWithParam<refusal> {};

TEST_P(AValueOutOfBounds, StopsTheRunWithTheMessageOfItsCode)
{
    const refusal& r = GetParam();
    const auto message = messages[static_cast<std::size_t>(r.code)];
    expectstopped(runtorvik(r.keyword + "\n" + r.values + "\n"), parametererrorlines(message));
}

std::string nameofrefusal(const testing::TestParamInfo<refusal>& info)
{
    return "Code" + std::to_string(info.param.code) + info.param.testname;
}

INSTANTIATE_TEST_SUITE_P(Refused, AValueOutOfBounds, testing::ValuesIn(refusals), nameofrefusal);

class ParameterStop : public fresh {
protected:
    // " The parameter TypeOfPeriodogram : ", 24 blanks and three columns.
    static std::string typeecho(const std::string& threecolumns)
    {
        return " The parameter TypeOfPeriodogram :                         " + threecolumns + "\n";
    }
    // Hands the keyword of a file to fix_parameter, with the terminal on the error stream, which
    // is what a death test can see.
    static void readlines(const std::string& name)
    {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        if (std::freopen("/dev/null", "r", stdin) == nullptr) return;
        std::string first;
        int flag = 0;
        openinput(name);
        readword(inputlines(), first);
        fix_parameter(flag);
    }
    const std::string volumesecho =
        " User provided volumes :                                     T\n";
};

TEST_F(ParameterStop, HasACaseForEveryCodeButTheFourthAbove)
{
    std::vector<int> cases(messages.size(), 0);
    for (const refusal& r : refusals) ++cases.at(static_cast<std::size_t>(r.code));
    for (std::size_t code = 1; code < messages.size(); ++code)
        EXPECT_EQ(cases[code] > 0, code != 4) << code;
}

TEST_F(ParameterStop, OfCodeFourComesForTestVolumesAfterAPositivePeriodogramType)
{
    expectstopped(runtorvik("_TypeOfPeriodogram\n1\n_UserProvidedTestVolumes\n3\n100 200\n300\n"),
                  typeecho("  1") + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, OfCodeFourComesForTestVolumesAfterANegativePeriodogramType)
{
    expectstopped(runtorvik("_TypeOfPeriodogram\n-1\n_UserProvidedTestVolumes\n3\n100 200\n300\n"),
                  typeecho(" -1") + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, OfCodeFourComesForAPositivePeriodogramTypeAfterTestVolumes)
{
    expectstopped(runtorvik("_UserProvidedTestVolumes\n1 100\n_TypeOfPeriodogram\n4\n"),
                  volumesecho + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, OfCodeFourComesForANegativePeriodogramTypeAfterTestVolumes)
{
    expectstopped(runtorvik("_UserProvidedTestVolumes\n1 100\n_TypeOfPeriodogram\n-4\n"),
                  volumesecho + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, OfCodeThreeComesBeforeThatOfCodeFour)
{
    expectstopped(runtorvik("_UserProvidedTestVolumes\n1 100\n_TypeOfPeriodogram\n5\n"),
                  volumesecho + parametererrorlines(messages[3]));
}

TEST_F(ParameterStop, OfCodeFourComesBeforeTheTestVolumesAreRead)
{
    expectstopped(runtorvik("_TypeOfPeriodogram\n2\n_UserProvidedTestVolumes\nnonsense\n"),
                  typeecho("  2") + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, OfCodeFourComesEvenWhereTheFileEndsBehindTheKeyword)
{
    expectstopped(runtorvik("_TypeOfPeriodogram\n2\n_UserProvidedTestVolumes\n"),
                  typeecho("  2") + parametererrorlines(messages[4]));
}

TEST_F(ParameterStop, ComesAlsoWhereTheUserAsksToResume)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", "_ExtentOfTheSearch\n6\n"}};
    setting.input = "go\ngo\n";
    expectstopped(runtorvik(setting), parametererrorlines(messages[12]));
}

TEST_F(ParameterStop, ComesAlsoWhereTheInputOfTheTerminalHasEnded)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", "_ExtentOfTheSearch\n6\n"}};
    setting.input = "";
    expectstopped(runtorvik(setting), parametererrorlines(messages[12]));
}

TEST_F(ParameterStop, KeepsTheLogFromBeingCreatedEvenWhereItWasAskedFor)
{
    const std::string logecho = " Log file :                                                  1\n";
    expectstopped(runtorvik("_CreateLogFile\n1\n_SaveLePage\n129\n"),
                  logecho + parametererrorlines(messages[23]));
}

// No input can bring the wavelength to zero, since its own keyword refuses that: only the state of
// the program can. The first line of the list is no number, and is not reached.
TEST_F(ParameterStop, OfCodeTwentySevenComesBeforeTheFirstLineOfAListOfAngles)
{
    const temporaryfolder folder;
    recorded_reflections.numberofreflections = 4;
    for (const double wavelength : {0.0, -1.0})
        for (const std::string keyword : {"_ReflectionsThetaPhiChi", "_ReflectionsThetaPhiKappa"}) {
            otherglobalvariables.wavelength = wavelength;
            writefile(folder.file("lines"), keyword + "\nnonsense\n");
            EXPECT_EXIT(readlines(folder.file("lines")), testing::ExitedWithCode(0),
                        "^\n\n Error: The parameter Wavelength out of the bounds\\.\n\n\n"
                        "Press Enter to close Torvik");
        }
}

// Without a count the list has no line, but the wavelength is checked all the same.
TEST_F(ParameterStop, OfCodeTwentySevenComesEvenForAListOfNoLines)
{
    const temporaryfolder folder;
    otherglobalvariables.wavelength = 0.0;
    writefile(folder.file("lines"), "_ReflectionsThetaPhiChi\n");
    EXPECT_EXIT(readlines(folder.file("lines")), testing::ExitedWithCode(0),
                " Error: The parameter Wavelength out of the bounds\\.");
}

} // namespace

} // namespace torvik
