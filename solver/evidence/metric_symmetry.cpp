#include "solver/evidence/metric_symmetry.h"

#include "solver/evidence/lattice_prior.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <optional>
#include <utility>

namespace torvik::solver {

namespace {

// The groups of rotations that are those of a lattice: their order, the number of their two-fold axes and the prior
// probability of each of their Bravais lattices.
struct lattice_group {
    std::size_t order;
    int two_folds;
    double prior;
};
constexpr std::array<lattice_group, 6> lattice_groups = {{
    {2, 1, 0.30 / 2},
    {4, 3, 0.20 / 4},
    {8, 5, 0.08 / 2},
    {6, 3, 0.05},
    {12, 7, 0.05},
    {24, 9, 0.07 / 3},
}};

// The density of a free strain other than the isotropic one.
constexpr double shape_density = 0.7;

// The standard deviation of strains of the measured lattice by errors of the instrument.
constexpr double instrument_strain = 0.002;

// Rotations are looked at if the strain that they need is within so many standard deviations, and below a limit.
constexpr double most_deviations = 5.0;
constexpr double largest_strain = 0.1;

constexpr std::size_t size = 9;
constexpr std::size_t first_strain = 3;
constexpr std::size_t strains = 6;

// A rotation of a lattice, approximate: T * basis = basis * F.
struct approximate_rotation {
    matrix3 T;
    matrix3 F;
    double misfit = 0.0; // square of the strain in F, in units of the errors
};

// The six components of a symmetric matrix in a vector of nine whose first three are 0.
nine components_of(const matrix3& e)
{
    constexpr double root = std::numbers::sqrt2;
    return {0.0,
            0.0,
            0.0,
            e.a[0][0],
            e.a[1][1],
            e.a[2][2],
            root * e.a[1][2],
            root * e.a[0][2],
            root * e.a[0][1]};
}

double product(const nine& x, const nine& y)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < size; ++i) sum += x[i] * y[i];
    return sum;
}

nine_by_nine identity()
{
    nine_by_nine I = {};
    for (std::size_t i = 0; i < size; ++i) I[i][i] = 1.0;
    return I;
}

nine_by_nine times(const nine_by_nine& A, const nine_by_nine& B)
{
    nine_by_nine C = {};
    for (std::size_t i = 0; i < size; ++i)
        for (std::size_t k = 0; k < size; ++k)
            for (std::size_t j = 0; j < size; ++j) C[i][j] += A[i][k] * B[k][j];
    return C;
}

// The covariance of the strains by the fit and the instrument; 1 for the rotations, which have none with them.
std::optional<nine_by_nine> covariance_of(const std::vector<vector3>& vectors,
                                          const assessment& lattice)
{
    const matrix3 UB = lattice.basis.inverse();
    matrix3 squares(0.0);
    vector3 sum;
    double inliers = 0.0;
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const vector3 x = lattice.basis.multiply(vectors[i] - lattice.shift);
        const vector3 g = UB.multiply(vector3(std::round(x.x), std::round(x.y), std::round(x.z)));
        add_product(squares, g, g, lattice.inlier[i]);
        sum += lattice.inlier[i] * g;
        inliers += lattice.inlier[i];
    }
    // A common shift takes the mean of the points for itself.
    if (lattice.shift.length_sq() > 0.0) add_product(squares, sum, sum, -1.0 / inliers);
    nine_by_nine precision = squares_of(scaled(squares, 1.0 / (lattice.sigma * lattice.sigma)));
    const auto factors = cholesky::of(precision);
    if (!factors) return std::nullopt;
    const nine_by_nine all = factors->inverse();
    nine_by_nine C = identity();
    for (std::size_t i = first_strain; i < size; ++i)
        for (std::size_t j = first_strain; j < size; ++j)
            C[i][j] = all[i][j] + (i == j ? instrument_strain * instrument_strain : 0.0);
    return C;
}

bool equal(const matrix3& T, const matrix3& S)
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (std::round(T.a[i][j] - S.a[i][j]) != 0.0) return false;
    return true;
}

using rotation_list = std::vector<approximate_rotation>;

const approximate_rotation* found_in(const rotation_list& list, const matrix3& T)
{
    const auto found = std::find_if(
        list.begin(), list.end(), [&](const approximate_rotation& one) { return equal(one.T, T); });
    return found == list.end() ? nullptr : &*found;
}

// The group of rotations and a further one, if all of it is among those allowed.
std::optional<rotation_list> closure(rotation_list group, const approximate_rotation& further,
                                     const rotation_list& allowed)
{
    group.push_back(further);
    for (std::size_t i = 0; i < group.size(); ++i)
        for (std::size_t j = 0; j < group.size(); ++j)
            for (const auto& [left, right] : {std::pair(i, j), std::pair(j, i)}) {
                const matrix3 product = group[left].T.multiply(group[right].T);
                if (found_in(group, product)) continue;
                const approximate_rotation* known = found_in(allowed, product);
                if (!known) return std::nullopt;
                group.push_back(*known);
            }
    return group;
}

