// The pages on the solver: the example and what it prints, the members, limits and constants that they list.
#include "support/commands.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik {

namespace {

const std::string project = TORVIK_SOURCE_DIR;

std::string page()
{
    return readfile(project + "/docs/solver-api.md");
}

// The first block of a kind in the page.
std::string block_of(const std::string& kind)
{
    const std::string text = page();
    const std::string opening = "\n```" + kind + "\n";
    const std::size_t at = text.find(opening);
    if (at == std::string::npos) return "there is none";
    const std::size_t begin = at + opening.size();
    return text.substr(begin, text.find("```\n", begin) - begin);
}

TEST(TheExampleOfTheSolver, IsThatOfItsPage)
{
    EXPECT_EQ(block_of("cpp"), readfile(project + "/examples/solve.cpp"));
}

TEST(TheExampleOfTheSolver, PrintsWhatItsPageShows)
{
    const commandresult run =
        resultof("sed '1,/_Reflections/d' '" + project + "/examples/1_quartz_vectors.idx' | "
                 + "'" TORVIK_SOLVER_EXAMPLE "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, block_of("text"));
}

TEST(TheExampleOfTheSolver, EndsWithTheSentenceOfAnError)
{
    const commandresult run = resultof("'" TORVIK_SOLVER_EXAMPLE "' < /dev/null; echo status $?");
    EXPECT_EQ(run.output, "There are no reflections.\nstatus 2\n");
}

TEST(ThePageOnTheSolver, NamesEveryMemberOfThePublicStructs)
{
    const std::string text = page();
    const auto members = matchesin(readfile(project + "/solver/include/torvik/solver.h"),
                                   R"(\n {4,}[^/\n]*?(\w+)(?: = [^;)\n]*|\{[^;\n]*\})?;)");
    EXPECT_GE(members.size(), 35U);
    for (const std::string& name : members)
        EXPECT_NE(text.find("`" + name + "`"), std::string::npos) << name;
}

// Rows that name a constant, its value and its source.
TEST(ThePageOnTheVerdict, HasTheValuesOfConstantsElsewhere)
{
    const std::string text = readfile(project + "/docs/solve.md");
    const std::string row = R"(\n\| `(\w+)` \| [\d.]+ \| [^|\n]* \| `solver/[\w/.]+` \|)";
    const auto names = matchesin(text, row);
    ASSERT_GE(names.size(), 4U);
    for (const std::string& name : names) {
        const std::string begin = "\\| `" + name + "` \\| ";
        const auto values = matchesin(text, begin + R"(([\d.]+) \|)");
        const auto files = matchesin(text, begin + R"([\d.]+ \| [^|\n]* \| `([\w/.]+)`)");
        ASSERT_EQ(values.size(), 1U) << name;
        ASSERT_EQ(files.size(), 1U) << name;
        const std::string source = readfile(project + "/" + files[0]);
        EXPECT_NE(source.find(" " + name + " = " + values[0] + ";"), std::string::npos) << name;
    }
}

// The limits of the verdict are constants of one header.
TEST(ThePageOnTheVerdict, HasTheValueOfEveryLimit)
{
    const std::string header = readfile(project + "/solver/verdict/thresholds.h");
    const std::string text = readfile(project + "/docs/solve.md");
    const auto names = matchesin(header, R"(\nconstexpr [\w:]+ (\w+) = )");
    const auto values = matchesin(header, R"(\nconstexpr [\w:]+ \w+ = ([\d.]+);)");
    ASSERT_EQ(names.size(), values.size());
    ASSERT_GE(names.size(), 7U);
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string row = "\n| `" + names[i] + "` | " + values[i] + " | ";
        EXPECT_NE(text.find(row), std::string::npos) << row;
    }
}

} // namespace

} // namespace torvik
