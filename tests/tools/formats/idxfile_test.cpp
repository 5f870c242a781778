#include "base/failure.h"
#include "driver/read_idx_file.h"
#include "formats/idxfile.h"

#include "support/fresh.h"
#include "support/runs.h"

#include <cstddef>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

// Reads a text by the tools, and by the program.
class InputFiles : public fresh {
protected:
    static std::string messageof(const std::string& text)
    {
        try {
            readidx(textfile("a.idx", text));
        } catch (const badfile& why) {
            return why.what();
        }
        return "nothing";
    }

    static idxfile read(const std::string& text)
    {
        return readidx(textfile("a.idx", text));
    }

    void readbyprogram(const std::string& text)
    {
        writefile(folder.file("a.idx"), text);
        fix_defaults();
        printedby([&] { read_idx_file(makefilename(folder.file("a.idx"))); });
    }

    static void expectvectorsoftheprogram(const std::vector<vector3>& vectors)
    {
        ASSERT_EQ(recorded_reflections.numberofreflections, static_cast<int>(vectors.size()));
        for (std::size_t i = 0; i < vectors.size(); ++i) {
            const auto& theirs = recorded_reflections.reflections(static_cast<int>(i) + 1);
            const double bound = 1e-12 * (1.0 + vectors[i].length());
            EXPECT_NEAR(vectors[i].x, theirs(1), bound) << i;
            EXPECT_NEAR(vectors[i].y, theirs(2), bound) << i;
            EXPECT_NEAR(vectors[i].z, theirs(3), bound) << i;
        }
    }

    void expectsameasprogram(const std::string& text)
    {
        readbyprogram(text);
        const auto parameters = otherglobalvariables;
        const idxfile file = read(text);
        expectvectorsoftheprogram(vectorsof(file));
        // Written anew, the program reads the same of it.
        readbyprogram(textof(file, 15));
        expectvectorsoftheprogram(vectorsof(file));
        EXPECT_EQ(otherglobalvariables.fractionofsupportingreflections,
                  parameters.fractionofsupportingreflections);
        EXPECT_EQ(otherglobalvariables.minvolumeofprimitivecell,
                  parameters.minvolumeofprimitivecell);
        EXPECT_EQ(otherglobalvariables.iextentofthesearch, parameters.iextentofthesearch);
    }

    temporaryfolder folder;
};

const std::string fourvectors = "_NumberOfReflections\n4\n_Reflections\n"
                                "0.1 0 0\n0 0.2 0\n0 0 0.3\n0.1 0.2 0.3\n";

