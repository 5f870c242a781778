#include "solver/evidence/mixture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::solver {

double error_model::peak(double volume) const
{
    return (1.0 - outlier_fraction) / volume
           / std::pow(2.0 * std::numbers::pi * (sigma * sigma), 1.5);
}

double error_model::add(expectation& sums, double peak, const vector3& h, double square) const
{
    // The origin is a point of every lattice: a vector near it is no evidence.
    const bool origin = h.length_sq() == 0.0;
    const double density = origin ? 0.0 : peak * std::exp(-0.5 * square / (sigma * sigma));
    const double inlier = density / (density + outlier_fraction);
    sums.likelihood += std::log(density + outlier_fraction);
    sums.weight += inlier;
    sums.squares += inlier * square;
    sums.inlier.push_back(inlier);
    return inlier;
}

void error_model::refine_outlier_fraction(const expectation& sums)
{
    const auto total = static_cast<double>(sums.inlier.size());
    outlier_fraction = (total - sums.weight + 1.0) / (total + 2.0);
}

void error_model::refine(const expectation& sums, double parameters, double largest)
{
    const double freedom = std::max(3.0 * sums.weight - parameters, 3.0);
    sigma = std::clamp(std::sqrt(sums.squares / freedom), smallest_sigma,
                       std::max(smallest_sigma, largest));
    refine_outlier_fraction(sums);
}

double digit_error(const std::vector<vector3>& vectors)
{
    double squares = 0.0;
    for (const vector3& q : vectors) squares += q.length_sq();
    const auto count = static_cast<double>(std::max<std::size_t>(1, vectors.size()));
    return 1e-4 * std::sqrt(squares / count);
}

vector3 nearest_point(const matrix3& basis, const vector3& q)
{
    const vector3 x = basis.multiply(q);
    return {std::round(x.x), std::round(x.y), std::round(x.z)};
}

int inlier_count(const expectation& sums)
{
    return static_cast<int>(std::count_if(sums.inlier.begin(), sums.inlier.end(),
                                          [](double inlier) { return inlier > 0.5; }));
}

bool refinement::ends(const expectation& sums, double evidence)
{
    constexpr int most_rounds = 40;
    constexpr double settled = 1e-4;
    // After the first rounds the evidence rises by far less than one per vector.
    constexpr int first_rounds = 4;
    const double change = sums.likelihood - before_;
    before_ = sums.likelihood;
    ++round_;
    if (round_ <= first_rounds) return false;
    if (round_ == first_rounds + 1 && evidence + static_cast<double>(sums.inlier.size()) < wanted_)
        return true;
    return std::fabs(change) < settled || round_ == most_rounds;
}

} // namespace torvik::solver
