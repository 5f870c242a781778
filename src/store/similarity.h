// Whether two bases are of one lattice, and the search of the store for a lattice.
#pragma once

#include "numeric/arrays.h"

namespace torvik {

// Says whether two bases span the same lattice.
//
// Given:     M         direct basis
//            inverse   inverse of the other direct basis
// Returned:  true if M inverse, the first basis in terms of the other, is nearly an integer matrix
//            of determinant +-1: | |det| - 1 | < 0.05, and less than 0.15 off in the sum over its
//            nine elements, both strictly
bool samelattice(const matrix3& M, const matrix3& inverse);

// Gives the first slot of the store that holds a lattice (see samelattice), or 0.
//
// Given:     inverse   of a basis of the lattice
//
// A lattice is compared with all slots in turn, and nearly all of them differ in the first vector
// already. The sum of deviations only grows: once it reaches its limit, the rest need not be known.
// It grows through the three deviations of a vector in the order of the whole sum, so it has the
// same bits there. They are rounded by adding a large number, which is exact while the sum can stay
// below the limit; where it does, samelattice itself decides.
int firstsimilarslot(const matrix3& inverse);

} // namespace torvik
