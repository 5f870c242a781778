#include "solver/evidence/occupation.h"

#include "solver/numeric/functions.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::solver {

double occupation_gain(const std::vector<vector3>& vectors, const assessment& lattice)
{
    // Inliers by the parities of h, k and l.
    std::array<double, 8> by_parity = {};
    double all = 0.0;
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const auto h = nearest_indices(lattice.basis.multiply(vectors[i]));
        const auto parity =
            static_cast<std::size_t>((h[0] & 1) | (h[1] & 1) << 1 | (h[2] & 1) << 2);
        by_parity[parity] += lattice.inlier[i];
        all += lattice.inlier[i];
    }
    double gain = logarithm(1.0 - superstructure_prior);
    constexpr unsigned halves = 7;
    for (unsigned half = 1; half <= halves; ++half) {
        double even = 0.0;
        for (unsigned parity = 0; parity < by_parity.size(); ++parity)
            if (std::popcount(parity & half) % 2 == 0) even += by_parity[parity];
        const double odd = all - even;
        const double one = logarithm(superstructure_prior / halves) + all * std::numbers::ln2
                           + log_gamma(even + 1.0) + log_gamma(odd + 1.0) - log_gamma(all + 2.0);
        gain = log_sum(gain, one);
    }
    return gain;
}

} // namespace torvik::solver
