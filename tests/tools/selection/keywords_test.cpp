#include "base/failure.h"
#include "selection/keywords.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace torvik::tools {

namespace {

std::string messageof(const std::string& name, const std::vector<std::string>& values)
{
    try {
        checkedkeyword(rulenamed(name), values);
    } catch (const failure& why) {
        return why.what();
    }
    return "";
}

TEST(TheKeywords, AreAllThoseOfTheProgramButTheListsOfReflections)
{
    const std::string source =
        readfile(std::string(TORVIK_SOURCE_DIR) + "/src/driver/fix_parameter.cpp");
    std::set<std::string> known = {"_NumberOfReflections", "_Reflections",
                                   "_ReflectionsThetaPhiChi", "_ReflectionsThetaPhiKappa"};
    for (const keywordrule& rule : keywordrules()) known.insert(std::string("_") + rule.name);
    std::set<std::string> ofprogram;
    const std::string mark = "keyword == \"";
    for (std::size_t at = source.find(mark); at != std::string::npos; at = source.find(mark, at)) {
        at += mark.size();
        ofprogram.insert(source.substr(at, source.find('"', at) - at));
    }
    EXPECT_EQ(known, ofprogram);
}

// Values at the limits, just inside and just outside; the program is asked about each.
TEST(TheLimitsOfTheKeywords, AreThoseOfTheProgram)
{
    const std::vector<std::pair<std::string, std::vector<std::vector<std::string>>>> cases = {
        {"AngleOfKappaAxis", {{"-1e300"}, {"50"}, {"1.5d2"}, {"x"}}},
        {"CreateLogFile", {{"0"}, {"1"}, {"2"}, {"-1"}, {"1.0"}}},
        {"ExtentOfTheSearch", {{"0"}, {"5"}, {"6"}, {"-1"}}},
        {"FractionOfSupportingReflections", {{"1e-7"}, {"1"}, {"9e-8"}, {"1.001"}, {"0"}}},
        {"MaxAllowedMillerIndex", {{"4"}, {"100"}, {"3"}, {"101"}, {"99999999999"}}},
        {"MaxNumberOfSavedBases", {{"1"}, {"128"}, {"0"}, {"129"}}},
        {"MinMaxVolumeOfPrimitiveCell",
         {{"100", "150"},
          {"100", "149.9"},
          {"150", "100"},
          {"1.1920928955078125e-07", "1"},
          {"1.19e-07", "1"},
          {"0", "1"},
          {"-1", "1"}}},
        {"SaveLePage", {{"0"}, {"128"}, {"129"}, {"-1"}}},
        {"SortSolutionsByQualityVsVolume", {{"0"}, {"3"}, {"4"}, {"-1"}}},
        {"TheMainCriterion", {{"0.03"}, {"0.3"}, {"0.029"}, {"0.301"}}},
        {"TypeOfPeriodogram", {{"-4"}, {"4"}, {"-5"}, {"5"}}},
        {"UserProvidedTestVolumes",
         {{"100"}, {"100", "200", "300"}, {"1.1920928955078125e-05"}, {"1.19e-05"}, {"0"}}},
        {"Wavelength", {{"1e-300"}, {"99999999"}, {"0"}, {"-1"}, {"100000000"}}},
        {"WeightsForSortingBases",
         {{"0", "1"}, {"1", "0"}, {"0", "0"}, {"-1", "2"}, {"2", "-1"}, {"1e-16", "1e-16"}}},
        {"vonMisesTypeFunctionInRanking", {{"-9"}, {"0"}, {"10"}, {"-10"}, {"1"}, {"9"}, {"11"}}},
    };
    ASSERT_EQ(cases.size(), keywordrules().size());
    for (const auto& [name, tried] : cases)
        for (const auto& values : tried) {
            std::string idx = "_" + name + "\n";
            if (name == "UserProvidedTestVolumes") idx += std::to_string(values.size()) + "\n";
            for (const std::string& value : values) idx += value + " ";
            const std::string output = runtorvik(idx + "\n").output;
            const bool refused = output.find("Error") != std::string::npos;
            EXPECT_EQ(!messageof(name, values).empty(), refused) << idx << output;
        }
}

TEST(AKeyword, IsWrittenAsTheProgramReadsIt)
{
    EXPECT_EQ(checkedkeyword(rulenamed("TheMainCriterion"), {"0.1"}).values, "0.1");
    EXPECT_EQ(checkedkeyword(rulenamed("TheMainCriterion"), {"0.1"}).name, "_TheMainCriterion");
    EXPECT_EQ(checkedkeyword(rulenamed("MinMaxVolumeOfPrimitiveCell"), {"60", "300"}).values,
              "60 300");
    EXPECT_EQ(checkedkeyword(rulenamed("UserProvidedTestVolumes"), {"60", "300"}).values,
              "2\n60 300");
}

TEST(AWrongValue, IsToldWithTheOptionAndTheRange)
{
    EXPECT_EQ(messageof("TheMainCriterion", {"0.5"}),
              "--TheMainCriterion is 0.5, but the program takes 0.03 to 0.3.");
    EXPECT_EQ(messageof("CreateLogFile", {"yes"}),
              "--CreateLogFile asks for a whole number, not 'yes'.");
    EXPECT_EQ(messageof("Wavelength", {"Mo"}), "--Wavelength asks for a number, not 'Mo'.");
    EXPECT_EQ(messageof("vonMisesTypeFunctionInRanking", {"5"}),
              "--vonMisesTypeFunctionInRanking is 5, but the program takes -9 to 0, and 10.");
    EXPECT_EQ(messageof("WeightsForSortingBases", {"1"}),
              "--WeightsForSortingBases asks for 2 values.");
}

TEST(TheListOfVolumes, HasAtMost350)
{
    EXPECT_EQ(messageof("UserProvidedTestVolumes", std::vector<std::string>(350, "100")), "");
    EXPECT_NE(messageof("UserProvidedTestVolumes", std::vector<std::string>(351, "100")), "");
}

TEST(APeriodogramAndVolumesOfTheUser, ExcludeEachOther)
{
    EXPECT_THROW(checktogether({{"_TypeOfPeriodogram", "1"}, {"_UserProvidedTestVolumes", "1\n9"}}),
                 failure);
    EXPECT_NO_THROW(
        checktogether({{"_TypeOfPeriodogram", "0"}, {"_UserProvidedTestVolumes", "1\n9"}}));
    EXPECT_NO_THROW(checktogether({{"_TypeOfPeriodogram", "1"}}));
}

TEST(SettingAKeyword, ReplacesThoseOfItsName)
{
    std::vector<keyword> keywords = {{"_A", "1"}, {"_B", "2"}, {"_A", "3"}};
    setkeyword(keywords, {"_A", "4"});
    ASSERT_EQ(keywords.size(), 2U);
    EXPECT_EQ(findkeyword(keywords, "_A")->values, "4");
    EXPECT_EQ(findkeyword(keywords, "_C"), nullptr);
}

} // namespace

} // namespace torvik::tools
