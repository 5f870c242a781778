// The last polish of the store: refit, sorting, and removal of duplicates.
#pragma once

namespace torvik {

// Refits every saved basis, then sorts the store.
//
// Given:     mode   0: by quality, best first, the smaller cell first among equals;
//                   otherwise: by cell volume, smallest first, the better first among equals
//
// Each basis is refitted with tolerances from 2 down to 0.25 times the main criterion; a refit that
// raises the quality is kept. Deliberate: this happens at every call, and two slots equal in
// quality and volume are exchanged at every comparison.
void sortsavedbases3(int mode);

// Removes every basis that spans the same lattice as a basis in an earlier slot.
void finalcheckofsimilarity();

// Removes a slot and closes the gap.
//
// Given:     k   slot number; not validated: beyond the last slot nothing moves, and the count is
//                lowered all the same
void eliminatebasis(int k);

} // namespace torvik
