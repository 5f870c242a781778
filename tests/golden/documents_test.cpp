// Every command and every output shown in a document is run and compared.
//
// The blocks of a document are worked through in order, in one folder that holds a copy of the
// examples and, as Torvik on the path and as build/Torvik, the program; on the path torvik-tools too:
//     ```console         lines "$ COMMAND", each with the output expected of it below. Only these
//                        programs and the harmless commands listed below are run; other commands
//                        (cloning, building) belong into a block of another kind, such as ```sh.
//     ```idx file=NAME   the block is written as the file NAME
//     ```text file=NAME  the lines stand, without a gap, in the file NAME
// A line "..." stands for any lines, also none. Dates and timing figures are masked, blanks at line
// ends do not count, and a line that overwrites itself is compared as it is seen at last.

#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

using textlines = std::vector<std::string>;

constexpr std::string_view harmless[] = {"Torvik", "build/Torvik", "cat",         "cp", "diff",
                                         "echo",   "grep",         "head",        "ls", "printf",
                                         "sed",    "tail",         "torvik-tools"};

struct fencedblock {
    std::size_t line = 0; // of the opening fence, from 1
    std::string kind;     // the first word behind the fence
    std::string file;     // the NAME of file=NAME
    textlines content;
};

struct showncommand {
    std::string command;
    textlines output;
};

std::vector<fencedblock> blocksof(const std::string& document)
{
    std::vector<fencedblock> blocks;
    bool inside = false;
    std::size_t number = 0;
    for (const std::string& line : linesof(document)) {
        ++number;
        if (!line.starts_with("```")) {
            if (inside) blocks.back().content.push_back(line);
            continue;
        }
        inside = !inside;
        if (!inside) continue;
        blocks.push_back({number, "", "", {}});
        std::istringstream words(line.substr(3));
        words >> blocks.back().kind;
        for (std::string word; words >> word;)
            if (word.starts_with("file=")) blocks.back().file = word.substr(5);
    }
    EXPECT_FALSE(inside) << "a block is not closed";
    return blocks;
}

// The line as a terminal shows it in the end: each carriage return begins it anew.
std::string asseen(const std::string& line)
{
    std::string seen;
    std::size_t column = 0;
    for (const char c : line) {
        if (c == '\r') {
            column = 0;
            continue;
        }
        if (column == seen.size()) seen += ' ';
        seen[column++] = c;
    }
    seen.erase(seen.find_last_not_of(' ') + 1);
    return seen;
}

textlines comparable(const std::string& text)
{
    textlines lines;
    for (const std::string& line : linesof(masked(text))) lines.push_back(asseen(line));
    return lines;
}

