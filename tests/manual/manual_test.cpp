// The manual: made by docs/manual/manual.py, whole, and within its pages. That its commands print
// what it shows is among the tests of all documents.

#include "support/commands.h"
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

// The keywords that the program knows.
std::vector<std::string> keywords()
{
    return matchesin(readfile(project + "/src/driver/fix_parameter.cpp"),
                     "keyword == \"([A-Za-z_]*)\"");
}

// The manual, made once for all tests of this file that look at it.
class TheManual : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const std::string program = project + "/docs/manual/manual.py";
        made_ = isinstalled("python3") && isinstalled("pandoc") && isinstalled("weasyprint");
        if (made_) result_ = resultof("python3 '" + program + "' '" + folder_->path() + "'");
    }

    static void TearDownTestSuite()
    {
        folder_.reset();
    }

    void SetUp() override
    {
        if (!made_) GTEST_SKIP() << "python3, pandoc or weasyprint is not installed";
        ASSERT_EQ(result_.status, 0) << result_.output;
    }

    static std::string file(const std::string& name)
    {
        return folder_->file(name);
    }

private:
    static inline std::unique_ptr<temporaryfolder> folder_ = std::make_unique<temporaryfolder>();
    static inline commandresult result_ = {-1, ""};
    static inline bool made_ = false;
};

TEST_F(TheManual, HasEveryKeywordInItsTableAndWithAdvice)
{
    const std::string page = readfile(file("Torvik.html"));
    ASSERT_GE(keywords().size(), 19u);
    for (const std::string& keyword : keywords()) {
        EXPECT_NE(page.find("<td><code>" + keyword + "</code></td>"), std::string::npos) << keyword;
        EXPECT_NE(page.find("<code>" + keyword + "</code></h3>"), std::string::npos) << keyword;
    }
}

TEST_F(TheManual, LinksOnlyToPlacesThatItHas)
{
    const std::string page = readfile(file("Torvik.html"));
    const auto anchors = matchesin(page, " id=\"([^\"]*)\"");
    const std::set<std::string> places(anchors.begin(), anchors.end());
    EXPECT_EQ(places.size(), anchors.size()) << "a place has the name of another";
    const auto targets = matchesin(page, "href=\"([^\"]*)\"");
    ASSERT_GE(targets.size(), 60u); // the contents alone have as many
    for (const std::string& target : targets) {
        ASSERT_EQ(target.substr(0, 1), "#") << target << " is not in the page";
        EXPECT_EQ(places.count(target.substr(1)), 1u) << target;
    }
}

TEST_F(TheManual, IsOnePageWithAllThatItShows)
{
    const std::string page = readfile(file("Torvik.html"));
    EXPECT_EQ(page.find("<img"), std::string::npos);
    EXPECT_EQ(page.find("src="), std::string::npos);
    EXPECT_EQ(page.find("<link"), std::string::npos);
    EXPECT_EQ(page.find(project), std::string::npos) << "it names a folder of this machine";
}

TEST_F(TheManual, HasNoWordBeyondTheMarginsOfAPage)
{
    if (!isinstalled("pdftotext")) GTEST_SKIP() << "pdftotext is not installed";
    const auto words = resultof("pdftotext -bbox '" + file("Torvik.pdf") + "' -");
    ASSERT_EQ(words.status, 0) << words.output;
    // A4 in points, with the side margins of manual.css: 22 mm on the left, 20 mm on the right.
    const double left = 22 / 25.4 * 72;
    const double right = (210 - 20) / 25.4 * 72;
    std::size_t count = 0;
    for (const std::string& line : linesof(words.output)) {
        const auto first = matchesin(line, "<word xMin=\"([0-9.]*)\"");
        if (first.empty()) continue;
        ++count;
        EXPECT_GE(std::stod(first[0]), left - 0.5) << line;
        EXPECT_LE(std::stod(matchesin(line, "xMax=\"([0-9.]*)\"")[0]), right + 0.5) << line;
    }
    EXPECT_GE(count, 5000u); // a dozen pages at least
}

TEST(AManualWithoutItsTools, SaysWhatToInstall)
{
    if (!isinstalled("python3")) GTEST_SKIP() << "there is no python3";
    const temporaryfolder folder;
    const auto tried =
        resultof("python=$(python3 -c 'import sys; print(sys.executable)') && cd '" + folder.path()
                 + "' && PATH=/nowhere \"$python\" '" + project + "/docs/manual/manual.py' manual");
    EXPECT_NE(tried.status, 0);
    EXPECT_NE(tried.output.find("apt-get install pandoc weasyprint\n"), std::string::npos)
        << tried.output;
    EXPECT_FALSE(fs::exists(folder.file("manual")));
}

TEST(TheFigures, AreDrawnFromRunsOfTheProgram)
{
    if (!isinstalled("python3")) GTEST_SKIP() << "there is no python3";
    const temporaryfolder folder;
    const auto drawn = resultof("python3 '" + project + "/docs/manual/figures.py' '"
                                + TORVIK_PROGRAM "' '" + folder.path() + "'");
    ASSERT_EQ(drawn.status, 0) << drawn.output;
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(project + "/docs/manual/figures")) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(readfile(entry.path().string()) == readfile(folder.file(name)))
            << name << " is another: draw it anew with docs/manual/figures.py PROGRAM";
        ++count;
    }
    EXPECT_EQ(count, 3u);
}

// Numbers that the text of the method takes from a figure stand in the output of its script.
TEST(TheFigures, AreTheSourceOfNumbersInTheMethod)
{
    if (!isinstalled("python3")) GTEST_SKIP() << "there is no python3";
    const temporaryfolder folder;
    const auto drawn = resultof("python3 '" + project + "/docs/manual/figures.py' '"
                                + TORVIK_PROGRAM "' '" + folder.path() + "'");
    EXPECT_NE(drawn.output.find("reflections 6 8 9 volume 113.09\n"
                                "fitted to 3: 10 within c/2, 26 within c, volume 115.69\n"),
              std::string::npos)
        << drawn.output;
    EXPECT_NE(drawn.output.find("\nfitted to 7: 40 within c/2, 40 within c"), std::string::npos)
        << drawn.output;
}

TEST(TheManPage, HasEveryKeyword)
{
    const std::string page = readfile(project + "/docs/Torvik.1");
    for (const std::string& keyword : keywords())
        EXPECT_NE(page.find("\n.It Ic " + keyword + " Ar "), std::string::npos) << keyword;
}

TEST(AdviceOnAKeyword, TellsWhatItDoesAndWhatToChoose)
{
    const std::string advice = readfile(project + "/docs/manual/keywords.md");
    for (const std::string& keyword : keywords()) {
        const std::size_t start = advice.find("\n### `" + keyword + "`\n");
        ASSERT_NE(start, std::string::npos) << keyword;
        const std::string part = advice.substr(start, advice.find("\n#", start + 1) - start);
        EXPECT_NE(part.find("\n- *Result*: "), std::string::npos) << keyword;
        EXPECT_NE(part.find("\n- *Time*: "), std::string::npos) << keyword;
        EXPECT_NE(part.find("\n- *Advice*: "), std::string::npos) << keyword;
    }
}

} // namespace

} // namespace torvik
