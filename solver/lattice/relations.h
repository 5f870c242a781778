// Relations between lattices: the same, supercell, sublattice, or none.
#pragma once

#include "solver/lattice/linear.h"

#include <optional>
#include <vector>

namespace torvik::solver {

// The relation of the lattice of a basis D to that of a basis E in the same frame. `super`: the cell of
// D is `index` times as large, and its lattice is a sublattice of that of E: D = T E with integer T of
// determinant +-index. `sub`: the reverse, E = T D.
enum class kinship { same, super, sub };

struct lattice_relation {
    kinship how = kinship::same;
    int index = 1; // 1 if the same
    matrix3 T;     // integers
    // Largest deviation from an integer in the matrix between the reduced bases.
    double misfit = 0.0;
};

// Compares two lattices in one frame.
//
// Given:     D, E       direct bases, rows
//            tolerance  of the elements of the matrix between the reduced bases, from integers
//            largest    index that is considered
// Returned:  nothing if the lattices are not related
// Throws:    invalid_input if a basis is coplanar or not finite
std::optional<lattice_relation> relation_between(const matrix3& D, const matrix3& E,
                                                 double tolerance = 0.1, int largest = 16);

// Whether two bases in one frame span the same lattice within the same tolerance.
bool same_lattice(const matrix3& D, const matrix3& E, double tolerance = 0.1);

// The bases T * basis of all superlattices of an index, with T in Hermite normal form: each once. Their
// number is the sum of d1^2 d2 over d1 d2 d3 = index.
std::vector<matrix3> hermite_forms(int index);

// The bases T * basis, with fractions in T, of all lattices of which the given one is a superlattice of
// an index: each once. They are the inverses of the transposed Hermite forms; the inverses of the
// forms themselves would repeat some and omit others.
std::vector<matrix3> finer_forms(int index);

struct cell_match {
    kinship how = kinship::same; // of D to E
    int index = 1;
    matrix3 T; // T * D is congruent to the basis E if D is the same or a sub, else T * E to D
    double misfit = 0.0; // largest relative difference of a length, or of an angle in radians
};

// Compares two lattices in any orientation, and superlattices of both. All bases of short vectors are
// compared, not only the reduced ones, which may jump where a cell is near a boundary between reduced
// forms. The smallest index wins, then the best fit. The congruent bases have the same hand: T has
// determinant +-index.
//
// Given:     D, E     direct bases, rows
//            length   largest relative difference of lengths, as a part of those of E
//            angle    largest difference of angles, degrees
//            largest  index that is considered
// Returned:  nothing if no bases match
// Throws:    invalid_input if a basis is coplanar or not finite
std::optional<cell_match> match_cells(const matrix3& D, const matrix3& E, double length = 0.02,
                                      double angle = 2.0, int largest = 6);

} // namespace torvik::solver
