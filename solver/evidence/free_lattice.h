// Bayesian evidence for a lattice with an unknown cell.
#pragma once

#include "solver/lattice/linear.h"

#include <cstddef>
#include <limits>
#include <vector>

// THE STATISTIC. Let v_1 ... v_N be measured vectors in a part of reciprocal space of volume O. A
// lattice with a cell of volume V has O V points there. An inlier is one of these points, each equally
// probable, with normal errors of standard deviation s in each component: its density is
//
//     G(r) / (O V),   G(r) = exp(-r^2 / (2 s^2)) / (2 pi s^2)^(3/2),
//
// with r its distance from the nearest point. An outlier is anywhere: 1 / O. With an outlier fraction w,
// the logarithm of the likelihood, less that of "all are outliers", is
//
//     L = sum over i of log((1 - w) G(r_i) / V + w).
//
// Here a supercell pays for its additional points: a cell n times as large loses log n for each inlier,
// and gains only from reflections that it indexes and the smaller one does not. L also contains the
// expected number of chance hits: G(0) / V is one over the number of error volumes (2 pi)^(3/2) s^3 in a
// cell of the reciprocal lattice, which is about the probability that a random vector is within one or
// two s of a point.
//
// A lattice with nine free parameters fits something to any nine numbers. The prior accounts for this:
// the evidence compares how sharply the data determine the lattice with how widely it could vary. Let
// lattices be equally probable by the invariant measure, and let the logarithm of their volume be
// uniform over a range of a factor R. The prior density is then V^3 / (zeta(2) zeta(3) log R) over the
// nine elements of UB: the measure of the lattices whose reciprocal cell is at most v is
// zeta(2) zeta(3) v^3 / 3 (Siegel, 1945). The posterior is normal, with the covariance s^2 (H^T H)^-1
// for each row of UB, where the rows of H are the indices of the inliers. So the evidence is
//
//     E = L + 3 log V + 9/2 log(2 pi) + 9 log s - 3/2 log det(H^T H) - log(zeta(2) zeta(3) log R),
//
// in natural logarithms ("nats"): e^E is the ratio of the probabilities of the data with this lattice and
// without any. It compares lattices of any volume, including sublattices and supercells.

namespace torvik::solver {

// The assessment of one lattice.
struct assessment {
    matrix3 basis;                 // direct, rows a, b, c; refined on all vectors
    double evidence = 0.0;         // E; minus infinity if the vectors do not determine a lattice
    double sigma = 0.0;            // s, of each component, 1/angstrom
    double outlier_fraction = 0.0; // w
    int indexed = 0;               // number of vectors that are inliers with probability > 1/2
    std::vector<double> inlier;    // of each vector: probability that it is an inlier
    int known = -1;                // number of the known cell, from 0; -1 if none was given
    // Direct bases of further crystals with the same cell, whose evidence is included. The other members
    // describe the first crystal only.
    std::vector<matrix3> further_crystals = {};
    // The standard deviation of the scale that a known cell was given, as a part of it.
    double scale_deviation = 0.0;
    double sigma_along_normal =
        0.0;            // of errors along the Ewald sphere's normal (sphere_errors.h); 0: as sigma
    vector3 shift = {}; // common to all vectors (shifted_lattice.h), 1/angstrom; 0 if there is none
};

// The vectors that are not inliers with probability > 1/2.
std::vector<vector3> unindexed_by(const std::vector<vector3>& vectors, const assessment& found);

// Refines a lattice on all vectors, together with the errors and the outlier fraction (expectation
// maximisation: Dempster, Laird & Rubin, 1977), and computes its evidence.
//
// Given:  vectors  1/angstrom
//         start    direct basis, correct to about a tenth of an index
//         least    refinement stops early if the evidence stays far below this value
assessment assess(const std::vector<vector3>& vectors, const matrix3& start,
                  double least = -std::numeric_limits<double>::infinity());

// The evidence of a lattice on other vectors, with its basis and sigma fixed: only the outlier fraction
// is refined. A full refinement on the vectors of two crystals would blur them into one.
assessment assess_unrefined(const std::vector<vector3>& vectors, const assessment& lattice);

} // namespace torvik::solver
