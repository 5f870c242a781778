// Whether one lattice is the other, a part of it, or neither.
#pragma once

#include "base/linear.h"

#include <optional>
#include <vector>

namespace torvik::tools {

// How the lattice of a basis D lies to that of a basis E, in the frame of both:
// `super`: the cell of D is `index` times as large and its lattice a part of that of E: D = T E with
// whole T of determinant +-index; `sub`: the other way round, E = T D.
enum class kinship { same, super, sub };

struct latticerelation {
    kinship how = kinship::same;
    int index = 1; // 1 if the same
    matrix3 T;     // whole numbers
    // Largest deviation of an element of the matrix between the reduced bases from a whole number.
    double misfit = 0.0;
};

// Compares two lattices in one frame, up to `largest` for the index. No answer if they are not
// related within the tolerance, by which elements of the matrix between their reduced bases may be off
// whole numbers.
std::optional<latticerelation> relationbetween(const matrix3& D, const matrix3& E,
                                               double tolerance = 0.1, int largest = 16);

// Says whether two bases in one frame span one lattice, within the same tolerance.
bool samelattice(const matrix3& D, const matrix3& E, double tolerance = 0.1);

// The bases, as whole matrices T in Hermite form, of all superlattices of an index: T * basis.
// Each once; the count is the sum of d1^2 d2 over d1 d2 d3 = index.
std::vector<matrix3> hermiteforms(int index);

// The bases of all lattices that have the given one as a superlattice of an index, as T * basis, with
// fractions in T. Each once, which the inverse Hermite forms would not give: their transposes do.
std::vector<matrix3> finerforms(int index);

// Compares two lattices of any orientation: bases of both with lengths that differ by less than a
// part `length` of the second's, and angles by less than `angle` degrees. All bases of short vectors
// are compared, not the reduced ones alone, which may jump where a cell is near a boundary of the
// reduced forms. Tries superlattices of both up to `largest`. The smallest index, then the best fit,
// wins. The congruent bases have one hand: T has determinant +-index.
struct cellmatch {
    kinship how = kinship::same; // of D to E
    int index = 1;
    matrix3 T; // T * D is congruent to the basis E if D is the same or a sub, else T * E to D
    double misfit = 0.0; // largest relative difference of a length, or of an angle in radians
};
std::optional<cellmatch> matchcells(const matrix3& D, const matrix3& E, double length = 0.02,
                                    double angle = 2.0, int largest = 6);

} // namespace torvik::tools
