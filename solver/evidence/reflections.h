// The measured vectors as the fast kernels read them.
#pragma once

#include "solver/lattice/linear.h"

#include <cstddef>
#include <vector>

namespace torvik::solver {

// A list of reflections with the components apart, in single precision, filled up to whole vectors of lanes.
// Vectors are in 1/angstrom.
struct reflection_list {
    explicit reflection_list(const std::vector<vector3>& vectors);

    std::vector<vector3> vectors; // N, as measured
    std::vector<float> x, y, z;   // N and the filling, whose components are 0
    std::vector<float> counts;    // 1 for each of the N, 0 for the filling
    double longest = 0.0;         // length of the longest vector
    double least_sigma = 0.0;     // the error of the digits that the vectors are written with

    [[nodiscard]] std::size_t size() const
    {
        return vectors.size();
    }
};

} // namespace torvik::solver
