// solve as a user calls it: what it prints, what it writes, how it ends.
#include "simulation/simulate.h"

#include "support/commands.h"
#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

using nlohmann::json;

// The budget is beyond what any machine takes: an answer that it ends would hang on the machine.
runresult solvewith(std::vector<std::string> arguments, const namedfiles& files)
{
    arguments.insert(arguments.begin(), "solve");
    arguments.insert(arguments.end(), {"--torvik", TORVIK_PROGRAM, "--budget", "3600"});
    return runtorvik(
        {.arguments = arguments, .input = "", .files = files, .program = TORVIK_TOOLS});
}

std::string listof(const simulationrequest& asked)
{
    std::ostringstream text;
    text.precision(6);
    text << std::fixed << "x y z\n";
    for (const auto& one : simulate(asked).reflections)
        text << one.measured.x << " " << one.measured.y << " " << one.measured.z << "\n";
    return text.str();
}

simulationrequest usual()
{
    simulationrequest asked;
    asked.cell = cell_parameters{7.0, 8.0, 10.0, 85.0, 100.0, 95.0};
    asked.reflections = 24;
    asked.wrong = 4;
    asked.noise = 0.01;
    return asked;
}

// Says on whether a process handles SIGINT: solve does from when it has read the file to its end.
const std::string untilitlistens =
    "while kill -0 $solve && ! grep -q '^SigCgt:.*[2367abef]$' /proc/$solve/status; do :; done; ";

// With so few of so many reflections on the lattice the search goes on for seconds, far longer than a signal
// takes.
TEST(Solve, GivesTheBestAnswerSoFarAfterACtrlC)
{
    simulationrequest asked = usual();
    asked.reflections = 999;
    asked.wrong = 979;
    const temporaryfolder folder;
    writefile(folder.file("a.txt"), listof(asked));
    const commandresult run =
        resultof("cd '" + folder.path()
                 + "' || exit; '" TORVIK_TOOLS "' solve a.txt --budget 3600 & solve=$!; "
                 + untilitlistens + "kill -INT $solve; wait $solve; echo status $?");
    const json file = json::parse(readfile(folder.file("a.solution.json")));
    EXPECT_EQ(file["interrupted"], true);
    EXPECT_NE(file["verdict"], "solved");
    EXPECT_EQ(file["reflections"].size(), 999U);
    const bool refused = file["verdict"] == "refused";
    EXPECT_NE(run.output.find(refused ? "status 1\n" : "status 0\n"), std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find(refused ? "Refused." : "Ambiguous."), std::string::npos);
}

TEST(Solve, GivesTheBestAnswerSoFarWhenTheBudgetIsOver)
{
    const runresult run = runtorvik({.arguments = {"solve", "a.txt", "--budget", "1e-9"},
                                     .input = "",
                                     .files = {{"a.txt", listof(usual())}},
                                     .program = TORVIK_TOOLS});
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["interrupted"], true);
    EXPECT_NE(file["verdict"], "solved");
    EXPECT_EQ(run.output.find("Solved."), std::string::npos);
}

TEST(Solve, WritesTheAnswer)
{
    const runresult run =
        solvewith({"a.txt", "--volume", "200", "1500"}, {{"a.txt", listof(usual())}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output.substr(0, 7), "Solved.") << run.output;
    ASSERT_EQ(run.files.size(), 1U);
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["verdict"], "solved");
    EXPECT_TRUE(file["run"].is_null());
    EXPECT_NEAR(file["cell"]["a"].get<double>(), 7.0, 0.05);
    EXPECT_NEAR(file["cell"]["b"].get<double>(), 8.0, 0.05);
    EXPECT_NEAR(file["cell"]["c"].get<double>(), 10.0, 0.06);
    EXPECT_EQ(file["reflections"].size(), 24U);
    int indexed = 0;
    for (const json& one : file["reflections"]) {
        indexed += one["hkl"].is_null() ? 0 : 1;
        EXPECT_EQ(one["hkl"].is_null(), one["lattice"].is_null());
    }
    EXPECT_EQ(file["lattices"][0]["indexed"], indexed);
    EXPECT_GE(indexed, 19);
}

