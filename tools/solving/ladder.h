// The runs of the program that are tried one after the other.
#pragma once

#include "base/linear.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// A run to be made.
struct rung {
    double smallest = 0.0; // volume of the primitive cell
    double largest = 0.0;
    int extent = 2;
    std::optional<double>
        supporting; // fraction of supporting reflections, if not the program's own
    std::vector<std::size_t> reflections; // which of the vectors
    std::string name;                     // for the line of progress
};

struct ladderoptions {
    std::optional<double> smallestvolume;
    std::optional<double> largestvolume;
    std::uint64_t seed = 1; // of the subsets by chance
};

// What is known of a vector beside its place.
struct vectorlist {
    std::vector<vector3> vectors;
    std::vector<double> intensities; // empty, or as many
};

// A part of a list, by places.
vectorlist those(const vectorlist& list, const std::vector<std::size_t>& chosen);

// The limits of the volume that the vectors suggest.
//
// Below: N different vectors, of which 2 in 5 at least are genuine, need as many lattice points up to
// the longest. Another limit is 1 / (300 m^3), m the shortest length: for a cubic cell whose shortest
// reflection was measured the volume is 1 / m^3, and for one with an edge so long that m^3 is no
// measure of it, it is less.
// Above: 10000 / m^3, as the program has it.
struct volumelimits {
    double smallest = 0.0;
    double largest = 0.0;
};
volumelimits likelyvolumes(const std::vector<vector3>& vectors);

// The runs, cheap and likely ones first: windows of volume from small to large, each 3.6 times as wide
// as it begins and overlapping the next, so that no table of test periods is cut and every window
// has test volumes of its own, the largest tenth of the range last; at first with up to 40 reflections,
// then with parts of them (strong ones, short ones, some by chance), then with more extent, then with
// more and with fewer reflections left for the search by the ranking. Counts of reflections are such
// that the program's periodogram is positive (up to 66).
std::vector<rung> ladderfor(const vectorlist& list, const ladderoptions& options);

// The input file of a run.
std::string inputof(const rung& one, const std::vector<vector3>& vectors);

} // namespace torvik::tools
