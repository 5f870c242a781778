// torvik-tools solve: one command from a measurement to a trusted answer.
#include "base/failure.h"
#include "base/interruption.h"
#include "base/process.h"
#include "base/terminal.h"
#include "base/textfile.h"
#include "base/writing.h"
#include "commands/command.h"
#include "lattice/readcell.h"
#include "readers/reader.h"
#include "solutions/resultsrun.h"
#include "solutions/solutionfile.h"
#include "torvik/solver.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

struct options {
    std::string file;
    std::vector<fs::path> others;
    std::string format;
    std::string output;
    std::string program;
    std::vector<double> volumes;
    std::vector<std::string> cells;
    std::vector<double> centre;
    double wavelength = 0.0;
    double budget = 60.0; // seconds
    solver::options solving;
    bool twopi = false;
    bool nanometres = false;
    bool results = false;
    bool json = false;
};

readeroptions readingof(const options& asked)
{
    readeroptions reading;
    reading.others = asked.others;
    if (asked.centre.size() == 2) reading.centre = {asked.centre[0], asked.centre[1]};
    if (asked.wavelength > 0.0) reading.wavelength = asked.wavelength;
    return reading;
}

double unitof(const options& asked)
{
    constexpr double twopi = 6.283185307179586;
    double unit = 1.0;
    if (asked.twopi) unit /= twopi;
    if (asked.nanometres) unit /= 10.0;
    return unit;
}

solver::options settings(const options& asked)
{
    solver::options how = asked.solving;
    constexpr double longest = 1e8; // three years, which a clock bears
    how.budget = std::chrono::milliseconds(std::llround(1e3 * std::min(asked.budget, longest)));
    for (const std::string& text : asked.cells) {
        const centred_cell cell = cellfrom(text);
        how.known.push_back({cell.cell, cell.centring});
    }
    if (asked.volumes.size() == 2) {
        if (!(asked.volumes[0] > 0.0 && asked.volumes[1] > asked.volumes[0]))
            throw failure("The limits of the volume must be positive, the smaller first.");
        how.smallest_volume = asked.volumes[0];
        how.largest_volume = asked.volumes[1];
    }
    return how;
}

// The names of the files: FILE without its ending, or what was asked for.
fs::path stemof(const options& asked)
{
    if (!asked.output.empty()) return fs::path(asked.output);
    fs::path stem = asked.file;
    return stem.replace_extension();
}

fs::path added(const fs::path& stem, const std::string& ending)
{
    fs::path path = stem;
    path += ending;
    return path;
}

void solvefor(solved_measurement& solved, const interruption& stop)
{
    progress line("Solving", 1);
    solved.found = solver::solve(
        solved.measured, solved.options, [&](const std::string& text) { line.show(text); },
        stop.token());
}

// The files of the run about the answer, if one was asked for and there is an answer.
std::vector<namedtext> resultsfiles(const options& asked, const fs::path& stem,
                                    solved_measurement& solved, const interruption& stop)
{
    if (!asked.results) return {};
    if (solved.found.lattices.empty()) {
        note("There is no answer to run Torvik about: no results are written.");
        return {};
    }
    const fs::path idx = added(stem, ".solution.idx");
    const fs::path results = added(stem, ".solution_idx.res");
    const fs::path program = asked.program.empty() ? torvikprogram() : fs::absolute(asked.program);
    const auto run = run_about(solved, program, idx.stem().string(), stop.requested());
    if (!run) {
        note("The run for the results was interrupted: none are written.");
        return {};
    }
    if (!run->confirmed)
        note("The lattice of the answer is not among the solutions in " + results.string() + ".");
    solved.run = {idx.filename().string(), results.filename().string()};
    return {{idx, run->input}, {results, run->results}};
}

void tellofrepeats(const solver::answer& found)
{
    const spot_count count = count_of(found);
    if (count.reflections < count.spots)
        note(std::to_string(count.spots) + " indexed spots are " + std::to_string(count.reflections)
             + " reflections, some measured repeatedly.");
}

void work(const options& asked)
{
    const measurement spots = readmeasurement(asked.file, asked.format, readingof(asked));
    for (const std::string& sentence : spots.notes) note(sentence);
    solved_measurement solved = {measurement_of(spots, unitof(asked)),     settings(asked), {},
                                 fs::path(asked.file).filename().string(), spots.frame,     {}};
    const fs::path stem = stemof(asked);
    const fs::path file = added(stem, ".solution.json");
    {
        const interruption stop;
        solvefor(solved, stop);
        std::vector<namedtext> files = resultsfiles(asked, stem, solved, stop);
        files.push_back({file, solution_text(solved)});
        writetogether(files);
    }
    tellofrepeats(solved.found);
    if (asked.json)
        std::cout << solution_text(solved);
    else
        std::cout << screenful(solved, outputcolourful()) << "\nWritten: " << file.string() << "\n";
    if (solved.found.how == verdict::refused) throw CLI::RuntimeError(1);
}

