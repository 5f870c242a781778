// Whole runs compared, byte for byte, with outputs that are kept.

#include "support/keptcases.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

// Masks also the drawing of the banner, which is free.
std::string maskedbanner(const std::string& text)
{
    auto lines = linesof(masked(text));
    if (lines.size() < 18 || !lines[16].ends_with("v.1.0")) return masked(text);
    std::string result;
    for (std::size_t i = 0; i < lines.size(); ++i)
        result += (11 <= i && i < 16 ? "<logo>" : lines[i]) + "\n";
    return result;
}

// Compares a run with what is expected of it. Names and contents, nothing more and nothing less.
void expectasgolden(const keptcase& c, const runresult& run)
{
    EXPECT_EQ(run.status, 0);
    if (c.onlyterminates) return;
    namedfiles left;
    for (const auto& [name, content] : run.files) left[name] = masked(content);
    left["stdout"] = maskedbanner(run.output);
    for (const auto& [name, content] : c.expected) {
        ASSERT_TRUE(left.contains(name)) << "the run left no file " << name;
        EXPECT_EQ(left[name], content) << name;
    }
    for (const auto& [name, content] : left)
        EXPECT_TRUE(c.expected.contains(name)) << "the run left a file " << name;
}

std::string nameofcase(const testing::TestParamInfo<keptcase>& info)
{
    return info.param.name;
}

class ARunWritesToTheByte : public testing::TestWithParam<keptcase> {};

TEST_P(ARunWritesToTheByte, WhatItsKeptOutputsSay)
{
    expectasgolden(GetParam(), runtorvik(GetParam().setting));
}

INSTANTIATE_TEST_SUITE_P(Own, ARunWritesToTheByte, testing::ValuesIn(owncases()), nameofcase);
INSTANTIATE_TEST_SUITE_P(Reference, ARunWritesToTheByte, testing::ValuesIn(referencecases()),
                         nameofcase);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ARunWritesToTheByte);

class ABuildWritesTheSameBytes : public testing::TestWithParam<std::string> {};

// The builds differ in compiler, optimisation and instruction set; all are made by one call of the
// compiler, without the flag that forbids fused operations. Each must write what the program of this
// build writes, on every case there is.
TEST_P(ABuildWritesTheSameBytes, AsTheProgramItself)
{
    const std::string program = TORVIK_BINARY_DIR "/builds/" + GetParam() + "/Torvik";
    if (!fs::exists(program)) GTEST_SKIP() << "its compiler is not installed";
    std::vector<keptcase> cases = owncases();
    for (const keptcase& c : referencecases()) cases.push_back(c);
    ASSERT_FALSE(cases.empty());
    for (const keptcase& c : cases) {
        SCOPED_TRACE(c.name);
        runsetting setting = c.setting;
        const runresult ours = runtorvik(setting);
        setting.program = program;
        const runresult theirs = runtorvik(setting);
        EXPECT_EQ(masked(theirs.output), masked(ours.output));
        ASSERT_EQ(theirs.files.size(), ours.files.size());
        for (const auto& [name, content] : ours.files)
            EXPECT_EQ(masked(theirs.files.at(name)), masked(content)) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Builds, ABuildWritesTheSameBytes,
                         testing::Values("gcc_O0", "gcc_O2", "gcc_O3_native", "clang_O2",
                                         "clang_O3_native"),
                         [](const auto& build) { return build.param; });

} // namespace

} // namespace torvik
