// Evidence for a lattice whose metric is symmetric.
#pragma once

#include "solver/evidence/free_lattice.h"

#include <vector>

// Most crystals are not triclinic, so the metric of their lattice is symmetric: cell lengths are equal, or angles are
// right ones. To a lattice with any metric, drawn by the invariant measure of free_lattice.h, this happens
// hardly ever. So a lattice that is found symmetric within its errors is more probable than that measure says,
// and more so the smaller its errors and the higher the symmetry. This decides mostly between a lattice and its
// sub- and superlattices, which do not share its symmetry.
//
// Let a symmetry with a group of n rotations have the prior probability p. Its lattices have orientations that are
// equally probable by the invariant measure, n / (8 pi^2) for small rotations w; volumes as those of any lattice,
// sqrt(3) / log R for the isotropic strain; and for each other strain that the symmetry leaves free the density
// r = 0.7, so that axes commonly differ by a factor of two. Of d free strains one is isotropic. The density of any
// lattice is 2^(3/2) / (zeta(2) zeta(3) log R) for rotations w and strains e (deformation.h). The k = 6 - d other
// strains of the measured lattice are f, with the covariance C of the fit: a lattice with this symmetry has
// f = 0, a density N(f; 0, C) of the posterior. By the ratio of densities (Dickey, 1971) the evidence for it exceeds
// that for any metric by
//
//     log(n / (8 pi^2)) + 1/2 log 3 + (d - 1) log r - 3/2 log 2 + log(zeta(2) zeta(3)) + log N(f; 0, C).
//
// Errors of the instrument strain the measured lattice: 0.2 % are added to the deviations of C.

namespace torvik::solver {

// Of the seven groups of rotations that lattices have; shared equally by the Bravais lattices of each.
constexpr double triclinic_prior = 0.25;

// Gives what the evidence of a lattice gains if its metric may be symmetric, nats: at least log(triclinic_prior).
double symmetry_gain(const std::vector<vector3>& vectors, const assessment& lattice);

} // namespace torvik::solver
