#include "driver/read_idx_file.h"

#include "support/fresh.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

namespace torvik {

namespace {

const std::string kappaecho = " Angle of kappa axis :                                   60.00\n";
const std::string extentecho = " Extent of search :                                          3\n";

runresult runon(const std::string& argument, const namedfiles& files = {})
{
    runsetting setting;
    setting.arguments = {argument};
    setting.files = files;
    return runtorvik(setting);
}

class InputName : public fresh {
protected:
    const std::string refusal = " Error: Extention of filename is not .idx.\n";
};

TEST_F(InputName, InUpperCaseIsRefused)
{
    for (const std::string name : {"a.IDX", "a.Idx", "a.idX"})
        expectstopped(runon(name, {{name, solvedinput}}), refusal);
}

TEST_F(InputName, OfTheFourCharactersOfTheExtensionIsRefused)
{
    expectstopped(runon(".idx", {{".idx", solvedinput}}), refusal);
    expectstopped(runon("  .idx  ", {{".idx", solvedinput}}), refusal);
}

TEST_F(InputName, WithoutTheExtensionIsRefused)
{
    for (const std::string name : {"a", "aidx", "a.idx2", "a.idx.txt", "a_idx", "a.id", "a. idx"})
        expectstopped(runon(name, {{name, solvedinput}}), refusal);
}

TEST_F(InputName, OfOneLetterAndTheExtensionIsAccepted)
{
    const runresult run = runon("a.idx", {{"a.idx", solvedinput}});
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.files.contains("a_idx.res"));
}

TEST_F(InputName, MayHaveBlanksAroundIt)
{
    const runresult run = runon("   a.idx ", {{"a.idx", solvedinput}});
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.files.contains("a_idx.res"));
}

TEST_F(InputName, WithoutItsBlanksStandsInTheMessages)
{
    expectstopped(runon("  missing.idx "), " Error: Cannot open missing.idx.\n");
    expectstopped(runon("  a.idx ", {{"a.idx", "_Unknown\n"}}), " Error reading a.idx.\n");
}

TEST_F(InputName, OfAMissingFileStopsTheRun)
{
    expectstopped(runon("missing.idx"), " Error: Cannot open missing.idx.\n");
    expectstopped(runon("missing/a.idx"), " Error: Cannot open missing/a.idx.\n");
}

TEST_F(InputName, OfAFolderStopsTheRun)
{
    expectstopped(runon("x.idx", {{"x.idx/inside", "_Wavelength\n1\n"}}),
                  " Error: Cannot open x.idx.\n");
}

TEST_F(InputName, OfAnUnreadableFileStopsTheRun)
{
    if (geteuid() == 0) GTEST_SKIP() << "the administrator may read every file";
    const temporaryfolder folder;
    const std::string name = folder.file("a.idx");
    writefile(name, solvedinput);
    std::filesystem::permissions(name, std::filesystem::perms::none);
    expectstopped(runon(name), " Error: Cannot open " + name + ".\n");
}

class InputFile : public fresh {
protected:
    const std::string fourreflections = "0.1 0 0\n"
                                        "0 0.2 0\n"
                                        "0 0 0.3\n"
                                        "0.1 0.2 0.3\n";
    const std::string countoffour =
        " Number of reflections :                                     4\n";

    static void expectvector(int i, double x, double y, double z)
    {
        EXPECT_EQ(recorded_reflections.reflections(i)(1), x) << i;
        EXPECT_EQ(recorded_reflections.reflections(i)(2), y) << i;
        EXPECT_EQ(recorded_reflections.reflections(i)(3), z) << i;
    }
    static void expectnoreflections()
    {
        EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 0);
        for (int i = 1; i <= maxreflections; ++i) expectvector(i, 0.0, 0.0, 0.0);
    }
};

TEST_F(InputFile, OfOnlyCommentsAndEmptyLinesLeavesNoReflections)
{
    EXPECT_EQ(readinput("# a comment\n\n   \n   # _Wavelength\n#_Wavelength\n#\n\n"), "");
    EXPECT_EQ(recorded_reflections.numberofreflections, 0);
    expectnoreflections();
}

TEST_F(InputFile, ThatIsEmptyLeavesNoReflections)
{
    EXPECT_EQ(readinput(""), "");
    EXPECT_EQ(recorded_reflections.numberofreflections, 0);
}

TEST_F(InputFile, IsReadKeywordByKeywordWithAnEchoOfEach)
{
    EXPECT_EQ(readinput("# kappa geometry\n"
                        "_AngleOfKappaAxis\n"
                        "60\n"
                        "\n"
                        "# a thorough search\n"
                        "_ExtentOfTheSearch   (the default is 2)\n"
                        "3  # the value\n"),
              kappaecho + extentecho);
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 60.0);
    EXPECT_EQ(otherglobalvariables.iextentofthesearch, 3);
}

