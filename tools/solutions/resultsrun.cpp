#include "solutions/resultsrun.h"

#include "base/failure.h"
#include "base/process.h"
#include "base/table.h"
#include "base/textfile.h"
#include "base/writing.h"
#include "formats/idxfile.h"
#include "formats/resultsfile.h"
#include "solver/lattice/relations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

namespace torvik::tools {

namespace {

struct attempt {
    int extent;
    std::size_t most; // reflections
};

// Up to 66 reflections the divisor of the program's periodograms cannot overflow.
constexpr std::array<attempt, 5> attempts = {{{0, 40}, {0, 40}, {1, 40}, {2, 40}, {2, 66}}};

// Those that the first lattice indexes, or a random choice of them, in the order of the list. The choice is
// random since the shortest or strongest ones may all be on a sublattice.
std::vector<std::size_t> chosen(const solver::answer& found, std::size_t most,
                                std::mt19937_64& random)
{
    std::vector<std::size_t> all;
    for (std::size_t i = 0; i < found.reflections.size(); ++i)
        if (found.reflections[i].lattice == 1) all.push_back(i);
    if (all.size() <= most) return all;
    for (std::size_t i = 0; i < most; ++i) std::swap(all[i], all[i + random() % (all.size() - i)]);
    all.resize(most);
    std::sort(all.begin(), all.end());
    return all;
}

std::string input_for(const solved_measurement& solved, const std::vector<std::size_t>& reflections,
                      int extent)
{
    const solver::lattice& first = solved.found.lattices[0];
    const double volume = std::fabs(direct_basis(first).determinant());
    // Solutions of other volumes are not listed: so far the super- and sublattices may differ.
    constexpr double around = 4.0;
    idxfile file;
    file.comments = {"Reflections of " + solved.input
                     + " that the lattice of its solution indexes."};
    if (is_shifted(first))
        file.comments.emplace_back("The common shift of the solution is subtracted.");
    file.keywords = {{"_MinMaxVolumeOfPrimitiveCell",
                      fixed(volume / around, 4) + " " + fixed(volume * around, 4)},
                     {"_UserProvidedTestVolumes", "1 " + fixed(volume, 4)},
                     {"_ExtentOfTheSearch", std::to_string(extent)},
                     {"_MaxNumberOfSavedBases", "128"}};
    for (const std::size_t i : reflections) {
        const vector3 q = unshifted(solved.measured.vectors[i], first);
        file.reflections.push_back({q.x, q.y, q.z});
    }
    constexpr int decimals = 7;
    return textof(file, decimals);
}

// The text of the results; empty if the run was stopped.
std::string results_of(const std::string& input, const std::filesystem::path& program,
                       const std::string& name, const std::atomic<bool>& stop)
{
    const temporarydirectory folder;
    writewhole(folder.path() / (name + ".idx"), input);
    constexpr double longest = 600.0; // seconds
    const ending how = runprocess(program, {name + ".idx"}, folder.path(), longest, stop);
    if (how == ending::stopped) return "";
    const std::filesystem::path results = folder.path() / (name + "_idx.res");
    std::error_code none;
    if (how != ending::finished || !std::filesystem::exists(results, none))
        throw failure("The run of " + program.string() + " for the results failed.");
    return textfile::read(results).text();
}

bool holds(const std::string& results, const matrix3& basis)
{
    const textfile source("the results of the run", results);
    const resultsfile read = readresults(source);
    const std::vector<solution>& all = read.solutions();
    constexpr double tolerance = 0.15;
    return std::any_of(all.begin(), all.end(), [&](const solution& one) {
        return same_lattice(one.basis, basis, tolerance);
    });
}

} // namespace

std::optional<results_run> run_about(const solved_measurement& solved,
                                     const std::filesystem::path& program, const std::string& name,
                                     const std::atomic<bool>& stop)
{
    std::mt19937_64 random(solved.options.seed);
    const std::string usable = name.starts_with('-') ? "run" : name; // no option
    const matrix3 basis = direct_basis(solved.found.lattices[0]);
    results_run run;
    for (const attempt& one : attempts) {
        const std::string input =
            input_for(solved, chosen(solved.found, one.most, random), one.extent);
        if (input == run.input) continue; // the same reflections again
        if (stop) return std::nullopt;
        run.input = input;
        run.results = results_of(input, program, usable, stop);
        if (run.results.empty()) return std::nullopt;
        run.confirmed = holds(run.results, basis);
        if (run.confirmed) break;
    }
    return run;
}

} // namespace torvik::tools
