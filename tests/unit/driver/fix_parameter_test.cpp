#include "driver/fix_parameter.h"

#include "geometry/getreciprocallatticevectors.h"
#include "search/quality.h"
#include "support/fresh.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace torvik {

namespace {

// Every echo of a whole number or a single real ends in column 61, so that the numbers stand below
// each other on the terminal. The strings here were counted by hand.
class Keyword : public fresh {
protected:
    // Checks that a keyword with its values is accepted with this echo line.
    static void expectecho(const std::string& lines, const std::string& echo)
    {
        const keywordresult result = fixed(lines);
        EXPECT_EQ(result.flag, 0) << lines;
        EXPECT_EQ(result.printed, echo) << lines;
    }

    // Checks that a keyword or its values cannot be read, silently.
    static void expectunreadable(const std::string& lines)
    {
        const keywordresult result = fixed(lines);
        EXPECT_EQ(result.flag, 1) << lines;
        EXPECT_EQ(result.printed, "") << lines;
    }

    static void expectvector(int i, double x, double y, double z)
    {
        EXPECT_EQ(recorded_reflections.reflections(i)(1), x) << i;
        EXPECT_EQ(recorded_reflections.reflections(i)(2), y) << i;
        EXPECT_EQ(recorded_reflections.reflections(i)(3), z) << i;
    }
};

TEST_F(Keyword, AngleOfKappaAxisIsStoredAndEchoedWithTwoDecimals)
{
    expectecho("_AngleOfKappaAxis\n49.984\n",
               " Angle of kappa axis :                                   49.98\n");
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 49.984);
}

TEST_F(Keyword, AngleOfKappaAxisHasNoBounds)
{
    expectecho("_AngleOfKappaAxis\n-720\n",
               " Angle of kappa axis :                                 -720.00\n");
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, -720.0);
    expectecho("_AngleOfKappaAxis\n1e300\n",
               " Angle of kappa axis :                               *********\n");
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 1e300);
}

TEST_F(Keyword, CreateLogFileTakesZeroAndOne)
{
    expectecho("_CreateLogFile\n1\n",
               " Log file :                                                  1\n");
    EXPECT_EQ(write_log_file.log_file_level, 1);
    expectecho("_CreateLogFile\n0\n",
               " Log file :                                                  0\n");
    EXPECT_EQ(write_log_file.log_file_level, 0);
    EXPECT_EQ(write_log_file.log_file_number, 0);
}

TEST_F(Keyword, ExtentOfTheSearchTakesZeroToFive)
{
    expectecho("_ExtentOfTheSearch\n5\n",
               " Extent of search :                                          5\n");
    EXPECT_EQ(otherglobalvariables.iextentofthesearch, 5);
    expectecho("_ExtentOfTheSearch\n0\n",
               " Extent of search :                                          0\n");
    EXPECT_EQ(otherglobalvariables.iextentofthesearch, 0);
}

TEST_F(Keyword, FractionOfSupportingReflectionsTakesOneTenMillionthToOne)
{
    expectecho("_FractionOfSupportingReflections\n1.0\n",
               " Supporting reflections (fraction) :                     1.000\n");
    EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections, 1.0);
    expectecho("_FractionOfSupportingReflections\n1e-7\n",
               " Supporting reflections (fraction) :                     0.000\n");
    EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections, 1e-7);
}

TEST_F(Keyword, MaxAllowedMillerIndexTakesFourToAHundred)
{
    expectecho("_MaxAllowedMillerIndex\n4\n",
               " The largest allowed Miller index :                          4\n");
    EXPECT_EQ(otherglobalvariables.maxallowedmillerindex, 4);
    expectecho("_MaxAllowedMillerIndex\n100\n",
               " The largest allowed Miller index :                        100\n");
    EXPECT_EQ(otherglobalvariables.maxallowedmillerindex, 100);
}

TEST_F(Keyword, MaxNumberOfSavedBasesTakesOneTo128)
{
    expectecho("_MaxNumberOfSavedBases\n1\n",
               " Number of solutions to be saved  :                          1\n");
    EXPECT_EQ(modofsavedbases.maxnumberofsavedbases, 1);
    expectecho("_MaxNumberOfSavedBases\n128\n",
               " Number of solutions to be saved  :                        128\n");
    EXPECT_EQ(modofsavedbases.maxnumberofsavedbases, 128);
}