TEST(Solve, WritesTheFilesOfARunAboutTheAnswerIfItIsAskedTo)
{
    const runresult run =
        solvewith({"a.txt", "--results", "-o", "b"}, {{"a.txt", listof(usual())}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    ASSERT_EQ(run.files.size(), 3U);
    const json file = json::parse(run.files.at("b.solution.json"));
    EXPECT_EQ(file["run"], (json{{"idx", "b.solution.idx"}, {"res", "b.solution_idx.res"}}));
    EXPECT_TRUE(run.files.contains("b.solution.idx"));
    EXPECT_NE(run.files.at("b.solution_idx.res").find("Solutions for b.solution.idx"),
              std::string::npos);
}

TEST(Solve, WritesNoResultsOfWhatItRefuses)
{
    const runresult run =
        solvewith({"a.txt", "--results"}, {{"a.txt", "1 0 0\n0 1 0\n0 0 1\n1 1 1\n"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors,
              "Note: There is no answer to run Torvik about: no results are written.\n");
    EXPECT_EQ(run.files.size(), 1U);
    EXPECT_TRUE(json::parse(run.files.at("a.solution.json"))["run"].is_null());
}

TEST(Solve, WritesAllItsFilesOrNone)
{
    const namedfiles files = {{"a.txt", listof(usual())}, {"a.solution_idx.res/in_the_way", ""}};
    const runresult run = solvewith({"a.txt", "--results"}, files);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: Cannot write a.solution_idx.res.\n");
    EXPECT_TRUE(run.files.empty());
    EXPECT_EQ(run.output, "");
}

// What cannot be computed is no verdict.
TEST(Solve, WritesNothingIfTheRunForTheResultsFails)
{
    const runresult run =
        runtorvik({.arguments = {"solve", "a.txt", "--results", "--torvik", "a.txt"},
                   .input = "",
                   .files = {{"a.txt", listof(usual())}},
                   .program = TORVIK_TOOLS});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("Error: Cannot start "), std::string::npos) << run.errors;
    EXPECT_TRUE(run.files.empty());
}

TEST(Solve, CountsSpotsOfOneReflectionOnce)
{
    const std::string list = listof(usual());
    const std::string spots = list + list.substr(list.find('\n') + 1);
    const runresult run = solvewith({"a.txt"}, {{"a.txt", spots}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "Note: 40 indexed spots are 20 reflections, some measured repeatedly.\n");
    EXPECT_EQ(json::parse(run.files.at("a.solution.json"))["reflections"].size(), 48U);
}

TEST(Solve, BelievesNoAxisShorterThanItIsTold)
{
    const namedfiles files = {{"a.txt", listof(usual())}};
    EXPECT_EQ(solvewith({"a.txt", "--shortest-axis", "6"}, files).status, 0);
    const runresult run = solvewith({"a.txt", "--shortest-axis", "9"}, files);
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_NE(file["verdict"], "solved");
    for (const json& one : file["candidates"]) EXPECT_GE(one["cell"]["a"].get<double>(), 9.0);
}

// The indices of the file are those that its basis gives to its vectors.
TEST(Solve, WritesIndicesThatTheBasisGives)
{
    const runresult run =
        solvewith({"a.txt", "--volume", "200", "1500"}, {{"a.txt", listof(usual())}});
    const json file = json::parse(run.files.at("a.solution.json"));
    for (const json& one : file["reflections"]) {
        if (one["hkl"].is_null()) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            double h = 0.0;
            for (std::size_t k = 0; k < 3; ++k)
                h += file["basis"][i][k].get<double>() * one["vector"][k].get<double>();
            EXPECT_NEAR(h, one["hkl"][i].get<double>(), 0.25);
        }
    }
}

TEST(Solve, PrintsTheFileInsteadWhenItIsAskedTo)
{
    const runresult run =
        solvewith({"a.txt", "--json", "--volume", "200", "1500"}, {{"a.txt", listof(usual())}});
    EXPECT_EQ(json::parse(run.output)["verdict"], "solved");
}

TEST(Solve, FindsASecondLatticeAndTheTurnBetweenTheTwo)
{
    simulationrequest asked = usual();
    asked.reflections = 50;
    asked.wrong = 0;
    asked.lattices = 2;
    asked.twin = twinlaw{90.0, {0.0, 0.0, 1.0}, false};
    asked.parts = {0.6, 0.4};
    const runresult run = solvewith({"a.txt", "--lattices", "2", "--volume", "200", "1500"},
                                    {{"a.txt", listof(asked)}});
    EXPECT_EQ(run.status, 0) << run.errors;
    const json file = json::parse(run.files.at("a.solution.json"));
    ASSERT_EQ(file["lattices"].size(), 2U) << run.output;
    EXPECT_NEAR(file["lattices"][1]["turn"]["angle"].get<double>(), 90.0, 1.0);
    EXPECT_EQ(file["lattices"][1]["turn"]["twin"], true);
    EXPECT_NE(run.output.find("a likely twin law"), std::string::npos);
}

// Of 20 reflections 12 are wrong: without the cell there is no answer.
simulationrequest mostlywrong()
{
    simulationrequest asked = usual();
    asked.reflections = 20;
    asked.wrong = 12;
    asked.smallestd = 1.0;
    asked.noise = 0.02;
    asked.seed = 3;
    return asked;
}

const std::vector<std::string> knowncell = {"--cell", "7", "8", "10", "85", "100", "95"};

runresult solveknown(std::vector<std::string> arguments, const std::vector<std::string>& cell)
{
    arguments.insert(arguments.end(), cell.begin(), cell.end());
    return solvewith(arguments, {{"a.txt", listof(mostlywrong())}});
}

TEST(SolveWithACell, FindsTheOrientation)
{
    const runresult run = solveknown({"a.txt"}, knowncell);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(run.output.starts_with("Solved. ")) << run.output;
    ASSERT_EQ(run.files.size(), 1U);
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["known"], 0);
    EXPECT_EQ(file["tolerance"], 0.02);
    EXPECT_EQ(file["lattices"][0]["known"], 0);
    EXPECT_TRUE(file["run"].is_null());
    EXPECT_NEAR(file["cell"]["alpha"].get<double>(), 85.0, 0.5);
    EXPECT_NEAR(file["cell"]["beta"].get<double>(), 100.0, 0.5);
    EXPECT_NEAR(file["cell"]["gamma"].get<double>(), 95.0, 0.5);
    // As the basis of the truth, or turned by nothing that a triclinic cell has.
    const matrix3 truth = simulate(mostlywrong()).truth().conventional;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) {
            const double found =
                file["basis"][static_cast<std::size_t>(i)][static_cast<std::size_t>(k)]
                    .get<double>();
            EXPECT_NEAR(found, truth.a[i][k], 0.1);
        }
}

TEST(SolveWithACell, TakesSeveralAndSaysWhichItIs)
{
    std::vector<std::string> cells = {"--cell", "6.5", "8.9", "9.6", "92", "96", "98"};
    cells.insert(cells.end(), knowncell.begin(), knowncell.end());
    const runresult run = solveknown({"a.txt"}, cells);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.output.find("known cell 2"), std::string::npos) << run.output;
    EXPECT_EQ(json::parse(run.files.at("a.solution.json"))["known"], 1);
}

