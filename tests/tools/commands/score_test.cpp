// torvik-tools score, as a user calls it.
#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace torvik::tools {

namespace {

// The results of an example, and its truth.
const namedfiles& kyanite()
{
    static const namedfiles files = [] {
        const std::string example =
            std::string(TORVIK_SOURCE_DIR) + "/examples/5_kyanite_difficult";
        namedfiles made;
        made["k.res"] = runtorvik(readfile(example + ".idx")).files.at("a_idx.res");
        made["k.truth.json"] = readfile(example + ".truth.json");
        return made;
    }();
    return files;
}

runresult scored(std::vector<std::string> arguments, const namedfiles& files = kyanite())
{
    arguments.insert(arguments.begin(), "score");
    return runtorvik(
        {.arguments = arguments, .input = "", .files = files, .program = TORVIK_TOOLS});
}

// The second solution is right, as examples/README.md says, and the first has twice its volume.
TEST(Scoring, TellsOfTheDoubledCellThatComesFirst)
{
    const runresult run = scored({"k.res", "k.truth.json"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    const auto lines = linesof(run.output);
    EXPECT_EQ(lines.at(0), "The first solution is a supercell of index 2; solution 2 is right.");
    EXPECT_NE(lines.at(3).find("supercell of index 2"), std::string::npos);
    EXPECT_NE(lines.at(4).find("right"), std::string::npos);
    EXPECT_EQ(run.output.find('\x1b'), std::string::npos);
}

TEST(Scoring, PrintsTheVerdictInAWord)
{
    EXPECT_EQ(scored({"k.res", "k.truth.json", "--word"}).output, "supercell of index 2\n");
    // the published cell, Winter & Ghose (1979)
    EXPECT_EQ(
        scored({"k.res", "7.126", "7.852", "5.572", "89.99", "101.11", "106.03", "--word"}).output,
        "supercell of index 2\n");
    EXPECT_EQ(scored({"k.res", "7 8 9 90 90 90", "--word"}).output, "wrong\n");
}

TEST(Scoring, PrintsJsonWithMatrices)
{
    const runresult run = scored({"k.res", "k.truth.json", "--json"});
    const auto page = nlohmann::json::parse(run.output);
    EXPECT_EQ(page.at("verdict"), "supercell");
    EXPECT_EQ(page.at("index"), 2);
    EXPECT_EQ(page.at("right"), 2);
    const auto& second = page.at("solutions").at(1);
    EXPECT_EQ(second.at("verdict"), "right");
    EXPECT_EQ(second.at("matrix").size(), 3U);
    EXPECT_EQ(second.at("meaning"), "truth = T solution");
    EXPECT_EQ(page.at("solutions").at(0).at("meaning"), "solution = T truth");
}

TEST(Scoring, OfResultsWithoutSolutionsSaysSo)
{
    // Volumes in which no cell of these reflections has room.
    std::string input =
        readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/5_kyanite_difficult.idx");
    input.replace(input.find("200 600"), 7, "2.0 3.5");
    namedfiles files = kyanite();
    files["k.res"] = runtorvik(input).files.at("a_idx.res");
    const runresult run = scored({"k.res", "k.truth.json"}, files);
    EXPECT_EQ(run.output, "There is no solution.\n");
    EXPECT_EQ(scored({"k.res", "k.truth.json", "--word"}, files).output, "none\n");
}

TEST(Scoring, RefusesWhatIsNeitherFileNorCell)
{
    const runresult run = scored({"k.res", "nothing.json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(
        run.errors,
        "Error: There is no file nothing.json; and as a cell: A cell is six numbers a, b, c, "
        "alpha, beta, gamma, and perhaps a letter of the centring; 'nothing.json' has 1 items.\n");
    EXPECT_EQ(scored({"missing.res", "k.truth.json"}).status, 1);
    EXPECT_EQ(scored({"k.res"}).status, 2);
    EXPECT_EQ(scored({"k.res", "k.truth.json", "--json", "--word"}).status, 2);
}

} // namespace

} // namespace torvik::tools