// 150 / 100 is exactly the smallest ratio.
TEST_F(Keyword, MinMaxVolumeOfPrimitiveCellTakesARatioOfExactlyThreeHalves)
{
    expectecho("_MinMaxVolumeOfPrimitiveCell\n100 150\n",
               " Limits on volume of primitive cell :       100.0,       150.0\n");
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 100.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 150.0);
}

TEST_F(Keyword, MinMaxVolumeOfPrimitiveCellSwitchesTheLimitsOn)
{
    EXPECT_FALSE(otherglobalvariables.limitsonvolumeofprimitivecell);
    fixed("_MinMaxVolumeOfPrimitiveCell\n100 150\n");
    EXPECT_TRUE(otherglobalvariables.limitsonvolumeofprimitivecell);
}

// Two to the power -23 is the smallest minimum; ten digits and a decimal fill the field of the
// maximum.
TEST_F(Keyword, MinMaxVolumeOfPrimitiveCellTakesItsSmallestMinimumAndAFullField)
{
    expectecho("_MinMaxVolumeOfPrimitiveCell\n1.1920928955078125e-07\n9999999999.9\n",
               " Limits on volume of primitive cell :         0.0,9999999999.9\n");
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 1.0 / 8388608.0);
    EXPECT_EQ(otherglobalvariables.maxvolumeofprimitivecell, 9999999999.9);
    expectecho("_MinMaxVolumeOfPrimitiveCell\n1 10000000000\n",
               " Limits on volume of primitive cell :         1.0,************\n");
}

TEST_F(Keyword, NumberOfReflectionsTakesFourTo999)
{
    expectecho("_NumberOfReflections\n4\n",
               " Number of reflections :                                     4\n");
    EXPECT_EQ(recorded_reflections.numberofreflections, 4);
    expectecho("_NumberOfReflections\n999\n",
               " Number of reflections :                                   999\n");
    EXPECT_EQ(recorded_reflections.numberofreflections, 999);
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 0);
}

// Twelve reflections are to support a solution, but no more than half of all.
TEST_F(Keyword, NumberOfReflectionsSetsTheFractionToTwelveOfAllButAtMostAHalf)
{
    const auto fractionfor = [](int n) {
        otherglobalvariables.fractionofsupportingreflections = -1.0;
        fixed("_NumberOfReflections\n" + std::to_string(n) + "\n");
        return otherglobalvariables.fractionofsupportingreflections;
    };
    EXPECT_EQ(fractionfor(4), 0.5);
    EXPECT_EQ(fractionfor(23), 0.5);
    EXPECT_EQ(fractionfor(24), 0.5);
    EXPECT_EQ(fractionfor(25), 0.48);
    EXPECT_EQ(fractionfor(30), 0.4);
    EXPECT_EQ(fractionfor(48), 0.25);
    EXPECT_EQ(fractionfor(999), 12.0 / 999.0);
}

TEST_F(Keyword, ReflectionsStoresVectorsWithTheirMagnitudesAndNoEcho)
{
    recorded_reflections.numberofreflections = 4;
    expectecho("_Reflections\n3 4 0\n0 0 -2\n1 2 2\n-2 3 6\n", "");
    expectvector(1, 3.0, 4.0, 0.0);
    expectvector(2, 0.0, 0.0, -2.0);
    expectvector(3, 1.0, 2.0, 2.0);
    expectvector(4, -2.0, 3.0, 6.0);
    // Pythagorean: 9 + 16 = 25, 4, 1 + 4 + 4 = 9, 4 + 9 + 36 = 49.
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(1), 5.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(2), 2.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(3), 3.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(4), 7.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(5), 0.0);
}

TEST_F(Keyword, ReflectionsFillsTheTrialListWithAllNumbers)
{
    recorded_reflections.numberofreflections = 4;
    fixed("_Reflections\n3 4 0\n0 0 -2\n1 2 2\n-2 3 6\n");
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
    for (int i = 1; i <= 4; ++i) EXPECT_EQ(recorded_reflections.list_of_trial_vectors(i), i);
    EXPECT_EQ(recorded_reflections.list_of_trial_vectors(5), 0);
}