TEST_F(InputFile, MayHoldCommentsBetweenAKeywordAndTheNext)
{
    EXPECT_EQ(readinput("_AngleOfKappaAxis\n60\n# _AngleOfKappaAxis\n# 70\n"), kappaecho);
}

TEST_F(InputFile, MayHoldNoCommentBetweenAKeywordAndItsValue)
{
    expectstopped(runtorvik("_AngleOfKappaAxis\n# degrees\n60\n"), " Error reading a.idx.\n");
}

TEST_F(InputFile, MayHoldStrayLinesThatArePassedOver)
{
    EXPECT_EQ(readinput("A crystal of something\n"
                        "1 2 3\n"
                        "/\n"
                        "'unfinished or not'\n"
                        "-_Wavelength\n"
                        "x _Wavelength\n"
                        "_AngleOfKappaAxis\n"
                        "60 70\n"
                        "80\n"
                        "END\n"),
              kappaecho);
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 60.0);
}

TEST_F(InputFile, PassesOverALineWhoseFirstItemIsNull)
{
    EXPECT_EQ(readinput(",_Unknown\n  , _Unknown\n/_Unknown\n3*\n_AngleOfKappaAxis\n60\n"),
              kappaecho);
}

TEST_F(InputFile, PassesOverAQuotedItemThatBeginsWithABlank)
{
    EXPECT_EQ(readinput("' _Unknown'\n_AngleOfKappaAxis\n60\n"), kappaecho);
}

TEST_F(InputFile, MayHaveKeywordsIndentedQuotedOrWithARemark)
{
    for (const std::string line :
         {"   _AngleOfKappaAxis", "'_AngleOfKappaAxis'", "\"_AngleOfKappaAxis  \" degrees",
          "_AngleOfKappaAxis degrees", "\t_AngleOfKappaAxis, degrees"})
        EXPECT_EQ(readinput(line + "\n60\n"), kappaecho) << line;
}

TEST_F(InputFile, FromWindowsIsReadAlike)
{
    EXPECT_EQ(readinput("# comment\r\n\r\n_AngleOfKappaAxis\r\n60\r\n_NumberOfReflections\r\n"
                        "4\r\n_Reflections\r\n0.1 0 0\r\n0 0.2 0\r\n0 0 0.3\r\n0.1 0.2 0.3\r\n"
                        "_ExtentOfTheSearch\r\n3\r\n"),
              kappaecho + countoffour + extentecho);
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 60.0);
    expectvector(4, 0.1, 0.2, 0.3);
    EXPECT_EQ(readinput("_AngleOfKappaAxis\r\n60\r\n\r\n\r\n"), kappaecho);
}

TEST_F(InputFile, MayEndWithoutALineEnd)
{
    EXPECT_EQ(readinput("_AngleOfKappaAxis\n60"), kappaecho);
    EXPECT_EQ(readinput("_AngleOfKappaAxis\n60\n# the end"), kappaecho);
    EXPECT_EQ(readinput("_NumberOfReflections\n4\n_Reflections\n1 2 3\n4 5 6\n7 8 9\n1 2 4"),
              countoffour);
    expectvector(4, 1.0, 2.0, 4.0);
}

TEST_F(InputFile, WithAMissingValueAtItsEndStopsTheRun)
{
    for (const std::string end : {"_AngleOfKappaAxis", "_AngleOfKappaAxis\n",
                                  "_AngleOfKappaAxis\n\n  \n", "_WeightsForSortingBases\n1\n"})
        expectstopped(runtorvik("_ExtentOfTheSearch\n3\n" + end),
                      extentecho + " Error reading a.idx.\n");
}

TEST_F(InputFile, WithAnUnknownKeywordStopsTheRun)
{
    expectstopped(runtorvik("_ExtentOfTheSearch\n3\n_Unknown\n1\n_Wavelength\n1\n"),
                  extentecho + " Error reading a.idx.\n");
}

TEST_F(InputFile, WithAKeywordInAnotherLetterCaseStopsTheRun)
{
    for (const std::string keyword :
         {"_wavelength", "_WAVELENGTH", "_vonmisestypefunctioninranking"})
        expectstopped(runtorvik(keyword + "\n1\n"), " Error reading a.idx.\n");
}

TEST_F(InputFile, WithABadValueStopsTheRun)
{
    for (const std::string lines :
         {"_ExtentOfTheSearch\n2.0\n", "_Wavelength\nCuKa\n", "_SaveLePage\n99999999999\n"})
        expectstopped(runtorvik(lines), " Error reading a.idx.\n");
}

