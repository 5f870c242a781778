// Standard uncertainties of a refined cell.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/linear.h"
#include "torvik/solver.h"

#include <string>
#include <vector>

namespace torvik::solver {

struct uncertain_cell {
    cell_parameters cell = {};
    cell_parameters error = {}; // standard uncertainties, in the same units
    double volume = 0.0;        // cubic angstroms
    double volume_error = 0.0;
};

// Propagates the errors of the vectors to the cell. The strains of the lattice have the precision A / s^2
// (deformation.h), each vector weighted by its inlier probability, plus that of their prior
// (known_cell.h) if the cell was known; the derivatives of the cell by the strains are numerical. The
// errors are infinite if the vectors do not determine the lattice.
//
// Given:  vectors  1/angstrom
//         found    the assessment of a lattice on these vectors
uncertain_cell uncertainty_of(const std::vector<vector3>& vectors, const assessment& found);

// The same from the covariance that an answer gives. The errors are infinite if it is zero: then the vectors
// do not determine the lattice.
//
// Given:  found  its basis, and the covariance of UB
uncertain_cell uncertainty_of(const lattice& found);

// A value with its uncertainty in units of the last digit: "7.713(2)", "90.00(14)". Two digits of the
// uncertainty below 20, one above; none if it is 0.
std::string with_uncertainty(double value, double error);

} // namespace torvik::solver
