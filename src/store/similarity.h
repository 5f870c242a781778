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
    alignas(64) float vectors[6][maxsavedbases] = {};  // the first two vectors, by component
    alignas(64) float reach[maxsavedbases] = {};       // their |components|, added up
    alignas(64) float roughvolume[maxsavedbases] = {}; // the volume, or not a number
    double volume[maxsavedbases] = {};                 // of the cell
    double size[maxsavedbases] = {};                   // bounds the products of three elements
};

// A lattice that is looked for, and what follows from its inverse.
struct soughtlattice {
    matrix3 inverse;     // of a basis of it
    bool regular;        // false: the basis is singular, and similar to nothing
    double row[3][4];    // of the inverse, with room behind it
    double volume;       // |det inverse|
    double uncertain;    // times the size of a slot: how far volumes may be off
    float rounded[3][4]; // the rows
    float spread;        // times the reach of a slot: how far deviations may be off
    float roughvolume;   // the volume, or not a number
};

// Prepares the lattice of a direct basis. Several are best prepared before the first of them is looked
// for: then no inversion waits for what has to be decided in between.
void setlattice(soughtlattice& sought, const matrix3& D);

// The same, once the inverse is there.
void setfrominverse(soughtlattice& sought);

// Takes note of the basis in a slot.
void noteslot(slotcolumns& slots, int slot);

// Gives the first slot of the store that holds a lattice (see samelattice), or 0.
//
// Given:     slots     all of them
//            sought    the lattice
//
// A lattice is compared with all slots in turn, and nearly all of them differ in the first two vectors
// already. These are compared for many slots at once in single precision; then all three vectors, and
// the volume, of a slot that passes; and where that does not decide, samelattice does.
//
// Single precision: an index is a sum of three products of elements that were rounded before; so it is
// wrong by no more than 5.1 v ri s, where v = 2^-24, ri is the sum of |elements| in row i of the basis,
// and s the largest |element| of the inverse. Its distance from the nearest whole number is exact, and
// so wrong by no more than that, if the index is below 2^22; beyond, 8 v ri s is more than any distance
// that comes out. The six together are wrong by less than 24 v (r1 + r2) s, and their sum in its own
// roundings, and by what underflows, by less than 1e-5. So a slot is left out only if the sum is above
// its limit by more than both. (Not finite numbers leave none out.) The deviations of the third vector
// could only add to the sum.
//
// Double precision: the same indices as those of samelattice, but their deviations are added in another
// order, which makes a difference of less than 1e-12 to a sum near the limit.
//
// Volumes: det T = det M det inverse, but for roundings. Let r be the sums of |elements| of the rows
// of M, s the largest |element| of the inverse, Z = r1 r2 r3 s^3, and u = 2^-53. The elements of T in
// row i are no larger than ri s, and wrong by 3.1 u ri s at most, which makes 56 u Z in the six
// products of the determinant; its own roundings make 32 u Z. det M and det inverse are six products
// each, wrong by 31 u of r1 r2 r3 and of s^3; times the other determinant that is 186 u Z each. Their
// product is rounded once more, 36 u Z. All in all the two differ by less than 500 u Z, for which
// 2^-42 Z is taken, 2048 u. (What underflows is no more than 1e-100, as long as no r or s is beyond
// 1e50; otherwise volumes decide nothing.)
//
// Volumes in single precision, sixteen slots at once: the product of two is wrong by 3.1 v of itself.
// It is asked only where r1 r2 r3 is no more than 100 times the one volume, and s^3 no more than 1e5
// times the other: then 2^-42 Z is less than 2.3e-6 of it, and both together are less than 3e-6, with
// a limit of 0.05 for which 0.05001 is taken. Elsewhere, and for volumes that are not between 1e-30
// and 1e30, the volume is put down as not a number, which leaves none out.
int firstsimilarslot(const slotcolumns& slots, const soughtlattice& sought);

// The same in certain lanes (see lanes.h), which the processor must have.
int firstsimilarslotin(int whichlanes, const slotcolumns& slots, const soughtlattice& sought);

} // namespace torvik
