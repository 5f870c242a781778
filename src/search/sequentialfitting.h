// The growth of a fit: vectors are taken in one at a time, the best indexed first.
#pragma once

#include "numeric/columns.h"
#include "numeric/kernel.h"

// The sums of a least-squares fit over the vectors taken so far grow by one row for each further
// vector. The terms are added in the order in which a sum over all rows would add them, so the sums
// have the same bits, and a fit costs the same however many vectors it holds.

namespace torvik {

// How the inversions on the way to an answer went, by what their determinants were compared with.
// With any threshold that is above all that failed and not above any that succeeded, the way and
// the answer are the same.
struct inversions {
    double smallestregular = largestdeterminant;  // |det| of those that succeeded
    double largestsingular = -largestdeterminant; // |det| of those that failed
    static constexpr double largestdeterminant = 1.7976931348623157e308;
};

// Says whether inversions end with another threshold as they did.
bool endalike(const inversions& seen, double threshold);

// Adds inversions to those seen before.
void addinversions(inversions& seen, const inversions& further);

// Inverts a matrix (see invmat) and takes note of the outcome.
void notedinverse(const matrix3& a, matrix3& ainv, double threshold, int& status, inversions& seen);

// The sums transpose(H) A and transpose(H) H over rows of indices H and vectors A.
struct fitsums {
    matrix3 P = {};
    matrix3 Q = {};
};

// Adds a vector, with its rounded indices under G, the inverse of a reciprocal basis.
void addtosums(fitsums& sums, const vector3& v, const matrix3& G);

// Refines a reciprocal basis as sequentialfittingrlbasis does.
//
// Given:               V           the vectors
//                      start       the three that come first, by number
//                      threshold   smallest regular |det R|
//                      criterion   the main criterion
// Given and returned:  R           reciprocal basis
//                      seen        the inversions by that threshold
// Status:              as there
void sequentialfit(matrix3& R, const vectorcolumns& V, const numbered<int, 3>& start,
                   double threshold, double criterion, int& status, inversions& seen);

} // namespace torvik
