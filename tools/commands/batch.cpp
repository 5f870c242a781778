// torvik-tools batch: many crystals. The work is done by the workflow, in Python.
#include "base/failure.h"
#include "base/process.h"
#include "commands/command.h"

#include <nlohmann/json.hpp>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

// So many jobs wait at a cluster if nothing else is said: they queue there, and take no place here.
constexpr int jobsatcluster = 100;

struct options {
    std::vector<std::string> places;
    std::vector<std::string> lists;
    std::string output = "batch";
    std::string program;
    std::string keep = "solutions";
    std::string slurmoptions;
    std::vector<std::string> volumes;
    std::vector<std::string> centre;
    double wavelength = 0.0;
    double budget = 30.0;
    int jobs = 0;
    int group = 0;
    int lattices = 1;
    bool slurm = false;
    bool twopi = false;
    bool nanometres = false;
};

fs::path workflow()
{
    std::error_code none;
    const fs::path folder = thisprogram().parent_path();
    const std::array<fs::path, 2> places = {folder / "workflow",
                                            folder.parent_path() / "share" / "torvik" / "workflow"};
    for (const fs::path& one : places)
        if (fs::exists(one / "batch.py", none)) return one / "batch.py";
    throw failure("The workflow is missing: there is no " + places[0].string() + " and no "
                  + places[1].string() + ".");
}

// What torvik-tools solve gets beside the file.
std::vector<std::string> solving(const options& asked)
{
    std::vector<std::string> words;
    const auto add = [&](const std::string& name, const std::vector<std::string>& values) {
        if (values.empty()) return;
        words.push_back(name);
        words.insert(words.end(), values.begin(), values.end());
    };
    add("--centre", asked.centre);
    if (asked.wavelength > 0.0) add("--wavelength", {nlohmann::json(asked.wavelength).dump()});
    if (asked.lattices > 1) add("--lattices", {std::to_string(asked.lattices)});
    if (asked.twopi) words.emplace_back("--two-pi");
    if (asked.nanometres) words.emplace_back("--inverse-nm");
    return words;
}

// At blanks, as a shell does without quotes.
std::vector<std::string> words(const std::string& text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

nlohmann::ordered_json request(const options& asked)
{
    const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    nlohmann::ordered_json all;
    all["places"] = asked.places;
    all["lists"] = asked.lists;
    all["output"] = fs::absolute(asked.output).lexically_normal().string();
    all["shown"] = asked.output;
    all["jobs"] = asked.jobs > 0 ? asked.jobs : (asked.slurm ? jobsatcluster : cores);
    all["group"] = nullptr;
    if (asked.group > 0) all["group"] = asked.group;
    all["budget"] = asked.budget;
    all["keep"] = asked.keep;
    all["slurm"] = asked.slurm;
    all["slurmoptions"] = words(asked.slurmoptions);
    all["tools"] = thisprogram().string();
    all["torvik"] =
        (asked.program.empty() ? torvikprogram() : fs::absolute(asked.program)).string();
    all["volume"] = asked.volumes;
    all["options"] = solving(asked);
    return all;
}

// Becomes the workflow: what the terminal says goes straight to it.
[[noreturn]] void work(const options& asked)
{
    std::string python = "python3";
    std::string script = workflow().string();
    std::string wanted = request(asked).dump();
    std::array<char*, 4> arguments = {python.data(), script.data(), wanted.data(), nullptr};
    execvp(python.c_str(), arguments.data());
    throw failure(std::string("Python cannot be started: ") + std::strerror(errno) + ".");
}

} // namespace

void addbatch(CLI::App& program)
{
    const auto [command, asked] = newcommand<options>(
        program, "batch", "Solves many crystals, here or on a cluster, and sums them up");
    command->add_option("INPUT", asked->places,
                        "measurements, and folders to be searched for them");
    command->add_option("--list", asked->lists, "file that names measurements, one a line")
        ->check(CLI::ExistingFile);
    command->add_option("-o,--output", asked->output, "folder for all that is written")
        ->capture_default_str();
    command
        ->add_option("--jobs", asked->jobs,
                     "crystals at a time; all cores if left out, 100 jobs with --slurm")
        ->check(CLI::Range(1, 10000));
    command->add_option("--group", asked->group, "crystals in a job, if not chosen by their number")
        ->check(CLI::Range(1, 100000));
    command->add_option("--budget", asked->budget, "seconds for a crystal, at most")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command
        ->add_option("--keep", asked->keep,
                     "files of each crystal: all, its solution alone, or none")
        ->check(CLI::IsMember({"all", "solutions", "none"}))
        ->capture_default_str();
    command->add_flag("--slurm", asked->slurm, "let Slurm do the jobs");
    command->add_option("--slurm-options", asked->slurmoptions,
                        "for sbatch, as \"--partition=long --account=me\"");
    command->add_option("--volume", asked->volumes, "limits of the volume of the primitive cell")
        ->expected(2)
        ->check(CLI::PositiveNumber)
        ->type_name("MIN MAX");
    command->add_option("--lattices", asked->lattices, "lattices to look for in each crystal")
        ->check(CLI::Range(1, 20))
        ->capture_default_str();
    command->add_option("--centre", asked->centre, "centre of the detector, pixels")
        ->expected(2)
        ->check(CLI::Number)
        ->type_name("X Y");
    command->add_option("--wavelength", asked->wavelength, "in place of the files', angstroms")
        ->check(CLI::PositiveNumber);
    command->add_flag("--two-pi", asked->twopi, "the vectors have a factor of 2 pi");
    command->add_flag("--inverse-nm", asked->nanometres, "the vectors are in 1/nm");
    command
        ->add_option("--torvik", asked->program, "the program, if it is not beside or on the PATH")
        ->check(CLI::ExistingFile);
    command->footer(
        "Each crystal is solved as by torvik-tools solve; those that are refused are tried "
        "again with\nthe cells that others have. The same call goes on where it was "
        "stopped. Needs Snakemake and\ngemmi's Python module: Debian's packages "
        "snakemake and python3-gemmi.\n\n"
        "Example:\n"
        "  $ torvik-tools batch 1_quartz_vectors.idx 4_calcite_volumes.idx -o crystals");
    command->callback([asked = asked] {
        if (asked->places.empty() && asked->lists.empty())
            throw CLI::ValidationError("INPUT", "a measurement, a folder or a list is needed");
        work(*asked);
    });
}

} // namespace torvik::tools
