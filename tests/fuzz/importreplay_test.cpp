// The kept inputs of the readers of torvik-tools, replayed.

#include "fuzz/importing.h"
#include "fuzz/latticefiles.h"
#include "readers/reader.h"
#include "support/fresh.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace torvik {
namespace {

std::vector<std::string> keptinputs(const std::string& format)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(
             TORVIK_SOURCE_DIR "/tests/fuzz/corpus/import/" + format))
        names.push_back(entry.path().string());
    std::sort(names.begin(), names.end());
    return names;
}

class HostileMeasurement : public fresh, public ::testing::WithParamInterface<std::string> {
protected:
    importharness readers;
};

TEST_P(HostileMeasurement, IsReadOrRefusedWithASentence)
{
    for (const std::string& name : keptinputs(GetParam()))
        EXPECT_NO_THROW(readers.import(GetParam(), readfile(name))) << name;
    EXPECT_GE(readers.outcomes["measurement"], 3U);
    EXPECT_GE(readers.outcomes["refused"], 3U);
}

INSTANTIATE_TEST_SUITE_P(OfEachFormat, HostileMeasurement, ::testing::ValuesIn(fuzzedformats()),
                         [](const auto& format) { return format.param; });

class HostileCells : public HostileMeasurement {};

TEST_P(HostileCells, AreReadOrRefusedWithASentence)
{
    for (const std::string& name : keptinputs(GetParam()))
        EXPECT_NO_THROW(readers.import(GetParam(), readfile(name))) << name;
    EXPECT_GE(readers.outcomes["lattices"], 3U);
    EXPECT_GE(readers.outcomes["refused"], 3U);
}

INSTANTIATE_TEST_SUITE_P(OfEachFile, HostileCells, ::testing::ValuesIn(fuzzedlatticefiles()),
                         [](const auto& format) { return format.param; });

// .integrate is read as .peaks is.
TEST(HostileMeasurements, AreTriedOnEachFormat)
{
    for (const tools::reader& one : tools::readers()) {
        const std::string name = one.name;
        EXPECT_EQ(std::count(fuzzedformats().begin(), fuzzedformats().end(), name),
                  name == "integrate" ? 0 : 1)
            << name;
    }
}

class HostileInputFile : public fresh {
protected:
    importharness readers;
};

TEST_F(HostileInputFile, IsReadAsTheProgramReadsIt)
{
    for (const auto& entry :
         std::filesystem::directory_iterator(TORVIK_SOURCE_DIR "/tests/fuzz/corpus/reader"))
        EXPECT_NO_THROW(readers.import("idx", readfile(entry.path().string()))) << entry.path();
    EXPECT_GT(readers.outcomes["measurement"], 3U);
}

} // namespace

} // namespace torvik
