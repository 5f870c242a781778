// Ranking of the trial vectors against the volume under test.
#pragma once

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
// Cost:      T (T-1) (T-2) / 2 determinants for a pass over T vectors
// Log:       the list of the survivors
void rank_trial_vectors(int nremove);

// Gives the point of the ranking curve for a triple product: its fractional part in units of V, on
// a grid of 511 steps.
//
// Given:     d       absolute triple product, RS volume
//            scale   511 / V
// Returned:  nint(d scale) mod 511, 0..510, for any size of d scale; a product that is not finite
//            has no phase and gets the middle of the curve, its lowest weight
int phaseindex(double d, double scale);

} // namespace torvik
