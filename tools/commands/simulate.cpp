// torvik-tools simulate: measurements of crystals whose lattices are known.

#include "base/failure.h"
#include "base/terminal.h"
#include "base/writing.h"
#include "commands/command.h"
#include "simulation/asked.h"
#include "simulation/simulatedfiles.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <optional>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

struct simulateoptions {
    simulationrequest request;
    std::vector<std::string> cell;
    std::string centring;
    std::vector<double> orientation;
    std::string wrong = "0";
    std::vector<double> offset;
    std::string twin;
    std::string angles;
    std::string output = "simulated.idx";
    int crystals = 1;
    bool force = false;
};

void settlecrystal(simulationrequest& request, const simulateoptions& options)
{
    if (!options.cell.empty()) {
        const centred_cell found = cellasked(options.cell);
        request.cell = found.cell;
        request.centring = found.centring;
    }
    if (request.system == "trigonal") request.centring = 'R'; // a trigonal P is a hexagonal P
    if (!options.centring.empty()) request.centring = options.centring.front();
    if (!options.orientation.empty()) request.orientation = rotationasked(options.orientation);
}

simulationrequest requestof(const simulateoptions& options)
{
    simulationrequest request = options.request;
    settlecrystal(request, options);
    request.wrong = wrongasked(options.wrong, request.reflections);
    if (!options.offset.empty())
        request.offset = {options.offset[0], options.offset[1], options.offset[2]};
    if (!options.twin.empty()) {
        request.twin = twinasked(options.twin);
        if (request.lattices == 1) request.lattices = 2;
    }
    if (options.angles == "eulerian") request.kind = listkind::thetaphichi;
    if (options.angles == "kappa") request.kind = listkind::thetaphikappa;
    return request;
}

struct outputs {
    fs::path input;
    fs::path truth;
};

// NAME.idx and NAME.truth.json; of many crystals NAME_001.idx, NAME_002.idx and so on.
outputs outputsof(const simulateoptions& options, int number)
{
    const fs::path asked = options.output;
    if (asked.extension() != ".idx" || asked.stem().empty())
        throw failure("The name " + options.output
                      + " does not end in .idx, as the program asks for.");
    std::string stem = asked.stem().string();
    if (options.crystals > 1) {
        const std::size_t width = std::max<std::size_t>(3, std::to_string(options.crystals).size());
        const std::string digits = std::to_string(number);
        stem += "_" + std::string(width - digits.size(), '0') + digits;
    }
    const fs::path folder = asked.parent_path();
    return {folder / (stem + ".idx"), folder / (stem + ".truth.json")};
}

void checkfree(const outputs& files, bool force)
{
    std::error_code none;
    for (const fs::path& path : {files.input, files.truth})
        if (!force && fs::exists(path, none))
            throw failure(path.string() + " exists; --force replaces it.");
}

std::string summaryof(const simulated& made)
{
    std::size_t wrong = 0;
    for (const simulatedreflection& one : made.reflections) wrong += one.genuine() ? 0 : 1;
    std::string text = std::to_string(made.reflections.size()) + " reflections";
    if (wrong > 0) text += ", " + std::to_string(wrong) + " of them wrong";
    if (made.lattices.size() > 1)
        text += ", of " + std::to_string(made.lattices.size()) + " lattices";
    return text;
}

void simulateall(const simulateoptions& options)
{
    simulationrequest request = requestof(options);
    for (int n = 1; n <= options.crystals; ++n) checkfree(outputsof(options, n), options.force);
    progress line("Simulating crystal", static_cast<std::size_t>(options.crystals));
    std::string summary;
    for (int n = 1; n <= options.crystals; ++n, ++request.seed) {
        const simulated made = simulate(request);
        const std::string input = inputtextof(request, made);
        const outputs files = outputsof(options, n);
        writetogether({{files.input, input}, {files.truth, truthtextof(request, made)}});
        if (n == 1)
            summary = summaryof(made) + ". Written to " + files.input.string() + " and "
                      + files.truth.string();
        line.advance(static_cast<std::size_t>(n));
    }
    if (options.crystals > 1)
        summary += " and on to " + outputsof(options, options.crystals).truth.string();
    std::cout << summary << ".\n";
}

void addcrystal(CLI::App& command, simulateoptions& options)
{
    simulationrequest& request = options.request;
    const char* group = "The crystal";
    CLI::Option* cell =
        command
            .add_option(
                "--cell", options.cell,
                "A cell: a, b, c in angstroms, alpha, beta, gamma in degrees, and perhaps a "
                "letter of the centring (P A B C I F R); or a CIF file")
            ->expected(1, 7)
            ->group(group);
    command
        .add_option("--system", request.system,
                    "Without a cell, one of this system by chance: triclinic, monoclinic, "
                    "orthorhombic, tetragonal, trigonal, hexagonal, cubic")
        ->capture_default_str()
        ->excludes(cell)
        ->group(group);
    command
        .add_option("--volume", request.volume,
                    "Volume of the primitive cell by chance, cubic angstroms")
        ->capture_default_str()
        ->excludes(cell)
        ->group(group);
    command
        .add_option("--centring", options.centring, "Letter of the centring: P unless it is given")
        ->check(CLI::IsMember({"P", "A", "B", "C", "I", "F", "R"}))
        ->group(group);
    command
        .add_option("--orientation", options.orientation,
                    "Turns in degrees about x, then y, then z, or the nine elements of a rotation, "
                    "from a along x and b in the plane of x and y; by chance if it is not given")
        ->expected(3, 9)
        ->group(group);
}

