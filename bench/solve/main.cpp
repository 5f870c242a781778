// How fast the solver is, in units of a whole run of the program.
//
//   torvik_solvebench [--smoke] [LISTS]     lists of each kind, 60 by default
//
// Prints two Markdown tables: calls of solve() on simulated lists, and the command torvik-tools solve from its
// start to its files against the call alone. Times are processor times. The unit is a run of the program on 40
// reflections with all parameters at their defaults; it is made in turn with the calls, so that both see the
// same machine. The hash is that of all answers of a row, to the last bit: a faster solver that gives the same
// answers prints the same one.

#include "pairs.h"
#include "runs.h"

#include "simulation/randomnumbers.h"
#include "simulation/simulate.h"
#include "torvik/solver.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace torvik {

namespace {

using tools::simulationrequest;
using vectors = std::vector<solver::vec3>;
using maker = std::function<vectors(std::uint64_t seed)>;

struct kind {
    std::string name;
    int reflections;
    maker make;
};

vectors listof(const std::vector<tools::vector3>& list)
{
    vectors found;
    for (const auto& q : list) found.push_back({q.x, q.y, q.z});
    return found;
}

// Triclinic crystals; volumes evenly in the logarithm from 200 to 2000 unless one is given.
simulationrequest crystal(int reflections, int wrong, double noise, std::uint64_t seed)
{
    simulationrequest asked;
    asked.seed = seed;
    asked.volume = 200.0 * std::pow(10.0, static_cast<double>(seed % 20) / 20.0);
    asked.reflections = reflections;
    asked.wrong = wrong;
    asked.noise = noise;
    asked.smallestd = 1.0;
    return asked;
}

maker crystals(int reflections, int wrong, double noise)
{
    return [=](std::uint64_t seed) {
        return listof(tools::simulate(crystal(reflections, wrong, noise, seed)).vectors());
    };
}

// The lengths of a crystal's reflections, in directions that have nothing to do with each other.
vectors scattered(std::uint64_t seed)
{
    tools::randomnumbers random(seed);
    auto list = tools::simulate(crystal(40, 0, 0.01, seed)).vectors();
    for (auto& q : list) q = tools::randomorientation(random).multiply(q);
    return listof(list);
}

vectors oflargecell(std::uint64_t seed)
{
    simulationrequest asked = crystal(300, 30, 0.01, seed);
    asked.volume = 1e6;
    asked.smallestd = 1.5;
    return listof(tools::simulate(asked).vectors());
}

// As a spot finder gives them: 900 of one crystal, 250 of another one, 150 of neither, and 700 of these found
// on a second image.
vectors asfound(std::uint64_t seed)
{
    simulationrequest asked = crystal(900, 0, 0.02, seed);
    asked.volume = 2e4;
    asked.smallestd = 1.5;
    auto list = tools::simulate(asked).vectors();
    asked.reflections = 400;
    asked.wrong = 150;
    asked.seed = seed + 1000;
    const auto others = tools::simulate(asked).vectors();
    list.insert(list.end(), others.begin(), others.end());
    tools::randomnumbers random(seed);
    const double error = 0.01 / std::cbrt(asked.volume);
    const auto off = [&] { return random.between(-error, error); };
    constexpr std::size_t repeats = 700;
    for (std::size_t i = 0; i < repeats; ++i) {
        const double x = off();
        const double y = off();
        list.push_back(list[13 * i % 1300] + tools::vector3(x, y, off()));
    }
    return listof(list);
}

const std::vector<kind> kinds = {
    {"no wrong ones, noise 1 %", 20, crystals(20, 0, 0.01)},
    {"20 % wrong ones, noise 1 %", 40, crystals(40, 8, 0.01)},
    {"no wrong ones, noise 1 %", 80, crystals(80, 0, 0.01)},
    {"50 % wrong ones, noise 2 %", 20, crystals(20, 10, 0.02)},
    {"no lattice", 40, scattered},
    {"cell of 1e6, 10 % wrong ones", 300, oflargecell},
    {"two crystals, repeats, wrong ones", 2000, asfound},
};

std::uint64_t hashof(const solver::answer& found, std::uint64_t hash)
{
    const int how = static_cast<int>(found.how);
    hash = hashed(&how, sizeof how, hash);
    for (const solver::lattice& one : found.lattices) {
        hash = hashed(&one.basis, sizeof one.basis, hash);
        hash = hashed(&one.evidence, sizeof one.evidence, hash);
    }
    return hash;
}

solver::answer solved(const vectors& list)
{
    solver::measurement measured;
    measured.vectors = list;
    solver::options how;
    how.budget = std::chrono::hours(1); // an answer that it ended would depend on the machine
    return solver::solve(measured, how);
}

std::string inputof(const vectors& list, bool program)
{
    std::ostringstream text;
    text.precision(6);
    text << std::fixed;
    if (program) text << "_NumberOfReflections\n" << list.size() << "\n_Reflections\n";
    for (const solver::vec3& q : list) text << q[0] << " " << q[1] << " " << q[2] << "\n";
    return text.str();
}

// The unit: each call makes one run and remembers its time.
class unitruns {
public:
    void one()
    {
        seconds_.push_back(run_().seconds);
    }
    [[nodiscard]] double seconds() const
    {
        return median(seconds_);
    }
    [[nodiscard]] std::size_t count() const
    {
        return seconds_.size();
    }

private:
    action run_ = runof(TORVIK_PROGRAM, inputof(crystals(40, 8, 0.01)(1), true));
    std::vector<double> seconds_;
};

// The value that 95 of 100 do not exceed.
double highest(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    const std::size_t count = times.size();
    return times[std::min(count - 1, (95 * count + 99) / 100 - 1)];
}

struct rowtimes {
    std::vector<double> seconds;
    int solved = 0;
    std::uint64_t hash = emptyhash;
};

rowtimes timesof(const kind& what, int lists, unitruns& unit)
{
    constexpr int runs = 5; // of the unit in each row
    rowtimes times;
    for (int i = 0; i < lists; ++i) {
        if (i % std::max(1, lists / runs) == 0) unit.one();
        const vectors list = what.make(static_cast<std::uint64_t>(i) + 1);
        const double start = processortime();
        const solver::answer found = solved(list);
        times.seconds.push_back(processortime() - start);
        times.solved += found.how == solver::verdict::solved ? 1 : 0;
        times.hash = hashof(found, times.hash);
    }
    return times;
}

void printcalls(int lists, unitruns& unit)
{
    std::vector<rowtimes> rows;
    for (const kind& what : kinds) {
        std::fprintf(stderr, "%d reflections, %s\n", what.reflections, what.name.c_str());
        rows.push_back(timesof(what, lists, unit));
    }
    std::printf("Unit: a default run on 40 reflections, %.0f ms (median of %zu).\n\n",
                1e3 * unit.seconds(), unit.count());
    std::puts(
        "| Reflections | Lists | Solved | Median ms | 95 % below ms | Unit / median | Hash of "
        "the answers |\n|--:|---|--:|--:|--:|--:|---|");
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const double middle = median(rows[i].seconds);
        std::printf("| %d | %d, %s | %d | %.2f | %.2f | %.1f | %016llx |\n", kinds[i].reflections,
                    lists, kinds[i].name.c_str(), rows[i].solved, 1e3 * middle,
                    1e3 * highest(rows[i].seconds), unit.seconds() / middle,
                    static_cast<unsigned long long>(rows[i].hash));
    }
}

