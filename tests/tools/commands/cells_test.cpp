// torvik-tools cells, as a user calls it.
#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace torvik::tools {

namespace {

// What the program makes of an example.
namedfiles resultsof(const std::string& example, const std::string& keywords = "")
{
    return runtorvik(keywords + readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/" + example))
        .files;
}

runresult cells(std::vector<std::string> arguments, const namedfiles& files = {})
{
    arguments.insert(arguments.begin(), "cells");
    return runtorvik(
        {.arguments = arguments, .input = "", .files = files, .program = TORVIK_TOOLS});
}

// The lattice and cell of the first solution, by the JSON.
nlohmann::json firstlattice(const std::string& example)
{
    const runresult run = cells({"a_idx.res", "--json"}, resultsof(example));
    EXPECT_EQ(run.status, 0) << run.errors;
    return nlohmann::json::parse(run.output).at("solutions").at(0).at("bravais").at(0);
}

void expectcell(const nlohmann::json& lattice, const std::string& symbol,
                const std::vector<double>& cell)
{
    EXPECT_EQ(lattice.at("lattice"), symbol);
    const auto found = lattice.at("settings").at(0).at("ideal_cell").get<std::vector<double>>();
    for (std::size_t i = 0; i < 6; ++i) EXPECT_NEAR(found[i], cell[i], 0.005 * cell[i]) << symbol;
}

// The cells are the published ones that examples/README.md names; sucrose with a and c exchanged.
TEST(CellsOfResults, OfTheExamplesAreThePublishedOnes)
{
    expectcell(firstlattice("1_quartz_vectors.idx"), "hP", {4.916, 4.916, 5.4054, 90, 90, 120});
    expectcell(firstlattice("2_sucrose_euler.idx"), "mP",
               {7.7585, 8.705, 10.8633, 90, 102.945, 90});
    expectcell(firstlattice("3_diopside_kappa.idx"), "mC", {9.746, 8.899, 5.251, 90, 105.63, 90});
    expectcell(firstlattice("4_calcite_volumes.idx"), "hR", {4.9896, 4.9896, 17.061, 90, 90, 120});
}

TEST(CellsOfResults, TellWhichSolutionsAreMultiplesOfWhich)
{
    const namedfiles files = resultsof("5_kyanite_difficult.idx");
    const runresult run = cells({"a_idx.res"}, files);
    const auto lines = linesof(run.output);
    EXPECT_EQ(lines.at(0), "8 solutions of a_idx.res");
    EXPECT_TRUE(lines.at(3).ends_with("2 x nr 2")) << lines.at(3);
    EXPECT_EQ(run.output.find('\x1b'), std::string::npos);
    const auto page = nlohmann::json::parse(cells({"a_idx.res", "--json"}, files).output);
    const auto& pair = page.at("relations").at(0);
    EXPECT_EQ(pair.at("first"), 1);
    EXPECT_EQ(pair.at("second"), 2);
    EXPECT_EQ(pair.at("first_is"), "supercell");
    EXPECT_EQ(pair.at("index"), 2);
}

TEST(CellsOfResults, AreShownOneAlone)
{
    const namedfiles files = resultsof("5_kyanite_difficult.idx");
    EXPECT_TRUE(cells({"a_idx.res", "--solution", "2"}, files)
                    .output.starts_with("Solution 2: primitive volume 292."));
    const runresult none = cells({"a_idx.res", "--solution", "9"}, files);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.errors, "Error: There is no solution 9: there are 8.\n");
}

TEST(CellsOfResults, AreComparedWithKnownOnes)
{
    namedfiles files = resultsof("5_kyanite_difficult.idx");
    files["cells.txt"] =
        "4.9 4.9 5.4 90 90 120 quartz\n7.126 7.852 5.572 89.99 101.11 106.03 kyanite\n";
    const auto lines = linesof(cells({"a_idx.res", "--known", "cells.txt"}, files).output);
    EXPECT_TRUE(lines.at(3).ends_with("2 x kyanite")) << lines.at(3);
    EXPECT_TRUE(lines.at(4).ends_with("= kyanite")) << lines.at(4);
    files["cells.txt"] = "4.9 4.9 5.4 90 90\n";
    const runresult bad = cells({"a_idx.res", "--known", "cells.txt"}, files);
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.output, "");
}

TEST(CellsOfLePage, AreThoseOfTheSolutions)
{
    const namedfiles files = resultsof("4_calcite_volumes.idx", "_SaveLePage\n3\n");
    const runresult run = cells({"LePage.inp"}, files);
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto lines = linesof(run.output);
    EXPECT_EQ(lines.at(0), "3 cells of LePage.inp");
    EXPECT_NE(lines.at(3).find(" hR "), std::string::npos);
    EXPECT_TRUE(lines.at(4).ends_with("3 x nr 1")) << lines.at(4);
}

// The primitive cell of a C-centred one has half of its volume.
TEST(CellsOnTheCommandLine, MayBeCentredAndSeveral)
{
    const runresult one = cells({"9.746", "8.899", "5.251", "90", "105.63", "90", "C"});
    EXPECT_TRUE(one.output.starts_with("Cell 1: primitive volume 219.29\n"));
    EXPECT_NE(one.output.find("mC "), std::string::npos);
    const runresult two = cells({"5 5 5 90 90 90", "5 5 10 90 90 90"});
    EXPECT_TRUE(two.output.starts_with("2 cells\n"));
    EXPECT_NE(two.output.find("2 x nr 1"), std::string::npos);
}

TEST(CellsOnTheCommandLine, ThatAreNoneAreRefused)
{
    EXPECT_EQ(
        cells({"nothing.res"}).errors,
        "Error: There is no file nothing.res; and as a cell: A cell is six numbers a, b, c, "
        "alpha, beta, gamma, and perhaps a letter of the centring; 'nothing.res' has 1 items.\n");
    EXPECT_EQ(cells({"5", "5", "5"}).status, 1);
    EXPECT_EQ(cells({}).status, 2);
    EXPECT_EQ(cells({"5 5 5 90 90 90", "--obliquity", "-1"}).status, 2);
    const runresult other = cells({"a.txt"}, {{"a.txt", "hello\n"}});
    EXPECT_EQ(other.errors, "Error: a.txt: this is neither a results file nor a LePage.inp.\n");
}

} // namespace

} // namespace torvik::tools