TEST(SolveWithACell, MayNameTheFileBehindIt)
{
    std::vector<std::string> arguments = knowncell;
    arguments.emplace_back("a.txt");
    EXPECT_EQ(solveknown(arguments, {}).status, 0);
}

// A batch gives both in its second pass.
TEST(SolveWithACell, HasNoUseForLimitsOfTheVolume)
{
    const runresult run = solveknown({"a.txt", "--volume", "900", "1500"}, knowncell);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(json::parse(run.files.at("a.solution.json"))["known"], 0);
}

TEST(SolveWithACell, RefusesACellThatIsNotThatOfTheCrystal)
{
    const runresult run = solveknown({"a.txt"}, {"--cell", "6.5", "8.9", "9.6", "92", "96", "98"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.output.starts_with("Refused. ")) << run.output;
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["verdict"], "refused");
    EXPECT_TRUE(file["known"].is_null());
    EXPECT_FALSE(file["candidates"].empty());
}

TEST(SolveWithACell, RefusesWhatIsNoCellWithASentence)
{
    const runresult flat = solveknown({"a.txt"}, {"--cell", "7", "8", "10", "30", "40", "90"});
    EXPECT_EQ(flat.status, 1);
    EXPECT_EQ(flat.errors, "Error: The angles 30.000, 40.000 and 90.000 belong to no cell: its "
                           "three axes lie in a plane, or cannot meet.\n");
    EXPECT_TRUE(flat.files.empty());
    const runresult negative =
        solveknown({"a.txt"}, {"--cell", "-7", "8", "10", "85", "100", "95"});
    EXPECT_EQ(negative.errors, "Error: The cell has a = -7.0000: a length must be above 0.\n");
    EXPECT_EQ(solveknown({"a.txt"}, {"--cell", "7", "8", "10", "85", "100"}).status, 2);
}

