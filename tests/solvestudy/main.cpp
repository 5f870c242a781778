// torvik_solvestudy: how often `solve` is right, wrong or refuses, on simulated crystals.
//
//   torvik_solvestudy [TRIALS [SECONDS]]     crystals of each kind, 25 by default, and the budget of
//                                            each, 10 seconds by default
//   torvik_solvestudy cell [TRIALS]          the same where the cell is known
//   torvik_solvestudy twins [TRIALS]         the same for twins
//
// Prints the tables of docs/solve.md: by reflections, wrong ones and noise; and by volume.

#include "cellstudy.h"

#include "simulation/simulate.h"
#include "solver/lattice/relations.h"
#include "solving/solve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

using namespace torvik::tools;

struct tally {
    int right = 0;
    int wrong = 0;
    int ambiguous = 0;
    int withtruth = 0; // ambiguous, and the truth is among the lattices named
    int refused = 0;
    int trials = 0;
    double runs = 0.0;
    double seconds = 0.0;

    [[nodiscard]] double percent(int count) const
    {
        return 100.0 * count / trials;
    }
};

// Thirds of the range of volumes, evenly in the logarithm.
constexpr int volumeclasses = 3;
using byvolume = std::array<tally, volumeclasses>;

// Whether a lattice is that of one of the crystals.
bool right(const assessment& one, const simulated& made)
{
    return std::any_of(made.lattices.begin(), made.lattices.end(), [&](const auto& lattice) {
        return same_lattice(one.basis, lattice.primitive, nearly);
    });
}

bool among(const answer& found, const simulated& made)
{
    for (std::size_t i = 0; i < found.competing; ++i)
        if (right(found.lattices[i], made)) return true;
    return false;
}

// Reflections of no lattice: each in a direction of its own.
vectorlist scattered(const simulated& made, randomnumbers& random)
{
    vectorlist list;
    for (const auto& one : made.reflections)
        list.vectors.push_back(randomorientation(random).multiply(one.measured));
    return list;
}

tally tried(const simulationrequest& asked, bool nolattice, double budget)
{
    tally sums;
    sums.trials = 1;
    const simulated made = simulate(asked);
    vectorlist list;
    list.vectors = made.vectors();
    randomnumbers random(asked.seed + 1);
    if (nolattice) list = scattered(made, random);
    solveoptions options;
    options.program = TORVIK_PROGRAM;
    options.budget = budget;
    std::timespec start{};
    std::timespec end{};
    std::timespec_get(&start, TIME_UTC);
    const answer found = solve(list, options);
    std::timespec_get(&end, TIME_UTC);
    sums.seconds += static_cast<double>(end.tv_sec - start.tv_sec)
                    + 1e-9 * static_cast<double>(end.tv_nsec - start.tv_nsec);
    sums.runs += static_cast<double>(found.runs.size());
    switch (found.how) {
    case verdict::solved:
        ++(!nolattice && right(found.lattices[0], made) ? sums.right : sums.wrong);
        break;
    case verdict::ambiguous:
        ++sums.ambiguous;
        if (!nolattice && among(found, made)) ++sums.withtruth;
        break;
    default: ++sums.refused;
    }
    return sums;
}

void add(tally& sums, const tally& one)
{
    sums.right += one.right;
    sums.wrong += one.wrong;
    sums.ambiguous += one.ambiguous;
    sums.withtruth += one.withtruth;
    sums.refused += one.refused;
    sums.trials += one.trials;
    sums.runs += one.runs;
    sums.seconds += one.seconds;
}

void printrest(const tally& sums)
{
    std::printf(" %.0f | %.0f | %.0f (%.0f) | %.0f | %.1f | %.2f |\n", sums.percent(sums.right),
                sums.percent(sums.wrong), sums.percent(sums.ambiguous),
                sums.percent(sums.withtruth), sums.percent(sums.refused), sums.runs / sums.trials,
                sums.seconds / sums.trials);
    std::fflush(stdout);
}

