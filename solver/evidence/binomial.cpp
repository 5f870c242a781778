#include "solver/evidence/binomial.h"

#include "solver/numeric/functions.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torvik::solver {

double binomial_tail(int hits, int trials, double p)
{
    if (hits <= 0) return 1.0;
    if (p >= 1.0) return 1.0;
    double sum = 0.0;
    for (int k = hits; k <= trials; ++k)
        sum +=
            exponential(log_gamma(trials + 1.0) - log_gamma(k + 1.0) - log_gamma(trials - k + 1.0)
                        + k * logarithm(p) + (trials - k) * logarithm(1.0 - p));
    return std::min(sum, 1.0);
}

double log_binomial_tail(int hits, int trials, double p)
{
    if (hits <= 0) return 0.0;
    if (hits > trials) return -std::numeric_limits<double>::infinity();
    const double first = log_gamma(trials + 1.0) - log_gamma(hits + 1.0)
                         - log_gamma(trials - hits + 1.0) + hits * logarithm(p)
                         + (trials - hits) * logarithm(1.0 - p);
    // The other terms, as parts of the first.
    constexpr double negligible = 1e-17;
    double term = 1.0;
    double sum = 1.0;
    for (int k = hits; k < trials; ++k) {
        term *= (trials - k) / (k + 1.0) * (p / (1.0 - p));
        sum += term;
        // Beyond the mean the terms fall faster and faster.
        if (term < negligible * sum) break;
    }
    return std::min(first + logarithm(sum), 0.0);
}

} // namespace torvik::solver
