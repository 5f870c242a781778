// Evidence for a lattice all points of which are shifted together.
#pragma once

#include "solver/evidence/free_lattice.h"

// If the centre of the detector is wrong, the vectors of an image, or of a narrow range of rotation, are off
// by one common vector s: they are UB h + s. The likelihood is that of free_lattice.h with three parameters
// more. A shift is determined up to lattice vectors, so its prior is uniform over a cell of the reciprocal
// lattice, with the density V, and the prior probability p that there is one is 5 %:
//
//     E = L + 4 log V + 6 log(2 pi) + 12 log s - 3/2 log det(K^T K) - log(zeta(2) zeta(3) log R) + log p,
//
// where K has the columns h, k, l and 1 for each inlier. Of a lattice without a shift it is some 15 to 25 nats
// below the evidence without one.

namespace torvik::solver {

constexpr double shift_prior = 0.05;

// Refines a lattice with a shift on all vectors, with the errors and the outlier fraction.
//
// Given:     vectors  1/angstrom
//            start    direct basis, correct to about a tenth of an index
//            shift    correct to about a tenth of a reciprocal axis, 1/angstrom
// Returned:  the assessment; its shift is the shortest of those that differ by lattice vectors
assessment assess_shifted(const std::vector<vector3>& vectors, const matrix3& start,
                          const vector3& shift);

} // namespace torvik::solver