struct kind {
    int reflections;
    int wrong;
    bool nolattice;
};

void row(const kind& what, double noise, int trials, double budget, byvolume& volumes)
{
    tally sums;
    for (int i = 0; i < trials; ++i) {
        simulationrequest asked;
        asked.seed = 1000U + static_cast<std::uint64_t>(i);
        // 200 to 2000, evenly in the logarithm.
        asked.volume = 200.0 * std::pow(10.0, (i + 0.5) / trials);
        asked.reflections = what.reflections;
        asked.wrong = what.wrong;
        asked.smallestd = 1.0;
        asked.noise = noise;
        const tally one = tried(asked, what.nolattice, budget);
        add(sums, one);
        if (!what.nolattice)
            add(volumes[static_cast<std::size_t>(volumeclasses * i / trials)], one);
    }
    std::printf("| %d | %s | %.0f %% |", what.reflections,
                what.nolattice ? "all" : std::to_string(what.wrong).c_str(), 100.0 * noise);
    printrest(sums);
}

void printbyvolume(const byvolume& volumes)
{
    std::puts("\n| Volume | Right | Wrong | Ambiguous (with truth) | Refused | Runs | Seconds |\n"
              "|---|--:|--:|--:|--:|--:|--:|");
    for (int i = 0; i < volumeclasses; ++i) {
        const auto limit = [](int step) {
            return 200.0 * std::pow(10.0, static_cast<double>(step) / volumeclasses);
        };
        std::printf("| %.0f to %.0f |", limit(i), limit(i + 1));
        printrest(volumes[static_cast<std::size_t>(i)]);
    }
}

// Monoclinic crystals, the second turned half around a: the nearer beta is to a right angle, the nearer
// are the points of the two.
void twins(int trials)
{
    std::puts(
        "| Reflections | Wrong ones | beta | Right | Wrong | Ambiguous (with truth) | Refused | "
        "Runs | Seconds |\n|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
    for (const kind what : {kind{24, 0, false}, {60, 0, false}, {60, 12, false}})
        for (const double beta : {91.0, 92.0, 93.0, 95.0, 100.0}) {
            tally sums;
            for (int i = 0; i < trials; ++i) {
                simulationrequest asked;
                asked.seed = 2000U + static_cast<std::uint64_t>(i);
                asked.cell = cell_parameters{7.1, 9.3, 12.2, 90.0, beta, 90.0};
                asked.reflections = what.reflections;
                asked.wrong = what.wrong;
                asked.noise = 0.01;
                asked.lattices = 2;
                asked.twin = twinlaw{180.0, {1.0, 0.0, 0.0}};
                add(sums, tried(asked, false, 10.0));
            }
            std::printf("| %d | %d | %.0f |", what.reflections, what.wrong, beta);
            printrest(sums);
        }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::string(argv[1]) == "cell") {
        cellstudy(argc > 2 ? std::atoi(argv[2]) : 100);
        return 0;
    }
    if (argc > 1 && std::string(argv[1]) == "twins") {
        twins(argc > 2 ? std::atoi(argv[2]) : 20);
        return 0;
    }
    const int trials = argc > 1 ? std::atoi(argv[1]) : 25;
    const double budget = argc > 2 ? std::atof(argv[2]) : 10.0;
    std::puts(
        "| Reflections | Wrong ones | Noise | Right | Wrong | Ambiguous (with truth) | Refused | "
        "Runs | Seconds |\n|--:|--:|--:|--:|--:|--:|--:|--:|--:|");
    const std::vector<kind> kinds = {{12, 0, false},  {20, 0, false}, {20, 6, false},
                                     {20, 10, false}, {40, 0, false}, {40, 20, false},
                                     {20, 0, true}};
    byvolume volumes;
    for (const kind& what : kinds)
        for (const double noise : {0.0, 0.01, 0.02, 0.04})
            if (!what.nolattice || noise == 0.01) row(what, noise, trials, budget, volumes);
    printbyvolume(volumes);
    return 0;
}
