// The shortest vectors of a lattice.
#pragma once

#include "base/linear.h"

#include <vector>

namespace torvik::tools {

// A basis of shortest vectors, in rising length (Minkowski, 1905; the reduction in three dimensions
// after Semaev, 2001): basis = T * the given one, T of whole numbers and determinant 1 or -1. Of the
// many that a symmetric lattice has it is some one; `niggli` and `delaunay` choose. Throws a failure
// if the rows lie in a plane or are not numbers.
struct shortbasis {
    matrix3 basis;
    matrix3 T;
};
shortbasis shortestbasis(const matrix3& basis);

// A vector of a lattice: whole multiples of the rows of a basis.
struct latticevector {
    vector3 factors;
    vector3 value;
    double square = 0.0; // of its length
};

// The vectors of a lattice but 0 up to a length, one of each pair of opposite ones, given a basis of
// shortest vectors. `length` is at most about twice that of the longest of the basis: multiples of
// rows up to 4 are tried.
std::vector<latticevector> shortvectors(const matrix3& shortest, double length);

} // namespace torvik::tools
