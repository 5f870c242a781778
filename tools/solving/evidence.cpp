#include "solving/evidence.h"

#include "solving/mixture.h"

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
constexpr double firstwrong = 0.3;

struct state {
    matrix3 basis; // direct
    matrix3 UB;
    double volume = 0.0;
    errormodel errors;
};

void setbasis(state& now, const matrix3& UB)
{
    now.UB = UB;
    now.basis = UB.inverse();
    now.volume = std::fabs(now.basis.determinant());
}

// What the vectors say of the lattice besides.
struct products {
    matrix3 HH{0.0}; // sum of h h^T
    matrix3 qH{0.0}; // sum of q h^T
};

expectation expected(const std::vector<vector3>& vectors, const state& now, products& of)
{
    expectation sums;
    sums.genuine.reserve(vectors.size());
    const double peak = now.errors.peak(now.volume);
    for (const vector3& q : vectors) {
        const vector3 h = nearestpoint(now.basis, q);
        const double square = (q - now.UB.multiply(h)).length_sq();
        const double genuine = now.errors.take(sums, peak, h, square);
        addproduct(of.HH, h, h, genuine);
        addproduct(of.qH, q, h, genuine);
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
           && now.errors.least < largestsigma * std::cbrt(1.0 / now.volume);
}

void improve(state& now, const expectation& sums, const products& of)
{
    setbasis(now, of.qH.multiply(of.HH.inverse()));
    now.errors.improve(sums, 9.0, largestsigma * std::cbrt(1.0 / now.volume));
}

double evidenceof(const expectation& sums, const matrix3& HH, const state& now)
{
    return sums.likelihood + 3.0 * std::log(now.volume) + 4.5 * std::log(2.0 * std::numbers::pi)
           + 9.0 * std::log(now.errors.sigma) - 1.5 * std::log(HH.determinant())
           - std::log(measureoflattices * std::log(rangeofvolumes));
}

assessment result(const state& now, const expectation& sums, double evidence)
{
    return {now.basis, evidence, now.errors.sigma, now.errors.wrong, indexedof(sums), sums.genuine};
}

} // namespace

std::vector<vector3> leftby(const std::vector<vector3>& vectors, const assessment& found)
{
    std::vector<vector3> left;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (!(found.genuine[i] > 0.5)) left.push_back(vectors[i]);
    return left;
}

assessment assess(const std::vector<vector3>& vectors, const matrix3& start, double least)
{
    const assessment nothing = {start, none, 0.0, 1.0, 0, {}};
    state now;
    if (!(std::fabs(start.determinant()) > 0.0)) return nothing;
    setbasis(now, start.inverse());
    now.errors = {firstsigma * std::cbrt(1.0 / now.volume), firstwrong, digiterror(vectors)};
    refinement rounds(least);
    while (visible(now)) {
        products of;
        const expectation sums = expected(vectors, now, of);
        if (singular(of.HH)) return nothing;
        const double evidence = evidenceof(sums, of.HH, now);
        if (rounds.ends(sums, evidence)) return result(now, sums, evidence);
        improve(now, sums, of);
    }
    return nothing;
}

assessment assessunrefined(const std::vector<vector3>& vectors, const assessment& lattice)
{
    state now;
    setbasis(now, lattice.basis.inverse());
    now.errors = {lattice.sigma, lattice.wrong, lattice.sigma};
    refinement rounds(none);
    while (true) {
        products of;
        const expectation sums = expected(vectors, now, of);
        const double evidence = singular(of.HH) ? none : evidenceof(sums, of.HH, now);
        if (evidence == none || rounds.ends(sums, evidence)) return result(now, sums, evidence);
        now.errors.improvewrong(sums);
    }
}

} // namespace torvik::tools
