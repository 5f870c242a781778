// Hermite normal form tables, and the bases of the lattices that contain a given one.
#pragma once

#include "superlattices/matricesforalternativebases.h"

// Three reflections span the reciprocal lattice or a sublattice of it of some small index n. For a
// basis B of the spanned lattice, the rows of M^-1 B, with M running over the integer matrices in
// Hermite normal form of determinant n, give every lattice that contains it with index n, each
// exactly once. So the inverses are tabulated once, and the search multiplies.
//
// The order of the matrices fixes the order in which the search tries the alternatives.

namespace torvik {

// The bases of one expansion.
using alternativebases = numbered<matrix3, maxalternativebases>;

// Builds the tables for n = 1..16. A repeated build gives the same tables.
void getlowindexsuperlattices();

// Appends to table n the inverses of all Hermite normal forms with a given diagonal.
//
// Given:     n            determinant, 1..16
//            d1, d2, d3   diagonal, with d1 d2 d3 = n
//
// M = [[d1, p, q], [0, d2, r], [0, 0, d3]] with 0 <= p, q < d1 and 0 <= r < d2, r running fastest:
// d1^2 d2 matrices.
void generatehermitenormalforms(int n, int d1, int d2, int d3);

// Gives the bases of every lattice that contains the lattice of M with index n.
//
// Given:     n       index, 1..16
//            M       reciprocal basis in rows
// Returned:  count   how many bases there are
//            bases   entries 1..count, each with cell volume |det M| / n, in table order; later
//                    entries are left as they were. For n = 1 the one entry is M itself.
// Cost:      one 3x3 product for each basis
void getalternativerlbases(int n, const matrix3& M, int& count, alternativebases& bases);

// Gives the matrices of table n.
//
// Given:     n   determinant, 1..16
// Returned:  pointer to the first of its matrices
matrix3* superlatticetable(int n);

} // namespace torvik
