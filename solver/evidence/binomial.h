// Binomial tail probability.
#pragma once

namespace torvik::solver {

// The probability of at least `hits` successes in `trials` independent trials of probability p.
double binomial_tail(int hits, int trials, double p);

} // namespace torvik::solver
