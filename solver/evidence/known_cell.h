// Bayesian evidence for a known cell in some orientation.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/deformation.h"

#include <limits>
#include <vector>

// THE STATISTIC. The likelihood is that of free_lattice.h: with errors of standard deviation s in each
// component, an outlier fraction w and the volume V of the cell,
//
//     L = sum over i of log((1 - w) G(r_i) / V + w),   G(r) = exp(-r^2 / (2 s^2)) / (2 pi s^2)^(3/2).
//
// The prior is much narrower than that over all lattices. A cell from another crystal or source is
// correct to some tenths of a per cent, so the lattice is UB = R (1 + e) UB0: UB0 of the known cell in a
// standard orientation, e a small symmetric strain, R a rotation.
//
// - All rotations are equally probable by their invariant measure: near any of them that is the volume
//   of the vectors w of small further rotations, and in total 8 pi^2.
// - The strain is normal with mean 0 and density exp(-|e|^2 / (2 t^2)) / (2 pi t^2)^3, with t = 0.3 %
//   and |e|^2 the sum of the squares of all nine elements, which does not depend on the choice of axes.
//   The six independent components in this measure are e11, e22, e33, and sqrt(2) times e23, e13 and
//   e12 (deformation.h): lengths are uncertain by 0.3 %, angles between perpendicular axes by 0.24
//   degrees.
// - A wrong wavelength or distance multiplies all vectors by one factor exp(k), with k normal around 0
//   with standard deviation c. To first order this adds k times the unit matrix to e, whose square sum is 3,
//   so the sum of both is again normal: the five components without trace keep the variance t^2, and the
//   isotropic one, tr(e) / sqrt(3), has t^2 + 3 c^2. The covariance has the determinant
//   D = t^10 (t^2 + 3 c^2), and the scale needs no further parameter. With c = 1 % a scale that the
//   vectors determine costs 1/2 log(1 + 3 c^2 / t^2) = 1.8 nats, the Occam factor of the wider prior; one that
//   they do not determine costs nothing, as M has a smaller determinant by the same factor.
//
// The posterior is normal in the nine components x of rotation and strain, with the precision
//
//     M = A / s^2 + P,   x^T A x = sum over the inliers of |E g|^2,
//
// g = UB h, E = [w] + e, and P the precision of the strain, 0 for the rotation. A symmetric cell coincides with itself after certain rotations, and nearly
// so after those of a symmetry that it nearly has: each of them describes the same lattice once more, by
// another strain e_T. The integral is the sum over them all,
//
//     E = L + 9/2 log(2 pi) - 1/2 log det M - log(8 pi^2)
//           + log(sum over T of exp(-e_T^T P e_T / 2) / ((2 pi)^3 D^(1/2))) - log n,
//
// in natural logarithms, for n given cells of equal probability. Where all strains are 0 the sum over T
// is proportional to the number of rotations of the lattice, by which it divides the volume of
// orientations. e^E is the ratio of the probabilities of the vectors with the cell and without any.

namespace torvik::solver {

// The standard deviation t of a component of the strain.
constexpr double usual_strain = 0.003;

// A known cell in some orientation, deformed: vectors = R (1 + strain) UB h.
struct deformed_cell {
    matrix3 R; // rotation
    matrix3 strain{0.0};
};

// A known cell, prepared for the search.
struct given_cell {
    // Throws as check_cell.
    //
    // Given:  scale_deviation  c: 0 if the scale of the vectors is exact
    explicit given_cell(const cell_parameters& cell, double scale_deviation = 0.0);

    matrix3 basis;    // direct, of shortest vectors, right-handed, in a standard orientation
    matrix3 UB;       // its inverse
    matrix3 to_given; // integers, determinant 1: given axes = to_given * basis
    double volume = 0.0;
    strain_prior prior;
    // The rotations of the lattice, including approximate ones: T * basis = basis * rotation.
    std::vector<matrix3> rotations;

    // The rotation R (vectors = R UB h) of a lattice with this cell up to small strains, from its direct
    // basis in the given setting.
    [[nodiscard]] matrix3 orientation_of(const matrix3& given) const;

    // The same with the strain, which may be of any size.
    [[nodiscard]] deformed_cell deformed_as(const matrix3& given) const;
};

// Refines the orientation and the strain of a cell on all vectors, and computes its evidence. The basis
// of the result is that of shortest vectors.
//
// Given:  vectors  1/angstrom
//         R        rotation, correct to about a tenth of an index: vectors = R UB h
//         cells    number of given cells
//         least    refinement stops early if the evidence stays far below this value
assessment assess_known(const std::vector<vector3>& vectors, const given_cell& cell,
                        const matrix3& R, int cells = 1,
                        double least = -std::numeric_limits<double>::infinity());

// The same, from a strain that is known about: where the scale is off by 2 %, indices above 5 are wrong without.
assessment assess_known(const std::vector<vector3>& vectors, const given_cell& cell,
                        const deformed_cell& start, int cells = 1,
                        double least = -std::numeric_limits<double>::infinity());

} // namespace torvik::solver
