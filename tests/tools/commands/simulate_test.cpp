// torvik-tools simulate, as a user calls it.

#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

runresult simulating(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "simulate");
    return runtorvik({.arguments = arguments, .input = "", .files = {}, .program = TORVIK_TOOLS});
}

TEST(Simulate, WritesAnInputAndTheTruth)
{
    const runresult run =
        simulating({"-o", "a.idx", "-n", "20", "--wrong", "5", "--angles", "kappa"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, "20 reflections, 5 of them wrong. Written to a.idx and a.truth.json.\n");
    EXPECT_EQ(run.files.size(), 2U);
    EXPECT_NE(run.files.at("a.idx").find("_ReflectionsThetaPhiKappa"), std::string::npos);
    EXPECT_NE(run.files.at("a.truth.json").find("\"kind\":\"kappa\""), std::string::npos);
}

TEST(Simulate, WritesManyCrystalsOfDifferentSeeds)
{
    const runresult run = simulating({"-o", "a.idx", "--crystals", "3", "--seed", "5"});
    ASSERT_EQ(run.files.size(), 6U);
    const runresult one = simulating({"-o", "b.idx", "--seed", "7"});
    EXPECT_EQ(run.files.at("a_003.idx"), one.files.at("b.idx"));
    EXPECT_NE(run.files.at("a_002.idx"), one.files.at("b.idx"));
}

TEST(Simulate, WritesNothingWhereItFails)
{
    const auto refusal = [](const std::vector<std::string>& arguments) {
        const runresult run = simulating(arguments);
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(run.files.empty());
        return run.errors;
    };
    EXPECT_EQ(refusal({"--system", "cubic", "--centring", "R"}),
              "Error: There is no lattice \"cubic R\".\n");
    EXPECT_EQ(
        refusal({"--cell", "5", "6", "7", "90", "90"}),
        "Error: A cell is six numbers a, b, c, alpha, beta, gamma, and perhaps a letter of the "
        "centring; '5 6 7 90 90' has 5 items.\n");
    EXPECT_EQ(refusal({"-o", "a.txt"}),
              "Error: The name a.txt does not end in .idx, as the program asks for.\n");
    EXPECT_EQ(refusal({"--angles", "eulerian", "--wavelength", "30"}).substr(0, 26),
              "Error: A reflection of d =");
}

TEST(Simulate, ReplacesFilesOnlyIfThatIsAskedFor)
{
    const temporaryfolder folder;
    const std::string input = folder.file("a.idx");
    const std::string truth = folder.file("a.truth.json");
    writefile(truth, "precious");
    const runresult kept = simulating({"-o", input});
    EXPECT_EQ(kept.status, 1);
    EXPECT_EQ(kept.errors, "Error: " + truth + " exists; --force replaces it.\n");
    EXPECT_EQ(readfile(truth), "precious");
    EXPECT_FALSE(std::filesystem::exists(input));
    EXPECT_EQ(simulating({"-o", input, "--force"}).status, 0);
    EXPECT_NE(readfile(truth), "precious");
    EXPECT_TRUE(std::filesystem::exists(input));
}

TEST(Simulate, TakesNegativeNumbersAndLaws)
{
    const runresult run = simulating({"--offset", "-0.001", "0", "-0.002", "--twin", "60 [1 -1 0]",
                                      "--orientation", "-10", "20", "-30", "--parts", "3", "1"});
    EXPECT_EQ(run.status, 0) << run.errors;
    const std::string truth = run.files.at("simulated.truth.json");
    EXPECT_NE(truth.find("\"offset\":[-0.001,0.0,-0.002]"), std::string::npos);
    EXPECT_NE(truth.find("\"twin\":{\"angle\":60.0,\"direction\":[1.0,-1.0,0.0]}"),
              std::string::npos);
    EXPECT_NE(truth.find("\"lattices\":2,\"parts\":[3.0,1.0]"), std::string::npos);
}

} // namespace

} // namespace torvik::tools
