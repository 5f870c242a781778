#include "solver/evidence/binomial.h"

#include <algorithm>
#include <cmath>

namespace torvik::solver {

double binomial_tail(int hits, int trials, double p)
{
    if (hits <= 0) return 1.0;
    if (p >= 1.0) return 1.0;
    double sum = 0.0;
    for (int k = hits; k <= trials; ++k)
        sum += std::exp(std::lgamma(trials + 1.0) - std::lgamma(k + 1.0)
                        - std::lgamma(trials - k + 1.0) + k * std::log(p)
                        + (trials - k) * std::log1p(-p));
    return std::min(sum, 1.0);
}

} // namespace torvik::solver
