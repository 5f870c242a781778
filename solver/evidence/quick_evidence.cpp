#include "solver/evidence/quick_evidence.h"

#include "solver/evidence/lattice_prior.h"
#include "solver/numeric/functions.h"
#include "solver/numeric/lanes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double none = -std::numeric_limits<double>::infinity();

constexpr int most_rounds = 40;
constexpr double settled = 2e-3;

// A lattice with its errors.
struct state {
    matrix3 basis;
    matrix3 UB;
    double volume = 0.0;
    double sigma = 0.0;
    double outliers = 0.0;

    bool set(const matrix3& to)
    {
        basis = to;
        volume = std::fabs(to.determinant());
        if (!(volume > 1e-6) || !std::isfinite(volume)) return false;
        UB = to.inverse();
        return true;
    }
};

// Sums over the reflections, each weighted by how likely it is an inlier. d is the distance from the
// nearest point of the lattice in indices, h its indices.
struct moments {
    double log_likelihood = 0.0;
    double inliers = 0.0;
    double squares = 0.0; // of the distances, in 1/angstrom
    matrix3 hh{0.0};
    matrix3 dh{0.0};
};

// What the kernel needs of a lattice.
struct kernel_input {
    float basis[9];
    float metric[6]; // of UB: 11, 22, 33, 2*12, 2*13, 2*23
    float fall;      // -1 / (2 sigma^2)
    float peak;      // (1 - w) G(0) / V
    float outliers;  // w
};

constexpr std::size_t sums_of_errors = 3;
constexpr std::size_t sums_of_all = sums_of_errors + 6 + 9;

template <bool with_products>
TORVIK_SOLVER_INLINED void accumulate(const reflection_list& list, const kernel_input& in,
                                      float* sums)
{
    floats acc[sums_of_all] = {};
    const std::size_t count = list.x.size();
    for (std::size_t i = 0; i < count; i += float_lanes) {
        const auto x = load<floats>(list.x.data() + i);
        const auto y = load<floats>(list.y.data() + i);
        const auto z = load<floats>(list.z.data() + i);
        const auto counted = load<floats>(list.counts.data() + i);
        const floats u = x * in.basis[0] + y * in.basis[1] + z * in.basis[2];
        const floats v = x * in.basis[3] + y * in.basis[4] + z * in.basis[5];
        const floats w = x * in.basis[6] + y * in.basis[7] + z * in.basis[8];
        const floats h = nearest_whole(u);
        const floats k = nearest_whole(v);
        const floats l = nearest_whole(w);
        const floats a = u - h;
        const floats b = v - k;
        const floats c = w - l;
        const floats square = a * (a * in.metric[0] + b * in.metric[3] + c * in.metric[4])
                              + b * (b * in.metric[1] + c * in.metric[5]) + c * c * in.metric[2];
        // The origin is a point of every lattice: a vector near it says nothing.
        const floats size = h * h + k * k + l * l;
        const floats zero = {};
        const floats peak = size > zero ? all_lanes(in.peak) : zero;
        const floats chance = peak * exponential(square * in.fall);
        const floats density = chance + in.outliers;
        const floats inlier = chance / density * counted;
        acc[0] += logarithm(density) * counted;
        acc[1] += inlier;
        acc[2] += inlier * square;
        if constexpr (with_products) {
            const floats ph = inlier * h;
            const floats pk = inlier * k;
            const floats pl = inlier * l;
            acc[3] += ph * h;
            acc[4] += ph * k;
            acc[5] += ph * l;
            acc[6] += pk * k;
            acc[7] += pk * l;
            acc[8] += pl * l;
            acc[9] += a * ph;
            acc[10] += a * pk;
            acc[11] += a * pl;
            acc[12] += b * ph;
            acc[13] += b * pk;
            acc[14] += b * pl;
            acc[15] += c * ph;
            acc[16] += c * pk;
            acc[17] += c * pl;
        }
    }
    const std::size_t used = with_products ? sums_of_all : sums_of_errors;
    for (std::size_t k = 0; k < used; ++k) sums[k] = sum_of(acc[k]);
}

void accumulate_anywhere(const reflection_list& list, const kernel_input& in, bool products,
                         float* sums)
{
    products ? accumulate<true>(list, in, sums) : accumulate<false>(list, in, sums);
}

TORVIK_SOLVER_AVX2 void accumulate_avx2(const reflection_list& list, const kernel_input& in,
                                        bool products, float* sums)
{
    products ? accumulate<true>(list, in, sums) : accumulate<false>(list, in, sums);
}

using accumulator = void (*)(const reflection_list&, const kernel_input&, bool, float*);

accumulator best_accumulator()
{
    return has_avx2() ? accumulate_avx2 : accumulate_anywhere;
}

moments moments_of(const reflection_list& list, const state& now, bool products, accumulator use)
{
    kernel_input in = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) in.basis[3 * i + j] = static_cast<float>(now.basis.a[i][j]);
    const vector3 p = now.UB.column_copy(0);
    const vector3 q = now.UB.column_copy(1);
    const vector3 r = now.UB.column_copy(2);
    const double metric[6] = {p.length_sq(),  q.length_sq(),  r.length_sq(),
                              2.0 * p.dot(q), 2.0 * p.dot(r), 2.0 * q.dot(r)};
    for (int i = 0; i < 6; ++i) in.metric[i] = static_cast<float>(metric[i]);
    const double variance = now.sigma * now.sigma;
    const double spread = 2.0 * std::numbers::pi * variance;
    in.fall = static_cast<float>(-0.5 / variance);
    in.peak = static_cast<float>((1.0 - now.outliers) / now.volume / (spread * std::sqrt(spread)));
    in.outliers = static_cast<float>(now.outliers);
    float s[sums_of_all];
    use(list, in, products, s);
    moments of;
    of.log_likelihood = s[0];
    of.inliers = s[1];
    of.squares = s[2];
    if (!products) return of;
    of.hh = matrix3(s[3], s[4], s[5], s[4], s[6], s[7], s[5], s[7], s[8]);
    of.dh = matrix3(s[9], s[10], s[11], s[12], s[13], s[14], s[15], s[16], s[17]);
    return of;
}