const lattice_group* kind_of(const rotation_list& group)
{
    const auto two_folds =
        std::count_if(group.begin(), group.end(), [](const approximate_rotation& one) {
            return std::round(one.T.trace()) == -1.0;
        });
    const auto kind =
        std::find_if(lattice_groups.begin(), lattice_groups.end(), [&](const lattice_group& one) {
            return one.order == group.size() && one.two_folds == two_folds;
        });
    return kind == lattice_groups.end() ? nullptr : &*kind;
}

// The mean of R e R^T over a group is the part of a strain e that has its symmetry: this projection as a matrix.
nine_by_nine projection_of(const rotation_list& group)
{
    std::vector<matrix3> rotations;
    for (const approximate_rotation& one : group) rotations.push_back(nearest_rotation(one.F));
    nine_by_nine P = {};
    for (std::size_t k = first_strain; k < size; ++k) {
        nine unit = {};
        unit[k] = 1.0;
        const matrix3 e = deformation_of(unit);
        matrix3 mean(0.0);
        for (const matrix3& R : rotations) mean = mean + R.multiply(e).multiply(R.transpose());
        const nine column = components_of(scaled(mean, 1.0 / static_cast<double>(group.size())));
        for (std::size_t i = first_strain; i < size; ++i) P[i][k] = column[i];
    }
    return P;
}

// By how much the evidence with the symmetry of a group exceeds that with any metric.
double gain_of(const rotation_list& group, const lattice_group& kind, const nine_by_nine& C)
{
    const nine_by_nine P = projection_of(group);
    double trace = 0.0;
    for (std::size_t i = first_strain; i < size; ++i) trace += P[i][i];
    const double free = std::round(trace);
    const double fixed = static_cast<double>(strains) - free;
    nine_by_nine Q = identity();
    for (std::size_t i = first_strain; i < size; ++i)
        for (std::size_t j = first_strain; j < size; ++j) Q[i][j] -= P[i][j];
    // Of the fixed strains the covariance, of the free ones 1.
    nine_by_nine K = times(times(Q, C), Q);
    for (std::size_t i = first_strain; i < size; ++i)
        for (std::size_t j = first_strain; j < size; ++j) K[i][j] += P[i][j];
    const auto factors = cholesky::of(K);
    if (!factors) return -std::numeric_limits<double>::infinity();
    matrix3 mean(0.0);
    for (const approximate_rotation& one : group) mean = mean + one.F.multiply(one.F.transpose());
    const nine f = components_of(
        scaled(scaled(mean, 1.0 / static_cast<double>(group.size())) - matrix3(), 0.5));
    const double log_normal = -0.5
                              * (product(f, factors->solve(f)) + factors->log_determinant()
                                 + fixed * logarithm(2.0 * std::numbers::pi));
    const double order = static_cast<double>(kind.order);
    return logarithm(order / (8.0 * std::numbers::pi * std::numbers::pi)) + 0.5 * logarithm(3.0)
           + (free - 1.0) * logarithm(shape_density) - 1.5 * std::numbers::ln2
           + logarithm(measure_of_lattices) + log_normal;
}

// The approximate rotations but for the identity, those that need the least strain first.
rotation_list rotations_within(const matrix3& basis, const nine_by_nine& C)
{
    rotation_list list;
    double variance = 0.0;
    for (std::size_t i = first_strain; i < size; ++i) variance = std::max(variance, C[i][i]);
    const double limit = std::min(largest_strain, 2.0 * most_deviations * std::sqrt(variance));
    const auto factors = cholesky::of(C);
    if (!factors) return list;
    const matrix3 UB = basis.inverse();
    for (const matrix3& T : rotations_of(basis, limit)) {
        if (equal(T, matrix3())) continue;
        approximate_rotation one = {T, UB.multiply(T).multiply(basis)};
        const nine e = components_of(strain_of(one.F));
        // e is the difference of two strains, so that its covariance is about 2 C.
        one.misfit = 0.5 * product(e, factors->solve(e));
        if (one.misfit < most_deviations * most_deviations) list.push_back(one);
    }
    std::stable_sort(list.begin(), list.end(),
                     [](const approximate_rotation& p, const approximate_rotation& q) {
                         return p.misfit < q.misfit;
                     });
    return list;
}

} // namespace

double symmetry_gain(const std::vector<vector3>& vectors, const assessment& lattice)
{
    const double any = logarithm(triclinic_prior);
    const auto reduced = try_shortest_basis(lattice.basis);
    const auto C = covariance_of(vectors, lattice);
    if (!reduced || !C) return any;
    const approximate_rotation identity_rotation = {matrix3(), matrix3()};
    rotation_list allowed = rotations_within(reduced->basis, *C);
    allowed.insert(allowed.begin(), identity_rotation);
    // Each group contains those before it: the rotations that fit best come first.
    rotation_list group = {identity_rotation};
    double best = -std::numeric_limits<double>::infinity();
    for (const approximate_rotation& one : allowed) {
        if (found_in(group, one.T)) continue;
        const auto grown = closure(group, one, allowed);
        if (!grown) continue;
        group = *grown;
        const lattice_group* kind = kind_of(group);
        if (kind) best = std::max(best, logarithm(kind->prior) + gain_of(group, *kind, *C));
    }
    return log_sum(any, best);
}

} // namespace torvik::solver
