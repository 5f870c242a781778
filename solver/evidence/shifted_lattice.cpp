#include "solver/evidence/shifted_lattice.h"

#include "solver/evidence/lattice_prior.h"
#include "solver/evidence/mixture.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"

#include <array>
#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double none = -std::numeric_limits<double>::infinity();

struct state {
    matrix3 basis;
    matrix3 UB;
    vector3 shift;
    double volume = 0.0;
    error_model errors;

    void set(const matrix3& to)
    {
        UB = to;
        basis = UB.inverse();
        volume = std::fabs(basis.determinant());
    }
};

struct products {
    matrix3 hh{0.0};
    matrix3 qh{0.0};
    vector3 h;
    vector3 q;
    double weight = 0.0;
};

expectation expected(const std::vector<vector3>& vectors, const state& now, products& of)
{
    expectation sums;
    sums.inlier.reserve(vectors.size());
    const double peak = now.errors.peak(now.volume);
    for (const vector3& measured : vectors) {
        const vector3 q = measured - now.shift;
        const vector3 h = nearest_point(now.basis, q);
        const double square = (q - now.UB.multiply(h)).length_sq();
        const double inlier = now.errors.add(sums, peak, h, square);
        add_product(of.hh, h, h, inlier);
        add_product(of.qh, measured, h, inlier);
        of.h += inlier * h;
        of.q += inlier * measured;
        of.weight += inlier;
    }
    return sums;
}

// h h^T about the mean: its determinant times the weight is that of K^T K.
matrix3 centred(const matrix3& product, const vector3& x, const vector3& y, double weight)
{
    matrix3 result = product;
    add_product(result, x, y, -1.0 / weight);
    return result;
}

bool visible(const state& now)
{
    return std::isfinite(now.volume) && now.volume > 0.0
           && now.errors.smallest_sigma < largest_free_sigma / cube_root(now.volume);
}

vector3 shortest_equivalent(const matrix3& basis, const matrix3& UB, const vector3& shift)
{
    vector3 best = shift;
    const vector3 near = nearest_point(basis, shift);
    for (int h = -1; h <= 1; ++h)
        for (int k = -1; k <= 1; ++k)
            for (int l = -1; l <= 1; ++l) {
                const vector3 other = shift - UB.multiply(near + vector3(h, k, l));
                if (other.length_sq() < best.length_sq()) best = other;
            }
    return best;
}

assessment result(const state& now, const expectation& sums, double evidence)
{
    assessment found = {now.basis,          evidence,
                        now.errors.sigma,   now.errors.outlier_fraction,
                        inlier_count(sums), sums.inlier};
    found.shift = shortest_equivalent(now.basis, now.UB, now.shift);
    return found;
}

assessment refined(const std::vector<vector3>& vectors, state now, double least)
{
    const assessment nothing = {now.basis, none, 0.0, 1.0, 0, {}};
    refinement rounds(least);
    while (visible(now)) {
        products of;
        const expectation sums = expected(vectors, now, of);
        if (!(of.weight > 3.0)) return nothing;
        const matrix3 hh = centred(of.hh, of.h, of.h, of.weight);
        const double determinant = hh.determinant();
        if (!(determinant > 0.25)) return nothing;
        const double evidence =
            sums.likelihood + 4.0 * logarithm(now.volume) + 6.0 * logarithm(2.0 * std::numbers::pi)
            + 12.0 * logarithm(now.errors.sigma) - 1.5 * logarithm(determinant * of.weight)
            - logarithm(measure_of_lattices * logarithm(range_of_volumes)) + logarithm(shift_prior);
        if (rounds.ends(sums, evidence)) return result(now, sums, evidence);
        const matrix3 qh = centred(of.qh, of.q, of.h, of.weight);
        now.set(qh.multiply(hh.inverse()));
        now.shift = (of.q - now.UB.multiply(of.h)) / of.weight;
        now.errors.refine(sums, 12.0, largest_free_sigma / cube_root(now.volume));
    }
    return nothing;
}

} // namespace

assessment assess_shifted(const std::vector<vector3>& vectors, const matrix3& start,
                          const vector3& shift)
{
    if (!(std::fabs(start.determinant()) > 0.0)) return {start, none, 0.0, 1.0, 0, {}};
    state now;
    now.set(start.inverse());
    now.shift = shortest_equivalent(now.basis, now.UB, shift);
    now.errors = {first_free_sigma / cube_root(now.volume), first_free_outlier_fraction,
                  digit_error(vectors)};
    return sharpened(refined(vectors, now, none), [&](const assessment& from, double sigma) {
        now.set(from.basis.inverse());
        now.shift = from.shift;
        now.errors = {sigma, from.outlier_fraction, now.errors.smallest_sigma};
        return refined(vectors, now, from.evidence);
    });
}

} // namespace torvik::solver
