// The manual page and the completion of shells are in step with the help.

#include "support/commands.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

using words = std::set<std::string>;

std::string printedby(const std::vector<std::string>& arguments)
{
    const runresult run =
        runtorvik({.arguments = arguments, .input = "", .files = {}, .program = TORVIK_TOOLS});
    EXPECT_EQ(run.status, 0) << run.errors;
    return run.output;
}

// The first words of the indented lines of the help below a heading.
words commands()
{
    words names;
    std::istringstream help(printedby({"--help"}));
    bool listing = false;
    for (std::string line; std::getline(help, line);) {
        if (listing && line.starts_with("  ")) names.insert(line.substr(2, line.find(' ', 2) - 2));
        if (line.starts_with("Subcommands")) listing = true;
    }
    return names;
}

// "  -o,--output TEXT ..." begins the entry of an option in the help.
words optionsof(const std::string& command)
{
    words names;
    std::istringstream help(printedby({command, "--help"}));
    for (std::string line; std::getline(help, line);) {
        if (!line.starts_with("  -")) continue;
        std::istringstream list(line.substr(2, line.find(' ', 2) - 2));
        for (std::string name; std::getline(list, name, ',');) names.insert(name);
    }
    return names;
}

// What bash offers for the last of the words of a command line.
words offered(const std::vector<std::string>& line)
{
    std::string script = printedby({"generate", "bash"}) + "COMP_WORDS=(torvik-tools";
    for (const std::string& word : line) script += " '" + word + "'";
    script += ")\nCOMP_CWORD=" + std::to_string(line.size())
              + "\n_torvik_tools\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    const temporaryfolder folder;
    writefile(folder.file("script"), script);
    const auto result = resultof("bash '" + folder.file("script") + "'");
    EXPECT_EQ(result.status, 0) << result.output;
    words found;
    for (const std::string& one : linesof(result.output))
        if (!one.empty()) found.insert(one);
    return found;
}

TEST(Generate, IsInNoHelp)
{
    const words all = commands();
    EXPECT_FALSE(all.contains("generate"));
    EXPECT_TRUE(all.contains("simulate"));
}

TEST(TheCompletionOfBash, OffersTheCommandsAndOptionsOfTheHelp)
{
    words expected = commands();
    EXPECT_GE(expected.size(), 5U);
    expected.insert({"-h", "--help", "--version"});
    EXPECT_EQ(offered({""}), expected);
    for (const std::string& command : commands()) {
        EXPECT_EQ(offered({command, "-"}), optionsof(command)) << command;
        EXPECT_GE(optionsof(command).size(), 3U) << command;
    }
}

TEST(TheCompletionOfBash, OffersTheChoicesOfAnOption)
{
    EXPECT_EQ(offered({"simulate", "--angles", ""}), (words{"eulerian", "kappa"}));
    EXPECT_EQ(offered({"simulate", "--angles", "k"}), (words{"kappa"}));
    EXPECT_EQ(offered({"simulate", "--se"}), (words{"--seed"}));
    EXPECT_TRUE(offered({"simulate", "--cell", ""}).empty()) << "names of files";
}

TEST(TheCompletionOfOtherShells, HasTheOptionsOfTheHelp)
{
    const std::string zsh = printedby({"generate", "zsh"});
    const std::string fish = printedby({"generate", "fish"});
    EXPECT_TRUE(zsh.starts_with("#compdef torvik-tools\n"));
    for (const std::string& command : commands()) {
        EXPECT_NE(zsh.find("\n        '" + command + ":"), std::string::npos) << command;
        EXPECT_NE(fish.find(" -a " + command + " "), std::string::npos) << command;
        for (const std::string& name : optionsof(command)) {
            EXPECT_NE(zsh.find("'" + name + "["), std::string::npos) << name;
            const bool longone = name.starts_with("--");
            EXPECT_NE(fish.find((longone ? " -l " : " -s ") + name.substr(longone ? 2 : 1) + " "),
                      std::string::npos)
                << name;
        }
    }
}

TEST(TheCompletionOfOtherShells, IsWellFormed)
{
    const temporaryfolder folder;
    for (const char* shell : {"bash", "zsh", "fish"}) {
        if (!isinstalled(shell)) continue;
        writefile(folder.file(shell), printedby({"generate", shell}));
        const auto result = resultof(std::string(shell) + " -n '" + folder.file(shell) + "'");
        EXPECT_EQ(result.status, 0) << result.output;
    }
}

// As man shows it, in plain letters.
TEST(TheManualPage, HasTheCommandsOptionsAndExamplesOfTheHelp)
{
    const std::string page = printedby({"generate", "man"});
    for (const std::string& command : commands()) {
        const std::size_t start = page.find("\n.Ss " + command + "\n");
        ASSERT_NE(start, std::string::npos) << command;
        const std::string section = page.substr(start, page.find("\n.Ss ", start + 1) - start);
        for (const std::string& name : optionsof(command))
            EXPECT_NE(section.find("Fl " + name.substr(1)), std::string::npos) << name;
        EXPECT_NE(section.find("\n  $ "), std::string::npos) << command;
    }
}

TEST(TheManualPage, IsWellFormed)
{
    if (!isinstalled("mandoc")) GTEST_SKIP() << "mandoc is not installed";
    const temporaryfolder folder;
    writefile(folder.file("torvik-tools.1"), printedby({"generate", "man"}));
    const auto result =
        resultof("mandoc -T lint -W warning '" + folder.file("torvik-tools.1") + "'");
    EXPECT_EQ(result.output, "");
}

} // namespace

} // namespace torvik::tools
