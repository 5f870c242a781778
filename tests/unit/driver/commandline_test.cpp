#include "driver/commandline.h"

#include "support/fresh.h"
#include "support/runs.h"
#include "unit/driver/inputs.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvik {

namespace {

const std::string wrongextension = " Error: Extention of filename is not .idx.\n";
const std::string missingfile = " Error: Cannot open missing.idx.\n";

runresult runwith(const std::vector<std::string>& arguments, const namedfiles& files = {})
{
    runsetting setting;
    setting.arguments = arguments;
    setting.files = files;
    return runtorvik(setting);
}

class CommandLine : public fresh {};

TEST_F(CommandLine, WithAHelpWordShowsTheHelpAndPauses)
{
    const std::string help = "\n"
                             " This is a program for indexing of single crystal data.\n"
                             " For a description see the Torvik.pdf file.\n"
                             "\n";
    for (const std::string word : {"-h", "--help", "-help", "help", "h"})
        expectstopped(runwith({word}), help);
}

TEST_F(CommandLine, IgnoresBlanksAroundAHelpWord)
{
    const std::string help = runwith({"-h"}).output;
    for (const std::string word : {" -h", "   --help", "help  ", "  h  "})
        expectstopped(runwith({word}), help);
}

TEST_F(CommandLine, TakesAnyOtherWordForAFileName)
{
    for (const std::string word : {"-H", "-?", "--Help", "HELP", "H", "-hh", "?", "/h", "", "   "})
        expectstopped(runwith({word}), wrongextension);
}

TEST_F(CommandLine, StopsAfterTheHelpWhateverIsAnswered)
{
    runsetting setting;
    setting.arguments = {"-h"};
    const std::string help = runtorvik(setting).output;
    for (const std::string answer : {"", "go\n", "yes\n"}) {
        setting.input = answer;
        expectstopped(runtorvik(setting), help);
    }
}

TEST_F(CommandLine, WithTwoOrMoreArgumentsIsRefused)
{
    const std::string message = " Error: Too many command line arguments.\n"
                                "        use    Torvik\n"
                                "        or     Torvik -h\n"
                                "        or     Torvik filename.idx\n";
    expectstopped(runwith({"a.idx", "b.idx"}, {{"a.idx", ""}, {"b.idx", ""}}), message);
    expectstopped(runwith({"-h", "-h"}), message);
    expectstopped(runwith({"", ""}), message);
    expectstopped(runwith({"1", "2", "3", "4"}), message);
}

TEST_F(CommandLine, WithAFileNameShowsNoBannerAndNoPrompt)
{
    expectstopped(runwith({"missing.idx"}), missingfile);
}

TEST_F(CommandLine, TakesAFileNameWithBlanksInsideItAsItIs)
{
    expectstopped(runwith({"two words.idx"}), " Error: Cannot open two words.idx.\n");
    expectstopped(runwith({"a,b/c.idx"}), " Error: Cannot open a,b/c.idx.\n");
}

// 1020 characters and the extension fill the name; one more pushes the x of the extension out.
TEST_F(CommandLine, CutsAFileNameAt1024Characters)
{
    const std::string name = std::string(1020, 'n') + ".idx";
    expectstopped(runwith({name}), " Error: Cannot open " + name + ".\n");
    expectstopped(runwith({name + "and more"}), " Error: Cannot open " + name + ".\n");
    expectstopped(runwith({"n" + name}), wrongextension);
}

TEST_F(CommandLine, EndsANormalRunWithoutAPause)
{
    const runresult run = runwith({"a.idx"}, {{"a.idx", solvedinput}});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.output.ends_with(" seconds\n\n")) << run.output;
}

// The banner, and what follows the prompt on its line when the input is not a terminal.
class Prompt : public fresh {
protected:
    static runresult runtyping(const std::string& typed, const namedfiles& files = {})
    {
        runsetting setting;
        setting.input = typed;
        setting.files = files;
        return runtorvik(setting);
    }

    // Checks that what is typed leads to this message.
    static void expectmessage(const std::string& typed, const std::string& message)
    {
        SCOPED_TRACE(typed);
        expectstopped(runtyping(typed), printedby(winieta) + " Enter filename : " + message);
    }
};

