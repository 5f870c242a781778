// Reductions of many bases at a time, side by side.
#pragma once

#include "numeric/arrays.h"

#include <vector>

// A reduction goes by comparisons, which a processor guesses wrong time and again, and each of its
// passes waits for the one before. Here several bases are reduced side by side, one in each lane:
// what a pass does in some cases only is done in all lanes, and taken over where the case is given.
// Each basis goes through the operations of reduction.cpp in their order, and so comes to the same
// bits. (A fresh dot product of two vectors is the mixed product that is held: exchanges and changes
// of sign are exact.) A basis whose squared lengths add up to more than 1e200, or to no number, and
// one that is not reduced after 64 passes, begins again by itself.

namespace torvik {

// Reduces bases, each as simplereduction does.
//
// Given and returned:  bases
void simplereductions(std::vector<matrix3>& bases);

// Reduces bases, each as buergerreduction does.
//
// Given and returned:  bases
void buergerreductions(std::vector<matrix3>& bases);

// The same in certain lanes (see lanes.h), which the processor must have.
void simplereductionsin(int whichlanes, std::vector<matrix3>& bases);
void buergerreductionsin(int whichlanes, std::vector<matrix3>& bases);

} // namespace torvik
