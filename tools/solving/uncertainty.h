// Standard uncertainties of a cell that was fitted to vectors.
#pragma once

#include "base/linear.h"
#include "lattice/cell.h"
#include "solving/evidence.h"

#include <string>
#include <vector>

namespace torvik::tools {

struct uncertaincell {
    cell6 cell = {};
    cell6 error = {}; // standard uncertainties, in the same units
    double volume = 0.0;
    double volumeerror = 0.0;
};

// Propagates the errors of the vectors to the cell: the strains of the lattice have the precision A / s^2
// (deformation.h), each vector counting as much as it is likely to be genuine, and that of their prior
// (knowncell.h) in addition if the cell was known; the cell depends on them by numerical derivatives.
uncertaincell uncertaintyof(const std::vector<vector3>& vectors, const assessment& found);

// A value with its uncertainty in units of the last digit: "7.713(2)", "90.00(14)". Two digits of the
// uncertainty below 20, one above; without one if it is 0.
std::string withuncertainty(double value, double error);

} // namespace torvik::tools
