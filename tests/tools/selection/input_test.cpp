#include "base/failure.h"
#include "selection/input.h"
#include "selection/keywords.h"
#include "selection/outlook.h"
#include "support/runs.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace torvik::tools {

namespace {

measurement crystal()
{
    return measurementof(disturbed(triclinicpoints(0.5), 0.0005, 6));
}

std::string messageof(const measurement& measured, const inputoptions& options)
{
    try {
        makeinput(measured, "a.txt", options);
    } catch (const failure& why) {
        return why.what();
    }
    return "";
}

bool comments(const inputresult& result, const std::string& part)
{
    return std::any_of(
        result.file.comments.begin(), result.file.comments.end(),
        [&](const std::string& line) { return line.find(part) != std::string::npos; });
}

TEST(AnInputFile, HasFortyReflectionsWithTheirOriginAndLimitsOnTheVolume)
{
    const inputresult result = makeinput(crystal(), "a.txt", {});
    EXPECT_EQ(result.file.reflections.size(), 40U);
    EXPECT_EQ(result.file.remarks.size(), 40U);
    EXPECT_TRUE(comments(result, "From a.txt"));
    EXPECT_TRUE(comments(result, "The frame is that of the test."));
    EXPECT_TRUE(comments(result, "without a factor of 2 pi"));
    EXPECT_TRUE(result.warnings.empty());
    const auto limits = parametersof(result.file.keywords).limits;
    ASSERT_TRUE(limits);
    EXPECT_NEAR(limits->least / (triclinicvolume / 5.0), 1.0, 0.05);
    EXPECT_NEAR(limits->most / (triclinicvolume * 30.0), 1.0, 0.05);
}

TEST(AnInputFile, LeadsTheProgramToTheCell)
{
    const inputresult result = makeinput(crystal(), "a.txt", {});
    const std::string output = runtorvik(textof(result.file, result.decimals)).output;
    const std::string mark = "Cell volume :";
    const std::size_t at = output.find(mark);
    ASSERT_NE(at, std::string::npos) << output;
    EXPECT_NEAR(std::stod(output.substr(at + mark.size())) / triclinicvolume, 1.0, 0.005);
}

TEST(AnInputFile, HasVectorsWithoutTwoPiAndInAngstroms)
{
    measurement measured = crystal();
    const double unit = 2.0 * gemmi::pi() * 10.0;
    for (spot& one : measured.spots)
        for (double& x : one.value) x *= unit;
    inputoptions options;
    options.unit = 1.0 / unit;
    EXPECT_EQ(textof(makeinput(measured, "a", options).file),
              textof(makeinput(crystal(), "a", {}).file));
}

TEST(AnInputFile, HasOnlySpacingsWithinTheLimits)
{
    inputoptions options;
    options.dmin = 3.0;
    options.dmax = 8.0;
    options.most = 999;
    const inputresult result = makeinput(crystal(), "a.txt", options);
    EXPECT_GT(result.vectors.size(), 50U);
    for (const vector3& r : result.vectors) {
        EXPECT_GE(1.0 / r.length(), 3.0);
        EXPECT_LE(1.0 / r.length(), 8.0);
    }
    EXPECT_TRUE(comments(result, "Spacings of 3 to 8 angstroms"));
}

TEST(ALongestEdge, LimitsTheVolumeToItsCube)
{
    inputoptions options;
    options.cellmax = 20.0;
    const auto limits = parametersof(makeinput(crystal(), "a", options).file.keywords).limits;
    ASSERT_TRUE(limits);
    EXPECT_EQ(limits->most, 8000.0);
    EXPECT_LT(limits->least, triclinicvolume / 2.0);
    EXPECT_EQ(rangeofcell(10.0, {}).least, 1.0);
    EXPECT_EQ(rangeofcell(10.0, volumeestimate{1e6, 1e6, 1e6, 9}).least, 100.0);
}

TEST(Limits, AreNotWrittenWhereTheProgramShallTakeItsOwnOrVolumesAreGiven)
{
    inputoptions options;
    options.otherwise = volumerule::program;
    EXPECT_FALSE(parametersof(makeinput(crystal(), "a", options).file.keywords).limits);
    options = {};
    options.keywords = {{"_UserProvidedTestVolumes", "1\n1107"}};
    EXPECT_FALSE(parametersof(makeinput(crystal(), "a", options).file.keywords).limits);
}

TEST(LimitsOfTheFile, StayUnlessOthersAreAskedFor)
{
    measurement measured = crystal();
    measured.keywords = {{"_MinMaxVolumeOfPrimitiveCell", "500 3000"}, {"_CreateLogFile", "1"}};
    inputresult result = makeinput(measured, "a", {});
    EXPECT_EQ(findkeyword(result.file.keywords, "_MinMaxVolumeOfPrimitiveCell")->values,
              "500 3000");
    EXPECT_NE(findkeyword(result.file.keywords, "_CreateLogFile"), nullptr);
    inputoptions options;
    options.keywords = {{"_MinMaxVolumeOfPrimitiveCell", "600 2000"}};
    result = makeinput(measured, "a", options);
    EXPECT_EQ(findkeyword(result.file.keywords, "_MinMaxVolumeOfPrimitiveCell")->values,
              "600 2000");
}

// The innermost reflections tell the volume; the strongest, which are taken, lie far out.
TEST(LimitsFromTheVectors, AreLoweredToWhatTheTableHolds)
{
    const double volume = 1.0 / (0.01 * 0.01 * 0.01);
    measurement measured =
        measurementof(latticepoints({0.01, 0.0, 0.0}, {0.0, 0.01, 0.0}, {0.0, 0.0, 0.01}, 0.06));
    for (spot& one : measured.spots) one.intensity = 1.0;
    std::mt19937 chance(3);
    for (int i = 0; i < 40; ++i) {
        spot one{{}, 100.0, {}, "far out"};
        for (double& x : one.value) x = 0.01 * (static_cast<double>(chance() % 161) - 80.0);
        measured.spots.push_back(one);
    }
    inputoptions options;
    options.how = pick::strongest;
    const inputresult result = makeinput(measured, "a", options);
    const auto limits = parametersof(result.file.keywords).limits;
    ASSERT_TRUE(limits);
    EXPECT_NEAR(limits->least, volume / 5.0, 0.001 * volume);
    EXPECT_LT(limits->most, 25.0 * volume);
    EXPECT_EQ(result.warnings, std::vector<std::string>{});
}

TEST(Angles, StayAngles)
{
    measurement measured;
    measured.kind = listkind::thetaphikappa;
    measured.wavelength = 0.71073;
    measured.kappaangle = 49.9;
    for (int i = 0; i < 10; ++i)
        measured.spots.push_back(
            {{10.0 + i, 37.12345 * i, -20.0 + 7.0 * i}, {}, {}, "line " + std::to_string(i)});
    const inputresult result = makeinput(measured, "a", {});
    EXPECT_EQ(result.file.kind, listkind::thetaphikappa);
    EXPECT_EQ(findkeyword(result.file.keywords, "_Wavelength")->values, "0.710730");
    EXPECT_EQ(findkeyword(result.file.keywords, "_AngleOfKappaAxis")->values, "49.9000");
    EXPECT_EQ(result.file.reflections[1], measured.spots[1].value);
    EXPECT_EQ(result.decimals, 5);
    EXPECT_NEAR(result.vectors[0].length(), vectorsof(measured)[0].length(), 1e-12);
}

TEST(Angles, NeedAWavelengthAndKnowNoUnit)
{
    measurement measured = crystal();
    measured.kind = listkind::thetaphichi;
    EXPECT_EQ(messageof(measured, {}),
              "The angles need a wavelength: --wavelength gives it, in angstroms.");
    inputoptions options;
    options.unit = 0.1;
    EXPECT_EQ(messageof(measured, options),
              "The file has angles, which know no factor of 2 pi and no nanometres.");
}

TEST(FewerThanFourReflections, MakeNoInputFile)
{
    inputoptions options;
    options.dmin = 10.5;
    EXPECT_EQ(messageof(crystal(), options),
              "Only 2 reflections can be taken; the program needs four at least.");
}

TEST(ABadCount, IsWarnedOf)
{
    inputoptions options;
    options.most = 67;
    const inputresult result = makeinput(crystal(), "a", options);
    ASSERT_EQ(result.warnings.size(), 1U);
    EXPECT_NE(result.warnings[0].find("--max-reflections 66"), std::string::npos);
}

TEST(TheDecimals, AreAsManyAsTheFileHasUpToSeven)
{
    measurement measured =
        measurementof({{0.1, 0.0, 0.0}, {0.0, 0.12, 0.0}, {0.0, 0.0, 0.09}, {0.1, 0.12, 0.09}});
    EXPECT_EQ(makeinput(measured, "a", {}).decimals, 5);
    measured.spots[2].value[2] = 0.090001;
    EXPECT_EQ(makeinput(measured, "a", {}).decimals, 6);
    measured.spots[2].value[2] = 0.0900000001;
    EXPECT_EQ(makeinput(measured, "a", {}).decimals, 7);
}

} // namespace

} // namespace torvik::tools
