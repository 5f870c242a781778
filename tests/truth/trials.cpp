#include "truth/trials.h"

#include "support/runs.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace torvik {

const std::vector<double> noiselevels = {0.0, 0.01, 0.02, 0.03};
const std::vector<double> wronglevels = {0.0, 0.1, 0.2, 0.3};
const std::vector<int> countlevels = {8, 12, 20, 35, 60};
const std::vector<double> volumelevels = {60.0, 200.0, 700.0, 2000.0, 5000.0};

namespace {

// Gives the determinant of the integer matrix T in D = T E, without its sign; 0 if an element of T
// is further from a whole number than tolerated.
int determinantbetween(const matrix3& D, const matrix3& E, double tolerance)
{
    matrix3 T = matrixproduct(D, inverseof(E));
    if (!(offwhole(T) <= tolerance)) return 0;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) T(i, j) = nint(T(i, j));
    return std::abs(nint(deter(T)));
}

// As many numbers as asked for, 0 to levels - 1, all equally often up to one, in random order.
std::vector<std::size_t> dealt(std::size_t count, std::size_t levels, randomnumbers& random)
{
    std::vector<std::size_t> deck(count);
    for (std::size_t n = 0; n < count; ++n) deck[n] = n % levels;
    for (std::size_t n = count; n > 1; --n)
        std::swap(deck[n - 1],
                  deck[static_cast<std::size_t>(random.whole(0, static_cast<int>(n) - 1))]);
    return deck;
}

double processorseconds(const std::string& output)
{
    const std::string label = "CPU time    :";
    const std::size_t at = output.find(label);
    double seconds = -1.0;
    if (at == std::string::npos
        || std::sscanf(output.c_str() + at + label.size(), "%lf", &seconds) != 1)
        throw std::runtime_error("a run without its time:\n" + output);
    return seconds;
}

void report(const trial& one)
{
    const char* kinds[] = {"vectors", "Eulerian", "kappa"};
    const experiment& asked = one.asked;
    std::fprintf(
        stderr,
        "%4zu: %-12s %c, volume %4.0f, %2d %s, noise %.2f, wrong %.1f: place %d of %d; the "
        "first is %d times the truth; %.2f s\n",
        one.number, asked.lattice.system, asked.lattice.centring, asked.volume, asked.reflections,
        kinds[static_cast<int>(asked.kind)], asked.noise, asked.wrong, one.result.place,
        one.result.solutions, one.result.multiple, one.result.seconds);
}

} // namespace

bool nearlysamelattice(const matrix3& D, const matrix3& E, double tolerance)
{
    return determinantbetween(D, E, tolerance) == 1;
}

int multipleof(const matrix3& D, const matrix3& E, double tolerance)
{
    return determinantbetween(D, E, tolerance);
}

std::vector<matrix3> basesin(const std::string& results)
{
    std::vector<matrix3> bases;
    std::istringstream stream(results);
    for (std::string line; std::getline(stream, line);) {
        if (line.find("transforms RL vectors to Miller indices :") == std::string::npos) continue;
        matrix3 D = {};
        for (int i = 1; i <= 3; ++i)
            for (int k = 1; k <= 3; ++k)
                if (!(stream >> D(i, k))) throw std::runtime_error("a basis that is cut short");
        bases.push_back(D);
    }
    return bases;
}

outcome outcomeof(const experiment& asked, const sample& made, int extent)
{
    const runresult run = runtorvik(inputfor(asked, made, extent));
    if (run.status != 0 || !run.files.contains("a_idx.res"))
        throw std::runtime_error("a run without results:\n" + run.output + run.errors);
    outcome result;
    result.seconds = processorseconds(run.output);
    for (const matrix3& D : basesin(run.files.at("a_idx.res"))) {
        ++result.solutions;
        if (result.solutions == 1) result.multiple = multipleof(D, made.truth);
        if (result.place == 0 && nearlysamelattice(D, made.truth)) result.place = result.solutions;
    }
    return result;
}

std::vector<trial> grid(int density, std::uint64_t seed)
{
    std::vector<trial> trials;
    for (const double noise : noiselevels)
        for (const double wrong : wronglevels)
            for (const int count : countlevels)
                for (int n = 0; n < density; ++n) {
                    trial one;
                    one.asked.noise = noise;
                    one.asked.wrong = wrong;
                    one.asked.reflections = count;
                    trials.push_back(one);
                }
    randomnumbers random(seed);
    const auto lattices = dealt(trials.size(), latticetypes.size(), random);
    const auto volumes = dealt(trials.size(), volumelevels.size(), random);
    const auto kinds = dealt(trials.size(), 3, random);
    for (std::size_t n = 0; n < trials.size(); ++n) {
        trials[n].asked.lattice = latticetypes[lattices[n]];
        trials[n].asked.volume = volumelevels[volumes[n]];
        trials[n].asked.kind = static_cast<inputkind>(kinds[n]);
        trials[n].number = n;
        trials[n].seed = seed * 1000003 + n;
    }
    return trials;
}

sample sampleof(const trial& one)
{
    randomnumbers random(one.seed);
    return samplefor(one.asked, random);
}

void run(std::vector<trial>& trials, int extent, std::size_t offset, std::size_t stride)
{
    for (std::size_t n = offset; n < trials.size(); n += stride) {
        trials[n].result = outcomeof(trials[n].asked, sampleof(trials[n]), extent);
        report(trials[n]);
    }
}

} // namespace torvik
