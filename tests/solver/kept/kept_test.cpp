#include "solver/kept/kept_lists.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <map>
#include <ostream>
#include <string>

namespace torvik::solver {

// GoogleTest calls it to show a list.
void PrintTo(const kept_list& one, std::ostream* out);
void PrintTo(const kept_list& one, std::ostream* out)
{
    *out << one.name;
}

namespace {

std::string name_in(const std::string& line)
{
    return line.substr(0, line.find(':'));
}

std::map<std::string, std::string> kept()
{
    std::ifstream file(TORVIK_SOURCE_DIR "/tests/solver/kept/answers.txt");
    std::map<std::string, std::string> lines;
    for (std::string line; std::getline(file, line);) lines[name_in(line)] = line;
    return lines;
}

// A change of any bit of an answer is either meant, and then the answers are recorded anew (record.cpp), or a
// mistake.
class KeptAnswers : public testing::TestWithParam<kept_list> {};

TEST_P(KeptAnswers, AreGivenAgain)
{
    const auto lines = kept();
    ASSERT_TRUE(lines.contains(GetParam().name)) << GetParam().name << " has no kept answer";
    EXPECT_EQ(line_of(GetParam()), lines.at(GetParam().name));
}

std::string title(const testing::TestParamInfo<kept_list>& of)
{
    std::string name;
    for (const char c : of.param.name)
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
    return name;
}

INSTANTIATE_TEST_SUITE_P(Of, KeptAnswers, testing::ValuesIn(kept_lists()), title);

TEST(TheKeptAnswers, AreThoseOfTheLists)
{
    EXPECT_EQ(kept().size(), kept_lists().size());
}

} // namespace

} // namespace torvik::solver
