// The measurement that would decide between two lattices.
#pragma once

#include "base/linear.h"
#include "torvik/solver.h"

#include <string>

namespace torvik::tools {

// The shortest reciprocal-lattice vector that only one of two lattices has: the larger cell's if they are
// related by a small index. A sentence about lattices 1 and 2; empty if there is none with low indices, or
// if the lattices are neither related nor orientations of a known cell.
std::string deciding_reflection(const solver::lattice& first, const solver::lattice& second);

} // namespace torvik::tools
