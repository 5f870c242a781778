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

TEST(Sources, OfHeadersOfSolverAndToolsBeginInTheSameManner)
{
    for (const std::string folder : {"solver", "tools"}) {
        int headers = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(
                 std::string(TORVIK_SOURCE_DIR "/") + folder)) {
            if (entry.path().extension() != ".h") continue;
            ++headers;
            const auto lines = linesof(readfile(entry.path().string()));
            EXPECT_TRUE(lines.at(0).starts_with("// ") && lines.at(0).ends_with('.'))
                << entry.path();
            EXPECT_EQ(lines.at(1), "#pragma once") << entry.path();
        }
        EXPECT_GT(headers, 10) << folder;
    }
}

// What the files of each folder of the solver may include of it.
const std::map<std::string, std::set<std::string>> solverfolders = {
    {"numeric", {"numeric"}},
    {"lattice", {"lattice", "numeric"}},
    {"evidence", {"evidence", "lattice", "numeric"}},
    {"candidates", {"candidates", "evidence", "lattice", "numeric"}},
    {"verdict", {"verdict", "candidates", "evidence", "lattice", "numeric"}},
    {"torvik", {}}, // the public header, which users of the library include by itself
};

// What a line includes, with its quotes or brackets; empty if nothing.
std::string includedin(const std::string& line)
{
    static const std::regex include(R"re(#include (["<].*[">]).*)re");
    std::smatch match;
    return std::regex_match(line, match, include) ? match[1].str() : "";
}

// Says whether a file in a folder of the solver may include this: its own headers by their paths, and in
// the direction of the arrows; the public header in the highest folder alone; gemmi's; those of the standard
// library, which have no dot and no slash.
bool solvermayinclude(const std::string& folder, const std::string& included)
{
    static const std::regex own(R"re("solver/([a-z]+)/\w+\.h")re");
    static const std::regex foreign(R"(<(gemmi/\w+\.hpp|[a-z_]+)>)");
    std::smatch match;
    if (included == "\"torvik/solver.h\"") return folder == "verdict";
    if (std::regex_match(included, match, own)) return solverfolders.at(folder).contains(match[1]);
    return std::regex_match(included, foreign);
}

TEST(Sources, OfTheSolverIncludeOnlyLowerFoldersGemmiAndTheStandardLibrary)
{
    int files = 0;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(TORVIK_SOURCE_DIR "/solver")) {
        const std::string extension = entry.path().extension().string();
        if (extension != ".h" && extension != ".cpp") continue;
        const std::string folder = entry.path().parent_path().filename().string();
        ASSERT_TRUE(solverfolders.contains(folder)) << folder << " has no place in the solver";
        ++files;
        for (const std::string& line : linesof(readfile(entry.path().string()))) {
            const std::string included = includedin(line);
            if (included.empty()) continue;
            EXPECT_TRUE(solvermayinclude(folder, included))
                << entry.path() << " includes " << included;
        }
    }
    EXPECT_GT(files, 20);
}

TEST(Sources, OfTheSolverMayNotIncludeUpwardsOrOutside)
{
    EXPECT_TRUE(solvermayinclude("lattice", "\"solver/lattice/cell.h\""));
    EXPECT_TRUE(solvermayinclude("lattice", "<gemmi/math.hpp>"));
    EXPECT_TRUE(solvermayinclude("lattice", "<vector>"));
    EXPECT_FALSE(solvermayinclude("lattice", "\"solver/evidence/mixture.h\""));
    EXPECT_FALSE(solvermayinclude("evidence", "\"solver/verdict/diagnosis.h\""));
    EXPECT_FALSE(solvermayinclude("evidence", "\"solver/candidates/pool.h\""));
    EXPECT_FALSE(solvermayinclude("evidence", "\"torvik/solver.h\""));
    EXPECT_FALSE(solvermayinclude("torvik", "\"solver/lattice/linear.h\""));
    EXPECT_TRUE(solvermayinclude("verdict", "\"torvik/solver.h\""));
    EXPECT_FALSE(solvermayinclude("verdict", "\"base/failure.h\""));
    EXPECT_FALSE(solvermayinclude("verdict", "\"numeric/arrays.h\""));
    EXPECT_FALSE(solvermayinclude("verdict", "<nlohmann/json.hpp>"));
    EXPECT_FALSE(solvermayinclude("verdict", "<unistd.h>"));
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
    const std::string complaints = printedbycommand(
        "cd '" TORVIK_SOURCE_DIR "' && find src solver tools tests bench -name '*.h' "
        "-o -name '*.cpp' | xargs clang-format --dry-run 2>&1 | head -20");
    EXPECT_EQ(complaints, "");
}

} // namespace

} // namespace torvik