double evidence_of(const moments& of, double determinant, const state& now)
{
    static const double constant = 4.5 * logarithm(2.0 * std::numbers::pi)
                                   - logarithm(measure_of_lattices * logarithm(range_of_volumes));
    return of.log_likelihood + 3.0 * logarithm(now.volume) + 9.0 * logarithm(now.sigma)
           - 1.5 * logarithm(determinant) + constant;
}

double sigma_limit(const reflection_list& list, double volume)
{
    return std::max(list.least_sigma, largest_free_sigma / cube_root(volume));
}

void improve_errors(const reflection_list& list, state& now, const moments& of)
{
    const double freedom = std::max(3.0 * of.inliers - 9.0, 3.0);
    now.sigma = std::clamp(std::sqrt(std::max(of.squares, 0.0) / freedom), list.least_sigma,
                           sigma_limit(list, now.volume));
    const auto total = static_cast<double>(list.size());
    now.outliers = (total - of.inliers + 1.0) / (total + 2.0);
}

candidate_lattice result(const state& now, const moments& of, double evidence)
{
    return {now.basis, evidence, now.sigma, now.outliers, of.inliers};
}

bool visible(const reflection_list& list, const state& now)
{
    return list.least_sigma < largest_free_sigma / cube_root(now.volume);
}

// Refines a lattice, until it is certain, nearly, to have less evidence than `least`: then it has none.
//
// Given:  patience  rounds before which it is not certain
candidate_lattice refined_by(const reflection_list& list, state now, double least, int patience,
                             accumulator use)
{
    const candidate_lattice nothing = {now.basis, none, 0.0, 1.0, 0.0};
    double before = none;
    for (int round = 1;; ++round) {
        const moments of = moments_of(list, now, true, use);
        const double determinant = of.hh.determinant();
        // Of whole indices with weights near 0 or 1: a determinant below 1/2 is 0.
        if (!(determinant > 0.5)) return nothing;
        const double evidence = evidence_of(of, determinant, now);
        if (round == most_rounds || std::fabs(evidence - before) < settled)
            return result(now, of, evidence);
        const double rise = std::isfinite(before) ? std::max(0.0, evidence - before) : 0.0;
        before = evidence;
        const double sigma = now.sigma;
        // d h^T (h h^T)^-1 is the change of UB in terms of its columns.
        const matrix3 change = of.dh.multiply(of.hh.inverse());
        if (!now.set((matrix3() + change).inverse().multiply(now.basis))) return nothing;
        if (!visible(list, now)) return nothing;
        improve_errors(list, now, of);
        // What smaller errors are worth to the inliers, some more rounds like the last one, and some more for
        // what the lattice moves.
        constexpr double rounds_ahead = 4.0;
        const double gain = 3.0 * of.inliers * std::max(0.0, logarithm(sigma / now.sigma));
        const double more = 4.0 + 0.25 * static_cast<double>(list.size());
        if (round >= patience && evidence + gain + rounds_ahead * rise + more < least)
            return result(now, of, none);
    }
}

candidate_lattice assess_by(const reflection_list& list, const matrix3& start, double least,
                            accumulator use)
{
    state now;
    if (!now.set(start) || !visible(list, now)) return {start, none, 0.0, 1.0, 0.0};
    now.sigma = std::max(list.least_sigma, first_free_sigma / cube_root(now.volume));
    now.outliers = first_free_outlier_fraction;
    constexpr int rounds_first = 3;
    constexpr int rounds_sharper = 5; // a bent lattice has to straighten
    const candidate_lattice first = refined_by(list, now, least, rounds_first, use);
    return sharpened(first, [&](const candidate_lattice& from, double sigma) {
        now.set(from.basis);
        now.sigma = std::max(list.least_sigma, sigma);
        now.outliers = from.outlier_fraction;
        return refined_by(list, now, std::max(least, from.evidence), rounds_sharper, use);
    });
}

} // namespace

candidate_lattice quick_assess(const reflection_list& list, const matrix3& start, double least)
{
    return assess_by(list, start, least, best_accumulator());
}

candidate_lattice plain_quick_assess(const reflection_list& list, const matrix3& start,
                                     double least)
{
    return assess_by(list, start, least, accumulate_anywhere);
}

candidate_lattice quick_glance(const reflection_list& list, const matrix3& basis,
                               const candidate_lattice& like)
{
    const candidate_lattice nothing = {basis, none, 0.0, 1.0, 0.0};
    state now;
    if (!now.set(basis) || !visible(list, now)) return nothing;
    now.sigma = std::min(like.sigma, sigma_limit(list, now.volume));
    now.outliers = like.outlier_fraction;
    const accumulator use = best_accumulator();
    const moments first = moments_of(list, now, false, use);
    improve_errors(list, now, first);
    const moments of = moments_of(list, now, true, use);
    const double determinant = of.hh.determinant();
    if (!(determinant > 0.5)) return nothing;
    return result(now, of, evidence_of(of, determinant, now));
}

} // namespace torvik::solver
