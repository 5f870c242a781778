#include "solving/mixture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::tools {

double errormodel::peak(double volume) const
{
    return (1.0 - wrong) / volume / std::pow(2.0 * std::numbers::pi * (sigma * sigma), 1.5);
}

double errormodel::take(expectation& sums, double peak, const vector3& h, double square) const
{
    // The origin is a point of every lattice: a vector near to it says nothing.
    const bool origin = h.length_sq() == 0.0;
    const double chance = origin ? 0.0 : peak * std::exp(-0.5 * square / (sigma * sigma));
    const double part = chance / (chance + wrong);
    sums.likelihood += std::log(chance + wrong);
    sums.weight += part;
    sums.squares += part * square;
    sums.genuine.push_back(part);
    return part;
}

void errormodel::improvewrong(const expectation& sums)
{
    const auto total = static_cast<double>(sums.genuine.size());
    wrong = (total - sums.weight + 1.0) / (total + 2.0);
}

void errormodel::improve(const expectation& sums, double parameters, double largest)
{
    const double freedom = std::max(3.0 * sums.weight - parameters, 3.0);
    sigma = std::clamp(std::sqrt(sums.squares / freedom), least, std::max(least, largest));
    improvewrong(sums);
}

double digiterror(const std::vector<vector3>& vectors)
{
    double squares = 0.0;
    for (const vector3& q : vectors) squares += q.length_sq();
    const auto count = static_cast<double>(std::max<std::size_t>(1, vectors.size()));
    return 1e-4 * std::sqrt(squares / count);
}

vector3 nearestpoint(const matrix3& basis, const vector3& q)
{
    const vector3 x = basis.multiply(q);
    return {std::round(x.x), std::round(x.y), std::round(x.z)};
}

int indexedof(const expectation& sums)
{
    return static_cast<int>(std::count_if(sums.genuine.begin(), sums.genuine.end(),
                                          [](double genuine) { return genuine > 0.5; }));
}

bool refinement::ends(const expectation& sums, double evidence)
{
    constexpr int mostrounds = 40;
    constexpr double settled = 1e-4;
    // The first rounds find most of it; what they leave is far less than one for each vector.
    constexpr int firstrounds = 4;
    const double change = sums.likelihood - before_;
    before_ = sums.likelihood;
    ++round_;
    if (round_ <= firstrounds) return false;
    if (round_ == firstrounds + 1 && evidence + static_cast<double>(sums.genuine.size()) < wanted_)
        return true;
    return std::fabs(change) < settled || round_ == mostrounds;
}

} // namespace torvik::tools
