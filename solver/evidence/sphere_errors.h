// Evidence for a lattice whose errors along the normal of the Ewald sphere differ from those across.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/deformation.h"

#include <vector>

// A spot of a still image, or of a narrow wedge, is measured on the Ewald sphere, and the point of the lattice may
// be off the sphere by the width of the reflection: along the normal n of the sphere the error has the standard
// deviation s_n, across it s. The likelihood is that of free_lattice.h with
//
//     G(d) = exp(-(d.n)^2 / (2 s_n^2) - (d^2 - (d.n)^2) / (2 s^2)) / ((2 pi)^(3/2) s_n s^2),
//
// and the posterior of the nine elements of UB is normal with the precision
//
//     M = sum over the inliers of W (x) h h^T,   W = 1 / s^2 + (1 / s_n^2 - 1 / s^2) n n^T,
//
// so that E = L + 3 log V + 9/2 log(2 pi) - 1/2 log det M - log(zeta(2) zeta(3) log R). The ratio of the two
// deviations is one parameter more: its logarithm is uniform over a range of 100, and known to about
// 1 / sqrt(2 W) after W inliers, which costs log(log(100) sqrt(2 W) / sqrt(2 pi)).

namespace torvik::solver {

// Refines a lattice with both deviations on all vectors.
//
// Given:     vectors  N, 1/angstrom
//            normals  N, unit vectors
//            start    a lattice refined with equal errors
// Returned:  the assessment, with sigma across and sigma_along_normal; evidence minus infinity if the vectors do
//            not determine it
assessment assess_on_sphere(const std::vector<vector3>& vectors,
                            const std::vector<vector3>& normals, const assessment& start);

// The covariance of the nine elements of UB, row by row, for such a lattice; zeros if it is not determined.
nine_by_nine covariance_on_sphere(const std::vector<vector3>& vectors,
                                  const std::vector<vector3>& normals, const assessment& one);

} // namespace torvik::solver