TEST_F(Keyword, ReflectionsTakesAllThatTheTablesHold)
{
    recorded_reflections.numberofreflections = 999;
    std::string lines = "_Reflections\n";
    for (int i = 1; i <= 999; ++i) lines += std::to_string(i) + " 0 0\n";
    expectecho(lines, "");
    expectvector(999, 999.0, 0.0, 0.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(999), 999.0);
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 999);
    EXPECT_EQ(recorded_reflections.list_of_trial_vectors(999), 999);
}

// Each reflection is a read of its own: it may run over lines, and skips the rest of its last one.
TEST_F(Keyword, ReflectionsReadsEachReflectionOverLinesAndSkipsARemarkBehindIt)
{
    recorded_reflections.numberofreflections = 4;
    expectecho("_Reflections\n1,2\n\n3 first\n4 5 6 7 8 9\n 7\t8,  9 # third\n1d1 2.e0 -.5\n", "");
    expectvector(1, 1.0, 2.0, 3.0);
    expectvector(2, 4.0, 5.0, 6.0);
    expectvector(3, 7.0, 8.0, 9.0);
    expectvector(4, 10.0, 2.0, -0.5);
}

TEST_F(Keyword, ReflectionsReadsNothingWithoutACount)
{
    expectecho("_Reflections\nnonsense\n", "");
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 0);
    expectvector(1, 0.0, 0.0, 0.0);
}

TEST_F(Keyword, ReflectionsWithAMissingOrBadNumberCannotBeRead)
{
    for (const std::string keyword :
         {"_Reflections", "_ReflectionsThetaPhiChi", "_ReflectionsThetaPhiKappa"}) {
        recorded_reflections.numberofreflections = 4;
        expectunreadable(keyword + "\n");
        expectunreadable(keyword + "\n1 2 3\n1 2 3\n1 2 3\n");
        expectunreadable(keyword + "\n1 2 3\n1 2 3\n1 2 3\n1 2\n");
        expectunreadable(keyword + "\n1 2 3\n1 x 3\n1 2 3\n1 2 3\n");
        expectunreadable(keyword + "\n1 2 3\n# a remark\n1 2 3\n1 2 3\n1 2 3\n");
        EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 0);
    }
}

TEST_F(Keyword, ReflectionsKeepsAComponentThatWasReadBeforeWhereItIsNull)
{
    recorded_reflections.numberofreflections = 4;
    fixed("_Reflections\n1 2 3\n4 5 6\n7 8 9\n1 2 3\n");
    expectecho("_Reflections\n,20,30\n/\n-7/\n,,40\n", "");
    expectvector(1, 1.0, 20.0, 30.0);
    expectvector(2, 4.0, 5.0, 6.0);
    expectvector(3, -7.0, 8.0, 9.0);
    expectvector(4, 1.0, 2.0, 40.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(4), vectormagnitude({{1.0, 2.0, 40.0}}));
}

// Angles are not kept, only the vectors made from them.
TEST_F(Keyword, ReflectionsThetaPhiChiTakesANullAngleForZero)
{
    otherglobalvariables.wavelength = 1.0;
    recorded_reflections.numberofreflections = 4;
    fixed("_ReflectionsThetaPhiChi\n30 0 0\n30 0 0\n30 40 50\n30 40 50\n");
    fixed("_ReflectionsThetaPhiChi\n30,,\n0\n30/\n/\n30,0,0\n");
    EXPECT_NEAR(recorded_reflections.reflections(1)(2), 1.0, 1e-7);
    EXPECT_NEAR(recorded_reflections.reflections(2)(2), 1.0, 1e-7);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(3), 0.0);
    EXPECT_NEAR(recorded_reflections.reflections(4)(2), 1.0, 1e-7);
}

