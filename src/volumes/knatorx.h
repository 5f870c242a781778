// The enumerator of subsets.
#pragma once

#include "numeric/arrays.h"

namespace torvik {

// A subset of reflection positions; entries beyond its size are the enumerator's.
using subset = numbered<int, maxreflections>;

// Yields the k-element subsets of 1..n, one a call, in lexicographic order.
//
// Given:               n, k    sizes; with fewer elements than k there is no subset
// Given and returned:  first   1 to begin; 0 after a call that yielded a subset, 1 when none is
//                              left
//                      a       the subset in a(1) < a(2) < ... < a(k); keep it between calls
//
// Its position is kept from call to call and shared by all callers, so an enumeration runs to its
// end, or is begun anew, before another one begins; none is nested in another.
void knatorx(int& first, int n, int k, subset& a);

// A second enumerator with a position of its own. Deliberate: kept, though nobody calls it.
void knatory(int& first, int n, int k, subset& a);

} // namespace torvik