TEST(SolveWithACell, TakesTheLetterOfACentringAndAllInOneWord)
{
    simulationrequest asked = usual();
    asked.cell = cell_parameters{9.7, 8.9, 5.3, 90.0, 105.6, 90.0};
    asked.centring = 'C';
    const namedfiles files = {{"a.txt", listof(asked)}};
    for (const std::vector<std::string>& cell :
         {std::vector<std::string>{"--cell", "9.7", "8.9", "5.3", "90", "105.6", "90", "C"},
          std::vector<std::string>{"--cell", "9.7,8.9,5.3,90,105.6,90,C"}}) {
        std::vector<std::string> arguments = cell;
        arguments.emplace_back("a.txt");
        const runresult run = solvewith(arguments, files);
        EXPECT_EQ(run.status, 0) << run.output << run.errors;
        const json file = json::parse(run.files.at("a.solution.json"));
        EXPECT_EQ(file["known"], 0);
        EXPECT_NEAR(file["cell"]["volume"].get<double>(), 220.3, 2.0); // of the primitive cell
    }
}

TEST(Solve, SaysNothingOfKnownCellsIfNoneIsGiven)
{
    const runresult run =
        solvewith({"a.txt", "--volume", "200", "1500"}, {{"a.txt", listof(usual())}});
    EXPECT_EQ(run.files.at("a.solution.json").find("known"), std::string::npos);
}

TEST(Solve, RefusesWithAReasonAndEndsWithOne)
{
    const runresult run = solvewith({"a.txt"}, {{"a.txt", "1 0 0\n0 1 0\n0 0 1\n1 1 1\n"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.output.starts_with("Refused. There are 4 reflections; no lattice is certain "))
        << run.output;
    EXPECT_EQ(json::parse(run.files.at("a.solution.json"))["verdict"], "refused");
}

TEST(Solve, WritesNothingForAFileThatItCannotRead)
{
    const runresult run = solvewith({"a.txt"}, {{"a.txt", "1 0 0\n0 1 x\n"}});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.errors.find("a.txt, line 2, column 5"), std::string::npos) << run.errors;
    EXPECT_TRUE(run.files.empty());
    EXPECT_EQ(solvewith({"a.txt", "--volume", "5"}, {{"a.txt", ""}}).status, 2);
}

} // namespace

} // namespace torvik::tools
