// Reflections that are not predicted by two others on the same row.
#pragma once

#include "solver/lattice/linear.h"

#include <cstddef>
#include <vector>

namespace torvik::solver {

// The evidence takes reflections as independent. Equally spaced ones on a row are not: any lattice with two
// neighbours of the row has the third, so a few rows by themselves look like a lattice with a large cell.
//
// Given:     vectors    1/angstrom
//            tolerance  within which a reflection is predicted, 1/angstrom
// Returned:  places of vectors, chosen in their order: none is 2 q - r or (q + r) / 2 of two chosen before it
// Cost:      as the cube of the number of vectors: 0.1 ms for 40
std::vector<std::size_t> independent_places(const std::vector<vector3>& vectors, double tolerance);

} // namespace torvik::solver
