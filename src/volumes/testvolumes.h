// The test volumes: the volume range, the grid of test periods, and the peaks of the periodogram.
#pragma once

#include "text/names.h"

// Volumes come in two forms: an RS volume is that of the primitive reciprocal cell, a DS volume
// that of the direct cell, DS = 1/RS. The tables hold RS volumes; parameters and messages give DS
// volumes.

namespace torvik {

// Gives the largest absolute triple product of any three reflections, an RS volume; 0 with fewer
// than three.
double maxrlvolumeinperiodogram();

// Sets the volume range, if the user gave none, and the grid of test periods.
//
// Deliberate: the automatic range spans a factor of 10000 upwards from the volume of a cube whose
// edge is the inverse of the shortest reflection; the limits then stay switched off.
//
// The DS volumes 1/P are evenly spaced, from the largest downwards, so that t/P of the largest
// triple product t changes by q = 1/(2 extent + 2) cycles from one period to the next.
// Deliberate: a range that needs more periods than the table holds is covered from its top only.
//
// Log:       the number of periods, the range, the step
void initializingvolumes2();

// Computes the periodogram and takes its peaks for test volumes.
//
// Given:     filename   of the input, for a periodogram file
//
// The periodogram is split into 1 to 16 overlapping fragments, one more for each factor 4 of its
// length, and the strongest peaks of each are taken: at most 350 in all.
//
// Log:       the fragments and the test volumes
void estimate_true_rvolumes(const inputfilename& filename);

// Orders the test volumes from the smallest cell to the largest, user-given ones as well.
void sortthetestvolumes();

} // namespace torvik
