// Ranking of the trial vectors against the volume under test.
#pragma once

#include "volumes/rankingscores.h"

namespace torvik {

// Drops the trial vectors that agree least with the volume under test.
//
// Given:     nremove   how many to drop; none for zero or less
//
// Reads and shortens list_of_trial_vectors in place; the survivors keep their order. On entry the
// list holds all reflections.
//
// If a reciprocal lattice has the primitive-cell volume V, the triple product of any three of its
// vectors is a whole multiple of V. A vector's score is the sum, over its triple products with all
// pairs of the others, of the ranking curve at the fractional part of the product over V. The
// lowest score goes (the first of equals), and the scores are computed afresh.
//
// Cost:      each triple of vectors once, and again when the first of its vectors is dropped
// Log:       the list of the survivors
void rank_trial_vectors(int nremove);

// Does so without the log, and says what the decisions took.
rankingdecisions dropworstvectors(int nremove);

} // namespace torvik
