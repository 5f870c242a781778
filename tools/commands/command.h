// The subcommands of torvik-tools.
#pragma once

#include <CLI/CLI.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace torvik::tools {

// A subcommand adds itself to the program: a description, options, a footer with an example. Lines of
// the footer that begin with "  $ " are run by a test, one after the other in a folder with copies of
// the project's examples, so they must work there. Its callback does the work, and throws a failure
// if it cannot.
void addimport(CLI::App& program);
void addexport(CLI::App& program);
void addcells(CLI::App& program);
void addsimulate(CLI::App& program);
void addscore(CLI::App& program);
void addreport(CLI::App& program);
void addgenerate(CLI::App& program); // in no help
void addsolve(CLI::App& program);
void addbatch(CLI::App& program);

// Joins the values behind each --cell to one word: six numbers, and the letter of a centring if there is
// one. As words of their own they could not be distinguished from the name of a file behind them.
std::vector<std::string> withcellsinoneword(const std::vector<std::string>& words);

// Adds a subcommand whose options live as long as it does.
template <typename options>
std::pair<CLI::App*, std::shared_ptr<options>>
newcommand(CLI::App& program, const std::string& name, const std::string& description)
{
    auto asked = std::make_shared<options>();
    return {program.add_subcommand(name, description), asked};
}

} // namespace torvik::tools
