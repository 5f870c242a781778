// The help of every subcommand, and its examples.
#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

runresult runtools(const std::vector<std::string>& arguments)
{
    return runtorvik({.arguments = arguments, .input = "", .files = {}, .program = TORVIK_TOOLS});
}

std::vector<std::string> subcommands()
{
    std::vector<std::string> names;
    std::istringstream help(runtools({"--help"}).output);
    bool listing = false;
    for (std::string line; std::getline(help, line);) {
        if (listing && line.starts_with("  "))
            names.push_back(line.substr(2, line.find(' ', 2) - 2));
        if (line.starts_with("Subcommands")) listing = true;
    }
    return names;
}

std::vector<std::string> examplesof(const std::string& command)
{
    std::vector<std::string> lines;
    std::istringstream help(runtools({command, "--help"}).output);
    for (std::string line; std::getline(help, line);)
        if (line.starts_with("  $ ")) lines.push_back(line.substr(4));
    return lines;
}

TEST(TheHelp, OfEverySubcommandHasAnExample)
{
    for (const std::string& command : subcommands())
        EXPECT_FALSE(examplesof(command).empty()) << command;
}

// Every line ends well in a folder with the project's examples, where both programs are at hand.
TEST(TheExamples, OfTheHelpAllWork)
{
    namespace fs = std::filesystem;
    for (const std::string& command : subcommands()) {
        const temporaryfolder folder;
        for (const auto& entry :
             fs::directory_iterator(std::string(TORVIK_SOURCE_DIR) + "/examples"))
            if (entry.path().extension() == ".idx" || entry.path().extension() == ".json")
                fs::copy(entry.path(), folder.path());
        for (const std::string& line : examplesof(command)) {
            const std::string path = fs::path(TORVIK_TOOLS).parent_path().string() + ":"
                                     + fs::path(TORVIK_PROGRAM).parent_path().string() + ":$PATH";
            const runresult run =
                runtorvik({.arguments = {"-c", "cd '" + folder.path() + "' && PATH=\"" + path
                                                   + "\" && " + line},
                           .input = "\n",
                           .files = {},
                           .program = "/bin/sh"});
            EXPECT_EQ(run.status, 0) << line << "\n" << run.output << run.errors;
        }
    }
}

TEST(TheCommandLine, EndsWithTwoWhenItIsWrong)
{
    EXPECT_EQ(runtools({}).status, 2);
    EXPECT_EQ(runtools({"nosuchcommand"}).status, 2);
    EXPECT_EQ(runtools({"--help"}).status, 0);
    EXPECT_EQ(runtools({"--version"}).output, "torvik-tools 1.0.0\n");
}

} // namespace

} // namespace torvik::tools
