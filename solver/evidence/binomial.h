// Binomial tail probability.
#pragma once

namespace torvik::solver {

// The probability of at least `hits` successes in `trials` independent trials of probability p.
double binomial_tail(int hits, int trials, double p);

// Its logarithm, also where the probability is too small for a double.
//
// Given:  p  above 0 and below 1
double log_binomial_tail(int hits, int trials, double p);

} // namespace torvik::solver
