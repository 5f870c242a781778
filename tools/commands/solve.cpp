// torvik-tools solve: one command from a measurement to a trusted answer.
#include "base/failure.h"
#include "base/process.h"
#include "base/terminal.h"
#include "base/textfile.h"
#include "commands/command.h"
#include "readers/reader.h"
#include "selection/repeats.h"
#include "solving/knownsolve.h"
#include "solving/solutionfile.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
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
    std::vector<cell_parameters> cells;
    std::vector<double> centre;
    double wavelength = 0.0;
    double budget = 60.0;
    int jobs = 0;
    int lattices = 1;
    std::uint64_t seed = 1;
    bool twopi = false;
    bool nanometres = false;
    bool json = false;
};

// Set by Ctrl-C: the runs end, and the best answer so far is given.
std::atomic<bool> interrupted{false};

void interrupt(int /*signal*/)
{
    interrupted = true;
}

readeroptions readingof(const options& asked)
{
    readeroptions reading;
    reading.others = asked.others;
    if (asked.centre.size() == 2) reading.centre = {asked.centre[0], asked.centre[1]};
    if (asked.wavelength > 0.0) reading.wavelength = asked.wavelength;
    return reading;
}

// Spots of one reflection are one: the statistic counts them as independent.
vectorlist listof(const measurement& spots, double unit)
{
    vectorlist list;
    const std::vector<vector3> each = vectorsof(spots);
    const measurement measured = mergerepeats(spots, each, usualtolerance(each));
    if (measured.spots.size() < spots.spots.size())
        note(std::to_string(spots.spots.size()) + " spots are "
             + std::to_string(measured.spots.size()) + " reflections, some measured repeatedly.");
    for (const vector3& q : vectorsof(measured)) list.vectors.push_back(q * unit);
    const auto known = [](const spot& one) { return one.intensity.has_value(); };
    if (std::all_of(measured.spots.begin(), measured.spots.end(), known))
        for (const spot& one : measured.spots) list.intensities.push_back(*one.intensity);
    return list;
}

double unitof(const options& asked)
{
    constexpr double twopi = 6.283185307179586;
    double unit = 1.0;
    if (asked.twopi) unit /= twopi;
    if (asked.nanometres) unit /= 10.0;
    return unit;
}

solveoptions settings(const options& asked)
{
    solveoptions how;
    how.budget = asked.budget;
    how.jobs = asked.jobs > 0 ? asked.jobs
                              : static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    for (const cell_parameters& cell : asked.cells) checkknown(cell);
    how.known = asked.cells;
    if (how.known.empty())
        how.program = asked.program.empty() ? torvikprogram() : fs::absolute(asked.program);
    how.ladder.seed = asked.seed;
    if (asked.volumes.size() == 2) {
        if (!(asked.volumes[0] > 0.0 && asked.volumes[1] > asked.volumes[0]))
            throw failure("The limits of the volume must be positive, the smaller first.");
        how.ladder.smallestvolume = asked.volumes[0];
        how.ladder.largestvolume = asked.volumes[1];
    }
    how.stop = &interrupted;
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

void writefiles(const fs::path& stem, const vectorlist& list, const crystals& all,
                solutionorigin origin)
{
    if (all.first.winner >= 0) {
        const runmade& run = all.first.runs[static_cast<std::size_t>(all.first.winner)];
        const fs::path idx = added(stem, ".solution.idx");
        const fs::path results = added(stem, ".solution_idx.res");
        writewhole(idx, run.input);
        writewhole(results, run.results);
        origin.idx = idx.filename().string();
        origin.results = results.filename().string();
    }
    writewhole(added(stem, ".solution.json"), solutiontext(list, all, origin));
}

void work(const options& asked)
{
    const measurement measured = readmeasurement(asked.file, asked.format, readingof(asked));
    for (const std::string& sentence : measured.notes) note(sentence);
    const vectorlist list = listof(measured, unitof(asked));
    solveoptions how = settings(asked);

    interrupted = false;
    const auto before = std::signal(SIGINT, interrupt);
    crystals all;
    {
        progress line("Solving", 1);
        how.progress = [&](const std::string& text) { line.show(text); };
        all = solveall(list, how, asked.lattices);
    }
    std::signal(SIGINT, before);

    const fs::path stem = stemof(asked);
    const solutionorigin origin = {fs::path(asked.file).filename().string(), measured.frame, "",
                                   ""};
    writefiles(stem, list, all, origin);
    if (asked.json)
        std::cout << solutiontext(list, all, origin);
    else
        std::cout << screenful(list, all, outputcolourful())
                  << "\nWritten: " << added(stem, ".solution.json").string() << "\n";
    if (all.first.how == verdict::refused) throw CLI::RuntimeError(1);
}

} // namespace

void addsolve(CLI::App& program)
{
    const auto [command, asked] = newcommand<options>(
        program, "solve", "Runs Torvik as often as it takes, and says how sure the answer is");
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
                     "a primitive cell that is known: only its orientation is looked for; may be "
                     "given several times")
        ->type_name("A B C ALPHA BETA GAMMA")
        ->allow_extra_args(false);
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
    command->add_option("--jobs", asked->jobs, "runs at a time; all cores if left out")
        ->check(CLI::Range(1, 1024));
    command->add_option("--lattices", asked->lattices, "lattices to look for, one after the other")
        ->check(CLI::Range(1, 20))
        ->capture_default_str();
    command->add_option("--seed", asked->seed, "of the choices by chance")->capture_default_str();
    command
        ->add_option("--torvik", asked->program, "the program, if it is not beside or on the PATH")
        ->check(CLI::ExistingFile);
    command->add_flag("--json", asked->json, "print the JSON file instead of a screenful");
    command->footer("Writes FILE.solution.json, and the files of the run that led to the answer.\n"
                    "The exit status is 1 if the answer is refused.\n\n"
                    "Example:\n"
                    "  $ torvik-tools solve 5_kyanite_difficult.idx\n"
                    "  $ torvik-tools solve 5_kyanite_difficult.idx --cell 7.126 7.852 5.572 "
                    "89.99 101.11 106.03");
    command->callback([asked = asked] { work(*asked); });
}

} // namespace torvik::tools
