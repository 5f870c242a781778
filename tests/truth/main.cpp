// How often Torvik finds the true lattice, over a grid of simulated crystals.
//
//   torvik_truth DENSITY SEED [EXTENT [PROCESSES [N]]]     prints the tables of docs/success.md
//   torvik_truth DENSITY SEED EXTENT show NUMBER           prints the input of a crystal, from 0
//
// DENSITY is the number of crystals for each of the 80 combinations of noise, wrong fraction and
// number of reflections, EXTENT that of the search (1), PROCESSES how many runs go on at once (2), N
// the largest number of reflections (60): crystals with more of them are left out. The error stream
// gets a line for each crystal as it is done.

#include "truth/tables.h"

#include <cstdlib>
#include <exception>
#include <future>
#include <iostream>

namespace torvik {

namespace {

void runall(std::vector<trial>& trials, int extent, std::size_t processes)
{
    // Each thread starts processes of its own and waits for them.
    std::vector<std::future<void>> workers;
    for (std::size_t w = 0; w < processes; ++w)
        workers.push_back(
            std::async(std::launch::async, [&, w] { run(trials, extent, w, processes); }));
    for (auto& worker : workers) worker.get();
}

int usage()
{
    std::cerr << "torvik_truth DENSITY SEED [EXTENT [PROCESSES [N] | show NUMBER]]\n";
    return 2;
}

int work(const std::vector<std::string>& words)
{
    if (words.size() < 2 || words.size() > 5) return usage();
    const int density = std::atoi(words[0].c_str());
    const auto seed = static_cast<std::uint64_t>(std::atoll(words[1].c_str()));
    const int extent = words.size() > 2 ? std::atoi(words[2].c_str()) : 1;
    const std::string what = words.size() > 3 ? words[3] : "2";
    const int processes = std::atoi(what.c_str());
    if (density < 1 || extent < 0 || extent > 5) return usage();
    auto trials = grid(density, seed);
    if (what == "show") {
        const std::size_t n = words.size() > 4 ? std::strtoul(words[4].c_str(), nullptr, 10) : 0;
        std::cout << inputfor(trials.at(n).asked, sampleof(trials.at(n)), extent);
        return 0;
    }
    if (processes < 1) return usage();
    const int largest = words.size() > 4 ? std::atoi(words[4].c_str()) : countlevels.back();
    std::erase_if(trials, [&](const trial& one) { return one.asked.reflections > largest; });
    if (trials.empty()) return usage();
    runall(trials, extent, static_cast<std::size_t>(processes));
    std::cout << tablesof(trials);
    return 0;
}

} // namespace

} // namespace torvik

int main(int argc, char** argv)
{
    try {
        return torvik::work(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
