// Small changes of a lattice: three turns and six strains, and how sharply vectors fix them.
#pragma once

#include "base/linear.h"

#include <array>
#include <optional>
#include <vector>

// A lattice UB that is changed a little is (1 + E) UB. The nine elements of E are written as the
// three components of a turn w and six of a strain e: E = [w] + e, [w] g = w x g, e symmetric. The six
// are such that the sum of their squares is that of all nine elements of e, which no turn of the axes
// changes: e11, e22, e33, and sqrt(2) times e23, e13 and e12.

namespace torvik::tools {

using nine = std::array<double, 9>; // w, then e
using ninebynine = std::array<nine, 9>;

// E of its nine components.
matrix3 deformationof(const nine& x);

// The sum over points g of |E g|^2 is x^T A x, if G is the sum of g g^T: A is this.
ninebynine squaresof(const matrix3& G);

// The sum over points of d (E g) is b^T x, if D is the sum of d g^T: b is this.
nine productsof(const matrix3& D);

// Adds to the diagonal what a normal prior of the strains, with this standard deviation, adds to
// their precision.
void addprior(ninebynine& A, double deviation);

// A symmetric positive matrix, split into a triangle and its transpose (Cholesky).
class splitmatrix {
public:
    // Nothing if the matrix is not positive, to rounding.
    static std::optional<splitmatrix> of(const ninebynine& A);

    [[nodiscard]] double logdeterminant() const;
    [[nodiscard]] nine solve(const nine& b) const;
    [[nodiscard]] ninebynine inverse() const;

private:
    explicit splitmatrix(const ninebynine& L) : L_(L) {}
    ninebynine L_;
};

// The strain that a matrix near to a rotation makes, e = (F^T F - 1) / 2: the sum of the squares of its
// nine elements.
double strainsquare(const matrix3& F);

// The rotations of a lattice, also those that it nearly has, by a strain (the root of the above) of less
// than `strain`: T * basis = basis * rotation, but for the strain. The basis is one of shortest vectors.
std::vector<matrix3> turnsof(const matrix3& basis, double strain);

// The nearest rotation to a matrix that is nearly one.
matrix3 nearestrotation(matrix3 R);

// The rotation by a vector: about its direction, by its length in radians.
matrix3 rotationby(const vector3& w);

} // namespace torvik::tools