// The command and the call on the same lists, in turn.
void printcommand(int lists, const unitruns& unit)
{
    std::vector<double> calls;
    std::vector<double> commands;
    for (int i = 0; i < lists; ++i) {
        const vectors list = crystals(40, 8, 0.01)(static_cast<std::uint64_t>(i) + 1);
        const double start = processortime();
        solved(list);
        calls.push_back(processortime() - start);
        commands.push_back(
            callof(TORVIK_TOOLS, {"solve", "a.txt"}, {"a.txt", inputof(list, false)})().seconds);
    }
    std::puts("\n| 40 reflections, 20 % wrong ones | Median ms | 95 % below ms | Unit / median |\n"
              "|---|--:|--:|--:|");
    const auto row = [&](const char* name, const std::vector<double>& times) {
        std::printf("| %s | %.2f | %.2f | %.1f |\n", name, 1e3 * median(times),
                    1e3 * highest(times), unit.seconds() / median(times));
    };
    row("the call", calls);
    row("the command, from its start to its files", commands);
}

} // namespace

} // namespace torvik

int main(int count, char** arguments)
{
    const std::string first = count > 1 ? arguments[1] : "";
    constexpr int usual = 60;
    const int lists = first == "--smoke" ? 1 : count > 1 ? std::atoi(arguments[1]) : usual;
    if (lists < 1) {
        std::fputs("torvik_solvebench [--smoke] [LISTS]\n", stderr);
        return 2;
    }
    torvik::unitruns unit;
    torvik::printcalls(lists, unit);
    torvik::printcommand(lists, unit);
    return 0;
}
