#include "solver/evidence/known_cell.h"

#include "solver/evidence/mixture.h"
#include "solver/lattice/short_vectors.h"
#include "solver/numeric/functions.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double no_evidence = -std::numeric_limits<double>::infinity();
constexpr double two_pi = 2.0 * std::numbers::pi;

// In units of the mean distance of lattice points: with larger errors any similar cell would fit.
constexpr double largest_sigma = 0.06;
constexpr double first_sigma = 0.05;
constexpr double first_outlier_fraction = 0.4;

// Strains of more standard deviations are those of another lattice.
constexpr double most_deviations = 6.0;

struct state {
    matrix3 R;
    matrix3 strain{0.0}; // e
    matrix3 crystal;     // (1 + e) UB0
    matrix3 basis;       // inverse of R (1 + e) UB0
    double volume = 0.0;
    error_model errors;
};

void set(state& now, const given_cell& cell)
{
    now.crystal = (matrix3() + now.strain).multiply(cell.UB);
    const matrix3 inverse = now.crystal.inverse();
    now.volume = std::fabs(inverse.determinant());
    now.basis = inverse.multiply(now.R.transpose());
}

// The sums that refine the lattice, in the frame of the unrotated cell.
struct products {
    matrix3 gg{0.0}; // sum of g g^T
    matrix3 dg{0.0}; // sum of d g^T
};

expectation expected(const std::vector<vector3>& vectors, const state& now, products& of)
{
    expectation sums;
    sums.inlier.reserve(vectors.size());
    const double peak = now.errors.peak(now.volume);
    const matrix3 upright = now.R.transpose();
    for (const vector3& q : vectors) {
        const vector3 h = nearest_point(now.basis, q);
        const vector3 g = now.crystal.multiply(h);
        const vector3 d = upright.multiply(q) - g;
        const double inlier = now.errors.add(sums, peak, h, d.length_sq());
        add_product(of.gg, g, g, inlier);
        add_product(of.dg, d, g, inlier);
    }
    return sums;
}

nine_by_nine precision_of(const products& of, const state& now, const strain_prior& prior)
{
    nine_by_nine M = squares_of(scaled(of.gg, 1.0 / (now.errors.sigma * now.errors.sigma)));
    prior.add_to(M);
    return M;
}

// Whether the vectors determine the orientation: at least two inliers, and a posterior that is narrow
// compared with all rotations.
bool oriented(const expectation& sums, const nine_by_nine& variance)
{
    constexpr double widest = 0.1; // radians
    for (std::size_t k = 0; k < 3; ++k)
        if (!(variance[k][k] < widest * widest)) return false;
    return sums.weight >= 2.0;
}

// The number of the nine components that the vectors determine, rather than the prior.
double fixed_by(const nine_by_nine& variance, const strain_prior& prior)
{
    double count = 9.0;
    for (std::size_t k = 3; k < 9; ++k) count -= prior.times(variance[k])[k];
    return count;
}

void refine(state& now, const given_cell& cell, const products& of, const cholesky& M)
{
    nine b = products_of(scaled(of.dg, 1.0 / (now.errors.sigma * now.errors.sigma)));
    const nine pull = cell.prior.times(products_of(now.strain));
    for (std::size_t k = 3; k < 9; ++k) b[k] -= pull[k];
    nine x = M.solve(b);
    now.R = now.R.multiply(rotation_by({x[0], x[1], x[2]}));
    x[0] = x[1] = x[2] = 0.0;
    now.strain = now.strain + deformation_of(x);
    set(now, cell);
}

// The logarithm of the sum over all rotations of the density of the strain.
double log_strains(const state& now, const given_cell& cell)
{
    double sum = 0.0;
    for (const matrix3& T : cell.rotations) {
        // The refined lattice, with its axes permuted by T, against the known one.
        const matrix3 UB = now.crystal.multiply(T.inverse());
        sum += exponential(-0.5 * cell.prior.square(strain_of(UB.multiply(cell.basis))));
    }
    return logarithm(sum) - 3.0 * logarithm(two_pi) - 0.5 * cell.prior.log_determinant();
}

double evidence_of(const expectation& sums, const state& now, const given_cell& cell,
                   const cholesky& M, int cells)
{
    return sums.likelihood + 4.5 * logarithm(two_pi) - 0.5 * M.log_determinant()
           - logarithm(2.0 * two_pi * two_pi) + log_strains(now, cell) - logarithm(cells);
}

} // namespace

given_cell::given_cell(const cell_parameters& cell, double scale_deviation)
    : prior{usual_strain, scale_deviation}
{
    const matrix3 given = basis_of(cell);
    short_basis shortest = shortest_basis(given);
    if (shortest.T.determinant() < 0.0) {
        shortest.T = scaled(shortest.T, -1.0);
        shortest.basis = scaled(shortest.basis, -1.0);
    }
    basis = shortest.basis;
    UB = basis.inverse();
    to_given = shortest.T.inverse();
    for (auto& row : to_given.a)
        for (double& x : row) x = std::round(x);
    volume = basis.determinant();
    rotations = rotations_of(basis, most_deviations * usual_strain);
}

matrix3 given_cell::orientation_of(const matrix3& given) const
{
    return nearest_rotation(given.inverse().multiply(to_given.multiply(basis)));
}

deformed_cell given_cell::deformed_as(const matrix3& given) const
{
    const matrix3 F = given.inverse().multiply(to_given.multiply(basis));
    const matrix3 R = nearest_rotation(F);
    const matrix3 stretch = R.transpose().multiply(F);
    return {R, scaled(stretch + stretch.transpose(), 0.5) - matrix3()};
}

assessment assess_known(const std::vector<vector3>& vectors, const given_cell& cell,
                        const matrix3& R, int cells, double least)
{
    return assess_known(vectors, cell, deformed_cell{R, matrix3(0.0)}, cells, least);
}

assessment assess_known(const std::vector<vector3>& vectors, const given_cell& cell,
                        const deformed_cell& start, int cells, double least)
{
    state now;
    now.R = start.R;
    now.strain = start.strain;
    set(now, cell);
    assessment nothing = {now.basis, no_evidence, 0.0, 1.0, 0, {}};
    now.errors = {first_sigma / cube_root(now.volume), first_outlier_fraction,
                  digit_error(vectors)};
    if (!(now.errors.smallest_sigma < largest_sigma / cube_root(now.volume))) return nothing;
    refinement rounds(least);
    while (true) {
        products of;
        const expectation sums = expected(vectors, now, of);
        const auto M = cholesky::of(precision_of(of, now, cell.prior));
        if (!M) return nothing;
        const nine_by_nine variance = M->inverse();
        if (!oriented(sums, variance)) return nothing;
        const double evidence = evidence_of(sums, now, cell, *M, cells);
        if (rounds.ends(sums, evidence))
            return {now.basis,
                    evidence,
                    now.errors.sigma,
                    now.errors.outlier_fraction,
                    inlier_count(sums),
                    sums.inlier,
                    -1,
                    {},
                    cell.prior.scale_deviation};
        refine(now, cell, of, *M);
        now.errors.refine(sums, fixed_by(variance, cell.prior),
                          largest_sigma / cube_root(now.volume));
    }
}

} // namespace torvik::solver
