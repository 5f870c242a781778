// Whole runs: the program writes what the plain program writes.

#include "equivalence/randominputs.h"
#include "support/cases.h"
#include "support/keptcases.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace torvik {

namespace {

// Runs both programs in folders of their own. Every file that is left, the terminal, the error
// stream and the exit status are the same but for dates and timing figures.
void expectsamebytes(runsetting setting)
{
    const runresult fast = runtorvik(setting);
    setting.program = TORVIK_PLAIN;
    const runresult plain = runtorvik(setting);
    EXPECT_EQ(fast.status, plain.status);
    EXPECT_EQ(fast.errors, plain.errors);
    EXPECT_EQ(masked(fast.output), masked(plain.output));
    for (const auto& [name, content] : plain.files) {
        ASSERT_TRUE(fast.files.contains(name)) << "the run left no file " << name;
        EXPECT_EQ(masked(fast.files.at(name)), masked(content)) << name;
    }
    EXPECT_EQ(fast.files.size(), plain.files.size());
}

runsetting settingfor(const std::string& idx)
{
    runsetting setting;
    setting.arguments = {"a.idx"};
    setting.files = {{"a.idx", idx}};
    return setting;
}

TEST(WholeRuns, OnTheKeptCasesWriteTheBytesOfThePlainProgram)
{
    std::vector<keptcase> all = owncases();
    for (const keptcase& c : referencecases()) all.push_back(c);
    ASSERT_FALSE(all.empty());
    for (const keptcase& c : all) {
        SCOPED_TRACE(c.name);
        expectsamebytes(c.setting);
    }
}

// The examples take the plain program some seconds each; the normal run leaves that with one.
TEST(WholeRuns, OnTheExamplesWriteTheBytesOfThePlainProgram)
{
    std::vector<std::string> examples = {"4_calcite_volumes.idx"};
    if (cases(0, 1) == 1)
        for (const auto& entry : std::filesystem::directory_iterator(TORVIK_SOURCE_DIR "/examples"))
            if (entry.path().extension() == ".idx") examples.push_back(entry.path().filename());
    for (const std::string& name : examples) {
        SCOPED_TRACE(name);
        expectsamebytes(settingfor(readfile(TORVIK_SOURCE_DIR "/examples/" + name)));
    }
}

class RandomRunsAtExtent : public testing::TestWithParam<int> {};

TEST_P(RandomRunsAtExtent, WriteTheBytesOfThePlainProgram)
{
    for (int number = 1; number <= cases(25, 60); ++number) {
        const std::string input = randominput(GetParam(), number);
        SCOPED_TRACE("input " + std::to_string(number) + ":\n" + input);
        expectsamebytes(settingfor(input));
        if (HasFailure()) return; // the first that differs is shown, not all
    }
}

INSTANTIATE_TEST_SUITE_P(All, RandomRunsAtExtent, testing::Range(0, 6),
                         [](const auto& extent) { return std::to_string(extent.param); });

} // namespace

} // namespace torvik
