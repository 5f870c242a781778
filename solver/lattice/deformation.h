// Small deformations of a lattice: three rotations and six strains, and their precision.
#pragma once

#include "solver/lattice/linear.h"

#include <array>
#include <optional>
#include <vector>

// A slightly deformed lattice UB is (1 + E) UB. The nine elements of E are written as the three
// components of a rotation vector w and six of a strain e: E = [w] + e, [w] g = w x g, e symmetric.
// The six are e11, e22, e33, and sqrt(2) times e23, e13 and e12: the sum of their squares is that of
// all nine elements of e, and does not depend on the choice of axes.

namespace torvik::solver {

using nine = std::array<double, 9>; // w, then e
using nine_by_nine = std::array<nine, 9>;

// E from its nine components.
matrix3 deformation_of(const nine& x);

// A such that the sum of |E g|^2 over points g is x^T A x, with G the sum of g g^T.
nine_by_nine squares_of(const matrix3& G);

// b such that the sum of d . (E g) over points g is b^T x, with D the sum of d g^T.
nine products_of(const matrix3& D);

// The precision of a normal prior of the strains, which adds to that of the data. Each component of e has the
// same standard deviation t. A common scale 1 + k of all lengths, normal with the deviation kappa, adds
// k (1, 1, 1, 0, 0, 0) to e: along the unit vector (1, 1, 1, 0, 0, 0) / sqrt(3), the isotropic part of the
// strain, the variance is t^2 + 3 kappa^2.
struct strain_prior {
    double deviation = 0.0;       // t
    double scale_deviation = 0.0; // kappa

    // Adds the precision to that of the nine components.
    void add_to(nine_by_nine& A) const;

    // The precision times a strain; the first three components are 0.
    [[nodiscard]] nine times(const nine& x) const;

    // The square of a strain in units of the deviations.
    [[nodiscard]] double square(const matrix3& strain) const;

    // The logarithm of the determinant of the covariance.
    [[nodiscard]] double log_determinant() const;

    // The variance of the isotropic part.
    [[nodiscard]] double isotropic_variance() const;
};

// The Cholesky factorisation of a symmetric positive definite matrix.
class cholesky {
public:
    // Nothing if the matrix is not positive definite, to rounding.
    static std::optional<cholesky> of(const nine_by_nine& A);

    [[nodiscard]] double log_determinant() const;
    [[nodiscard]] nine solve(const nine& b) const;
    [[nodiscard]] nine_by_nine inverse() const;

private:
    explicit cholesky(const nine_by_nine& L) : L_(L) {}
    nine_by_nine L_;
};

// The strain e = (F^T F - 1) / 2 of a matrix that is nearly a rotation.
matrix3 strain_of(const matrix3& F);

// The sum of the squares of the nine elements of this strain.
double strain_square(const matrix3& F);

// The rotations of a lattice, including approximate ones, as integer matrices T of determinant 1:
// T * basis = basis * rotation, up to a strain.
//
// Given:  basis   direct, of shortest vectors, rows
//         strain  upper limit of the root of strain_square
std::vector<matrix3> rotations_of(const matrix3& basis, double strain);

// The rotation nearest to a matrix that is nearly a rotation.
// Source: Newton's iteration to the orthogonal factor (Higham, 1986)
matrix3 nearest_rotation(matrix3 R);

// The rotation about the direction of a vector, by its length in radians.
// Source: Rodrigues' formula
matrix3 rotation_by(const vector3& w);

} // namespace torvik::solver
