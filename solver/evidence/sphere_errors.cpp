#include "solver/evidence/sphere_errors.h"

#include "solver/evidence/lattice_prior.h"
#include "solver/evidence/mixture.h"
#include "solver/numeric/functions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double no_evidence = -std::numeric_limits<double>::infinity();

constexpr double range_of_ratios = 100.0;

struct state {
    matrix3 basis;
    matrix3 UB;
    double volume = 0.0;
    double across = 0.0; // s
    double along = 0.0;  // s_n
    double outlier_fraction = 0.0;

    void set(const matrix3& to)
    {
        UB = to;
        basis = UB.inverse();
        volume = std::fabs(basis.determinant());
    }

    // W of a reflection.
    [[nodiscard]] matrix3 weight(const vector3& normal) const
    {
        const double plain = 1.0 / (across * across);
        matrix3 W(plain, 0, 0, 0, plain, 0, 0, 0, plain);
        add_product(W, normal, normal, 1.0 / (along * along) - plain);
        return W;
    }
};

// Sums over the reflections, each weighted by its probability to be an inlier.
struct sums {
    double log_likelihood = 0.0;
    double inliers = 0.0;
    double squares_along = 0.0;
    double squares_across = 0.0;
    nine_by_nine precision = {}; // M
    nine right = {};             // sum of W d (x) h: the change of UB is M^-1 times this
    std::vector<double> inlier;
};

void add_precision(sums& of, const matrix3& W, const vector3& h, const vector3& d, double part)
{
    const std::array<double, 3> index = {h.x, h.y, h.z};
    const vector3 pull = W.multiply(d);
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) {
            of.right[3 * i + j] += part * pull.at(static_cast<int>(i)) * index[j];
            for (std::size_t k = 0; k < 3; ++k)
                for (std::size_t l = 0; l < 3; ++l)
                    of.precision[3 * i + j][3 * k + l] += part * W.a[i][k] * index[j] * index[l];
        }
}

sums sums_of(const std::vector<vector3>& vectors, const std::vector<vector3>& normals,
             const state& now)
{
    sums of;
    of.inlier.reserve(vectors.size());
    constexpr double root_two_pi = 2.5066282746310002;
    const double top =
        (1.0 - now.outlier_fraction) / now.volume
        / (root_two_pi * root_two_pi * root_two_pi * now.along * now.across * now.across);
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const vector3 h = nearest_point(now.basis, vectors[i]);
        const vector3 d = vectors[i] - now.UB.multiply(h);
        const double along = d.dot(normals[i]) * d.dot(normals[i]);
        const double across = std::max(0.0, d.length_sq() - along);
        const double exponent =
            -0.5 * (along / (now.along * now.along) + across / (now.across * now.across));
        const double density = h.length_sq() == 0.0 ? 0.0 : top * exponential(exponent);
        const double part = density / (density + now.outlier_fraction);
        of.log_likelihood += logarithm(density + now.outlier_fraction);
        of.inliers += part;
        of.squares_along += part * along;
        of.squares_across += part * across;
        of.inlier.push_back(part);
        add_precision(of, now.weight(normals[i]), h, d, part);
    }
    return of;
}

double evidence_of(const sums& of, const state& now, const cholesky& M)
{
    const double ratio = logarithm(range_of_ratios) * std::sqrt(of.inliers / std::numbers::pi);
    return of.log_likelihood + 3.0 * logarithm(now.volume) + 4.5 * logarithm(2.0 * std::numbers::pi)
           - 0.5 * M.log_determinant()
           - logarithm(measure_of_lattices * logarithm(range_of_volumes))
           - logarithm(std::max(1.0, ratio));
}

// Three of the nine parameters are fitted by the errors along the normals, about, and six by those across.
void refine_errors(const std::vector<vector3>& vectors, const sums& of, state& now)
{
    const double least = digit_error(vectors);
    const double most = std::max(least, largest_free_sigma / cube_root(now.volume));
    const double along = of.squares_along / std::max(of.inliers - 3.0, 1.0);
    const double across = of.squares_across / std::max(2.0 * of.inliers - 6.0, 2.0);
    now.along = std::clamp(std::sqrt(along), least, most);
    now.across = std::clamp(std::sqrt(across), least, most);
    const auto total = static_cast<double>(vectors.size());
    now.outlier_fraction = (total - of.inliers + 1.0) / (total + 2.0);
}

bool move(state& now, const nine& change)
{
    matrix3 UB = now.UB;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) UB.a[i][j] += change[static_cast<std::size_t>(3 * i + j)];
    if (!(std::fabs(UB.determinant()) > 0.0)) return false;
    now.set(UB);
    return std::isfinite(now.volume);
}

} // namespace

assessment assess_on_sphere(const std::vector<vector3>& vectors,
                            const std::vector<vector3>& normals, const assessment& start)
{
    assessment found = start;
    found.evidence = no_evidence;
    state now;
    now.set(start.basis.inverse());
    now.across = now.along = start.sigma;
    now.outlier_fraction = start.outlier_fraction;
    constexpr int most_rounds = 40;
    constexpr double settled = 1e-4;
    double before = no_evidence;
    for (int round = 1;; ++round) {
        const sums of = sums_of(vectors, normals, now);
        const auto M = cholesky::of(of.precision);
        if (!M || !(of.inliers > 3.0)) return found;
        const double evidence = evidence_of(of, now, *M);
        if (round == most_rounds || std::fabs(evidence - before) < settled) {
            found.basis = now.basis;
            found.evidence = evidence;
            found.sigma = now.across;
            found.sigma_along_normal = now.along;
            found.outlier_fraction = now.outlier_fraction;
            found.inlier = of.inlier;
            found.indexed = static_cast<int>(std::count_if(of.inlier.begin(), of.inlier.end(),
                                                           [](double p) { return p > 0.5; }));
            return found;
        }
        before = evidence;
        if (!move(now, M->solve(of.right))) return found;
        refine_errors(vectors, of, now);
    }
}

nine_by_nine covariance_on_sphere(const std::vector<vector3>& vectors,
                                  const std::vector<vector3>& normals, const assessment& one)
{
    state now;
    now.set(one.basis.inverse());
    now.across = one.sigma;
    now.along = one.sigma_along_normal;
    now.outlier_fraction = one.outlier_fraction;
    const auto M = cholesky::of(sums_of(vectors, normals, now).precision);
    return M ? M->inverse() : nine_by_nine{};
}

} // namespace torvik::solver
