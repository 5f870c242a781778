#include "solver/verdict/uncertainty.h"

#include "solver/evidence/known_cell.h"
#include "solver/lattice/deformation.h"
#include "solver/lattice/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

namespace torvik::solver {

namespace {

// The six parameters and the volume.
std::array<double, 7> parameters_of(const matrix3& UB)
{
    const matrix3 basis = UB.inverse();
    const cell_parameters cell = cell_of(basis);
    std::array<double, 7> all = {};
    std::copy(cell.begin(), cell.end(), all.begin());
    all[6] = std::fabs(basis.determinant());
    return all;
}

// The covariance of rotation and strains; none if the vectors do not determine the lattice.
std::optional<nine_by_nine> covariance_of(const std::vector<vector3>& vectors,
                                          const assessment& found)
{
    const matrix3 UB = found.basis.inverse();
    matrix3 gg(0.0);
    for (std::size_t n = 0; n < vectors.size(); ++n) {
        const auto h = nearest_indices(found.basis.multiply(vectors[n]));
        const vector3 g = UB.multiply(vector3(h[0], h[1], h[2]));
        add_product(gg, g, g, found.inlier[n]);
    }
    nine_by_nine precision = squares_of(scaled(gg, 1.0 / (found.sigma * found.sigma)));
    if (found.known >= 0) strain_prior{usual_strain, found.scale_deviation}.add_to(precision);
    const auto factored = cholesky::of(precision);
    if (!factored) return std::nullopt;
    return factored->inverse();
}

// The derivatives of the parameters by the six strains.
std::array<std::array<double, 7>, 6> slopes_of(const matrix3& UB)
{
    constexpr double step = 1e-6;
    std::array<std::array<double, 7>, 6> slopes = {};
    for (std::size_t i = 0; i < slopes.size(); ++i) {
        nine strain = {};
        strain[3 + i] = step;
        const matrix3 E = deformation_of(strain);
        const auto above = parameters_of((matrix3() + E).multiply(UB));
        const auto below = parameters_of((matrix3() - E).multiply(UB));
        for (std::size_t k = 0; k < above.size(); ++k)
            slopes[i][k] = (above[k] - below[k]) / (2.0 * step);
    }
    return slopes;
}

// The derivatives of the parameters by the nine elements of UB, row by row.
std::array<std::array<double, 7>, 9> slopes_by_element(const matrix3& UB)
{
    const double step = 1e-6 * std::cbrt(std::fabs(UB.determinant()));
    std::array<std::array<double, 7>, 9> slopes = {};
    for (std::size_t i = 0; i < slopes.size(); ++i) {
        matrix3 more = UB;
        matrix3 less = UB;
        more.a[i / 3][i % 3] += step;
        less.a[i / 3][i % 3] -= step;
        const auto above = parameters_of(more);
        const auto below = parameters_of(less);
        for (std::size_t k = 0; k < above.size(); ++k)
            slopes[i][k] = (above[k] - below[k]) / (2.0 * step);
    }
    return slopes;
}

uncertain_cell with_variances(const matrix3& UB, const std::array<double, 7>& variance)
{
    uncertain_cell result;
    const auto values = parameters_of(UB);
    for (std::size_t k = 0; k < 6; ++k) {
        result.cell[k] = values[k];
        result.error[k] = std::sqrt(std::max(variance[k], 0.0));
    }
    result.volume = values[6];
    result.volume_error = std::sqrt(std::max(variance[6], 0.0));
    return result;
}

} // namespace

uncertain_cell uncertainty_of(const lattice& found)
{
    const auto& D = found.basis;
    const matrix3 UB =
        matrix3(D[0][0], D[0][1], D[0][2], D[1][0], D[1][1], D[1][2], D[2][0], D[2][1], D[2][2])
            .inverse();
    double trace = 0.0;
    for (std::size_t i = 0; i < found.covariance.size(); ++i) trace += found.covariance[i][i];
    std::array<double, 7> variance = {};
    variance.fill(trace > 0.0 ? 0.0 : std::numeric_limits<double>::infinity());
    const auto slopes = slopes_by_element(UB);
    for (std::size_t k = 0; trace > 0.0 && k < variance.size(); ++k)
        for (std::size_t i = 0; i < slopes.size(); ++i)
            for (std::size_t j = 0; j < slopes.size(); ++j)
                variance[k] += slopes[i][k] * found.covariance[i][j] * slopes[j][k];
    return with_variances(UB, variance);
}

uncertain_cell uncertainty_of(const std::vector<vector3>& vectors, const assessment& found)
{
    const matrix3 UB = found.basis.inverse();
    const auto covariance = covariance_of(vectors, found);
    const auto slopes = slopes_of(UB);
    std::array<double, 7> variance = {};
    for (std::size_t k = 0; k < variance.size(); ++k) {
        if (!covariance)
            variance[k] = std::numeric_limits<double>::infinity();
        else
            for (std::size_t i = 0; i < 6; ++i)
                for (std::size_t j = 0; j < 6; ++j)
                    variance[k] += slopes[i][k] * (*covariance)[3 + i][3 + j] * slopes[j][k];
    }
    return with_variances(UB, variance);
}

std::string with_uncertainty(double value, double error)
{
    constexpr int most = 6; // decimals
    if (!(error > 0.0) || !std::isfinite(error)) return fixed(value, 4);
    int decimals = 0;
    double shown = error;
    // Decimals up to the first place in which the uncertainty is 2 or more.
    while (shown < 1.95 && decimals < most) {
        shown *= 10.0;
        ++decimals;
    }
    const double digits = std::max(1.0, std::round(shown));
    return fixed(value, decimals) + "(" + fixed(digits, 0) + ")";
}

} // namespace torvik::solver
