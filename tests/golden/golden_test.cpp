// Whole runs compared, byte for byte, with outputs that are kept.
//
// A case of the project's own is a folder here with
//     why.txt     a line on why it exists
//     arguments   the command line, an argument a line
//     stdin       what is typed (an empty line if there is no such file)
//     input/      the files laid into the working folder
//     expected/   the files that the run leaves, and "stdout"
// Dates and timing figures are masked. The reference cases are a collection outside the project,
// read where it lies beside it.

#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

struct goldencase {
    std::string name;
    runsetting setting;
    namedfiles expected; // by name; "stdout" is the terminal
    bool onlyterminates = false;
};

namedfiles filesin(const fs::path& folder)
{
    namedfiles files;
    if (!fs::exists(folder)) return files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), folder).string()] = readfile(entry.path().string());
    return files;
}

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

std::vector<goldencase> owncases()
{
    std::vector<goldencase> cases;
    for (const auto& entry : fs::directory_iterator(TORVIK_SOURCE_DIR "/tests/golden")) {
        const fs::path folder = entry.path();
        if (!entry.is_directory() || !fs::exists(folder / "why.txt")) continue;
        goldencase c;
        c.name = folder.filename().string();
        c.setting.arguments = linesof(readfile((folder / "arguments").string()));
        if (fs::exists(folder / "stdin")) c.setting.input = readfile((folder / "stdin").string());
        c.setting.files = filesin(folder / "input");
        c.expected = filesin(folder / "expected");
        cases.push_back(c);
    }
    return cases;
}

std::vector<goldencase> referencecases()
{
    const fs::path folder = TORVIK_SHARED_GOLDEN;
    std::vector<goldencase> cases;
    if (!fs::exists(folder / "cases/manifest.json")) return cases;
    const auto manifest =
        nlohmann::json::parse(readfile((folder / "cases/manifest.json").string()));
    for (const auto& entry : manifest) {
        goldencase c;
        c.name = entry["name"];
        c.setting.arguments = entry["argv"].get<std::vector<std::string>>();
        c.setting.input = entry["stdin"];
        for (const auto& [name, source] : entry["files"].items())
            c.setting.files[name] = readfile((folder / "cases" / source).string());
        c.expected = filesin(folder / "expected" / c.name);
        c.expected.erase("meta.json");
        c.onlyterminates = entry["kind"] == "terminate";
        cases.push_back(c);
    }
    return cases;
}

// Compares a run with what is expected of it. Names and contents, nothing more and nothing less.
void expectasgolden(const goldencase& c, const runresult& run)
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

// How GoogleTest shows a case.
void PrintTo(const goldencase& c, std::ostream* stream)
{
    *stream << c.name;
}

std::string nameofcase(const testing::TestParamInfo<goldencase>& info)
{
    return info.param.name;
}

class ARunWritesToTheByte : public testing::TestWithParam<goldencase> {};

TEST_P(ARunWritesToTheByte, WhatItsKeptOutputsSay)
{
    expectasgolden(GetParam(), runtorvik(GetParam().setting));
}

INSTANTIATE_TEST_SUITE_P(Own, ARunWritesToTheByte, testing::ValuesIn(owncases()), nameofcase);
INSTANTIATE_TEST_SUITE_P(Reference, ARunWritesToTheByte, testing::ValuesIn(referencecases()),
                         nameofcase);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ARunWritesToTheByte);

class ABuildWritesTheSameBytes : public testing::TestWithParam<std::string> {};

// The builds differ in compiler, optimisation and instruction set. Each must write what the program
// of this build writes, on every case there is.
TEST_P(ABuildWritesTheSameBytes, AsTheProgramItself)
{
    const std::string program = TORVIK_BINARY_DIR "/builds/" + GetParam() + "/Torvik";
    if (!fs::exists(program)) GTEST_SKIP() << "its compiler is not installed";
    std::vector<goldencase> cases = owncases();
    for (const goldencase& c : referencecases()) cases.push_back(c);
    ASSERT_FALSE(cases.empty());
    for (const goldencase& c : cases) {
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
                         testing::Values("gcc_O0", "gcc_O3_native", "clang_O1", "clang_O3_native"),
                         [](const auto& build) { return build.param; });

} // namespace

} // namespace torvik