TEST_F(InputFile, WithABadReflectionStopsTheRun)
{
    const std::string count = "_NumberOfReflections\n4\n";
    for (const std::string list :
         {"_Reflections\n1 2 3\n", "_Reflections\n1 2 3\n1 2 x\n1 2 3\n1 2 3\n",
          "_ReflectionsThetaPhiChi\n1 2 3\n# remark\n1 2 3\n1 2 3\n1 2 3\n",
          "_ReflectionsThetaPhiKappa\n1 2 3\n1 2 3\n1 2 3\n1 2"})
        expectstopped(runtorvik(count + list), countoffour + " Error reading a.idx.\n");
}

TEST_F(InputFile, WithTooFewTestVolumesForACountBeyondTheTableIsUnreadable)
{
    expectstopped(runtorvik("_UserProvidedTestVolumes\n351\n100 200 300\n"),
                  " Error reading a.idx.\n");
}

TEST_F(InputFile, WithARepeatCountOfZeroBeforeAWordIsUnreadable)
{
    expectstopped(runtorvik("0*x\n"), " Error reading a.idx.\n");
}

TEST_F(InputFile, WithAQuoteThatIsNeverClosedIsUnreadable)
{
    // Read on, the quote would take in all that follows without a word.
    expectstopped(runtorvik("'_Sucrose, run 2\n" + solvedinput), " Error reading a.idx.\n");
    expectstopped(runtorvik("_ExtentOfTheSearch\n3\n\"stray\n"),
                  extentecho + " Error reading a.idx.\n");
}

TEST_F(InputFile, KeepsNothingOfALogThatAFaultForestalls)
{
    expectstopped(runtorvik("_CreateLogFile\n1\n_Unknown\n"),
                  " Log file :                                                  1\n"
                  " Error reading a.idx.\n");
}

TEST_F(InputFile, WithTheListBeforeTheCountHasNoReflectionsInIt)
{
    EXPECT_EQ(readinput("_Reflections\n" + fourreflections + "_NumberOfReflections\n4\n"),
              countoffour);
    EXPECT_EQ(recorded_reflections.numberofreflections, 4);
    expectnoreflections();
}

TEST_F(InputFile, WithACountAndNoListHasZeroVectors)
{
    EXPECT_EQ(readinput("_NumberOfReflections\n4\n"), countoffour);
    EXPECT_EQ(recorded_reflections.numberofreflections, 4);
    expectnoreflections();
}

TEST_F(InputFile, MayHoldMoreReflectionsThanWereCounted)
{
    EXPECT_EQ(readinput("_NumberOfReflections\n4\n_Reflections\n" + fourreflections
                        + "9 9 9\n8 8 8\n_ExtentOfTheSearch\n3\n"),
              countoffour + extentecho);
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
    expectvector(4, 0.1, 0.2, 0.3);
    expectvector(5, 0.0, 0.0, 0.0);
}

TEST_F(InputFile, WithALargerCountBehindTheListHasZeroVectorsBeyondIt)
{
    readinput("_NumberOfReflections\n4\n_Reflections\n" + fourreflections
              + "_NumberOfReflections\n30\n");
    EXPECT_EQ(recorded_reflections.numberofreflections, 30);
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
    expectvector(4, 0.1, 0.2, 0.3);
    expectvector(5, 0.0, 0.0, 0.0);
    EXPECT_EQ(recorded_reflections.reflectionmagnitudes(5), 0.0);
    EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections, 0.4);
}

TEST_F(InputFile, WithASmallerCountBehindTheListHasThatCount)
{
    readinput("_NumberOfReflections\n6\n_Reflections\n" + fourreflections
              + "0.5 0.6 0.7\n0.6 0.7 0.8\n_NumberOfReflections\n4\n");
    EXPECT_EQ(recorded_reflections.numberofreflections, 4);
    // What was done when the list was read stays done; the search fills its own list.
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 6);
    expectvector(4, 0.1, 0.2, 0.3);
}

TEST_F(InputFile, HasZeroVectorsBeyondTheCountThatWasGivenLast)
{
    const std::string six =
        "_NumberOfReflections\n6\n_Reflections\n" + fourreflections + "0.5 0.6 0.7\n0.6 0.7 0.8\n";
    for (const std::string end : {"", "_NumberOfReflections\n6\n"}) {
        readinput(six + "_NumberOfReflections\n4\n" + end);
        expectvector(4, 0.1, 0.2, 0.3);
        for (int i = 5; i <= maxreflections; ++i) {
            expectvector(i, 0.0, 0.0, 0.0);
            EXPECT_EQ(recorded_reflections.reflectionmagnitudes(i), 0.0) << i;
        }
    }
}

