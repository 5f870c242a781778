// torvik-tools export: takes a solution to other programs.

#include "base/terminal.h"
#include "base/writing.h"
#include "commands/command.h"
#include "exports/input.h"

#include <iostream>

namespace torvik::tools {

namespace {

struct exportoptions {
    std::string results;
    std::string format;
    std::string output;
    int solution = 1;
};

// The name of the results, with the extension of the format, in the same folder.
std::string defaultoutput(const exportoptions& asked, const exportformat& format)
{
    return std::filesystem::path(asked.results).replace_extension(format.extension).string();
}

void exportsolution(const exportoptions& asked)
{
    const exportformat& format = exportformatof(asked.format);
    std::vector<std::string> notes;
    const exportinput input = readexportinput(asked.results, asked.solution, notes);
    const std::string output = asked.output.empty() ? defaultoutput(asked, format) : asked.output;
    const std::string text = format.textof(input);
    for (const std::string& sentence : notes) note(sentence);
    writewhole(output, text);
    if (output != "-") std::cout << "Solution " << asked.solution << " is in " << output << ".\n";
}

std::string formatlines()
{
    std::string text = "Formats:\n";
    for (const exportformat& one : exportformats()) {
        const std::string name = one.name;
        text += "  " + name + std::string(name.size() < 10 ? 10 - name.size() : 1, ' ')
                + one.description + "\n";
    }
    return text;
}

} // namespace

void addexport(CLI::App& program)
{
    const auto [command, asked] = newcommand<exportoptions>(
        program, "export", "Takes a solution of a results file to another program.");
    command->add_option("results", asked->results, "Results of Torvik: NAME_idx.res")->required();
    command
        ->add_option("-k,--solution", asked->solution, "Number of the solution in the first list")
        ->capture_default_str();
    std::vector<std::string> formats;
    for (const exportformat& one : exportformats()) formats.emplace_back(one.name);
    command->add_option("--to", asked->format, "Format, one of those below")
        ->required()
        ->check(CLI::IsMember(formats));
    command->add_option("-o,--output", asked->output,
                        "File to write; - is the standard output; beside the results if left out");
    command->footer(
        formatlines()
        + "\nThe basis is made right-handed, by negating all three vectors where it is "
          "not.\n\nExample:\n"
          "  $ Torvik 1_quartz_vectors.idx\n"
          "  $ torvik-tools export 1_quartz_vectors_idx.res --to ubi\n"
          "  $ torvik-tools export 1_quartz_vectors_idx.res -k 2 --to json -o two.json");
    command->callback([asked = asked] { exportsolution(*asked); });
}

} // namespace torvik::tools