// What is wrong with the number of values; empty if nothing is.
std::string hascelllength(const std::string& text)
{
    const std::size_t items = itemsof(text, " \t,;").size();
    return items == 6 || items == 7
               ? ""
               : "A cell is six numbers, and perhaps the letter of its centring.";
}

bool isnumber(const std::string& word)
{
    return numberin(word).has_value();
}

} // namespace

std::vector<std::string> withcellsinoneword(const std::vector<std::string>& words)
{
    constexpr std::size_t numbers = 6;
    constexpr std::string_view centrings = "PABCIFR";
    std::vector<std::string> joined;
    for (std::size_t i = 0; i < words.size(); ++i) {
        joined.push_back(words[i]);
        if (words[i] != "--cell" || i + 1 == words.size() || !isnumber(words[i + 1])) continue;
        std::string cell;
        std::size_t count = 0;
        for (; count < numbers && i + 1 < words.size() && isnumber(words[i + 1]); ++count)
            cell += (count > 0 ? " " : "") + words[++i];
        if (count == numbers && i + 1 < words.size() && words[i + 1].size() == 1
            && centrings.find(words[i + 1][0]) != std::string_view::npos)
            cell += " " + words[++i];
        joined.push_back(cell);
    }
    return joined;
}

void addsolve(CLI::App& program)
{
    const auto [command, asked] = newcommand<options>(
        program, "solve", "Finds the lattice of a measurement, and reports its confidence");
    command->add_option("FILE", asked->file, "a measurement: anything that import reads")
        ->required();
    command->add_option("--with", asked->others, "further files that the first one needs");
    command->add_option("--format", asked->format,
                        "kind of the file, if its content does not tell");
    command->add_option("-o,--output", asked->output,
                        "what the names of the written files begin with, in place of FILE's");
    command
        ->add_option("--volume", asked->volumes,
                     "limits of the volume of the primitive cell, where no cell is given")
        ->expected(2)
        ->type_name("MIN MAX");
    command
        ->add_option("--cell", asked->cells,
                     "a cell that the crystal may have, six numbers and perhaps the letter of its "
                     "centring; may be given several times")
        ->type_name("A B C ALPHA BETA GAMMA [CENTRING]")
        ->check(hascelllength)
        ->allow_extra_args(false);
    command
        ->add_option("--cell-tolerance", asked->solving.known_tolerance,
                     "part of a length by which a given cell may be off")
        ->check(CLI::Range(1e-4, 0.2))
        ->capture_default_str();
    command->add_option("--centre", asked->centre, "centre of the detector, pixels")
        ->expected(2)
        ->type_name("X Y");
    command->add_option("--wavelength", asked->wavelength, "in place of the file's, angstroms")
        ->check(CLI::PositiveNumber);
    command->add_flag("--two-pi", asked->twopi, "the vectors have a factor of 2 pi");
    command->add_flag("--inverse-nm", asked->nanometres, "the vectors are in 1/nm");
    command->add_option("--budget", asked->budget, "seconds at most")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option("--lattices", asked->solving.lattices,
                     "lattices to look for, one after the other")
        ->check(CLI::Range(1, 20))
        ->capture_default_str();
    command
        ->add_option("--shortest-axis", asked->solving.shortest_axis,
                     "lattices with a shorter axis are not considered, angstroms")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command->add_option("--seed", asked->solving.seed, "of all random choices")
        ->capture_default_str();
    command->add_flag("--results", asked->results,
                      "run Torvik about the answer, and write its input and results as well");
    command
        ->add_option("--torvik", asked->program,
                     "the program for --results, if it is not beside or on the PATH")
        ->check(CLI::ExistingFile);
    command->add_flag("--json", asked->json, "print the JSON file instead of a screenful");
    command->footer("Writes FILE.solution.json; with --results also FILE.solution.idx and "
                    "FILE.solution_idx.res.\nThe exit status is 1 if the answer is refused.\n\n"
                    "Example:\n"
                    "  $ torvik-tools solve 5_kyanite_difficult.idx\n"
                    "  $ torvik-tools solve 5_kyanite_difficult.idx --cell 7.126 7.852 5.572 "
                    "89.99 101.11 106.03");
    command->callback([asked = asked] { work(*asked); });
}

} // namespace torvik::tools
