#include "solving/uncertainty.h"

#include "base/table.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

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

matrix3 covarianceof(const std::vector<vector3>& vectors, const assessment& found)
{
    matrix3 HH(0.0);
    for (std::size_t n = 0; n < vectors.size(); ++n) {
        const std::array<int, 3> h = nearestindices(found.basis.multiply(vectors[n]));
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j) HH.a[i][j] += found.genuine[n] * h[i] * h[j];
    }
    return scaled(HH.inverse(), found.sigma * found.sigma);
}

} // namespace

uncertaincell uncertaintyof(const std::vector<vector3>& vectors, const assessment& found)
{
    const matrix3 UB = found.basis.inverse();
    const matrix3 covariance = covarianceof(vectors, found);
    const double step = 1e-6 * std::cbrt(std::fabs(UB.determinant()));
    std::array<double, 7> variance = {};
    for (int row = 0; row < 3; ++row) {
        std::array<std::array<double, 7>, 3> slope = {};
        for (int column = 0; column < 3; ++column) {
            matrix3 more = UB;
            matrix3 less = UB;
            more.a[row][column] += step;
            less.a[row][column] -= step;
            const auto above = parametersof(more);
            const auto below = parametersof(less);
            for (std::size_t k = 0; k < above.size(); ++k)
                slope[static_cast<std::size_t>(column)][k] = (above[k] - below[k]) / (2.0 * step);
        }
        for (std::size_t k = 0; k < variance.size(); ++k)
            for (std::size_t i = 0; i < 3; ++i)
                for (std::size_t j = 0; j < 3; ++j)
                    variance[k] += slope[i][k] * covariance.a[i][j] * slope[j][k];
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