TEST_F(Prompt, IsPrecededByTheBanner)
{
    const std::vector<std::string> lines = linesof(printedby(winieta));
    ASSERT_EQ(lines.size(), 20u);
    for (std::size_t i = 0; i < 11; ++i) EXPECT_EQ(lines[i], "") << i;
    const std::string blanks(25, ' '); // that of a free-format line and 24 of the text
    for (std::size_t i = 11; i < 16; ++i) {
        EXPECT_EQ(lines[i].size(), 50u) << i;
        EXPECT_TRUE(lines[i].starts_with(blanks)) << i;
        EXPECT_NE(lines[i].find_first_not_of(' '), std::string::npos) << i;
    }
    EXPECT_EQ(lines[16], "                        __________________________ v.1.0");
    EXPECT_EQ(lines[17], "");
    EXPECT_EQ(lines[18], "                     Indexing of diffraction patterns ");
    EXPECT_EQ(lines[19], "");
}

TEST_F(Prompt, HasNoLineEndSoThatTheNextOutputFollowsOnItsLine)
{
    const runresult run = runtyping("missing.idx\n");
    const std::vector<std::string> lines = linesof(run.output);
    ASSERT_EQ(lines.size(), 21u);
    EXPECT_EQ(lines[20], " Enter filename :  Error: Cannot open missing.idx.");
}

TEST_F(Prompt, TakesTheNameThatIsTyped)
{
    expectmessage("missing.idx\n", missingfile);
    expectmessage("   missing.idx\n", missingfile);
    expectmessage("\tmissing.idx\t\n", missingfile);
    expectmessage("missing.idx\r\n", missingfile);
    expectmessage("missing.idx", missingfile);
}

TEST_F(Prompt, CutsTheNameAtABlankACommaOrASlash)
{
    expectmessage("missing.idx and more\n", missingfile);
    expectmessage("missing.idx,b.idx\n", missingfile);
    expectmessage("missing.idx/b.idx\n", missingfile);
    expectmessage("two missing.idx\n", wrongextension);
    expectmessage("folder/missing.idx\n", wrongextension);
}

TEST_F(Prompt, TakesANameInQuotesAsItIs)
{
    expectmessage("'two words.idx'\n", " Error: Cannot open two words.idx.\n");
    expectmessage("\"a,b/c.idx\" rest\n", " Error: Cannot open a,b/c.idx.\n");
    expectmessage("'don''t.idx'\n", " Error: Cannot open don't.idx.\n");
    expectmessage("'  missing.idx  '\n", missingfile);
}

TEST_F(Prompt, TakesANameInQuotesOnToTheNextLine)
{
    expectmessage("'two words \nand two more.idx'\n",
                  " Error: Cannot open two words and two more.idx.\n");
}

TEST_F(Prompt, PassesOverEmptyLines)
{
    expectmessage("\n\n   \n\t\r\nmissing.idx\n", missingfile);
}

TEST_F(Prompt, TakesTheEndOfTheInputForAnEmptyName)
{
    expectmessage("", wrongextension);
    expectmessage("\n\n", wrongextension);
    expectmessage("'not closed.idx\n", wrongextension);
}

TEST_F(Prompt, TakesANullItemForAnEmptyName)
{
    expectmessage(",missing.idx\n", wrongextension);
    expectmessage("/missing.idx\n", wrongextension);
}

TEST_F(Prompt, IsAnsweredByALineWithANullItemWithoutWaitingForMore)
{
    // A line for the prompt and one for the pause, from a pipe that stays open.
    runsetting setting;
    setting.program = "/bin/sh";
    setting.arguments = {"-c",
                         "mkfifo typing; exec 3<>typing; printf ',\\n\\n' >&3;"
                         "timeout 500 '" TORVIK_PROGRAM "' <typing; echo status $?; rm typing"};
    const runresult run = runtorvik(setting);
    EXPECT_TRUE(run.output.ends_with(wrongextension + "status 0\n")) << run.output;
}

// A help word is one only as an argument.
TEST_F(Prompt, TakesAHelpWordForAFileName)
{
    expectmessage("help\n", wrongextension);
    expectmessage("-h\n", wrongextension);
}

TEST_F(Prompt, LeadsToARunOfTheFile)
{
    const runresult run = runtyping("'two words.idx'\n", {{"two words.idx", solvedinput}});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(run.output.starts_with(
        printedby(winieta)
        + " Enter filename :  Number of reflections :                                     6\n"))
        << run.output;
    EXPECT_TRUE(run.files.contains("two words_idx.res"));
}

} // namespace

} // namespace torvik
