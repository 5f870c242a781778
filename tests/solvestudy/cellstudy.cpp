#include "cellstudy.h"

#include "simulation/simulate.h"
#include "solver/evidence/known_cell.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/relations.h"
#include "solving/knownsolve.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <optional>
#include <string>

namespace {

using namespace torvik::tools;

struct tally {
    int right = 0;
    int wrong = 0;
    int ambiguous = 0;
    int refused = 0;
    int best = 0; // the best orientation is the right one, whatever the verdict
    int trials = 0;
    double seconds = 0.0;
    double longest = 0.0;

    [[nodiscard]] double percent(int count) const
    {
        return 100.0 * count / trials;
    }
};

// A crystal, its vectors, and the cell that is believed to be its own.
struct trial {
    simulated made;
    vectorlist list;
    cell_parameters given = {};
};

simulationrequest requestof(int reflections, int wrong, double noise, double volume, int i)
{
    simulationrequest asked;
    asked.seed = 5000U + static_cast<std::uint64_t>(i);
    asked.volume = volume;
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.smallestd = 1.0;
    asked.noise = noise;
    return asked;
}

// A cell as another crystal has it: strained by chance.
cell_parameters strained(const matrix3& basis, std::uint64_t seed)
{
    randomnumbers random(seed);
    nine strain = {};
    for (std::size_t k = 3; k < strain.size(); ++k)
        strain[k] = usual_strain * normaldeviate(random);
    return cell_of(basis.multiply(matrix3() + deformation_of(strain)));
}

trial trialof(const simulationrequest& asked)
{
    trial one = {simulate(asked), {}, {}};
    one.list.vectors = one.made.vectors();
    one.given = strained(one.made.truth().primitive, asked.seed + 1);
    return one;
}

// `truth` gives the lattice that is asked for, in the frame of the vectors.
void add(tally& sums, const trial& one, const std::optional<matrix3>& truth)
{
    solveoptions options;
    options.known = {one.given};
    const std::clock_t start = std::clock();
    const answer found = solveknown(one.list, options);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    sums.seconds += seconds;
    sums.longest = std::max(sums.longest, seconds);
    ++sums.trials;
    const bool best =
        truth && !found.lattices.empty() && same_lattice(found.lattices[0].basis, *truth, nearly);
    if (best) ++sums.best;
    switch (found.how) {
    case verdict::solved: ++(best ? sums.right : sums.wrong); break;
    case verdict::ambiguous: ++sums.ambiguous; break;
    default: ++sums.refused;
    }
}

void print(const tally& sums)
{
    std::printf(" %.1f | %.1f | %.1f | %.1f | %.1f | %.3f | %.3f |\n", sums.percent(sums.right),
                sums.percent(sums.wrong), sums.percent(sums.ambiguous), sums.percent(sums.refused),
                sums.percent(sums.best), sums.seconds / sums.trials, sums.longest);
    std::fflush(stdout);
}

struct kind {
    int reflections;
    int wrong;
};

// Volumes between two limits, evenly in the logarithm.
tally rightcell(const kind& what, double noise, double smallest, double largest, int trials)
{
    tally sums;
    for (int i = 0; i < trials; ++i) {
        const double volume = smallest * std::pow(largest / smallest, (i + 0.5) / trials);
        const trial one = trialof(requestof(what.reflections, what.wrong, noise, volume, i));
        add(sums, one, one.made.truth().primitive);
    }
    return sums;
}

void rightcells(int trials)
{
    std::puts("| Reflections | Wrong ones | Noise | Right | Wrong | Ambiguous | Refused | "
              "Best is right | Seconds | Longest |\n|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
    for (const kind what : {kind{6, 0},
                            {8, 0},
                            {12, 0},
                            {12, 6},
                            {20, 0},
                            {20, 10},
                            {20, 12},
                            {20, 14},
                            {40, 30},
                            {100, 50},
                            {100, 80}})
        for (const double noise : {0.01, 0.02, 0.04}) {
            std::printf("| %d | %d | %.0f %% |", what.reflections, what.wrong, 100.0 * noise);
            print(rightcell(what, noise, 200.0, 2000.0, trials));
        }
    std::puts(
        "\n| Reflections | Wrong ones | Noise | Volume | Right | Wrong | Ambiguous | Refused | "
        "Best is right | Seconds | Longest |\n|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
    for (const kind what : {kind{20, 10}, {20, 14}, {100, 50}, {999, 500}})
        for (const double volume : {200.0, 1000.0, 5000.0, 10000.0}) {
            if (what.reflections > 100 && volume < 1000.0) continue; // it has not so many
            std::printf("| %d | %d | 2 %% | %.0f |", what.reflections, what.wrong, volume);
            print(rightcell(what, 0.02, volume, volume,
                            what.reflections > 100 ? std::max(trials / 10, 1) : trials));
        }
}

// Changes a trial into one of a cell that is not that of the crystal, or of vectors of no crystal.
using change = std::function<void(trial&, std::uint64_t)>;

void row(const char* name, const change& changed, int trials)
{
    struct noisy {
        kind what;
        double noise;
    };
    for (const auto& [what, noise] : {noisy{{12, 0}, 0.01},
                                      {{20, 0}, 0.01},
                                      {{20, 0}, 0.04},
                                      {{20, 10}, 0.02},
                                      {{100, 0}, 0.01}}) {
        tally sums;
        for (int i = 0; i < trials; ++i) {
            const double volume = 200.0 * std::pow(50.0, (i + 0.5) / trials); // to 10000
            trial one = trialof(requestof(what.reflections, what.wrong, noise, volume, i));
            changed(one, static_cast<std::uint64_t>(i));
            add(sums, one, std::nullopt);
        }
        std::printf("| %s | %d | %d | %.0f %% |", name, what.reflections, what.wrong,
                    100.0 * noise);
        print(sums);
    }
}

void wrongcells(int trials)
{
    std::puts("\n| Given | Reflections | Wrong ones | Noise | Right | Accepted | Ambiguous | "
              "Refused | Best is right | Seconds | Longest |\n"
              "|---|--:|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
    row(
        "another cell",
        [](trial& one, std::uint64_t seed) {
            randomnumbers random(seed + 77);
            const matrix3 cell = randomcell(random, latticetypes[0]);
            const double volume = std::fabs(one.made.truth().primitive.determinant());
            one.given = cell_of(scaled(cell, std::cbrt(volume / std::fabs(cell.determinant()))));
        },
        trials);
    row(
        "no lattice",
        [](trial& one, std::uint64_t seed) {
            randomnumbers random(seed + 78);
            for (vector3& q : one.list.vectors) q = randomorientation(random).multiply(q);
        },
        trials);
    row(
        "one edge 5 % longer", [](trial& one, std::uint64_t seed) { one.given[seed % 3] *= 1.05; },
        trials);
    row(
        "all edges 2 % longer",
        [](trial& one, std::uint64_t) {
            for (std::size_t i = 0; i < 3; ++i) one.given[i] *= 1.02;
        },
        trials);
    row(
        "a supercell of index 2",
        [](trial& one, std::uint64_t seed) {
            one.given = cell_of(hermite_forms(2)[seed % 7].multiply(basis_of(one.given)));
        },
        trials);
    row(
        "a subcell of index 2",
        [](trial& one, std::uint64_t seed) {
            one.given = cell_of(finer_forms(2)[seed % 7].multiply(basis_of(one.given)));
        },
        trials);
}

} // namespace

void cellstudy(int trials)
{
    rightcells(trials);
    wrongcells(trials);
}
