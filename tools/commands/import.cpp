// torvik-tools import: a measurement becomes an input file.

#include "base/failure.h"
#include "base/terminal.h"
#include "base/textfile.h"
#include "base/writing.h"
#include "commands/command.h"
#include "readers/reader.h"
#include "selection/input.h"
#include "selection/keywords.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <system_error>
#include <utility>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

struct importoptions {
    std::vector<std::string> files;
    std::string format;
    std::vector<std::string> others;
    std::string output;
    bool force = false;
    bool twopi = false;
    bool inversenm = false;
    bool noranges = false;
    std::optional<std::size_t> most;
    std::optional<double> merge;
    std::vector<double> centre;
    std::string pickname = "usual";
    std::map<std::string, std::vector<std::string>> values; // of keywords, by their names
    inputoptions input;
};

// A file to be read, and the one to be written.
struct task {
    fs::path from;
    fs::path to;
};

bool isidx(const fs::path& path)
{
    return path.extension() == ".idx";
}

// Beside the measurement; never the measurement itself.
fs::path usualoutput(const fs::path& from)
{
    fs::path to = from;
    if (isidx(from)) to.replace_filename(from.stem().string() + "_import");
    return to.replace_extension(".idx");
}

bool same(const fs::path& a, const fs::path& b)
{
    std::error_code none;
    return a.lexically_normal() == b.lexically_normal() || fs::equivalent(a, b, none);
}

fs::path outputfor(const fs::path& from, const importoptions& options)
{
    if (options.output.empty()) return usualoutput(from);
    std::error_code none;
    if (fs::is_directory(options.output, none))
        return fs::path(options.output) / usualoutput(from).filename();
    return options.output;
}

void checkoutput(const task& one, const importoptions& options)
{
    if (one.to == "-") return;
    const std::string name = one.to.string();
    if (!isidx(one.to) || one.to.stem().empty())
        throw failure("The name " + name + " does not end in .idx, as the program asks for.");
    for (const std::string& input : options.files)
        if (same(one.to, input)) throw failure(name + " is an input and is not overwritten.");
    for (const std::string& input : options.others)
        if (same(one.to, input)) throw failure(name + " is an input and is not overwritten.");
    std::error_code none;
    if (!options.force && fs::exists(one.to, none))
        throw failure(name + " exists; --force replaces it.");
}

