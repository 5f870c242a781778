// torvik-tools report: a page about a run.
#include "reporting/report.h"
#include "commands/command.h"

#include <iostream>

namespace torvik::tools {

namespace {

struct asked {
    reportoptions options;
    bool json = false;
};

void run(const asked& given)
{
    if (given.json) {
        std::cout << reportdata(given.options) << "\n";
        return;
    }
    const std::string name = writereport(given.options).string();
    if (name != "-") std::cout << "The report is in " << name << "\n";
}

} // namespace

void addreport(CLI::App& program)
{
    const auto [command, given] = newcommand<asked>(
        program, "report", "Makes a page about a run, to be opened in a browser.");
    reportoptions& options = given->options;
    command->add_option("FILE", options.file, "results file NAME_idx.res, or NAME.solution.json")
        ->required();
    command->add_option("-o,--output", options.output,
                        "the page; NAME_report.html beside FILE if not given, - for the output");
    command->add_option("--input", options.input,
                        "the input of the run, if not NAME.idx beside FILE");
    command->add_option("--program", options.program,
                        "the Torvik to run for a periodogram where there is no log");
    command->add_option("--page", options.page, "the page to be filled, if it was built elsewhere");
    command->add_flag("--json", given->json, "print the data of the page instead");
    command->footer("The page is one file, needs no network and no server, and shows solutions, "
                    "reflections in\nspace, errors and the periodogram.\n\nExample:\n"
                    "  $ Torvik 1_quartz_vectors.idx\n"
                    "  $ torvik-tools report --json 1_quartz_vectors_idx.res\n");
    command->callback([given = given] { run(*given); });
}

} // namespace torvik::tools