std::string joinedlines(const textlines& lines)
{
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

// Says whether lines from `at` on are those shown from `from` on, to the end of both.
bool matches(const textlines& shown, std::size_t from, const textlines& lines, std::size_t at)
{
    for (; from < shown.size(); ++from, ++at) {
        if (shown[from] == "...") {
            for (; at <= lines.size(); ++at)
                if (matches(shown, from + 1, lines, at)) return true;
            return false;
        }
        if (at >= lines.size() || lines[at] != shown[from]) return false;
    }
    return at == lines.size();
}

bool matches(const textlines& shown, const textlines& lines)
{
    return matches(shown, 0, lines, 0);
}

std::vector<showncommand> commandsof(const fencedblock& block)
{
    std::vector<showncommand> commands;
    for (const std::string& line : block.content) {
        if (line.starts_with("$ "))
            commands.push_back({line.substr(2), {}});
        else if (!commands.empty())
            commands.back().output.push_back(line);
        else
            ADD_FAILURE() << "line " << block.line << ": output before the first command";
    }
    return commands;
}

bool isharmless(const std::string& command)
{
    const std::string first = command.substr(0, command.find(' '));
    return std::find(std::begin(harmless), std::end(harmless), first) != std::end(harmless);
}

// Runs a command in a folder, both streams in one, with nothing typed.
std::string outputof(const std::string& command, const std::string& folder)
{
    const std::string whole = "exec 2>&1 </dev/null; cd '" + folder + "' && PATH='" + folder
                              + "/path':\"$PATH\"; export PATH; " + command;
    std::string output;
    std::FILE* stream = popen(whole.c_str(), "r");
    if (stream == nullptr) return "cannot be run";
    std::array<char, 4096> part;
    while (const std::size_t count = std::fread(part.data(), 1, part.size(), stream))
        output.append(part.data(), count);
    pclose(stream);
    return output;
}

// The folder in which the commands of a document are run.
class workshop {
public:
    workshop()
    {
        fs::create_directories(folder_.file("path"));
        fs::create_directories(folder_.file("build"));
        fs::create_symlink(TORVIK_PROGRAM, folder_.file("path/Torvik"));
        fs::create_symlink(TORVIK_PROGRAM, folder_.file("build/Torvik"));
        fs::create_symlink(TORVIK_TOOLS, folder_.file("path/torvik-tools"));
        fs::create_directories(folder_.file("examples"));
        const fs::path examples = TORVIK_SOURCE_DIR "/examples";
        if (!fs::exists(examples)) return;
        for (const auto& entry : fs::directory_iterator(examples)) {
            const std::string extension = entry.path().extension().string();
            if (extension == ".idx" || extension == ".json")
                fs::copy(entry.path(), folder_.file("examples"));
        }
    }

    void workthrough(const fencedblock& block) const
    {
        SCOPED_TRACE("block at line " + std::to_string(block.line));
        if (block.kind == "console")
            for (const showncommand& shown : commandsof(block)) expectoutput(shown);
        else if (block.kind == "idx" && !block.file.empty())
            writefile(folder_.file(block.file), joinedlines(block.content));
        else if (block.kind == "text" && !block.file.empty())
            expectlines(block);
    }

private:
    void expectoutput(const showncommand& shown) const
    {
        ASSERT_TRUE(isharmless(shown.command)) << shown.command << ": not run by this test";
        const textlines output = comparable(outputof(shown.command, folder_.path()));
        const textlines expected = comparable(joinedlines(shown.output));
        EXPECT_TRUE(matches(expected, output))
            << "$ " << shown.command << "\nprints\n"
            << joinedlines(output) << "which the document shows as\n"
            << joinedlines(expected);
    }

    void expectlines(const fencedblock& block) const
    {
        ASSERT_TRUE(fs::exists(folder_.file(block.file))) << "no file " << block.file;
        textlines expected = comparable(joinedlines(block.content));
        expected.insert(expected.begin(), "...");
        expected.push_back("...");
        EXPECT_TRUE(matches(expected, comparable(readfile(folder_.file(block.file)))))
            << block.file << " does not hold\n"
            << joinedlines(block.content);
    }

    temporaryfolder folder_;
};

std::vector<std::string> documents()
{
    std::vector<std::string> names;
    const fs::path project = TORVIK_SOURCE_DIR;
    for (const char* folder : {"", "docs", "docs/manual", "examples"}) {
        if (!fs::exists(project / folder)) continue;
        for (const auto& entry : fs::directory_iterator(project / folder))
            if (entry.path().extension() == ".md")
                names.push_back(fs::relative(entry.path(), project).string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string nameofdocument(const testing::TestParamInfo<std::string>& info)
{
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class ADocument : public testing::TestWithParam<std::string> {};

TEST_P(ADocument, ShowsWhatItsCommandsPrintAndWrite)
{
    const std::string document = readfile(std::string(TORVIK_SOURCE_DIR) + "/" + GetParam());
    const workshop folder;
    for (const fencedblock& block : blocksof(document)) folder.workthrough(block);
}

INSTANTIATE_TEST_SUITE_P(Kept, ADocument, testing::ValuesIn(documents()), nameofdocument);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ADocument);

TEST(TheLinesShownInADocument, MatchOnlyThoseOfTheRunWithDotsForAnyLines)
{
    EXPECT_TRUE(matches({"a", "b"}, {"a", "b"}));
    EXPECT_FALSE(matches({"a"}, {"a", "b"}));
    EXPECT_FALSE(matches({"a", "b"}, {"a"}));
    EXPECT_FALSE(matches({"a", "c"}, {"a", "b", "c"}));
    EXPECT_TRUE(matches({"a", "...", "c"}, {"a", "b", "b", "c"}));
    EXPECT_TRUE(matches({"a", "...", "c"}, {"a", "c"}));
    EXPECT_TRUE(matches({"...", "c"}, {"c", "b", "c"}));
    EXPECT_TRUE(matches({"...", "a", "b", "..."}, {"a", "c", "a", "b", "c"}));
    EXPECT_FALSE(matches({"...", "b", "a", "..."}, {"a", "b"}));
    EXPECT_TRUE(matches({"..."}, {}));
}

TEST(TheLinesShownInADocument, AreComparedAsATerminalLeavesThem)
{
    EXPECT_EQ(asseen("\r 1 -->  2  \r 2 -->  2  + Progress : "), " 2 -->  2  + Progress :");
    EXPECT_EQ(asseen("abc\rx"), "xbc");
    EXPECT_EQ(asseen("   "), "");
}

// Gives what stands in quotes behind a word, wherever it occurs in a text.
textlines quotedbehind(const std::string& text, const std::string& word)
{
    textlines found;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at)) {
        at += word.size();
        found.push_back(text.substr(at, text.find('"', at) - at));
    }
    return found;
}

std::size_t countof(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// The tables are held against the source, where each keyword and message stands once. Without
// any, it would be searched for in vain.
TEST(TheTablesOfTheFormats, HaveEveryKeywordAndEveryMessageUnderItsNumber)
{
    const std::string project = TORVIK_SOURCE_DIR;
    const std::string formats = readfile(project + "/docs/formats.md");
    const textlines keywords =
        quotedbehind(readfile(project + "/src/driver/fix_parameter.cpp"), "keyword == \"");
    ASSERT_GE(keywords.size(), 19u);
    EXPECT_EQ(countof(formats, "\n| `_"), keywords.size()) << "rows of keywords";
    for (const std::string& keyword : keywords)
        EXPECT_NE(formats.find("\n| `" + keyword + "` | "), std::string::npos) << keyword;
    const textlines messages =
        quotedbehind(readfile(project + "/src/driver/print_stop.cpp"), "\n    \"");
    ASSERT_GE(messages.size(), 30u);
    for (std::size_t i = 0; i < messages.size(); ++i) {
        const std::string row = "\n| " + std::to_string(i + 1) + " | " + messages[i] + " | ";
        EXPECT_NE(formats.find(row), std::string::npos) << row;
    }
}

TEST(ABlockOfADocument, HasItsKindItsFileAndItsLines)
{
    const auto blocks = blocksof("x\n```idx file=a.idx\n_A\n1\n```\ny\n```\nz\n```\n");
    ASSERT_EQ(blocks.size(), 2u);
    EXPECT_EQ(blocks[0].line, 2u);
    EXPECT_EQ(blocks[0].kind, "idx");
    EXPECT_EQ(blocks[0].file, "a.idx");
    EXPECT_EQ(blocks[0].content, (textlines{"_A", "1"}));
    EXPECT_EQ(blocks[1].kind, "");
    EXPECT_TRUE(isharmless("Torvik a.idx"));
    EXPECT_FALSE(isharmless("rm -r ."));
}

} // namespace

} // namespace torvik
