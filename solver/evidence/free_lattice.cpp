#include "solver/evidence/free_lattice.h"

#include "solver/evidence/lattice_prior.h"
#include "solver/evidence/mixture.h"
#include "solver/numeric/functions.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double no_evidence = -std::numeric_limits<double>::infinity();

struct state {
    matrix3 basis; // direct
    matrix3 UB;
    double volume = 0.0;
    error_model errors;
};

void set_basis(state& now, const matrix3& UB)
{
    now.UB = UB;
    now.basis = UB.inverse();
    now.volume = std::fabs(now.basis.determinant());
}

// The sums that refine the lattice.
struct products {
    matrix3 HH{0.0}; // sum of h h^T
    matrix3 qH{0.0}; // sum of q h^T
};

expectation expected(const std::vector<vector3>& vectors, const state& now, products& of)
{
    expectation sums;
    sums.inlier.reserve(vectors.size());
    const double peak = now.errors.peak(now.volume);
    for (const vector3& q : vectors) {
        const vector3 h = nearest_point(now.basis, q);
        const double square = (q - now.UB.multiply(h)).length_sq();
        const double inlier = now.errors.add(sums, peak, h, square);
        add_product(of.HH, h, h, inlier);
        add_product(of.qH, q, h, inlier);
    }
    return sums;
}

bool singular(const matrix3& HH)
{
    // Integer indices with weights near 0 or 1: the determinant is about an integer.
    return !(HH.determinant() > 0.5);
}

// Whether the smallest errors are well below the distance of lattice points.
bool visible(const state& now)
{
    return std::isfinite(now.volume) && now.volume > 0.0
           && now.errors.smallest_sigma < largest_free_sigma * cube_root(1.0 / now.volume);
}

void refine(state& now, const expectation& sums, const products& of)
{
    set_basis(now, of.qH.multiply(of.HH.inverse()));
    now.errors.refine(sums, 9.0, largest_free_sigma * cube_root(1.0 / now.volume));
}

double evidence_of(const expectation& sums, const matrix3& HH, const state& now)
{
    return sums.likelihood + 3.0 * logarithm(now.volume) + 4.5 * logarithm(2.0 * std::numbers::pi)
           + 9.0 * logarithm(now.errors.sigma) - 1.5 * logarithm(HH.determinant())
           - logarithm(measure_of_lattices * logarithm(range_of_volumes));
}

assessment result(const state& now, const expectation& sums, double evidence)
{
    return {now.basis,          evidence,   now.errors.sigma, now.errors.outlier_fraction,
            inlier_count(sums), sums.inlier};
}

assessment refined(const std::vector<vector3>& vectors, state now, double least)
{
    const assessment nothing = {now.basis, no_evidence, 0.0, 1.0, 0, {}};
    refinement rounds(least);
    while (visible(now)) {
        products of;
        const expectation sums = expected(vectors, now, of);
        if (singular(of.HH)) return nothing;
        const double evidence = evidence_of(sums, of.HH, now);
        if (rounds.ends(sums, evidence)) return result(now, sums, evidence);
        refine(now, sums, of);
    }
    return nothing;
}

} // namespace

std::vector<vector3> unindexed_by(const std::vector<vector3>& vectors, const assessment& found)
{
    std::vector<vector3> unindexed;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (!(found.inlier[i] > 0.5)) unindexed.push_back(vectors[i]);
    return unindexed;
}

assessment assess(const std::vector<vector3>& vectors, const matrix3& start, double least)
{
    const assessment nothing = {start, no_evidence, 0.0, 1.0, 0, {}};
    if (!(std::fabs(start.determinant()) > 0.0)) return nothing;
    state now;
    set_basis(now, start.inverse());
    now.errors = {first_free_sigma * cube_root(1.0 / now.volume), first_free_outlier_fraction,
                  digit_error(vectors)};
    return sharpened(refined(vectors, now, least), [&](const assessment& from, double sigma) {
        set_basis(now, from.basis.inverse());
        now.errors = {sigma, from.outlier_fraction, now.errors.smallest_sigma};
        return refined(vectors, now, from.evidence);
    });
}

assessment assess_unrefined(const std::vector<vector3>& vectors, const assessment& lattice)
{
    state now;
    set_basis(now, lattice.basis.inverse());
    now.errors = {lattice.sigma, lattice.outlier_fraction, lattice.sigma};
    refinement rounds(no_evidence);
    while (true) {
        products of;
        const expectation sums = expected(vectors, now, of);
        const double evidence = singular(of.HH) ? no_evidence : evidence_of(sums, of.HH, now);
        if (evidence == no_evidence || rounds.ends(sums, evidence))
            return result(now, sums, evidence);
        now.errors.refine_outlier_fraction(sums);
    }
}

} // namespace torvik::solver