// sin 30 degrees is a half, so that the length is 2 sin(theta) / wavelength = 1 for wavelength 1:
// along y at phi = chi = 0, along z at chi = 90, along -x at phi = 90. The single-precision factor
// from degrees to radians leaves about 4e-8.
TEST_F(Keyword, ReflectionsThetaPhiChiTurnsEulerianAnglesIntoVectors)
{
    otherglobalvariables.wavelength = 1.0;
    recorded_reflections.numberofreflections = 4;
    expectecho("_ReflectionsThetaPhiChi\n30 0 0\n30 0 90\n30 90 0\n11.5 -77.25 33.125\n", "");
    const auto expectnear = [](int i, double x, double y, double z) {
        EXPECT_NEAR(recorded_reflections.reflections(i)(1), x, 1e-7);
        EXPECT_NEAR(recorded_reflections.reflections(i)(2), y, 1e-7);
        EXPECT_NEAR(recorded_reflections.reflections(i)(3), z, 1e-7);
        EXPECT_NEAR(recorded_reflections.reflectionmagnitudes(i), 1.0, 1e-7);
    };
    expectnear(1, 0.0, 1.0, 0.0);
    expectnear(2, 0.0, 0.0, 1.0);
    expectnear(3, -1.0, 0.0, 0.0);
    double theta = 11.5, phi = -77.25, chi = 33.125;
    vector3 vector = {};
    duisenberg(1.0, theta, phi, chi, vector);
    expectvector(4, vector(1), vector(2), vector(3));
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(4), vectormagnitude(vector));
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
    for (int i = 1; i <= 4; ++i) EXPECT_EQ(recorded_reflections.list_of_trial_vectors(i), i);
}

// At kappa = 0 the geometries agree, with chi = 0.
TEST_F(Keyword, ReflectionsThetaPhiKappaTurnsKappaAnglesIntoVectors)
{
    otherglobalvariables.wavelength = 1.0;
    otherglobalvariables.angleofkappaaxis = 49.5;
    recorded_reflections.numberofreflections = 4;
    expectecho("_ReflectionsThetaPhiKappa\n30 0 0\n30 90 0\n20 10 60\n11.5 -77.25 -33.125\n", "");
    EXPECT_NEAR(recorded_reflections.reflections(1)(2), 1.0, 1e-7);
    EXPECT_NEAR(recorded_reflections.reflections(2)(1), -1.0, 1e-7);
    const double angles[][3] = {{20.0, 10.0, 60.0}, {11.5, -77.25, -33.125}};
    for (int i = 3; i <= 4; ++i) {
        double theta = angles[i - 3][0], phi = angles[i - 3][1], kappa = angles[i - 3][2];
        vector3 vector = {};
        rlvfromkappageometry(1.0, 49.5, theta, phi, kappa, vector);
        expectvector(i, vector(1), vector(2), vector(3));
        EXPECT_EQ(recorded_reflections.reflectionmagnitudes(i), vectormagnitude(vector));
    }
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
    for (int i = 1; i <= 4; ++i) EXPECT_EQ(recorded_reflections.list_of_trial_vectors(i), i);
}

TEST_F(Keyword, SaveLePageTakesZeroTo128)
{
    expectecho("_SaveLePage\n128\n",
               " Save in LePage.inp :                                      128\n");
    EXPECT_EQ(otherglobalvariables.isave_lepage, 128);
    expectecho("_SaveLePage\n0\n",
               " Save in LePage.inp :                                        0\n");
    EXPECT_EQ(otherglobalvariables.isave_lepage, 0);
}

TEST_F(Keyword, SortSolutionsByQualityVsVolumeTakesZeroToThree)
{
    expectecho("_SortSolutionsByQualityVsVolume\n3\n",
               " The way of sorting solutions in output file :               3\n");
    EXPECT_EQ(otherglobalvariables.sortsolutionsbyqualityvsvolume, 3);
    expectecho("_SortSolutionsByQualityVsVolume\n0\n",
               " The way of sorting solutions in output file :               0\n");
    EXPECT_EQ(otherglobalvariables.sortsolutionsbyqualityvsvolume, 0);
}

TEST_F(Keyword, TheMainCriterionTakesThreeHundredthsToThreeTenths)
{
    expectecho("_TheMainCriterion\n0.3\n",
               " Limit on deviation from integer Miller indices :        0.300\n");
    EXPECT_EQ(otherglobalvariables.themaincriterion, 0.3);
    expectecho("_TheMainCriterion\n0.03\n",
               " Limit on deviation from integer Miller indices :        0.030\n");
    EXPECT_EQ(otherglobalvariables.themaincriterion, 0.03);
}