void addreflections(CLI::App& command, simulateoptions& options)
{
    simulationrequest& request = options.request;
    const char* group = "The reflections";
    command
        .add_option("-n,--reflections", request.reflections, "How many, the wrong ones included")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--pool", request.pool,
                    "They are chosen from so many times as many shortest ones")
        ->capture_default_str()
        ->group(group);
    command.add_option("--d-min", request.smallestd, "Or from all to this spacing, angstroms")
        ->group(group);
    command
        .add_option("--h-max", request.largestindex,
                    "Or from all with conventional indices up to this")
        ->group(group);
    command
        .add_option("--angles", options.angles,
                    "Write angles in place of vectors: eulerian (theta, phi, chi) or kappa (theta, "
                    "phi, kappa)")
        ->check(CLI::IsMember({"eulerian", "kappa"}))
        ->group(group);
    command.add_option("--wavelength", request.wavelength, "Of the angles, angstroms")
        ->capture_default_str()
        ->group(group);
    command.add_option("--kappa-angle", request.kappaaxis, "Angle of the kappa axis, degrees")
        ->capture_default_str()
        ->group(group);
}

void adderrors(CLI::App& command, simulateoptions& options)
{
    simulationrequest& request = options.request;
    const char* group = "What is wrong with them";
    command
        .add_option("--noise", request.noise,
                    "Normal error of each component, as a part of the shortest reciprocal vector")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--noise-length", request.noiselength,
                    "Normal error of each component in 1/angstrom, in addition")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--wrong", options.wrong,
                    "Reflections that belong to no lattice: how many, or a part (0.25, 25%)")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--lattices", request.lattices,
                    "Crystals of the cell that are measured together, 1 to 9")
        ->capture_default_str()
        ->group(group);
    command
        .add_option(
            "--twin", options.twin,
            "A law for the second crystal: \"180 [1 0 0]\" turns it about a direction, \"180 "
            "(1 0 0)\" about the normal of planes of the conventional cell")
        ->group(group);
    command
        .add_option("--parts", request.parts,
                    "Parts of the right reflections that the lattices have, as 3 1")
        ->expected(1, 9)
        ->group(group);
    command
        .add_option("--scale", request.scale,
                    "Factor of all vectors: the true wavelength over the one that is believed")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--offset", options.offset,
                    "Added to all vectors: a wrong centre; X Y Z in 1/angstrom")
        ->expected(3)
        ->group(group);
}

void addoutput(CLI::App& command, simulateoptions& options)
{
    simulationrequest& request = options.request;
    const char* group = "The files";
    command
        .add_option("-o,--output", options.output,
                    "Input file to be written; the truth goes to NAME.truth.json beside it")
        ->capture_default_str()
        ->group(group);
    command.add_option("--seed", request.seed, "The same seed gives the same files on any machine")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--crystals", options.crystals,
                    "So many crystals, of seeds that follow each other: NAME_001.idx, ...")
        ->check(CLI::Range(1, 1000000))
        ->capture_default_str()
        ->group(group);
    command
        .add_option(
            "--volume-factor", request.volumefactor,
            "The volume is guessed up to --guess-error; its limits are the guess divided and "
            "multiplied by this; 0: no limits are written")
        ->capture_default_str()
        ->group(group);
    command
        .add_option("--guess-error", request.guesserror, "By which factor the guess may be wrong")
        ->capture_default_str()
        ->group(group);
    command.add_flag("--force", options.force, "Replace files that exist")->group(group);
}

} // namespace

void addsimulate(CLI::App& program)
{
    auto [command, options] = newcommand<simulateoptions>(
        program, "simulate",
        "Makes an input file of a crystal whose lattice is known, and the truth beside it.");
    addcrystal(*command, *options);
    addreflections(*command, *options);
    adderrors(*command, *options);
    addoutput(*command, *options);
    command->footer(
        "Examples:\n"
        "  $ torvik-tools simulate --cell 7.71 8.66 10.81 90 102.96 90 --noise 0.01 --wrong 20% -o "
        "a.idx\n"
        "  $ Torvik a.idx\n"
        "  $ torvik-tools score a_idx.res a.truth.json\n"
        "  $ torvik-tools simulate --system cubic --centring F --twin \"60 [1 1 1]\" --crystals 3");
    command->callback([options = options] { simulateall(*options); });
}

} // namespace torvik::tools
