// What cmake --install puts into a prefix: all that a user needs, and nothing that leads elsewhere.

#include "support/commands.h"
#include "support/keptcases.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

const std::string project = TORVIK_SOURCE_DIR;
const std::string documents = "share/doc/torvik/";

// The names of all files in a folder and below.
std::set<std::string> filesin(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (!entry.is_directory()) names.insert(fs::relative(entry.path(), folder).string());
    return names;
}

// This build, installed once for all tests of the suite.
class TheInstalledFiles : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        prefix_ = std::make_unique<temporaryfolder>();
        result_ =
            resultof("cmake --install '" TORVIK_BINARY_DIR "' --prefix '" + prefix_->path() + "'");
    }

    static void TearDownTestSuite()
    {
        prefix_.reset();
    }

    void SetUp() override
    {
        ASSERT_EQ(result_.status, 0) << result_.output;
    }

    static std::string file(const std::string& name)
    {
        return prefix_->file(name);
    }

    static std::set<std::string> all()
    {
        return filesin(prefix_->path());
    }

private:
    static inline std::unique_ptr<temporaryfolder> prefix_;
    static inline commandresult result_ = {-1, ""};
};

TEST_F(TheInstalledFiles, AreTheProgramItsManPageTheDocumentsAndTheExamples)
{
    std::set<std::string> expected = {"bin/Torvik", "share/man/man1/Torvik.1"};
    for (const char* name :
         {"CHANGELOG.md", "LICENSE", "docs/formats.md", "docs/limits.md", "docs/method.md",
          "docs/performance.md", "docs/success.md", "docs/trust.md", "docs/manual/firstrun.md",
          "docs/manual/introduction.md", "docs/manual/keywords.md", "docs/manual/solutions.md",
          "docs/manual/volumes.md", "docs/manual/figures/growth.svg",
          "docs/manual/figures/periodogram.svg", "docs/manual/figures/phases.svg",
          "examples/README.md", "examples/generate.py"})
        expected.insert(documents + name);
    for (const char* name : {"1_quartz_vectors", "2_sucrose_euler", "3_diopside_kappa",
                             "4_calcite_volumes", "5_kyanite_difficult"})
        for (const char* suffix : {".idx", ".truth.json"})
            expected.insert(documents + "examples/" + name + suffix);
    for (const char* name : {"Torvik.pdf", "Torvik.html"}) // if the manual was made in this build
        if (fs::exists(std::string(TORVIK_BINARY_DIR "/manual/") + name))
            expected.insert(documents + name);
    EXPECT_EQ(all(), expected);
}

TEST_F(TheInstalledFiles, AreThoseOfTheProject)
{
    for (const std::string& name : all()) {
        if (!name.starts_with(documents) || name.starts_with(documents + "Torvik.")) continue;
        const std::string inproject = name.substr(documents.size());
        EXPECT_TRUE(readfile(file(name)) == readfile(project + "/" + inproject)) << name;
    }
}

TEST_F(TheInstalledFiles, HoldAProgramThatWritesTheSameBytes)
{
    std::vector<runsetting> settings;
    for (const keptcase& c : owncases()) settings.push_back(c.setting);
    for (const auto& entry : fs::directory_iterator(file(documents + "examples"))) {
        if (entry.path().extension() != ".idx") continue;
        runsetting setting;
        setting.arguments = {entry.path().filename().string()};
        setting.files = {{setting.arguments[0], readfile(entry.path().string())}};
        settings.push_back(setting);
    }
    ASSERT_GE(settings.size(), 5u + 10u);
    for (runsetting& setting : settings) {
        const runresult built = runtorvik(setting);
        setting.program = file("bin/Torvik");
        const runresult installed = runtorvik(setting);
        const std::string what = setting.arguments.empty() ? "" : setting.arguments.back();
        EXPECT_EQ(masked(installed.output), masked(built.output)) << what;
        ASSERT_EQ(installed.files.size(), built.files.size()) << what;
        for (const auto& [name, content] : built.files)
            EXPECT_TRUE(masked(installed.files.at(name)) == masked(content))
                << what << ": " << name;
    }
}

TEST_F(TheInstalledFiles, LinkOnlyToInstalledFiles)
{
    std::size_t count = 0;
    for (const std::string& name : all()) {
        if (!name.ends_with(".md")) continue;
        for (const std::string& target :
             matchesin(readfile(file(name)), R"(\]\(([^)#\s]+)(?:#[^)\s]*)?\))")) {
            ++count;
            EXPECT_TRUE(fs::is_regular_file(fs::path(file(name)).parent_path() / target))
                << name << " leads to " << target;
        }
    }
    EXPECT_GE(count, 30u); // the chapters of the manual have as many
}

TEST_F(TheInstalledFiles, StandWhereTheManPageSaysForDebian)
{
    const std::string page = readfile(file("share/man/man1/Torvik.1"));
    const auto named = matchesin(page, R"(/usr/(share/doc/torvik[\w./]*))");
    ASSERT_GE(named.size(), 2u);
    for (const std::string& name : named) EXPECT_TRUE(fs::exists(file(name))) << name;
}