TEST_F(InputFiles, OfTheExamplesAreReadAsTheProgramReadsThem)
{
    for (const char* name : {"1_quartz_vectors", "2_sucrose_euler", "3_diopside_kappa",
                             "4_calcite_volumes", "5_kyanite_difficult"})
        expectsameasprogram(
            readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/" + name + ".idx"));
}

TEST_F(InputFiles, InFreeFormAreReadAsTheProgramReadsThem)
{
    expectsameasprogram("# a comment\n passed over\n_NumberOfReflections remark\n 5 / \n"
                        "_MinMaxVolumeOfPrimitiveCell\n100, 1.5d2 the rest\n"
                        "_Reflections\n3*0.1\n,,0.2\n1e-1,\t-0.2,\r\n0.3\n+.5 2*.25\n0.3 /\n");
}

TEST_F(InputFiles, KeepWhatStoodBeforeWhereAValueIsNull)
{
    expectsameasprogram(fourvectors + "_Reflections\n0.5 /\n,,0.7\n/\n0.1 2*\n");
    expectsameasprogram("_Wavelength\n0.7\n_NumberOfReflections\n4\n_ReflectionsThetaPhiChi\n"
                        "10 20 30\n11 21 31\n12 22 32\n13 23 33\n"
                        "_Reflections\n0.5 /\n/\n,,0.7\n/\n");
}

TEST_F(InputFiles, HaveTheCountThatWasGivenLast)
{
    expectsameasprogram(fourvectors + "0.4 0.4 0.4\n_NumberOfReflections\n5\n");
    expectsameasprogram("_NumberOfReflections\n5\n" + fourvectors + "_NumberOfReflections\n6\n");
}

TEST_F(InputFiles, KeepTheFractionOnlyBehindTheCount)
{
    expectsameasprogram("_FractionOfSupportingReflections\n0.3\n" + fourvectors);
    expectsameasprogram(fourvectors + "_FractionOfSupportingReflections\n0.3\n");
}

TEST_F(InputFiles, TakeTheWavelengthThatStandsBeforeTheAngles)
{
    expectsameasprogram("_NumberOfReflections\n4\n_ReflectionsThetaPhiChi\n"
                        "10 20 30\n11 21 31\n12 22 32\n13 23 33\n_Wavelength\n0.7\n");
    expectsameasprogram("_NumberOfReflections\n4\n_AngleOfKappaAxis\n55\n"
                        "_ReflectionsThetaPhiKappa\n"
                        "10 20 30\n11 21 31\n12 22 32\n13 23 33\n_AngleOfKappaAxis\n50\n");
}

TEST_F(InputFiles, GiveEachKeywordOnceWithItsLastValues)
{
    const idxfile file =
        read("_ExtentOfTheSearch\n3\n_WeightsForSortingBases\n,0.5\n"
             "_UserProvidedTestVolumes\n3 2*122.6,\n1.8e+2\n_ExtentOfTheSearch\n1\n"
             "_MaxNumberOfSavedBases\n/\n");
    ASSERT_EQ(file.keywords.size(), 4U);
    EXPECT_EQ(file.keywords[0].values, "0.3 0.5");
    EXPECT_EQ(file.keywords[1].values, "3\n122.6 122.6 180");
    EXPECT_EQ(file.keywords[2].name, "_ExtentOfTheSearch");
    EXPECT_EQ(file.keywords[2].values, "1");
    EXPECT_EQ(file.keywords[3].values, "16");
}

TEST_F(InputFiles, KeepTheirComments)
{
    const idxfile file = read("# one\n#two  \n  #\n" + fourvectors + "# end\n");
    EXPECT_EQ(file.comments, (std::vector<std::string>{"one", "two", "", "end"}));
}

// Each pair: a text, and how the message ends. The program refuses all of them.
TEST_F(InputFiles, AreRefusedWhereTheProgramRefusesThem)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"_numberofreflections\n4\n",
         "line 1: unknown keyword '_numberofreflections'; it is spelt _NumberOfReflections."},
        {"_Wave\n4\n", "line 1: unknown keyword '_Wave'."},
        {"\n_NumberOfReflections\n3\n", "line 3: _NumberOfReflections is 3; the program needs 4."},
        {"_NumberOfReflections\n1000\n",
         "line 2: _NumberOfReflections is 1000; the program takes up to 999."},
        {"_NumberOfReflections\n4.5\n",
         "line 2, column 1: expected a whole number for _NumberOfReflections, found '4.5'."},
        {"_NumberOfReflections\n4\n_Reflections\n1 2 3\n4 five 6\n",
         "line 5, column 3: expected the three numbers of reflection 2 of 4, found 'five'."},
        {"_NumberOfReflections\n4\n_Reflections\n1 2 3\n4 5\n",
         "a.idx: the file ends before the three numbers of reflection 2 of 4."},
        {"_Wavelength\n0\n",
         "line 2: _Wavelength is 0; the program takes numbers above 0, up to 99999999."},
        {"_TheMainCriterion\n0.31\n",
         "line 2: _TheMainCriterion is 0.31; the program takes 0.03 to 0.3."},
        {"_FractionOfSupportingReflections\n0\n",
         "line 2: _FractionOfSupportingReflections is 0; the program takes 1e-07 to 1."},
        {"_MinMaxVolumeOfPrimitiveCell\n100 149\n",
         "line 2: _MinMaxVolumeOfPrimitiveCell has a maximum below 1.5 times the minimum."},
        {"_MinMaxVolumeOfPrimitiveCell\n100 50\n",
         "line 2: _MinMaxVolumeOfPrimitiveCell has a minimum above the maximum."},
        {"_MinMaxVolumeOfPrimitiveCell\n0 50\n",
         "line 2: _MinMaxVolumeOfPrimitiveCell has a minimum that is not above 0."},
        {"_WeightsForSortingBases\n-1 2\n",
         "line 2: _WeightsForSortingBases has a negative weight."},
        {"_WeightsForSortingBases\n0 0\n",
         "line 2: _WeightsForSortingBases has no weight above 0."},
        {"_vonMisesTypeFunctionInRanking\n5\n",
         "line 2: _vonMisesTypeFunctionInRanking is 5; the program takes -9 to 0, and 10."},
        {"_TypeOfPeriodogram\n5\n", "line 2: _TypeOfPeriodogram is 5; the program takes -4 to 4."},
        {"_UserProvidedTestVolumes\n1 100\n_TypeOfPeriodogram\n1\n",
         "line 4: _TypeOfPeriodogram must be 0 with volumes given by the user."},
        {"_TypeOfPeriodogram\n1\n_UserProvidedTestVolumes\n1 100\n",
         "line 3: _UserProvidedTestVolumes needs a type of periodogram of 0."},
        {"_UserProvidedTestVolumes\n0\n", "line 2: _UserProvidedTestVolumes has a count below 1."},
        {"_UserProvidedTestVolumes\n351 351*100\n",
         "line 2: _UserProvidedTestVolumes has more volumes than the 350 that the program takes."},
        {"_UserProvidedTestVolumes\n1 1e-5\n",
         "line 2: _UserProvidedTestVolumes has a volume below 1.1920928955078125e-05."},
        {"'_Wavelength\n1\n", "line 1: a quote is opened and never closed."},
        {"0*1\n", "line 1: expected a repeat count from 1 to 2147483647 before the '*'."},
    };
    for (const auto& [text, end] : cases) {
        EXPECT_TRUE(messageof(text).ends_with(end)) << messageof(text);
        const std::string terminal = runtorvik(text).output;
        EXPECT_NE(terminal.find("rror"), std::string::npos) << text << terminal;
    }
}

TEST_F(InputFiles, MayBeginWithAByteOrderMark)
{
    expectsameasprogram("\xEF\xBB\xBF" + fourvectors);
}

TEST_F(InputFiles, AreQuotedWithoutTheirControlCharacters)
{
    EXPECT_EQ(messageof(std::string("_Wave\0", 6)), "a.idx, line 1: unknown keyword '_Wave?'.");
}

TEST_F(InputFiles, WithNumbersBeyondThoseOfADoubleAreRefusedThoughTheProgramTakesThem)
{
    EXPECT_EQ(messageof("_NumberOfReflections\n4\n_Reflections\n1e999 0 0\n"),
              "a.idx, line 4: a number is too large.");
}

} // namespace

} // namespace torvik::tools
