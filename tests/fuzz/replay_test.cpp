// The kept inputs of the fuzzers, replayed.

#include "fuzz/harness.h"
#include "support/fresh.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace torvik {
namespace {

std::vector<std::string> keptinputs(const std::string& kind)
{
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(TORVIK_SOURCE_DIR "/tests/fuzz/corpus/" + kind))
        names.push_back(entry.path().string());
    std::sort(names.begin(), names.end());
    return names;
}

class HostileInput : public fresh {
protected:
    harness program;
};

TEST_F(HostileInput, IsReadOrRefusedWithADocumentedMessage)
{
    for (const std::string& name : keptinputs("reader"))
        EXPECT_NO_THROW(program.readonly(readfile(name))) << name;
    EXPECT_EQ(program.outcomes.size(), 32U) // thirty values out of bounds, an odd text, and "read"
        << summaryof(program);
    EXPECT_GT(program.outcomes["read"], 100U);
}

TEST_F(HostileInput, EndsInResultsAPeriodogramOrADocumentedMessage)
{
    program.workadmitted = 1e6;
    for (const std::string& name : keptinputs("run"))
        EXPECT_NO_THROW(program.wholerun(readfile(name))) << name;
    EXPECT_GT(program.outcomes["results"], 100U) << summaryof(program);
    EXPECT_GT(program.outcomes["periodogram"], 10U) << summaryof(program);
}

} // namespace

} // namespace torvik
