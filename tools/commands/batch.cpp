// torvik-tools batch: many crystals. The work is done by the workflow, in Python.
#include "base/failure.h"
#include "base/process.h"
#include "commands/command.h"

#include <nlohmann/json.hpp>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
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
    std::string tools;
    std::string keep = "solutions";
    std::string slurmoptions;
    std::vector<double> volumes;
    std::vector<double> centre;
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

std::vector<std::string> texts(const std::vector<double>& values)
{
    std::vector<std::string> found;
    found.reserve(values.size());
    for (const double value : values) found.push_back(nlohmann::json(value).dump());
    return found;
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
    add("--centre", texts(asked.centre));
    if (asked.wavelength > 0.0) add("--wavelength", texts({asked.wavelength}));
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

// Names of files are bytes, which need not be text: each becomes the letter of its number.
std::string byletters(const std::string& name)
{
    constexpr unsigned ascii = 0x80;
    constexpr unsigned low = 0x3F; // bits of the second byte of UTF-8
    std::string text;
    for (const char letter : name) {
        const unsigned byte = static_cast<unsigned char>(letter);
        if (byte >= ascii) {
            text += static_cast<char>(0xC0U | byte >> 6U);
            text += static_cast<char>(ascii | (byte & low));
        } else {
            text += letter;
        }
    }
    return text;
}

std::vector<std::string> byletters(std::vector<std::string> names)
{
    for (std::string& name : names) name = byletters(name);
    return names;
}

// Torvik, for the results of each crystal; without these none is needed.
fs::path runner(const options& asked)
{
    if (!asked.program.empty()) return fs::absolute(asked.program);
    return asked.keep == "all" ? torvikprogram() : fs::path();
}

nlohmann::ordered_json request(const options& asked)
{
    const int cores = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    nlohmann::ordered_json all;
    all["places"] = byletters(asked.places);
    all["lists"] = byletters(asked.lists);
    all["output"] = byletters(fs::absolute(asked.output).lexically_normal().string());
    all["shown"] = byletters(asked.output);
    all["jobs"] = asked.jobs > 0 ? asked.jobs : (asked.slurm ? jobsatcluster : cores);
    all["group"] = nullptr;
    if (asked.group > 0) all["group"] = asked.group;
    all["budget"] = asked.budget;
    all["keep"] = asked.keep;
    all["slurm"] = asked.slurm;
    all["slurmoptions"] = words(asked.slurmoptions);
    all["tools"] =
        byletters((asked.tools.empty() ? thisprogram() : fs::absolute(asked.tools)).string());
    all["torvik"] = byletters(runner(asked).string());
    all["volume"] = texts(asked.volumes);
    all["options"] = solving(asked);
    return all;
}

// A file without a name, at its start, that a program which this one becomes can read. Returns its path.
// Arguments would bear some thousand names of files.
std::string handedover(const std::string& text)
{
    const int file = memfd_create("request", 0);
    if (file < 0) throw failure(std::string("Cannot make a file: ") + std::strerror(errno) + ".");
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t more = write(file, text.data() + done, text.size() - done);
        if (more < 0) throw failure(std::string("Cannot write: ") + std::strerror(errno) + ".");
        done += static_cast<std::size_t>(more);
    }
    lseek(file, 0, SEEK_SET);
    return "/dev/fd/" + std::to_string(file);
}

// Until the workflow listens to it, a Ctrl-C waits.
void holdinterrupts()
{
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigprocmask(SIG_BLOCK, &interrupts, nullptr);
}

void check(const options& asked)
{
    if (asked.places.empty() && asked.lists.empty())
        throw CLI::ValidationError("INPUT", "a measurement, a folder or a list is needed");
    if (asked.output.empty()) throw CLI::ValidationError("--output", "a name is needed");
    if (asked.volumes.size() == 2 && asked.volumes[0] >= asked.volumes[1])
        throw failure("The limits of the volume must be positive, the smaller first.");
}

// Becomes the workflow: what the terminal says goes straight to it.
[[noreturn]] void work(const options& asked)
{
    std::string python = "python3";
    std::string script = workflow().string();
    std::string wanted = handedover(request(asked).dump());
    holdinterrupts();
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
                     "files of each crystal: all with the results of a run of Torvik, its solution "
                     "alone, or none")
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
        ->type_name("X Y");
    command->add_option("--wavelength", asked->wavelength, "in place of the files', angstroms")
        ->check(CLI::PositiveNumber);
    command->add_flag("--two-pi", asked->twopi, "the vectors have a factor of 2 pi");
    command->add_flag("--inverse-nm", asked->nanometres, "the vectors are in 1/nm");
    command
        ->add_option("--tools", asked->tools,
                     "the torvik-tools for the jobs, if it is not this one")
        ->check(CLI::ExistingFile);
    command
        ->add_option("--torvik", asked->program,
                     "the program for --keep all, if it is not beside or on the PATH")
        ->check(CLI::ExistingFile);
    command->footer(
        "Each crystal is solved as by torvik-tools solve; those that are refused are tried "
        "again with\nthe cells that others have. The same call goes on where it was "
        "stopped. Needs Snakemake and\ngemmi's Python module: Debian's packages "
        "snakemake and python3-gemmi.\n\n"
        "Example:\n"
        "  $ torvik-tools batch 1_quartz_vectors.idx 4_calcite_volumes.idx -o crystals");
    command->callback([asked = asked] {
        check(*asked);
        work(*asked);
    });
}

} // namespace torvik::tools
