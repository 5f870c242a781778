// The shortest vectors of a lattice.
#pragma once

#include "solver/lattice/linear.h"

#include <optional>
#include <vector>

namespace torvik::solver {

// A basis of shortest vectors, in increasing length: basis = T * (given basis), T an integer matrix of
// determinant 1 or -1.
struct short_basis {
    matrix3 basis;
    matrix3 T;
};

// Reduces a basis to shortest vectors. A symmetric lattice has several such bases, of which this is an
// arbitrary one; `niggli` and `delaunay` choose.
//
// Given:     basis  direct, rows; any hand
// Returned:  nothing if the rows are coplanar or not finite
// Source:    Minkowski (1905); the reduction in three dimensions: Semaev (2001)
std::optional<short_basis> try_shortest_basis(const matrix3& basis);

// The same; throws invalid_input if the rows are coplanar or not finite.
short_basis shortest_basis(const matrix3& basis);

// A vector of a lattice.
struct lattice_vector {
    vector3 factors;     // integer multiples of the rows of a basis
    vector3 value;       // angstroms
    double square = 0.0; // of its length
};

// The non-zero vectors of a lattice up to a length, one of each pair of opposite ones.
//
// Given:  shortest  basis of shortest vectors, rows
//         length    at most about twice that of the longest row: multiples of rows up to 4 are tried
std::vector<lattice_vector> short_vectors(const matrix3& shortest, double length);

} // namespace torvik::solver
