// The bounded store of the best bases found by the search.
#pragma once

#include "numeric/columns.h"
#include "store/similarity.h"

#include <vector>

// One lattice takes one slot: a basis of a lattice already held replaces it if it is at least as
// good, and is dropped otherwise. A full store gives up its worst basis for a better one.

namespace torvik {

// Offers a basis to the store.
//
// Given and returned:  D         direct basis, Buerger-reduced; divided if all its indices share a
//                                factor and the volume limits allow it
//                      counts    as basisquality gives them; counted anew after a division
//                      quality   likewise
//
// With volume limits on, a basis outside them is dropped. Log: where the basis was saved, or to
// which solution it is similar.
void savethebasis(matrix3& D, indexcounts& counts, double& quality);

// Its first half: says whether a basis lies within the volume limits, after dividing it where its
// indices allow that. Does not look at the store. Log: the divisions.
//
// Given:               reflections   all of them
// Given and returned:  as savethebasis
bool withinvolumelimits(const vectorcolumns& reflections, matrix3& D, indexcounts& counts,
                        double& quality);

// What is known of the store from one offer to the next.
struct storeknowledge {
    slotcolumns slots;       // of all bases held
    bool worstknown = false; // icurrentlyworstsavedbasis holds: the worst slot is looked for only
                             // after a quality has changed
    std::vector<soughtlattice> sought; // room for lattices that are prepared
};

// Takes note of the store as it stands.
storeknowledge knowledgeofstore();

// Says whether a basis is too weak to change the store: it is full of better ones. What is too weak
// once remains so, since a basis only gives way to one at least as good.
bool tooweak(double quality, storeknowledge& known);

// Its second half: offers a basis that lies within them.
//
// Given:               D, counts, quality   the basis
// Given and returned:  known                of the store, which only offers have changed since
void offerbasis(const matrix3& D, const indexcounts& counts, double quality, storeknowledge& known);

// The same, with its lattice prepared.
void offerbasis(const soughtlattice& lattice, const matrix3& D, const indexcounts& counts,
                double quality, storeknowledge& known);

// Looks for a basis of the same lattice, and replaces it by the candidate unless it is better.
//
// Given:     D, counts, quality   the candidate
// Returned:  1 if the store held the lattice already, 0 otherwise. A singular candidate is similar
//            to nothing.
int itissimilartoalreadysaved(const matrix3& D, const indexcounts& counts, double quality);

// Finds the slot of lowest quality. Deliberate: the last one of equals. An empty store changes
// nothing.
void indicatecurrentlyworstsavedbasis();

// Divides direct vectors by 5, 4, 3 or 2 where all well indexed reflections have the matching index
// divisible by it: the cell is then a multiple of the true one.
//
// Given and returned:  D         direct basis
//                      volume    its cell volume; never brought below minvolumeofprimitivecell
// Returned:            changed   1 if a vector was divided, otherwise 0
//
// Deliberate: each divisor is tried once on each vector, so a factor 9 is only partly removed.
void checkindexdivisibility(matrix3& D, double& volume, int& changed);

// The same, with the reflections laid out in columns beforehand.
void checkindexdivisibility(const vectorcolumns& reflections, matrix3& D, double& volume,
                            int& changed);

// Puts a basis with its counts and quality into a slot.
void fillslot(int slot, const matrix3& D, const indexcounts& counts, double quality);

} // namespace torvik
