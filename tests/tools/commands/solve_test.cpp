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

// A Torvik whose first run ends; the second one tells that it has begun, and never ends.
void writeendless(const std::string& path)
{
    writefile(path, "#!/bin/sh\nmkdir '" + path
                        + ".ran' 2>/dev/null && exec '" TORVIK_PROGRAM "' \"$@\"\ntouch '" + path
                        + ".began'\nexec sleep 3600\n");
    std::filesystem::permissions(path, std::filesystem::perms(0755));
}

TEST(Solve, GivesTheBestAnswerSoFarAfterACtrlC)
{
    simulationrequest asked = usual();
    asked.wrong = 17;
    const temporaryfolder folder;
    writefile(folder.file("a.txt"), listof(asked));
    writeendless(folder.file("endless"));
    const commandresult run = resultof(
        "cd '" + folder.path()
        + "' || exit; '" TORVIK_TOOLS
          "' solve a.txt --volume 400 800 --torvik endless --jobs 1 --budget 3600 & solve=$!; "
          "while kill -0 $solve && [ ! -e endless.began ]; do sleep 0.05; done; "
          "kill -INT $solve; wait $solve; echo status $?");
    EXPECT_NE(run.output.find("status 1\n"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("Refused."), std::string::npos) << run.output;
    const json file = json::parse(readfile(folder.file("a.solution.json")));
    EXPECT_EQ(file["interrupted"], true);
    EXPECT_EQ(file["verdict"], "refused");
    EXPECT_FALSE(file["candidates"].empty()); // of the run that ended
}

TEST(Solve, WritesTheAnswerAndTheFilesOfTheRunThatLedToIt)
{
    const runresult run =
        solvewith({"a.txt", "--volume", "200", "1500"}, {{"a.txt", listof(usual())}});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output.substr(0, 7), "Solved.") << run.output;
    ASSERT_TRUE(run.files.count("a.solution.json"));
    EXPECT_TRUE(run.files.count("a.solution.idx"));
    EXPECT_TRUE(run.files.count("a.solution_idx.res"));
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["verdict"], "solved");
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

TEST(SolveWithACell, FindsTheOrientationWithoutARun)
{
    const runresult run = solveknown({"a.txt"}, knowncell);
    EXPECT_EQ(run.status, 0) << run.output;
    EXPECT_TRUE(run.output.starts_with("Solved. One orientation of the known cell takes 40 % of "
                                       "the reflections, and no other comes near."))
        << run.output;
    ASSERT_EQ(run.files.size(), 1U); // no input and results of a run
    const json file = json::parse(run.files.at("a.solution.json"));
    EXPECT_EQ(file["runs"], 0);
    EXPECT_EQ(file["known"], 0);
    EXPECT_EQ(file["lattices"][0]["known"], 0);
    EXPECT_EQ(file["run"]["idx"], "");
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
    EXPECT_TRUE(run.output.starts_with(
        "Refused. The known cell has no orientation that is better than chance could make one."))
        << run.output;
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
    EXPECT_EQ(run.output.substr(0, run.output.find('\n')),
              "Refused. There are 4 reflections; no lattice is sure with fewer than 6.");
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
