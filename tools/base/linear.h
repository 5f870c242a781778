// Vectors and matrices, and the names of the solver, as the tools use them.
#pragma once

#include "solver/lattice/linear.h"

namespace torvik::tools {

// The one place that brings the names of the solver into the tools. A file includes the solver's headers
// for what it uses.
using namespace solver;
using solver::matrix3; // the program has arrays of these two names
using solver::vector3;

} // namespace torvik::tools
