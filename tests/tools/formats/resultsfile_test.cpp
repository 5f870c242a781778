#include "base/failure.h"
#include "formats/resultsfile.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace torvik::tools {

namespace {

// What the program writes of its difficult example, both lists and the relations.
const std::string& written()
{
    static const std::string text = [] {
        std::string input =
            readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/5_kyanite_difficult.idx");
        input = "_MaxNumberOfSavedBases\n2\n"
                + input.replace(input.find("_MaxNumberOfSavedBases\n8"), 24, "");
        return runtorvik(input).files.at("a_idx.res");
    }();
    return text;
}

std::string messageof(const std::string& text)
{
    try {
        readresults(textfile("a_idx.res", text));
    } catch (const badfile& why) {
        return why.what();
    }
    return "nothing";
}

std::string changed(const std::string& from, const std::string& to)
{
    std::string text = written();
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return text.replace(at, from.size(), to);
}

TEST(ResultsFiles, AreReadWithBothListsAndTheRelations)
{
    const resultsfile results = readresults(textfile("a_idx.res", written()));
    EXPECT_EQ(results.program, "Torvik (v. 1.0)");
    EXPECT_EQ(results.input, "a.idx");
    EXPECT_EQ(results.reflections, 40);
    EXPECT_EQ(results.criterion, 0.12);
    ASSERT_EQ(results.byquality.size(), 2U);
    ASSERT_EQ(results.byvolume.size(), 2U);
    ASSERT_EQ(results.relations.size(), 1U);
    EXPECT_EQ(results.relations[0].second, 2);
    EXPECT_EQ(results.relations[0].ratio, 2.0);
    EXPECT_EQ(results.byvolume[0].volume, results.byquality[1].volume);
}

// The figures are those that stand in docs/formats.md and in the example's file.
TEST(ResultsFiles, GiveEverySolutionAsItIsPrinted)
{
    const resultsfile results = readresults(textfile("a_idx.res", written()));
    const solution& first = solutionof(results, 1);
    EXPECT_EQ(first.h, 32);
    EXPECT_EQ(first.H, 29);
    EXPECT_EQ(first.reflections.size(), 40U);
    EXPECT_EQ(first.reflections[0].how, fit::loose);
    EXPECT_EQ(first.reflections[0].hkl, (std::array<int, 3>{-3, -5, -4}));
    EXPECT_EQ(first.reflections[0].real, (std::array<double, 3>{-3.00, -4.98, -3.90}));
    EXPECT_EQ(first.reflections[0].error, 0.1);
    EXPECT_EQ(first.reflections[1].how, fit::strict);
    EXPECT_NEAR(std::fabs(first.basis.determinant()), first.volume, 0.005);
    int strict = 0;
    for (const reflectionline& line : first.reflections) strict += line.how == fit::strict ? 1 : 0;
    EXPECT_EQ(strict, first.H);
}

TEST(ResultsFiles, OfAllExamplesAreReadToTheEnd)
{
    int files = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(TORVIK_SOURCE_DIR) + "/examples")) {
        if (entry.path().extension() != ".idx") continue;
        const std::string text = runtorvik(readfile(entry.path())).files.at("a_idx.res");
        const resultsfile results = readresults(textfile(entry.path(), text));
        EXPECT_FALSE(results.solutions().empty()) << entry.path();
        ++files;
    }
    EXPECT_EQ(files, 5);
}

TEST(ResultsFiles, ThatAreNoneOrEndTooEarlyAreRefused)
{
    EXPECT_EQ(messageof("x y z\n"),
              "a_idx.res: this is no results file: it has no line ': Solutions "
              "for NAME' at its head.");
    const std::string cut = written().substr(0, written().find("Primitive cell"));
    EXPECT_EQ(messageof(cut), "a_idx.res: the file ends before 'Primitive cell' is complete.");
    EXPECT_EQ(messageof(changed("Number of solutions:                                   2",
                                "Number of solutions:                                   3")),
              "a_idx.res: the head announces 3 solutions, but there are 2.");
}

TEST(ResultsFiles, WithAWrongFigureNameItsPlace)
{
    const std::string message = messageof(changed("|  -3  -5  -4 |", "|  -3  -x  -4 |"));
    EXPECT_EQ(message, "a_idx.res, line 36, column 17: expected an index, found '-x'.");
}

TEST(SolutionNumbers, BeyondTheListAreRefused)
{
    const resultsfile results = readresults(textfile("a_idx.res", written()));
    try {
        solutionof(results, 3);
        FAIL();
    } catch (const failure& why) {
        EXPECT_STREQ(why.what(), "There is no solution 3: the results have 2.");
    }
}

} // namespace

} // namespace torvik::tools
