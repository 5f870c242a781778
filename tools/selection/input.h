// From a measurement to an input file: units, choice, limits, keywords.
#pragma once

#include "formats/idxfile.h"
#include "readers/reader.h"
#include "selection/estimate.h"
#include "selection/picking.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// Where the limits on the volume come from, if neither keywords nor a longest edge give them.
enum class volumerule {
    vectors, // from neighbouring vectors (rangefrom), as far as the table of test periods holds it
    program, // none are written: the program takes them from the shortest vector
};

struct inputoptions {
    double unit = 1.0; // vectors are multiplied by it: 1/(2 pi), 1/10
    std::optional<double>
        merge;         // distance of repeats, 1/angstrom; none: usualtolerance; 0: all stay
    double dmin = 0.0; // spacings, angstroms
    double dmax = std::numeric_limits<double>::infinity();
    std::size_t most = 40;
    pick how = pick::usual;
    std::uint64_t seed = 1;
    std::optional<double> cellmax; // longest edge of the reduced primitive cell
    volumerule otherwise = volumerule::vectors;
    std::vector<keyword> keywords; // checked; they replace those of the measurement
};

struct inputresult {
    idxfile file;
    int decimals = 0;   // of its reflections
    std::string choice; // a sentence: how many of how many, by what
    std::vector<std::string> warnings;
    std::optional<volumeestimate> estimate;
    std::vector<vector3> vectors;       // of the reflections of the file
    std::vector<std::size_t> positions; // of these among the spots of `pool`
    measurement pool;                   // what they were chosen from: merged, within the spacings
};

// Makes the input file. `origin` is the name of the measurement's file, for the comments. Throws a
// failure if fewer than four reflections remain, or options do not fit the data.
inputresult makeinput(const measurement& measured, const std::string& origin,
                      const inputoptions& options);

// Steps of makeinput.

// The measurement with its vectors multiplied; a failure for angles, which have no unit to choose.
measurement rescaled(const measurement& measured, double unit);

// The spots whose spacing is within limits. A null vector is no reflection and goes as well.
measurement withinspacings(const measurement& measured, const std::vector<vector3>& vectors,
                           double dmin, double dmax);

// The limits that a longest edge L of the reduced primitive cell sets: the volume is at most the
// product of the edges, L^3, whatever the angles. It is at least a fifth of what neighbouring vectors
// suggest, and at most a tenth of L^3.
volumerange rangeofcell(double L, const std::optional<volumeestimate>& estimate);

} // namespace torvik::tools