TEST_F(InputFile, MayGiveTheListTwiceAndTheLastOneWins)
{
    readinput("_NumberOfReflections\n4\n_Reflections\n9 9 9\n8 8 8\n7 7 7\n6 6 6\n_Reflections\n"
              + fourreflections);
    expectvector(1, 0.1, 0.0, 0.0);
    expectvector(4, 0.1, 0.2, 0.3);
    EXPECT_EQ(recorded_reflections.number_of_trial_vectors, 4);
}

TEST_F(InputFile, MayGiveAKeywordTwiceAndTheLastOneWins)
{
    EXPECT_EQ(readinput("_AngleOfKappaAxis\n70\n_ExtentOfTheSearch\n3\n_AngleOfKappaAxis\n60\n"),
              " Angle of kappa axis :                                   70.00\n" + extentecho
                  + kappaecho);
    EXPECT_EQ(otherglobalvariables.angleofkappaaxis, 60.0);
}

TEST_F(InputFile, MayGiveTheTestVolumesTwiceAndTheLastOnesWin)
{
    readinput("_UserProvidedTestVolumes\n3\n1 2 4\n_UserProvidedTestVolumes\n1\n8\n");
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 1);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 0.125);
}

// The table holds the reciprocals of the volumes given first; the null item keeps the 1/4.
TEST_F(InputFile, KeepsTheReciprocalOfAnEarlierTestVolumeWhereTheSecondListHasANullItem)
{
    readinput("_UserProvidedTestVolumes\n2\n4 5\n_UserProvidedTestVolumes\n2,,8\n");
    EXPECT_EQ(estimatedvolumes.number_of_estimatedvolumes, 2);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(1), 4.0);
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(2), 0.125);
}

TEST_F(InputFile, KeepsAFractionThatStandsBehindTheCount)
{
    readinput("_NumberOfReflections\n30\n_FractionOfSupportingReflections\n0.75\n");
    EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections, 0.75);
}

TEST_F(InputFile, LosesAFractionThatStandsBeforeTheCount)
{
    readinput("_FractionOfSupportingReflections\n0.75\n_NumberOfReflections\n30\n");
    EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections, 0.4);
}

// sin 30 degrees is a half: the length is 1 / wavelength.
TEST_F(InputFile, AppliesToAListOfAnglesTheWavelengthThatStandsBeforeIt)
{
    const std::string list = "_NumberOfReflections\n4\n_ReflectionsThetaPhiChi\n"
                             "30 0 0\n30 10 0\n30 20 10\n30 40 50\n";
    readinput("_Wavelength\n2\n" + list + "_Wavelength\n4\n");
    EXPECT_NEAR(recorded_reflections.reflectionmagnitudes(4), 0.5, 1e-7);
    EXPECT_EQ(otherglobalvariables.wavelength, 4.0);
    readinput(list + "_Wavelength\n4\n");
    EXPECT_NEAR(recorded_reflections.reflectionmagnitudes(4), 1.0 / 1.54056, 1e-7);
}

// With the kappa axis nearly along the omega axis a turn about it is one about omega as well: half
// of it, 30 degrees, is taken from theta, which becomes 0, and the vector vanishes. At 90 degrees
// kappa is the Eulerian chi and leaves theta as it is: the length is 2 sin(30 degrees) / 1 = 1.
TEST_F(InputFile, AppliesToAListOfKappaAnglesTheAxisThatStandsBeforeIt)
{
    const std::string list = "_Wavelength\n1\n_NumberOfReflections\n4\n_ReflectionsThetaPhiKappa\n"
                             "30 0 60\n30 10 60\n30 20 60\n30 40 60\n";
    readinput("_AngleOfKappaAxis\n90\n" + list + "_AngleOfKappaAxis\n0.001\n");
    EXPECT_NEAR(recorded_reflections.reflectionmagnitudes(1), 1.0, 1e-6);
    readinput("_AngleOfKappaAxis\n0.001\n" + list + "_AngleOfKappaAxis\n90\n");
    EXPECT_NEAR(recorded_reflections.reflectionmagnitudes(1), 0.0, 1e-6);
}

TEST_F(InputFile, IsForgottenWhenAnotherOneIsRead)
{
    readinput("_NumberOfReflections\n4\n_Reflections\n" + fourreflections
              + "_MinMaxVolumeOfPrimitiveCell\n1 2\n_UserProvidedTestVolumes\n1 2\n");
    EXPECT_TRUE(otherglobalvariables.userprovidedvolumes);
    readinput("# nothing\n");
    EXPECT_EQ(recorded_reflections.numberofreflections, 0);
    expectnoreflections();
    EXPECT_FALSE(otherglobalvariables.userprovidedvolumes);
    EXPECT_FALSE(otherglobalvariables.limitsonvolumeofprimitivecell);
}

} // namespace

} // namespace torvik