TEST_F(Keyword, TypeOfPeriodogramTakesMinusFourToFour)
{
    expectecho("_TypeOfPeriodogram\n-4\n",
               " The parameter TypeOfPeriodogram :                          -4\n");
    EXPECT_EQ(otherglobalvariables.itypeofperiodogram, -4);
    expectecho("_TypeOfPeriodogram\n4\n",
               " The parameter TypeOfPeriodogram :                           4\n");
    EXPECT_EQ(otherglobalvariables.itypeofperiodogram, 4);
}

TEST_F(Keyword, TypeOfPeriodogramZeroIsAcceptedAfterTestVolumes)
{
    otherglobalvariables.userprovidedvolumes = true;
    expectecho("_TypeOfPeriodogram\n0\n",
               " The parameter TypeOfPeriodogram :                           0\n");
}

TEST_F(Keyword, UserProvidedTestVolumesAreStoredAsReciprocals)
{
    expectecho("_UserProvidedTestVolumes\n3\n100\n200, 300\n",
               " User provided volumes :                                     T\n");
    EXPECT_TRUE(otherglobalvariables.userprovidedvolumes);
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 3);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 0.01);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(2), 0.005);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(3), 1.0 / 300.0);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(4), 0.0);
}

TEST_F(Keyword, UserProvidedTestVolumesMayStandOnTheLineOfTheirCount)
{
    fixed("_UserProvidedTestVolumes\n2 4 0.5\n");
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 2);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 0.25);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(2), 2.0);
}

// The single volume is the smallest that is accepted, 100 times 2 to the power -23.
TEST_F(Keyword, UserProvidedTestVolumesTakeASingleVolumeAsSmallAsTheBound)
{
    expectecho("_UserProvidedTestVolumes\n1\n1.1920928955078125e-05\n",
               " User provided volumes :                                     T\n");
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 1.0 / 1.1920928955078125e-05);
}

TEST_F(Keyword, UserProvidedTestVolumesTakeAsManyAsTheTableHolds)
{
    std::string lines = "_UserProvidedTestVolumes\n350\n";
    for (int i = 1; i <= 350; ++i) lines += std::to_string(i) + (i % 10 == 0 ? "\n" : " ");
    expectecho(lines, " User provided volumes :                                     T\n");
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 350);
    for (int i = 1; i <= 350; ++i)
        EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(i), 1.0 / i);
}

TEST_F(Keyword, UserProvidedTestVolumesWithTooFewNumbersCannotBeRead)
{
    expectunreadable("_UserProvidedTestVolumes\n3\n100 200\n");
    EXPECT_FALSE(otherglobalvariables.userprovidedvolumes);
}

// Count and volumes are one read: it fails before the count can be refused.
TEST_F(Keyword, UserProvidedTestVolumesWithTooLargeACountAndTooFewNumbersCannotBeRead)
{
    expectunreadable("_UserProvidedTestVolumes\n351 350*100\n");
    expectunreadable("_UserProvidedTestVolumes\n351\n100 200 300\n");
    expectunreadable("_UserProvidedTestVolumes\n351 350*100 x\n");
}

TEST_F(Keyword, UserProvidedTestVolumesWithABadVolumeCannotBeRead)
{
    expectunreadable("_UserProvidedTestVolumes\n3\n100 x 300\n");
    expectunreadable("_UserProvidedTestVolumes\n3.0\n100 200 300\n");
}

TEST_F(Keyword, WavelengthIsStoredAndEchoedWithSixDecimals)
{
    expectecho("_Wavelength\n0.71073\n",
               " Wavelength :                                         0.710730\n");
    EXPECT_EQ(otherglobalvariables.wavelength, 0.71073);
}

// Eight digits, the point and six decimals are one column more than the field has.
TEST_F(Keyword, WavelengthTakesAnyPositiveNumberUpToItsBound)
{
    expectecho("_Wavelength\n99999999.0\n",
               " Wavelength :                                   **************\n");
    EXPECT_EQ(otherglobalvariables.wavelength, 99999999.0);
    expectecho("_Wavelength\n9999999.5\n",
               " Wavelength :                                   9999999.500000\n");
    expectecho("_Wavelength\n1e-300\n",
               " Wavelength :                                         0.000000\n");
    EXPECT_EQ(otherglobalvariables.wavelength, 1e-300);
}

