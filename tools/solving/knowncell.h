// How far measured vectors speak for a cell that is known, in some orientation, against chance.
#pragma once

#include "lattice/cell.h"
#include "solving/evidence.h"

#include <limits>
#include <vector>

// THE STATISTIC. The likelihood is that of evidence.h: with errors of s in each component, a fraction
// w of wrong ones and the volume V of the cell,
//
//     L = sum over i of log((1 - w) G(r_i) / V + w),   G(r) = exp(-r^2 / (2 s^2)) / (2 pi s^2)^(3/2).
//
// What is averaged over is far less than all lattices. A cell that others gave is right to some tenths
// of a per cent, so the lattice is UB = R (1 + e) UB0: UB0 of the known cell, upright, e a small
// symmetric strain, R a rotation.
//
// - All rotations are equally likely by their invariant measure: near any of them that is the volume
//   of the vectors w of small further turns, and in all 8 pi^2.
// - The strain is normal, of mean 0, its density exp(-|e|^2 / (2 t^2)) / (2 pi t^2)^3, with t = 0.3 %
//   and |e|^2 the sum of the squares of all nine elements: no choice of axes is in that. The six
//   components that are independent in this measure are e11, e22, e33, and sqrt(2) times e23, e13 and
//   e12 (deformation.h): lengths are uncertain by 0.3 %, angles between axes at right angles by 0.24
//   degrees.
//
// The posterior is normal in the nine components x of turn and strain, with the precision
//
//     M = A / s^2 + (0, 0, 0, 1/t^2, ..., 1/t^2),   x^T A x = sum over the genuine of |E g|^2,
//
// g = UB h and E = [w] + e. A symmetric cell has its lattice again after certain turns, and nearly so
// after those of a symmetry that it nearly has: a lattice is met once for each of them, by another
// strain e_T. The integral is the sum of them all,
//
//     E = L + 9/2 log(2 pi) - 1/2 log det M - log(8 pi^2)
//           + log(sum over T of exp(-|e_T|^2 / (2 t^2)) / (2 pi t^2)^3) - log n,
//
// natural logarithms, for n cells that were given, each as likely as any other. Where all strains are
// 0 the sum over T is the number of rotations of the lattice: it divides the volume of orientations.
// e^E is how much more likely the vectors are with the cell than with none.

namespace torvik::tools {

// The standard deviation t of a component of the strain.
constexpr double usualstrain = 0.003;

// A cell that is given.
struct givencell {
    explicit givencell(const cell6& cell);

    matrix3 basis; // direct, of shortest vectors, right-handed, in some orientation
    matrix3 UB;    // its inverse
    matrix3 back;  // whole, of determinant 1: the given axes are back * basis
    double volume = 0.0;
    // The rotations of the lattice, by T * basis = basis * rotation; those as well that it nearly has.
    std::vector<matrix3> turns;

    // The rotation of a lattice that has this cell, but for small strains: its direct basis in the
    // setting that was given. Vectors = R UB h.
    [[nodiscard]] matrix3 orientationof(const matrix3& given) const;
};

// Refines the orientation of a cell on all vectors, with its strain, and gives its evidence. The
// basis of the result is that of shortest vectors.
//
// Given:  R      rotation, right to about a tenth of an index: vectors = R UB h
//         cells  how many were given
//         least  a lattice that stays far below this evidence is not refined to the end
assessment assessknown(const std::vector<vector3>& vectors, const givencell& cell, const matrix3& R,
                       int cells = 1, double least = -std::numeric_limits<double>::infinity());

} // namespace torvik::tools
