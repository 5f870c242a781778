#include "solver/evidence/binomial.h"

#include "solver/numeric/functions.h"

#include <algorithm>
#include <cmath>

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

} // namespace torvik::solver