TEST_F(Keyword, WeightsForSortingBasesAreStoredAndEchoedWithThreeDecimals)
{
    expectecho("_WeightsForSortingBases\n0.25 0.75\n",
               " Weights for sorting the bases :                 0.250,  0.750\n");
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(1), 0.25);
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(2), 0.75);
}

TEST_F(Keyword, WeightsForSortingBasesMayBeZeroIfTheirSumReachesItsBound)
{
    expectecho("_WeightsForSortingBases\n0 100\n",
               " Weights for sorting the bases :                 0.000,100.000\n");
    expectecho("_WeightsForSortingBases\n1000 -0.0\n",
               " Weights for sorting the bases :               *******, -0.000\n");
    expectecho("_WeightsForSortingBases\n2.220446049250313e-16 0\n",
               " Weights for sorting the bases :                 0.000,  0.000\n");
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(1), std::numeric_limits<double>::epsilon());
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(2), 0.0);
}

TEST_F(Keyword, ThatCannotBeReadSetsTheFlag)
{
    for (const std::string line : {"0*_Wavelength\n", "'_Wavelength"}) {
        inputlines() = {line, line.size()};
        int flag = 0;
        fix_parameter(flag);
        EXPECT_EQ(flag, 1) << line;
    }
    closeinput();
}

TEST_F(Keyword, VonMisesTypeFunctionInRankingTakesANullValueForMinusNine)
{
    expectecho("_vonMisesTypeFunctionInRanking\n,\n",
               " Type of function for ranking reflections :                 -9\n");
}

TEST_F(Keyword, VonMisesTypeFunctionInRankingTakesMinusNineToZeroAndTen)
{
    const std::string blanks(16, ' ');
    for (const int k : {-9, -8, -7, -6, -5, -4, -3, -2, -1, 0}) {
        const std::string number = k == 0 ? " 0" : std::to_string(k);
        expectecho("_vonMisesTypeFunctionInRanking\n" + std::to_string(k) + "\n",
                   " Type of function for ranking reflections :" + blanks + " " + number + "\n");
        rankingcurve expected = {};
        getavonmisestypefunction(k, expected);
        EXPECT_TRUE(std::ranges::equal(tabulcos.vonmisesfunctinranking.element, expected.element));
    }
    expectecho("_vonMisesTypeFunctionInRanking\n10\n",
               " Type of function for ranking reflections :                 10\n");
    rankingcurve expected = {};
    getavonmisestypefunction(10, expected);
    EXPECT_TRUE(std::ranges::equal(tabulcos.vonmisesfunctinranking.element, expected.element));
}

TEST_F(Keyword, IsUnknownInAnyOtherLetterCase)
{
    for (const std::string keyword :
         {"_wavelength", "_WAVELENGTH", "_WaveLength", "_VonMisesTypeFunctionInRanking",
          "_numberofreflections", "_saveLePage"})
        expectunreadable(keyword + "\n1\n");
}

TEST_F(Keyword, IsUnknownIfItIsShortenedLengthenedOrMisspelt)
{
    for (const std::string keyword : {"_", "_Wave", "_Wavelengths", "_Wavelength:", "_Wavelenght",
                                      "__Wavelength", "_Wavelength#remark", "_Reflection"})
        expectunreadable(keyword + "\n1\n");
}

TEST_F(Keyword, OfMoreThan128CharactersIsComparedByThese)
{
    const std::string blanks(128 - 11, ' ');
    expectecho("'_Wavelength" + blanks + "x'\n1\n",
               " Wavelength :                                         1.000000\n");
    expectunreadable("'_Wavelength" + blanks.substr(1) + "x'\n1\n");
}

TEST_F(Keyword, MayBeIndentedQuotedOrCarryARemark)
{
    const std::string echo = " Extent of search :                                          3\n";
    for (const std::string line :
         {"   _ExtentOfTheSearch", "\t_ExtentOfTheSearch", "'_ExtentOfTheSearch'",
          "\"_ExtentOfTheSearch\"", "  '_ExtentOfTheSearch  '", "_ExtentOfTheSearch 5 as before",
          "_ExtentOfTheSearch,5", "_ExtentOfTheSearch/5", "_ExtentOfTheSearch\t# a remark"})
        expectecho(line + "\n3\n", echo);
}

