#include "solving/evidence.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::tools {

namespace {

constexpr double none = -std::numeric_limits<double>::infinity();

// zeta(2) zeta(3), and R = 10^6.
constexpr double measureoflattices = 1.6449340668482264 * 1.2020569031595943;
constexpr double rangeofvolumes = 1e6;

// Errors of more than this part of the mean distance of lattice points would hide any lattice; the
// refinement begins with the other.
constexpr double largestsigma = 0.12;
constexpr double firstsigma = 0.04;

// Errors of less than this part of the usual length are those of the digits that vectors are written
// with. The limit is the same for all lattices: a larger cell is no better for lying closer.
constexpr double smallestsigma = 1e-4;

struct state {
    matrix3 basis; // direct
    matrix3 UB;
    double volume = 0.0;
    double sigma = 0.0;
    double wrong = 0.3;
    double leastsigma = 0.0;
};

double usuallength(const std::vector<vector3>& vectors)
{
    double squares = 0.0;
    for (const vector3& q : vectors) squares += q.length_sq();
    return std::sqrt(squares / std::max(1.0, static_cast<double>(vectors.size())));
}

void setbasis(state& now, const matrix3& UB)
{
    now.UB = UB;
    now.basis = UB.inverse();
    now.volume = std::fabs(now.basis.determinant());
}

vector3 wholeof(const vector3& x)
{
    return {std::round(x.x), std::round(x.y), std::round(x.z)};
}

void addproduct(matrix3& sum, const vector3& x, const vector3& y, double weight)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) sum.a[i][j] += weight * x.at(i) * y.at(j);
}

// One step of the refinement: what the vectors say with the lattice as it is.
struct expectation {
    double likelihood = 0.0;
    double weight = 0.0;  // expected number of genuine ones
    double squares = 0.0; // their squared distances from the points
    matrix3 HH{0.0};      // sum of h h^T
    matrix3 qH{0.0};      // sum of q h^T
    std::vector<double> genuine;
};

expectation expected(const std::vector<vector3>& vectors, const state& now)
{
    expectation sums;
    sums.genuine.reserve(vectors.size());
    const double variance = now.sigma * now.sigma;
    const double peak =
        (1.0 - now.wrong) / now.volume / std::pow(2.0 * std::numbers::pi * variance, 1.5);
    for (const vector3& q : vectors) {
        const vector3 h = wholeof(now.basis.multiply(q));
        const double square = (q - now.UB.multiply(h)).length_sq();
        // The origin is a point of every lattice: a vector near to it says nothing.
        const bool origin = h.length_sq() == 0.0;
        const double chance = origin ? 0.0 : peak * std::exp(-0.5 * square / variance);
        const double part = chance / (chance + now.wrong);
        sums.likelihood += std::log(chance + now.wrong);
        sums.weight += part;
        sums.squares += part * square;
        addproduct(sums.HH, h, h, part);
        addproduct(sums.qH, q, h, part);
        sums.genuine.push_back(part);
    }
    return sums;
}

bool singular(const matrix3& HH)
{
    // Of whole indices with weights near 0 or 1: a determinant below 1/2 is none.
    return !(HH.determinant() > 0.5);
}

// Says whether the errors that the digits allow leave room between the points of the lattice.
bool visible(const state& now)
{
    return std::isfinite(now.volume) && now.volume > 0.0
           && now.leastsigma < largestsigma * std::cbrt(1.0 / now.volume);
}

void improve(state& now, const expectation& sums, std::size_t count)
{
    setbasis(now, sums.qH.multiply(sums.HH.inverse()));
    const double spacing = std::cbrt(1.0 / now.volume);
    // Nine of the numbers went into the lattice.
    const double freedom = std::max(3.0 * sums.weight - 9.0, 3.0);
    now.sigma = std::clamp(std::sqrt(sums.squares / freedom), now.leastsigma,
                           std::max(now.leastsigma, largestsigma * spacing));
    const double total = static_cast<double>(count);
    now.wrong = (total - sums.weight + 1.0) / (total + 2.0);
}

double evidenceof(const expectation& sums, const state& now)
{
    return sums.likelihood + 3.0 * std::log(now.volume) + 4.5 * std::log(2.0 * std::numbers::pi)
           + 9.0 * std::log(now.sigma) - 1.5 * std::log(sums.HH.determinant())
           - std::log(measureoflattices * std::log(rangeofvolumes));
}

} // namespace

assessment assess(const std::vector<vector3>& vectors, const matrix3& start, double least)
{
    assessment found = {start, none, 0.0, 1.0, 0, {}};
    state now;
    if (!(std::fabs(start.determinant()) > 0.0)) return found;
    setbasis(now, start.inverse());
    now.sigma = firstsigma * std::cbrt(1.0 / now.volume);
    now.leastsigma = smallestsigma * usuallength(vectors);
    if (!visible(now)) return found;
    constexpr int mostrounds = 40;
    double before = none;
    for (int round = 0; round < mostrounds; ++round) {
        const expectation sums = expected(vectors, now);
        if (singular(sums.HH)) return found;
        found.basis = now.basis;
        found.evidence = evidenceof(sums, now);
        found.sigma = now.sigma;
        found.wrong = now.wrong;
        found.genuine = sums.genuine;
        constexpr double settled = 1e-4;
        if (round > 3 && std::fabs(sums.likelihood - before) < settled) break;
        // The first rounds find most of it; what they leave is far less than one for each vector.
        if (round == 4 && found.evidence + static_cast<double>(vectors.size()) < least) break;
        before = sums.likelihood;
        improve(now, sums, vectors.size());
        if (!visible(now)) {
            found.evidence = none;
            return found;
        }
    }
    found.indexed = static_cast<int>(std::count_if(found.genuine.begin(), found.genuine.end(),
                                                   [](double g) { return g > 0.5; }));
    return found;
}

} // namespace torvik::tools
