// How far measured vectors speak for a lattice, against chance.
#pragma once

#include "base/linear.h"

#include <cstddef>
#include <limits>
#include <vector>

// THE STATISTIC. Let v_1 ... v_N be measured vectors, in a part of reciprocal space of volume O. A
// lattice with a cell of volume V has O V points there. If a vector is genuine, it is one of these
// points, each as likely as any other, with normal errors of s in each component: its density is
//
//     G(r) / (O V),   G(r) = exp(-r^2 / (2 s^2)) / (2 pi s^2)^(3/2),
//
// with r its distance from the nearest point. If it is wrong, it lies anywhere: 1 / O. With a
// fraction w of wrong ones, the logarithm of the likelihood, less that of "all are wrong", is
//
//     L = sum over i of log((1 - w) G(r_i) / V + w).
//
// This is where a supercell has to earn its reflections: a cell n times as large pays log n for each
// genuine reflection, and is paid only for those that it takes in and the smaller one does not. It is
// also the expected number of chance hits: G(0) / V is one over the number of errors' volumes
// (2 pi)^(3/2) s^3 in a cell of the reciprocal lattice, which is about the chance of a random vector
// to lie within s or two of a point.
//
// A lattice with nine free parameters fits something to any nine numbers. What that is worth follows
// from how sharply the data fix it, against how widely it could have lain. Lattices that are equally
// likely in the sense of invariant measure, and equally likely in the logarithm of their volume from
// 1/R^(1/2) to R^(1/2) times any, have the density V^3 / (zeta(2) zeta(3) log R) over the nine
// elements of UB: the measure of the lattices whose reciprocal cell is at most v is
// zeta(2) zeta(3) v^3 / 3 (Siegel, 1945). The posterior is normal, with the covariance s^2 (H^T H)^-1
// for each row of UB, where H has the indices of the genuine ones in its rows. So the evidence is
//
//     E = L + 3 log V + 9/2 log(2 pi) + 9 log s - 3/2 log det(H^T H) - log(zeta(2) zeta(3) log R),
//
// natural logarithms ("nats"): e^E is how much more likely the data are with this lattice than with
// none. It compares lattices of any volume, sub- and supercells among them.

namespace torvik::tools {

// What is found of one lattice.
struct assessment {
    matrix3 basis;               // direct, rows a, b, c; refined on all vectors
    double evidence = 0.0;       // E; minus infinity if the vectors do not fix a lattice
    double sigma = 0.0;          // s, of each component, 1/angstrom
    double wrong = 0.0;          // w
    int indexed = 0;             // vectors that are more likely genuine than wrong
    std::vector<double> genuine; // of each vector: how likely it is genuine
    int known = -1;              // which of the known cells it is, from 0; -1 if none was given
    // Direct bases of further crystals of the cell, whose evidence is counted in (companions.h). What
    // is said above is of the first crystal alone.
    std::vector<matrix3> companions = {};
};

// The vectors that a lattice does not take: those that are not more likely genuine than wrong.
std::vector<vector3> leftby(const std::vector<vector3>& vectors, const assessment& found);

// Refines a lattice on all vectors and gives its evidence. The errors and the fraction of wrong ones
// are refined with it, by expectation and maximisation (Dempster, Laird & Rubin, 1977).
//
// Given:  vectors    in 1/angstrom
//         start      direct basis, right to about a tenth of an index
//         least      a lattice that stays far below this evidence is not refined to the end
assessment assess(const std::vector<vector3>& vectors, const matrix3& start,
                  double least = -std::numeric_limits<double>::infinity());

// The evidence of a lattice with the errors that it has, of some of the vectors perhaps: only the fraction
// of wrong ones is refined. Where there are two crystals, to refine all would blur them into one.
assessment assessunrefined(const std::vector<vector3>& vectors, const assessment& lattice);

} // namespace torvik::tools