std::vector<task> tasksof(const importoptions& options)
{
    std::vector<task> tasks;
    for (const std::string& file : options.files) tasks.push_back({file, outputfor(file, options)});
    for (std::size_t i = 0; i < tasks.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (same(tasks[i].to, tasks[j].to))
                throw failure(tasks[j].from.string() + " and " + tasks[i].from.string()
                              + " would both become " + tasks[i].to.string()
                              + "; -o with a folder, or one call for each, keeps them apart.");
    for (const task& one : tasks) checkoutput(one, options);
    return tasks;
}

// XDS.INP and .expt files tell the geometry of others: they are no measurements.
bool tellsgeometry(const fs::path& path)
{
    const std::string extension = lowered(path.extension().string());
    return extension == ".expt" || extension == ".inp";
}

void sortfiles(importoptions& options)
{
    const auto behind =
        std::stable_partition(options.files.begin(), options.files.end(),
                              [](const std::string& file) { return !tellsgeometry(file); });
    options.others.insert(options.others.end(), behind, options.files.end());
    options.files.erase(behind, options.files.end());
    if (options.files.empty())
        throw failure("There is no measurement among the files, only their geometry.");
}

double unitof(const importoptions& options)
{
    constexpr double nanometre = 10.0; // in angstroms
    double unit = 1.0;
    if (options.twopi) unit /= 2.0 * gemmi::pi();
    if (options.inversenm) unit /= nanometre;
    return unit;
}

readeroptions readingof(const importoptions& options)
{
    readeroptions reading;
    for (const std::string& other : options.others) reading.others.emplace_back(other);
    if (!options.centre.empty()) reading.centre = {options.centre[0], options.centre[1]};
    for (const keyword& one : options.input.keywords) {
        if (one.name == "_Wavelength") reading.wavelength = numberin(one.values);
        if (one.name == "_AngleOfKappaAxis") reading.kappaangle = numberin(one.values);
    }
    return reading;
}

// An input file of the program was chosen by someone: its reflections stay unless that is asked for.
inputoptions settingsfor(const task& one, const importoptions& options)
{
    constexpr std::size_t largest = 999;
    inputoptions settings = options.input;
    const bool kept = isidx(one.from) || options.format == "idx";
    settings.merge = options.merge ? options.merge : kept ? std::optional(0.0) : std::nullopt;
    settings.most = options.most.value_or(kept ? largest : settings.most);
    return settings;
}

void tell(const task& one, const inputresult& result)
{
    std::ostream& out = one.to == "-" ? std::cerr : std::cout;
    out << one.from.string() << ": " << result.choice;
    if (one.to != "-") out << " Written to " << one.to.string() << ".";
    out << "\n";
    for (const std::string& sentence : result.warnings)
        std::cerr << yellow("Warning:", errorcolourful()) << " " << one.from.string() << ": "
                  << sentence << "\n";
}

void carryout(const task& one, const importoptions& options)
{
    const measurement measured = readmeasurement(one.from, options.format, readingof(options));
    const inputresult result =
        makeinput(measured, one.from.filename().string(), settingsfor(one, options));
    writewhole(one.to, textof(result.file, result.decimals));
    for (const std::string& sentence : measured.notes) note(one.from.string() + ": " + sentence);
    tell(one, result);
}

// Of several files each is by itself: a bad one does not keep the others.
void carryoutall(const std::vector<task>& tasks, const importoptions& options)
{
    std::size_t failures = 0;
    for (const task& one : tasks) {
        try {
            carryout(one, options);
        } catch (const failure& why) {
            if (tasks.size() == 1) throw;
            ++failures;
            std::cerr << red("Error:", errorcolourful()) << " " << why.what() << "\n";
        }
    }
    if (failures > 0)
        throw failure(std::to_string(failures) + " of " + std::to_string(tasks.size())
                      + " files could not be imported.");
}

void import(importoptions& options)
{
    sortfiles(options);
    for (const keywordrule& rule : keywordrules())
        if (const auto found = options.values.find(rule.name);
            found != options.values.end() && !found->second.empty())
            setkeyword(options.input.keywords, checkedkeyword(rule, found->second));
    checktogether(options.input.keywords);
    options.input.unit = unitof(options);
    options.input.how = picknamed(options.pickname);
    options.input.otherwise = options.noranges ? volumerule::program : volumerule::vectors;
    if (options.input.dmin > options.input.dmax)
        throw failure("The smallest spacing is above the largest.");
    carryoutall(tasksof(options), options);
}

void addreading(CLI::App& command, importoptions& options)
{
    std::string formats;
    for (const reader& one : readers())
        formats += (formats.empty() ? "" : "; ") + std::string(one.name) + ": " + one.description;
    command.add_option("FILE", options.files, "Measurements, and files that tell their geometry")
        ->required();
    command.add_option("--format", options.format,
                       "Format, in place of what the content tells. " + formats);
    command.add_option("--with", options.others,
                       "File that tells the geometry: XDS.INP, imported.expt");
    command.add_option("--centre", options.centre, "Centre of the detector in pixels, X Y")
        ->expected(2);
    command.add_flag("--two-pi", options.twopi, "The vectors have a factor of 2 pi");
    command.add_flag("--inverse-nm", options.inversenm, "The vectors are in inverse nanometres");
}

void addchoice(CLI::App& command, importoptions& options)
{
    constexpr std::size_t fewest = 4;
    constexpr std::size_t most = 999;
    command.add_option("--max-reflections", options.most, "Reflections to be taken, at most: 40")
        ->check(CLI::Range(fewest, most));
    command
        .add_option(
            "--pick", options.pickname,
            "Which: usual (the strongest of the shorter half if the file has intensities, else the "
            "shortest), strongest, shortest, random, spread (over directions and lengths)")
        ->check(CLI::IsMember(picknames()));
    command.add_option("--seed", options.input.seed, "Seed of --pick random: 1");
    command
        .add_option("--merge", options.merge,
                    "Distance in 1/angstrom within which spots are one reflection; 0: all stay; by "
                    "default an eighth of the usual distance of neighbours")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--d-min", options.input.dmin, "Smallest spacing, angstroms")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--d-max", options.input.dmax, "Largest spacing, angstroms")
        ->check(CLI::PositiveNumber);
}

void addkeywords(CLI::App& command, importoptions& options)
{
    const std::map<std::string, std::string> shorter = {
        {"MinMaxVolumeOfPrimitiveCell", ",--volume"},
        {"Wavelength", ",--wavelength"},
        {"AngleOfKappaAxis", ",--kappa-angle"},
    };
    for (const keywordrule& rule : keywordrules()) {
        const auto alias = shorter.find(rule.name);
        CLI::Option* option = command.add_option(
            std::string("--") + rule.name + (alias == shorter.end() ? "" : alias->second),
            options.values[rule.name], std::string(rule.meaning) + " (" + rule.range + ")");
        option->group("Keywords of the program");
        if (rule.values > 0)
            option->expected(rule.values);
        else
            option->expected(1, -1);
    }
}

void addlimits(CLI::App& command, importoptions& options)
{
    CLI::Option* longest =
        command
            .add_option(
                "--cell-max", options.input.cellmax,
                "Longest edge of the primitive cell, angstroms: sets the largest volume, its "
                "cube")
            ->check(CLI::Range(1.0, 1e4));
    CLI::Option* none =
        command.add_flag("--no-volume", options.noranges,
                         "Write no limits on the volume: the program takes them from the shortest "
                         "vector");
    longest->excludes("--volume")->excludes(none);
}

void addoutput(CLI::App& command, importoptions& options)
{
    command.add_option("-o,--output", options.output,
                       "File to be written, or a folder for it, or - for the standard output; by "
                       "default FILE.idx beside FILE");
    command.add_flag("--force", options.force, "Replace a file that exists");
}

} // namespace

void addimport(CLI::App& program)
{
    auto [command, options] = newcommand<importoptions>(
        program, "import", "Makes an input file of the program from a measurement");
    addreading(*command, *options);
    addchoice(*command, *options);
    addkeywords(*command, *options);
    addlimits(*command, *options);
    addoutput(*command, *options);
    command->footer(
        "Examples:\n"
        "  $ torvik-tools import 1_quartz_vectors.idx -o quartz.idx --max-reflections 30\n"
        "  $ Torvik quartz.idx\n"
        "docs/tools.md tells more.");
    command->callback([options = options] { import(*options); });
}

} // namespace torvik::tools
