#include "formats/idxfile.h"
#include "selection/outlook.h"
#include "support/runs.h"
#include "tools/selection/latticepoints.h"
#include "volumes/plainsums.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

TEST(TheDivisorOfThePeriodogram, IsThatOfTheProgramForAllCounts)
{
    for (int n = 3; n <= 999; ++n)
        ASSERT_EQ(rayleighdivisor(n), wrappedsquare(n * (n - 1) / 2 * (n - 2) / 3)) << n;
}

// The first ones are in docs/formats.md.
TEST(CountsOfReflections, AreBadFrom67OnWhereTheDivisorIsNegative)
{
    const runparameters usual;
    for (int n = 4; n <= 66; ++n) EXPECT_TRUE(findspeaks(n, usual)) << n;
    for (const int n : {67, 74, 80, 83, 87, 88, 92, 93}) EXPECT_FALSE(findspeaks(n, usual)) << n;
    for (const int n : {75, 79, 84, 86, 89, 91}) EXPECT_TRUE(findspeaks(n, usual)) << n;
}

TEST(CountsOfReflections, AreAllGoodWithOtherPeriodogramsAndWithVolumesOfTheUser)
{
    runparameters parameters;
    for (const int type : {1, 3, -1, -3}) {
        parameters.periodogram = type;
        EXPECT_TRUE(findspeaks(67, parameters)) << type;
    }
    for (const int type : {2, 4, -2, -4}) {
        parameters.periodogram = type;
        EXPECT_FALSE(findspeaks(67, parameters)) << type;
    }
    parameters = {};
    parameters.extent = 0;
    EXPECT_TRUE(findspeaks(67, parameters));
    parameters.extent = 5;
    EXPECT_FALSE(findspeaks(67, parameters));
    parameters.uservolumes = true;
    EXPECT_TRUE(findspeaks(67, parameters));
}

TEST(TheNearestGoodCount, LiesBelowOrAboveAndWithinWhatThereIs)
{
    const runparameters usual;
    EXPECT_EQ(nearestgoodcount(40, 999, usual), 40);
    EXPECT_EQ(nearestgoodcount(67, 999, usual), 66);
    EXPECT_EQ(nearestgoodcount(73, 999, usual), 75);
    EXPECT_EQ(nearestgoodcount(73, 74, usual), 66);
    EXPECT_EQ(nearestgoodcount(2000, 3000, usual), nearestgoodcount(999, 999, usual));
}

// What a run says of its volumes.
std::string printed(const std::string& text, const std::string& before)
{
    const std::size_t at = text.find(before);
    EXPECT_NE(at, std::string::npos) << text;
    const std::size_t start = text.find_first_not_of(' ', at + before.size());
    return text.substr(start, text.find_first_of(" \n", start) - start);
}

std::string idxtext(const std::vector<vector3>& vectors, const std::string& keywords)
{
    idxfile file;
    for (const vector3& r : vectors) file.reflections.push_back({r.x, r.y, r.z});
    return keywords + textof(file, 9);
}

TEST(TheNumberOfTestPeriods, IsThatOfTheProgramForGivenAndForAutomaticLimits)
{
    const std::vector<vector3> vectors = disturbed(triclinicpoints(0.2), 0.001, 4);
    ASSERT_LE(vectors.size(), 66U);
    const double T = largesttriple(vectors);
    const std::string usual = runtorvik(idxtext(vectors, "_ExtentOfTheSearch\n0\n")).output;
    EXPECT_EQ(printed(usual, "Number of test periods :"),
              std::to_string(static_cast<int>(periodsasked(automaticrange(vectors), T, 0))));
    const std::string given =
        runtorvik(idxtext(vectors, "_MinMaxVolumeOfPrimitiveCell\n300 9000\n")).output;
    EXPECT_EQ(printed(given, "Number of test periods :"),
              std::to_string(static_cast<int>(periodsasked({300.0, 9000.0}, T, 2))));
}

// The log names the smallest volume of the last fragment of the periodogram.
TEST(TheSmallestTestedVolume, IsThatOfTheProgramWhereItsTableIsTooShort)
{
    const std::vector<vector3> vectors = {
        {0.9, 0.1, 0.0}, {0.0, 0.8, 0.1}, {0.1, 0.0, 0.7}, {0.5, 0.5, 0.1}};
    const volumerange range = {100.0, 4e6};
    const double T = largesttriple(vectors);
    EXPECT_GT(periodsasked(range, T, 2), mostperiods + 1.0);
    const auto files = runtorvik(idxtext(vectors, "_MinMaxVolumeOfPrimitiveCell\n100 4000000\n"
                                                  "_TypeOfPeriodogram\n-1\n"))
                           .files;
    const std::string& table = files.at("a_periodogram.res");
    const std::size_t last = table.rfind('\n', table.size() - 2);
    EXPECT_NEAR(std::stod(table.substr(last)), smallesttested(range, T, 2), 0.01);
}

TEST(ARangeThatTheTableDoesNotHold, IsLoweredUntilItDoes)
{
    const double T = 0.5;
    const volumerange held = withintable({100.0, 1e8}, T, 2);
    EXPECT_EQ(held.least, 100.0);
    EXPECT_LT(periodsasked(held, T, 2), mostperiods);
    EXPECT_GT(periodsasked(held, T, 2), 0.99 * mostperiods);
    EXPECT_EQ(smallesttested(held, T, 2), 100.0);
    EXPECT_EQ(withintable({100.0, 200.0}, T, 2).most, 200.0);
}

TEST(ARangeOfLargeVolumes, StaysOneThatTheProgramTakes)
{
    const volumerange held = withintable({1e9, 1e10}, 0.5, 2);
    EXPECT_GE(held.most / held.least, 1.5);
    EXPECT_GT(smallesttested(held, 0.5, 2), held.least);
}

TEST(TheParametersOfARun, AreReadFromItsKeywords)
{
    const runparameters parameters = parametersof({{"_ExtentOfTheSearch", "1"},
                                                   {"_ExtentOfTheSearch", "3 and a remark"},
                                                   {"_MinMaxVolumeOfPrimitiveCell", "60,\n300"},
                                                   {"_TypeOfPeriodogram", "-2"},
                                                   {"_Wavelength", "0.71"}});
    EXPECT_EQ(parameters.extent, 3);
    EXPECT_EQ(parameters.periodogram, -2);
    ASSERT_TRUE(parameters.limits);
    EXPECT_EQ(parameters.limits->most, 300.0);
    EXPECT_EQ(parameters.wavelength, 0.71);
    EXPECT_FALSE(parameters.uservolumes);
    EXPECT_TRUE(parametersof({{"_UserProvidedTestVolumes", "1\n100"}}).uservolumes);
}

} // namespace

} // namespace torvik::tools
