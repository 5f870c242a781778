// Whether two bases are of one lattice, and the search of the store for a lattice.
#pragma once

#include "store/modofsavedbases.h"

namespace torvik {

// Says whether two bases span the same lattice.
//
// Given:     M         direct basis
//            inverse   inverse of the other direct basis
// Returned:  true if M inverse, the first basis in terms of the other, is nearly an integer matrix
//            of determinant +-1: | |det| - 1 | < 0.05, and less than 0.15 off in the sum over its
//            nine elements, both strictly
bool samelattice(const matrix3& M, const matrix3& inverse);

// What a lattice is first compared with, of each slot of the store: place k - 1 belongs to slot k.
struct slotcolumns {
    alignas(64) double x[maxsavedbases] = {}; // the first vector of the basis
    alignas(64) double y[maxsavedbases] = {};
    alignas(64) double z[maxsavedbases] = {};
    alignas(64) double volume[maxsavedbases] = {}; // of the cell
    alignas(64) double size[maxsavedbases] = {};   // bounds the products of three elements
};

// Takes note of the basis in a slot.
void noteslot(slotcolumns& slots, int slot);

// Gives the first slot of the store that holds a lattice (see samelattice), or 0.
//
// Given:     slots     all of them
//            inverse   of a basis of the lattice
//
// A lattice is compared with all slots in turn, and nearly all of them differ in the first vector or
// in volume already. Both are compared for several slots at once; samelattice decides on those that
// pass.
//
// Vectors: the sum of deviations only grows, so once it reaches its limit the rest need not be
// known. The first three deviations come from the same products and sums in the same order.
//
// Volumes: det T = det M det inverse, but for roundings. Let r be the sums of |elements| of the rows
// of M, s the largest |element| of the inverse, Z = r1 r2 r3 s^3, and u = 2^-53. The elements of T in
// row i are no larger than ri s, and wrong by 3.1 u ri s at most, which makes 56 u Z in the six
// products of the determinant; its own roundings make 32 u Z. det M and det inverse are six products
// each, wrong by 31 u of r1 r2 r3 and of s^3; times the other determinant that is 186 u Z each. Their
// product is rounded once more, 36 u Z. All in all the two differ by less than 500 u Z, for which
// 2^-42 Z is taken, 2048 u. (What underflows is no more than 1e-100, as long as no r or s is beyond
// 1e50; otherwise volumes exclude nothing.)
int firstsimilarslot(const slotcolumns& slots, const matrix3& inverse);

// The same in certain lanes (see lanes.h), which the processor must have.
int firstsimilarslotin(int whichlanes, const slotcolumns& slots, const matrix3& inverse);

} // namespace torvik
