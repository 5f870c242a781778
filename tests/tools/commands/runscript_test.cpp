// ./run.sh: which program gets a file.
#include "support/commands.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace torvik::tools {

namespace {

// A copy of the script, beside programs that say how they are called.
class script {
public:
    script()
    {
        namespace fs = std::filesystem;
        fs::create_directories(folder_.file("scripts"));
        fs::create_directories(folder_.file("build"));
        fs::create_directories(folder_.file("examples"));
        fs::copy(TORVIK_SOURCE_DIR "/run.sh", folder_.file("run.sh"));
        writefile(folder_.file("scripts/install.sh"), "need() { :; }\nquietly() { :; }\n");
        writefile(folder_.file("examples/1.idx"), "");
        says("tools.sh", "tools");
        says("build/Torvik", "Torvik");
    }

    // What is called, with its arguments.
    [[nodiscard]] std::string called(const std::string& arguments) const
    {
        const std::string text =
            resultof("cd '" + folder_.path() + "' && ./run.sh " + arguments).output;
        return text.substr(0, text.find('\n'));
    }
    [[nodiscard]] std::string file(const std::string& name) const
    {
        return folder_.file(name);
    }

private:
    void says(const std::string& name, const std::string& word) const
    {
        writefile(folder_.file(name), "#!/bin/sh\necho " + word + " \"$@\"\n");
        std::filesystem::permissions(folder_.file(name), std::filesystem::perms(0755));
    }

    temporaryfolder folder_;
};

TEST(TheRunScript, RunsTorvikOnInputFilesAndSolvesAnythingElse)
{
    const script run;
    writefile(run.file("b.idx"), "");
    EXPECT_EQ(run.called("a.idx"), "Torvik a.idx");
    EXPECT_EQ(run.called("A.IDX"), "Torvik A.IDX");
    EXPECT_EQ(run.called("b"), "Torvik b"); // to which Torvik adds .idx
    EXPECT_EQ(run.called("a.csv"), "tools solve a.csv");
    EXPECT_EQ(run.called("SPOT.XDS --lattices 2"), "tools solve SPOT.XDS --lattices 2");
    EXPECT_TRUE(run.called("").ends_with("examples/1.idx"));
    EXPECT_TRUE(run.called("a.idx b.idx").starts_with("Please give one input file"));
    EXPECT_TRUE(run.called("--help").starts_with("Please give one input file"));
}

} // namespace

} // namespace torvik::tools