TEST_F(Keyword, IsFoundBehindEmptyLines)
{
    expectecho("\n   \n\n_ExtentOfTheSearch\n3\n",
               " Extent of search :                                          3\n");
}

TEST_F(Keyword, TakesItsValuesFromTheLinesBehindItEvenIfTheseAreFar)
{
    expectecho("_WeightsForSortingBases\n\n\n1\n\n,2 and a remark\n",
               " Weights for sorting the bases :                 1.000,  2.000\n");
}

TEST_F(Keyword, KeepsWhatWasSetBeforeWhereAValueIsNull)
{
    otherglobalvariables.wavelength = 2.5;
    expectecho("_Wavelength\n,\n",
               " Wavelength :                                         2.500000\n");
    expectecho("_Wavelength\n/\n",
               " Wavelength :                                         2.500000\n");
    expectecho("_WeightsForSortingBases\n,4\n",
               " Weights for sorting the bases :                 0.300,  4.000\n");
    expectecho("_WeightsForSortingBases\n5/\n",
               " Weights for sorting the bases :                 5.000,  4.000\n");
    EXPECT_EQ(otherglobalvariables.wavelength, 2.5);
}

TEST_F(Keyword, OfAWholeNumberRefusesFractionsWordsAndNumbersBeyond32Bits)
{
    for (const std::string keyword :
         {"_CreateLogFile", "_ExtentOfTheSearch", "_MaxAllowedMillerIndex",
          "_MaxNumberOfSavedBases", "_NumberOfReflections", "_SaveLePage",
          "_SortSolutionsByQualityVsVolume", "_TypeOfPeriodogram", "_UserProvidedTestVolumes",
          "_vonMisesTypeFunctionInRanking"})
        for (const std::string value : {"1.0", "one", "2147483648", "1e0", "'1'", "# 1"})
            expectunreadable(keyword + "\n" + value + "\n");
}

TEST_F(Keyword, OfARealRefusesWords)
{
    for (const std::string keyword :
         {"_AngleOfKappaAxis", "_FractionOfSupportingReflections", "_MinMaxVolumeOfPrimitiveCell",
          "_TheMainCriterion", "_Wavelength", "_WeightsForSortingBases"})
        for (const std::string value : {"x 1", "1x 1", "1.2.3 1", "# 1", "0x1 1"})
            expectunreadable(keyword + "\n" + value + "\n");
}

TEST_F(Keyword, WhoseSecondValueIsMissingOrBadCannotBeRead)
{
    for (const std::string keyword : {"_MinMaxVolumeOfPrimitiveCell", "_WeightsForSortingBases"}) {
        expectunreadable(keyword + "\n100\n");
        expectunreadable(keyword + "\n100 _Wavelength\n1\n");
    }
}

TEST_F(Keyword, CannotBeReadWhereTheFileEndsBeforeItsValue)
{
    for (const std::string keyword :
         {"_AngleOfKappaAxis", "_CreateLogFile", "_ExtentOfTheSearch",
          "_FractionOfSupportingReflections", "_MaxAllowedMillerIndex", "_MaxNumberOfSavedBases",
          "_MinMaxVolumeOfPrimitiveCell", "_NumberOfReflections", "_SaveLePage",
          "_SortSolutionsByQualityVsVolume", "_TheMainCriterion", "_TypeOfPeriodogram",
          "_UserProvidedTestVolumes", "_Wavelength", "_WeightsForSortingBases",
          "_vonMisesTypeFunctionInRanking"}) {
        expectunreadable(keyword);
        expectunreadable(keyword + " 1\n\n   \n");
    }
}

TEST_F(Keyword, ThatCannotBeReadLeavesItsParameterAsItWas)
{
    fixed("_MinMaxVolumeOfPrimitiveCell\n100 x\n");
    fixed("_WeightsForSortingBases\n9 x\n");
    fixed("_Wavelength\nx\n");
    EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell, 1.0 / 8388608.0);
    EXPECT_FALSE(otherglobalvariables.limitsonvolumeofprimitivecell);
    EXPECT_EQ(modofsavedbases.weightsforsortingbases(1), 0.3);
    EXPECT_EQ(otherglobalvariables.wavelength, 1.540560007095337);
}

} // namespace

} // namespace torvik
