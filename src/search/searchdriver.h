// The search for bases around every test volume.
#pragma once

#include "numeric/arrays.h"

// For every test volume and a band of values around it, the trial vectors are ranked, every triple
// of survivors whose cell volume is close to a small multiple k of the test value is expanded into
// the bases of all lattices that contain its lattice with index k, and each such basis is reduced,
// refined and offered to the store. Nothing here fails: a triple or a basis that does not fit
// simply yields no candidate.

namespace torvik {

// Searches at every test volume.
//
// Terminal:  the number of test volumes and a progress line that overwrites itself
// Log:       every test volume and test value
void getthebasis();

// Searches at the volume under test, with the trial vectors that the ranking has left.
//
// Cost:      a determinant for each triple of trial vectors; the fits of all bases of those that
//            pass
// Log:       the triples that pass
void fitting5();

// Scores a reciprocal basis and offers its direct basis to the store if it indexes enough
// reflections: nint(sqrt(2.2 N)) within half the main criterion.
//
// Given:     R   reciprocal basis; a cell volume below half the one under test is refused
void indexing(const matrix3& R);

// Refines a reciprocal basis by taking in vectors one at a time, the best indexed first.
//
// Given and returned:  R       reciprocal basis
// Given:               n       how many vectors
//                      V       rows 1..n: the vectors to choose from
//                      start   positions of the three vectors to begin with
// Status:              done if R is refined; failed if the last inversion or fit was refused
//
// The indices of a vector are rounded under the basis at the moment when it is taken. Deliberate:
// they are never computed again, and a refused inversion keeps the last basis and goes on.
void sequentialfittingrlbasis(matrix3& R, int n, const vectorlist& V, const numbered<int, 3>& start,
                              int& status);

// Replaces a reciprocal basis by the one in which its three shortest vectors have exactly the whole
// indices that they nearly have.
//
// Given and returned:  R   reciprocal basis
// Given:               n   how many vectors
//                      V   rows 1..n: the vectors
// Status:              done; failed, with R unchanged, if one of the three is further than 0.25
//                      from whole indices, if they lie in a plane, or with fewer than three
void rlbasisfromshortesthighqualityvectors(matrix3& R, int n, const vectorlist& V, int& status);

} // namespace torvik
