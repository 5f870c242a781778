#include "solving/uncertainty.h"

#include "base/table.h"
#include "solving/deformation.h"
#include "solving/knowncell.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

namespace torvik::tools {

namespace {

// The six parameters and the volume.
std::array<double, 7> parametersof(const matrix3& UB)
{
    const matrix3 basis = UB.inverse();
    const cell6 cell = cellof(basis);
    std::array<double, 7> all = {};
    std::copy(cell.begin(), cell.end(), all.begin());
    all[6] = std::fabs(basis.determinant());
    return all;
}

// Of the six strains and three turns. Where the vectors do not fix a lattice there is none.
std::optional<ninebynine> covarianceof(const std::vector<vector3>& vectors, const assessment& found)
{
    const matrix3 UB = found.basis.inverse();
    matrix3 gg(0.0);
    for (std::size_t n = 0; n < vectors.size(); ++n) {
        const auto h = nearestindices(found.basis.multiply(vectors[n]));
        const vector3 g = UB.multiply(vector3(h[0], h[1], h[2]));
        addproduct(gg, g, g, found.genuine[n]);
    }
    ninebynine precision = squaresof(scaled(gg, 1.0 / (found.sigma * found.sigma)));
    if (found.known >= 0) addprior(precision, usualstrain);
    const auto split = splitmatrix::of(precision);
    if (!split) return std::nullopt;
    return split->inverse();
}

// How each parameter changes with each of the six strains.
std::array<std::array<double, 7>, 6> slopesof(const matrix3& UB)
{
    constexpr double step = 1e-6;
    std::array<std::array<double, 7>, 6> slopes = {};
    for (std::size_t i = 0; i < slopes.size(); ++i) {
        nine strain = {};
        strain[3 + i] = step;
        const matrix3 E = deformationof(strain);
        const auto above = parametersof((matrix3() + E).multiply(UB));
        const auto below = parametersof((matrix3() - E).multiply(UB));
        for (std::size_t k = 0; k < above.size(); ++k)
            slopes[i][k] = (above[k] - below[k]) / (2.0 * step);
    }
    return slopes;
}

} // namespace

uncertaincell uncertaintyof(const std::vector<vector3>& vectors, const assessment& found)
{
    const matrix3 UB = found.basis.inverse();
    const auto covariance = covarianceof(vectors, found);
    const auto slopes = slopesof(UB);
    std::array<double, 7> variance = {};
    for (std::size_t k = 0; k < variance.size(); ++k) {
        if (!covariance)
            variance[k] = std::numeric_limits<double>::infinity();
        else
            for (std::size_t i = 0; i < 6; ++i)
                for (std::size_t j = 0; j < 6; ++j)
                    variance[k] += slopes[i][k] * (*covariance)[3 + i][3 + j] * slopes[j][k];
    }
    uncertaincell result;
    const auto values = parametersof(UB);
    for (std::size_t k = 0; k < 6; ++k) {
        result.cell[k] = values[k];
        result.error[k] = std::sqrt(std::max(variance[k], 0.0));
    }
    result.volume = values[6];
    result.volumeerror = std::sqrt(std::max(variance[6], 0.0));
    return result;
}

std::string withuncertainty(double value, double error)
{
    constexpr int most = 6; // decimals
    if (!(error > 0.0) || !std::isfinite(error)) return fixed(value, 4);
    int decimals = 0;
    double shown = error;
    // Up to the first place in which the uncertainty is 2 or more.
    while (shown < 1.95 && decimals < most) {
        shown *= 10.0;
        ++decimals;
    }
    const double digits = std::max(1.0, std::round(shown));
    return fixed(value, decimals) + "(" + fixed(digits, 0) + ")";
}

} // namespace torvik::tools
