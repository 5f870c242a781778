#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace torvik {

namespace {

namespace fs = std::filesystem;

TEST(Headers, BeginWithALineThatSaysWhatTheFileIs)
{
    for (const auto& entry : fs::recursive_directory_iterator(TORVIK_SOURCE_DIR "/src")) {
        if (entry.path().extension() != ".h") continue;
        const std::string first = linesof(readfile(entry.path().string())).at(0);
        EXPECT_TRUE(first.starts_with("// ") && first.ends_with('.')) << entry.path() << first;
    }
}

} // namespace

} // namespace torvik
