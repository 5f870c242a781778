// A measurement that was solved: what went into the solver, and what came out.
#pragma once

#include "base/linear.h"
#include "readers/reader.h"
#include "torvik/solver.h"

#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// The run of Torvik about the answer: names of its files.
struct results_names {
    std::string idx;
    std::string results;
};

struct solved_measurement {
    solver::measurement measured;
    solver::options options;
    solver::answer found;
    std::string input;                // name of the measurement's file
    std::string frame;                // a sentence: what x, y, z are
    std::optional<results_names> run; // if one was asked for
};

// The vectors of a measurement for the solver, multiplied by a unit. Intensities and images are included if
// all spots have one. Repeats are not merged: before the lattice is known, neighbours along a long axis
// cannot be distinguished from spots of one reflection.
solver::measurement measurement_of(const measurement& spots, double unit);

// How many different reflections the indexed spots are: those of one lattice with the same indices are one.
struct spot_count {
    int spots = 0; // indexed
    int reflections = 0;
};
spot_count count_of(const solver::answer& found);

matrix3 direct_basis(const solver::lattice& one);

// The vector of a reflection less the common shift that was found with a lattice: the basis times it gives
// the indices.
vector3 unshifted(const solver::vec3& vector, const solver::lattice& one);

bool is_shifted(const solver::lattice& one);

} // namespace torvik::tools
