// Sequential fits of many bases at a time, side by side.
#pragma once

#include "search/sequentialfitting.h"

#include <vector>

// One fit is a chain: the basis tells the next vector, and the vector the next basis. The fits of
// different bases have nothing to do with each other, so several go on side by side, one in each
// lane; where one ends, the next basis takes its lane. Each lane does what sequentialfit does, with
// the same operations in the same order, so it comes to the same bits. What only sequentialfit can
// round, indices of 2^31 and more or no numbers at all, is left to it.

namespace torvik {

// A fit to be done, and done.
struct fitting {
    matrix3 R;              // before: the basis to be refined; after: the refined one
    numbered<int, 3> start; // the three vectors that come first, by number
    int status = done;      // after: as of sequentialfit
    inversions seen;        // after: the inversions on the way
};

// Carries out fits, each as sequentialfit does it.
//
// Given:               V           the vectors
//                      threshold   smallest regular |det R|
//                      criterion   the main criterion
// Given and returned:  fits
void sequentialfits(std::vector<fitting>& fits, const vectorcolumns& V, double threshold,
                    double criterion);

// The same in certain lanes, which the processor must have.
void sequentialfitsin(int whichlanes, std::vector<fitting>& fits, const vectorcolumns& V,
                      double threshold, double criterion);

} // namespace torvik
