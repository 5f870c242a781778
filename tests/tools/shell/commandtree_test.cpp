#include "shell/commandtree.h"

#include <CLI/CLI.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvik::tools {

namespace {

struct values {
    std::string text = "a";
    double number = 1.5;
    std::vector<double> three;
    bool flag = false;
    std::vector<std::string> files;
    std::string hidden;
};

commandtree example(values& into)
{
    CLI::App program("Does something.", "example");
    CLI::App* command = program.add_subcommand("run", "Runs it");
    command->add_option("FILE", into.files, "Files to read")->required();
    command->add_option("-t,--text", into.text, "A text: 'one' of two")
        ->check(CLI::IsMember({"a", "b"}))
        ->capture_default_str();
    command->add_option("--number", into.number, "A number")->group("Others");
    command->add_option("--three", into.three, "Three numbers")->expected(3)->group("Others");
    command->add_flag("--flag", into.flag, ".begins with a dot");
    command->add_option("--hidden", into.hidden, "Nobody's")->group("");
    command->footer("Examples:\n  $ example run x\\y");
    program.add_subcommand("secret", "Nobody's")->group("");
    return treeof(program);
}

TEST(TheCommandTree, HasWhatTheHelpShows)
{
    values into;
    const commandtree tree = example(into);
    EXPECT_EQ(tree.name, "example");
    ASSERT_EQ(tree.commands.size(), 1U);
    const commandentry& run = tree.commands[0];
    ASSERT_EQ(run.arguments.size(), 1U);
    EXPECT_EQ(run.arguments[0].names, std::vector<std::string>{"FILE"});
    EXPECT_TRUE(run.arguments[0].required && run.arguments[0].repeated);
    ASSERT_EQ(run.options.size(), 5U);
    EXPECT_EQ(run.options[0].names, (std::vector<std::string>{"-h", "--help"}));
    EXPECT_EQ(run.options[0].value, "");
    EXPECT_EQ(run.options[1].names, (std::vector<std::string>{"-t", "--text"}));
    EXPECT_EQ(run.options[1].choices, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(run.options[1].standard, "a");
    EXPECT_EQ(run.options[1].value, "text");
    EXPECT_EQ(run.options[2].names, std::vector<std::string>{"--flag"});
    EXPECT_EQ(run.options[3].group, "Others");
    EXPECT_EQ(run.options[4].value, "number number number");
}

TEST(TheManualPage, EscapesWhatWouldBeARequest)
{
    values into;
    const std::string page = manualpage(example(into));
    EXPECT_NE(page.find("\n.It Fl -flag\n\\&.begins with a dot.\n"), std::string::npos) << page;
    EXPECT_NE(page.find("\n  $ example run x\\ey\n"), std::string::npos) << page;
    EXPECT_NE(page.find("\n.It Fl t , Fl -text Ar \"text\"\n"), std::string::npos) << page;
    EXPECT_NE(page.find("\n.Nm example\n.Cm run\n.Op Ar options\n.Ar \"FILE\" ...\n"),
              std::string::npos)
        << page;
}

TEST(TheCompletions, EscapeWhatTheShellWouldTake)
{
    values into;
    const commandtree tree = example(into);
    EXPECT_NE(bashcompletion(tree).find("        'run --text') words='a b' ;;\n"),
              std::string::npos);
    EXPECT_NE(zshcompletion(tree).find("'--text[A text]:text:(a b)' \\\n"), std::string::npos);
    EXPECT_NE(zshcompletion(tree).find("'--flag[.begins with a dot]' \\\n"), std::string::npos);
    EXPECT_NE(fishcompletion(tree).find(" -s t -l text -r -f -a 'a b' -d 'A text'\n"),
              std::string::npos);
}

} // namespace

} // namespace torvik::tools
