// Scoring a basis, passing to the dual basis, and least squares over the indexed reflections.
#pragma once

#include "numeric/columns.h"
#include "numeric/kernel.h"
#include "store/modofsavedbases.h"

// A direct basis D has the direct-lattice vectors in its rows, a reciprocal basis R the reciprocal
// ones; they are duals, D = transpose(inverse(R)) and back. The fractional Miller indices of a
// reflection r are x = D r.

namespace torvik {

// Counts the reflections that a basis indexes and weighs the counts into its quality.
//
// Given:     D         direct basis, lengths reciprocal to the reflections' unit
// Returned:  counts    reflections within half the main criterion (h) and within it (H), limits
//                      included; one with an index beyond maxallowedmillerindex counts nowhere
//            quality   w1 h + w2 H, with the weights for sorting bases
void basisquality(const matrix3& D, indexcounts& counts, double& quality);

// The same, with the reflections laid out in columns beforehand.
void basisquality(const vectorcolumns& reflections, const matrix3& D, indexcounts& counts,
                  double& quality);

// Gives the dual basis.
//
// Given:               M           basis in rows
//                      threshold   smallest |det M| that still counts as regular
// Returned:            N           transpose(inverse(M))
// Status:              done or failed. Deliberate: a failure leaves in N the transpose of what it
//                      held, so N is not to be used then.
void getreciprocalbasis(const matrix3& M, matrix3& N, double threshold, int& status);

// Fits a reciprocal basis to reflections and their indices by linear least squares, A ~ H R.
//
// Given:     m   how many rows are used
//            A   rows 1..m: reflection vectors
//            H   rows 1..m: their integer indices, as doubles
// Returned:  R   reciprocal basis; with three rows of independent indices the exact solution
// Status:    done, or failed where the indices lie in a plane; R is then untouched
void just_fit_aaa(int m, const vectorlist& A, const vectorlist& H, matrix3& R, int& status);

// The same from the sums P = transpose(H) A and Q = transpose(H) H.
void fitfromsums(const matrix3& P, const matrix3& Q, matrix3& R, int& status);

// Refits a direct basis to all reflections that it indexes within a threshold.
//
// Given:               threshold   largest deviation of an index from an integer, included
// Given and returned:  D           direct basis
// Status:              done; failed with too few such reflections (they must be more than a
//                      quarter of all, and more than four), with indices in a plane, or where the
//                      fitted vectors lie in one; D is then unchanged
void fittingabovethreshold(double threshold, matrix3& D, int& status);

// Rounds fractional indices to whole ones.
vector3 roundedindices(const vector3& x);

} // namespace torvik
