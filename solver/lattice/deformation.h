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

// Adds the precision of a normal prior of the strains, with this standard deviation, to the diagonal.
void add_prior(nine_by_nine& A, double deviation);

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

// The sum of the squares of the nine elements of the strain e = (F^T F - 1) / 2 of a matrix that is
// nearly a rotation.
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
