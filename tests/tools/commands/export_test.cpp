// torvik-tools export, as a user calls it.
#include "base/linear.h"

#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace torvik::tools {

namespace {

// A folder with an input file and its results.
const namedfiles& measured()
{
    static const namedfiles files = [] {
        const std::string idx =
            readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/2_sucrose_euler.idx");
        return namedfiles{{"a.idx", idx}, {"a_idx.res", runtorvik(idx).files.at("a_idx.res")}};
    }();
    return files;
}

runresult runexport(std::vector<std::string> arguments, const namedfiles& files = measured())
{
    arguments.insert(arguments.begin(), "export");
    return runtorvik(
        {.arguments = arguments, .input = "", .files = files, .program = TORVIK_TOOLS});
}

TEST(TheCommandExport, WritesBesideTheResults)
{
    const runresult run = runexport({"a_idx.res", "--to", "ubi"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "Solution 1 is in a_idx.ubi.\n");
    EXPECT_EQ(run.files.size(), 1U);
    EXPECT_EQ(linesof(run.files.at("a_idx.ubi")).size(), 4U);
}

TEST(TheCommandExport, WritesWhereItIsAskedTo)
{
    const runresult run = runexport({"a_idx.res", "--to", "p4p", "-o", "b.txt"});
    EXPECT_EQ(run.output, "Solution 1 is in b.txt.\n");
    EXPECT_TRUE(run.files.at("b.txt").starts_with("TITLE  Torvik, solution 1 of a.idx\n"));
    const runresult screen = runexport({"a_idx.res", "--to", "p4p", "-o", "-"});
    EXPECT_EQ(screen.output, run.files.at("b.txt"));
    EXPECT_TRUE(screen.files.empty());
}

TEST(TheCommandExport, TellsWhenItNegatesALeftHandedBasis)
{
    int turned = 0;
    int straight = 0;
    for (int K = 1; K <= 4; ++K) {
        const runresult run =
            runexport({"a_idx.res", "-k", std::to_string(K), "--to", "json", "-o", "-"});
        const auto file = nlohmann::json::parse(run.output);
        EXPECT_EQ(file.at("chosen"), K);
        const bool left = file.at("solutions").at(static_cast<std::size_t>(K - 1)).at("turned");
        (left ? turned : straight) += 1;
        EXPECT_EQ(run.errors, left ? "Note: Solution " + std::to_string(K)
                                         + " is left-handed: all three of its vectors are negated, "
                                           "and so are the indices h k l.\n"
                                   : "");
    }
    EXPECT_GT(turned, 0);
    EXPECT_GT(straight, 0);
}

TEST(TheCommandExport, TakesVectorsAndWavelengthFromTheInputFileBeside)
{
    const auto file =
        nlohmann::json::parse(runexport({"a_idx.res", "--to", "json", "-o", "-"}).output);
    EXPECT_EQ(file.at("wavelength"), 1.54178);
    ASSERT_EQ(file.at("vectors").size(), 30U);
    namedfiles alone = measured();
    alone.erase("a.idx");
    const auto without =
        nlohmann::json::parse(runexport({"a_idx.res", "--to", "json", "-o", "-"}, alone).output);
    EXPECT_TRUE(without.at("vectors").is_null());
    EXPECT_TRUE(without.at("wavelength").is_null());
}

TEST(TheCommandExport, LeavesAnInputFileOutThatIsNotThatOfTheResults)
{
    namedfiles other = measured();
    other["a.idx"] = readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/1_quartz_vectors.idx");
    const runresult run = runexport({"a_idx.res", "--to", "json", "-o", "-"}, other);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.errors.find("a.idx is not what the results are of: it is left out.\n"),
              std::string::npos)
        << run.errors;
    EXPECT_TRUE(nlohmann::json::parse(run.output).at("vectors").is_null());
}

TEST(TheCommandExport, WritesNothingWhenItCannot)
{
    const runresult missing = runexport({"b_idx.res", "--to", "ubi"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.errors, "Error: Cannot open b_idx.res.\n");
    const runresult beyond = runexport({"a_idx.res", "--to", "ubi", "-k", "99"});
    EXPECT_EQ(beyond.status, 1);
    EXPECT_EQ(beyond.errors, "Error: There is no solution 99: the results have 16.\n");
    const runresult unknown = runexport({"a_idx.res", "--to", "hkl"});
    EXPECT_EQ(unknown.status, 2);
    const runresult none = runexport({"a.idx", "--to", "ubi"});
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(none.errors.starts_with("Error: a.idx: this is no results file"));
    for (const runresult* run : {&missing, &beyond, &unknown, &none})
        EXPECT_TRUE(run->files.empty());
}

} // namespace

} // namespace torvik::tools
