#include "sources.h"

#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace torvik {

namespace {

using levels = std::map<std::string, double>;

levels levelsofcomponents()
{
    levels level;
    for (const std::string& line :
         linesof(readfile(TORVIK_SOURCE_DIR "/tests/structure/levels.txt"))) {
        if (line.starts_with('#')) continue;
        std::istringstream words(line);
        double number = 0.0;
        words >> number;
        for (std::string component; words >> component;) level[component] = number;
    }
    return level;
}

// The files of the program that a file includes.
std::set<std::string> includedby(const sourcefile& source)
{
    static const std::regex include(R"re(#include "(.*)\.h")re");
    std::set<std::string> included;
    for (const std::string& line : source.lines) {
        std::smatch match;
        if (std::regex_match(line, match, include)) included.insert(match[1]);
    }
    return included;
}

TEST(Sources, IncludeOnlyFilesOfLowerLevels)
{
    const levels level = levelsofcomponents();
    for (const sourcefile& source : programsources()) {
        ASSERT_TRUE(level.contains(source.component)) << source.path << " has no level";
        for (const std::string& included : includedby(source)) {
            if (included == source.component) continue;
            ASSERT_TRUE(level.contains(included)) << included << " has no level";
            EXPECT_LT(level.at(included), level.at(source.component))
                << source.path << " includes " << included;
        }
    }
}

TEST(Sources, OfDataGroupsIncludeOnlyTheArrayTypes)
{
    const levels level = levelsofcomponents();
    int groups = 0;
    for (const sourcefile& source : programsources()) {
        if (level.at(source.component) != 1.0 || !source.path.ends_with(".h")) continue;
        ++groups;
        EXPECT_EQ(includedby(source), std::set<std::string>{"numeric/arrays"}) << source.path;
    }
    EXPECT_EQ(groups, 8);
}

TEST(Sources, OfHeadersBeginWithALineThatSaysWhatTheFileIs)
{
    for (const sourcefile& source : programsources()) {
        if (!source.path.ends_with(".h")) continue;
        const std::string first = source.lines.at(0);
        EXPECT_TRUE(first.starts_with("// ") && first.ends_with('.')) << source.path;
        EXPECT_EQ(source.lines.at(1), "#pragma once") << source.path;
    }
}

TEST(Sources, OfHeadersOfTheToolsBeginInTheSameManner)
{
    int headers = 0;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(TORVIK_SOURCE_DIR "/tools")) {
        if (entry.path().extension() != ".h") continue;
        ++headers;
        const auto lines = linesof(readfile(entry.path().string()));
        EXPECT_TRUE(lines.at(0).starts_with("// ") && lines.at(0).ends_with('.')) << entry.path();
        EXPECT_EQ(lines.at(1), "#pragma once") << entry.path();
    }
    EXPECT_GT(headers, 10);
}

// What the script would change is printed; nothing, if the document is as it would write it.
TEST(Sources, OfHeadersAreListedInTheArchitectureByTheirFirstLines)
{
    if (printedbycommand("command -v python3").empty()) GTEST_SKIP() << "there is no python3";
    EXPECT_EQ(printedbycommand("'" TORVIK_SOURCE_DIR "/docs/fileindex.py' --check 2>&1"), "")
        << "docs/fileindex.py writes the list anew";
}

TEST(Sources, LeaveTheProgramInOnePlaceOnly)
{
    static const std::regex leaving(R"(.*\b(exit|quick_exit|abort|terminate|throw)\b *[(;].*)");
    for (const sourcefile& source : programsources()) {
        if (source.component == "text/exit") continue;
        for (const std::string& line : source.lines)
            EXPECT_FALSE(std::regex_match(line, leaving)) << source.path << ": " << line;
    }
}

TEST(Sources, AreSetAsTheFormatterSetsThem)
{
    if (printedbycommand("command -v clang-format").empty())
        GTEST_SKIP() << "clang-format is not installed";
    const std::string complaints =
        printedbycommand("cd '" TORVIK_SOURCE_DIR "' && find src tools tests bench -name '*.h' -o "
                         "-name '*.cpp' | xargs clang-format --dry-run 2>&1 | head -20");
    EXPECT_EQ(complaints, "");
}

} // namespace

} // namespace torvik
