#include "solving/knowncell.h"

#include "lattice/shortvectors.h"
#include "solving/deformation.h"
#include "solving/mixture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::tools {

namespace {

constexpr double none = -std::numeric_limits<double>::infinity();
constexpr double twopi = 2.0 * std::numbers::pi;

// Errors of more than this part of the mean distance of points would make any similar cell fit.
constexpr double largestsigma = 0.06;
constexpr double firstsigma = 0.05;
constexpr double firstwrong = 0.4;

// Strains beyond this many standard deviations are those of another lattice.
constexpr double beyond = 6.0;

struct state {
    matrix3 R;
    matrix3 strain{0.0}; // e
    matrix3 crystal;     // (1 + e) UB0
    matrix3 basis;       // inverse of R (1 + e) UB0
    double volume = 0.0;
    errormodel errors;
};

void set(state& now, const givencell& cell)
{
    now.crystal = (matrix3() + now.strain).multiply(cell.UB);
    const matrix3 inverse = now.crystal.inverse();
    now.volume = std::fabs(inverse.determinant());
    now.basis = inverse.multiply(now.R.transpose());
}

// What the vectors say of the lattice besides. Points and their distances are in the frame of the
// upright cell.
struct products {
    matrix3 gg{0.0}; // sum of g g^T
    matrix3 dg{0.0}; // sum of d g^T
};

expectation expected(const std::vector<vector3>& vectors, const state& now, products& of)
{
    expectation sums;
    sums.genuine.reserve(vectors.size());
    const double peak = now.errors.peak(now.volume);
    const matrix3 upright = now.R.transpose();
    for (const vector3& q : vectors) {
        const vector3 h = nearestpoint(now.basis, q);
        const vector3 g = now.crystal.multiply(h);
        const vector3 d = upright.multiply(q) - g;
        const double genuine = now.errors.take(sums, peak, h, d.length_sq());
        addproduct(of.gg, g, g, genuine);
        addproduct(of.dg, d, g, genuine);
    }
    return sums;
}

ninebynine precisionof(const products& of, const state& now)
{
    ninebynine M = squaresof(scaled(of.gg, 1.0 / (now.errors.sigma * now.errors.sigma)));
    addprior(M, usualstrain);
    return M;
}

// Says whether the vectors fix the turns: it takes two that are genuine, and a posterior that is narrow
// against all rotations.
bool oriented(const expectation& sums, const ninebynine& variance)
{
    constexpr double widest = 0.1; // radians
    for (std::size_t k = 0; k < 3; ++k)
        if (!(variance[k][k] < widest * widest)) return false;
    return sums.weight >= 2.0;
}

// How many of the nine components the vectors fix, rather than the prior.
double fixedby(const ninebynine& variance)
{
    double count = 9.0;
    for (std::size_t k = 3; k < 9; ++k) count -= variance[k][k] / (usualstrain * usualstrain);
    return count;
}

void improve(state& now, const givencell& cell, const products& of, const splitmatrix& M)
{
    nine b = productsof(scaled(of.dg, 1.0 / (now.errors.sigma * now.errors.sigma)));
    const nine pull = productsof(now.strain);
    for (std::size_t k = 3; k < 9; ++k) b[k] -= pull[k] / (usualstrain * usualstrain);
    nine x = M.solve(b);
    now.R = now.R.multiply(rotationby({x[0], x[1], x[2]}));
    x[0] = x[1] = x[2] = 0.0;
    now.strain = now.strain + deformationof(x);
    set(now, cell);
}

// The logarithm of the sum over all turns of the density of the strain.
double logstrains(const state& now, const givencell& cell)
{
    const double variance = usualstrain * usualstrain;
    double sum = 0.0;
    for (const matrix3& T : cell.turns) {
        // The refined lattice, its axes in the order of T, against the known one.
        const matrix3 UB = now.crystal.multiply(T.inverse());
        sum += std::exp(-0.5 * strainsquare(UB.multiply(cell.basis)) / variance);
    }
    return std::log(sum) - 3.0 * std::log(twopi * variance);
}

double evidenceof(const expectation& sums, const state& now, const givencell& cell,
                  const splitmatrix& M, int cells)
{
    return sums.likelihood + 4.5 * std::log(twopi) - 0.5 * M.logdeterminant()
           - std::log(2.0 * twopi * twopi) + logstrains(now, cell) - std::log(cells);
}

} // namespace

givencell::givencell(const cell6& cell)
{
    const matrix3 given = basisof(cell);
    shortbasis shortest = shortestbasis(given);
    if (shortest.T.determinant() < 0.0) {
        shortest.T = scaled(shortest.T, -1.0);
        shortest.basis = scaled(shortest.basis, -1.0);
    }
    basis = shortest.basis;
    UB = basis.inverse();
    back = shortest.T.inverse();
    for (auto& row : back.a)
        for (double& x : row) x = std::round(x);
    volume = basis.determinant();
    turns = turnsof(basis, beyond * usualstrain);
}

matrix3 givencell::orientationof(const matrix3& given) const
{
    return nearestrotation(given.inverse().multiply(back.multiply(basis)));
}

assessment assessknown(const std::vector<vector3>& vectors, const givencell& cell, const matrix3& R,
                       int cells, double least)
{
    state now;
    now.R = R;
    set(now, cell);
    const assessment nothing = {now.basis, none, 0.0, 1.0, 0, {}};
    now.errors = {firstsigma / std::cbrt(now.volume), firstwrong, digiterror(vectors)};
    if (!(now.errors.least < largestsigma / std::cbrt(now.volume))) return nothing;
    refinement rounds(least);
    while (true) {
        products of;
        const expectation sums = expected(vectors, now, of);
        const auto M = splitmatrix::of(precisionof(of, now));
        if (!M) return nothing;
        const ninebynine variance = M->inverse();
        if (!oriented(sums, variance)) return nothing;
        const double evidence = evidenceof(sums, now, cell, *M, cells);
        if (rounds.ends(sums, evidence))
            return {now.basis,        evidence,        now.errors.sigma,
                    now.errors.wrong, indexedof(sums), sums.genuine};
        improve(now, cell, of, *M);
        now.errors.improve(sums, fixedby(variance), largestsigma / std::cbrt(now.volume));
    }
}

} // namespace torvik::tools