TEST(TheInstalledTools, AreTheProgramItsManPageItsDocumentAndItsCompletions)
{
    const temporaryfolder prefix;
    const auto result =
        resultof("cmake --install '" TORVIK_BINARY_DIR "' --component tools --prefix '"
                 + prefix.path() + "'");
    ASSERT_EQ(result.status, 0) << result.output;
    std::set<std::string> expected = {"bin/torvik-tools",
                                      "share/man/man1/torvik-tools.1",
                                      "share/bash-completion/completions/torvik-tools",
                                      "share/zsh/site-functions/_torvik-tools",
                                      "share/fish/vendor_completions.d/torvik-tools.fish",
                                      documents + "docs/tools.md",
                                      documents + "docs/solve.md",
                                      documents + "docs/batch.md",
                                      documents + "docs/results.schema.json"};
    for (const auto& entry : fs::recursive_directory_iterator(project + "/workflow"))
        if (entry.is_regular_file() && entry.path().extension() != ".pyc")
            expected.insert("share/torvik/" + fs::relative(entry.path(), project).string());
    if (fs::exists(TORVIK_BINARY_DIR "/report-page/report.html")) // if it was made in this build
        expected.insert("share/torvik/report.html");
    EXPECT_EQ(filesin(prefix.path()), expected);
    const runresult run = runtorvik({{"generate", "man"}, "", {}, prefix.file("bin/torvik-tools")});
    EXPECT_EQ(readfile(prefix.file("share/man/man1/torvik-tools.1")), run.output);
}

// From a prefix alone, without the folder of the build.
TEST(TheInstalledTools, FillTheInstalledPageOfTheReport)
{
    if (!fs::exists(TORVIK_BINARY_DIR "/report-page/report.html"))
        GTEST_SKIP() << "the page was not built";
    const temporaryfolder prefix;
    const auto result =
        resultof("cmake --install '" TORVIK_BINARY_DIR "' --component tools --prefix '"
                 + prefix.path() + "'");
    ASSERT_EQ(result.status, 0) << result.output;
    const std::string input = readfile(project + "/examples/1_quartz_vectors.idx");
    const runresult solved = runtorvik(input);
    namedfiles files = solved.files;
    files["a.idx"] = input;
    const runresult run =
        runtorvik({{"report", "a_idx.res"}, "", files, prefix.file("bin/torvik-tools")});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_TRUE(run.files.count("a_report.html"));
}

TEST(TheInstalledTools, FindTheInstalledWorkflow)
{
    const temporaryfolder prefix;
    const auto result =
        resultof("cmake --install '" TORVIK_BINARY_DIR "' --prefix '" + prefix.path()
                 + "' && cmake --install '" TORVIK_BINARY_DIR "' --component tools --prefix '"
                 + prefix.path() + "'");
    ASSERT_EQ(result.status, 0) << result.output;
    const runresult run =
        runtorvik({{"batch", "nowhere"}, "", {}, prefix.file("bin/torvik-tools")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.errors, "Error: There is no file or folder nowhere.\n"); // said by the workflow
}

// The Debian package of this build, unpacked.
class TheDebianPackage : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* tool :
             {"cpack", "dpkg-deb", "dpkg-shlibdeps", "dpkg-parsechangelog", "gzip"})
            if (!isinstalled(tool)) GTEST_SKIP() << tool << " is not installed";
        // With this generator cpack takes the build as it is, and does not make it first.
        const auto packed = resultof("cd '" TORVIK_BINARY_DIR
                                     "' && cpack -G DEB -D CPACK_CMAKE_GENERATOR=Ninja -B '"
                                     + folder_.path() + "'");
        ASSERT_EQ(packed.status, 0) << packed.output;
        const auto unpacked =
            resultof("cd '" + folder_.path() + "' && dpkg-deb -R torvik_*.deb package");
        ASSERT_EQ(unpacked.status, 0) << unpacked.output;
    }

    std::string file(const std::string& name) const
    {
        return folder_.file("package/" + name);
    }

private:
    temporaryfolder folder_;
};

TEST_F(TheDebianPackage, SaysWhatItIsAndWhatItNeeds)
{
    const std::string control = readfile(file("DEBIAN/control"));
    EXPECT_EQ(matchesin(control, "Package: (.*)\n"), std::vector<std::string>{"torvik"});
    EXPECT_EQ(matchesin(control, "Section: (.*)\n"), std::vector<std::string>{"science"});
    EXPECT_EQ(matchesin(control, "\nDepends: .*(libc6) ").size(), 1u) << control;
    // A name, and an address that has a host with a point: that of no machine by itself.
    EXPECT_EQ(matchesin(control, "\nMaintainer: [^<>]+ <[^@<>]+@([^@<>]+\\.[a-z]+)>\n").size(), 1u)
        << control;
    for (const std::string& line : linesof(control.substr(control.find("\nDescription: ") + 1)))
        EXPECT_LE(line.size(), 80u) << line; // the width of the tools that show it
}

TEST_F(TheDebianPackage, HasItsLicenceChangesAndManPageWhereDebianLooks)
{
    EXPECT_EQ(readfile(file("usr/share/doc/torvik/copyright")), readfile(project + "/LICENSE"));
    const auto page = resultof("gzip -dc '" + file("usr/share/man/man1/Torvik.1.gz") + "'");
    EXPECT_EQ(page.output, readfile(project + "/docs/Torvik.1"));
    const auto changes = resultof("dpkg-parsechangelog -l '"
                                  + file("usr/share/doc/torvik/changelog.gz") + "' -S Version");
    EXPECT_EQ(matchesin(readfile(file("DEBIAN/control")), "\nVersion: (.*)\n"),
              linesof(changes.output));
    const runresult run = runtorvik({{"-h"}, "\n", {}, file("usr/bin/Torvik")});
    EXPECT_EQ(run.output, runtorvik({{"-h"}, "\n", {}, ""}).output);
}

} // namespace

} // namespace torvik
