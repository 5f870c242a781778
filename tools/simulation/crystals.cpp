#include "simulation/crystals.h"

#include "numeric/functions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <string>
#include <utility>

namespace torvik::tools {

namespace {

constexpr double radians = std::numbers::pi / 180.0;

double twotothe(double x)
{
    return exponential(x * std::numbers::ln2);
}

std::int64_t determinant(const millerindices& u, const millerindices& v, const millerindices& w)
{
    const auto minor = [&](std::size_t i, std::size_t j) {
        return static_cast<std::int64_t>(v[i]) * w[j] - static_cast<std::int64_t>(v[j]) * w[i];
    };
    return u[0] * minor(1, 2) + u[1] * minor(2, 0) + u[2] * minor(0, 1);
}

// Each is kept with its length in millionths of the unit: equal lengths of a symmetric cell are equal
// then, whatever the last bits of their computation.
using rankedindices = std::pair<long, millerindices>;

std::vector<rankedindices> indicesupto(double limit, const matrix3& D, const matrix3& R,
                                       double unit)
{
    millerindices last = {};
    for (int i = 0; i < 3; ++i)
        last[static_cast<std::size_t>(i)] = static_cast<int>(limit * row_of(D, i).length());
    std::vector<rankedindices> found;
    foreachpair(last, [&](const millerindices& hkl) {
        const double length = vectorof(hkl, R).length();
        if (length <= limit) found.emplace_back(std::lround(1e6 * length / unit), hkl);
    });
    return found;
}

} // namespace

double cuberoot(double x)
{
    // A step of Newton's mends the last digits.
    const double y = exponential(logarithm(x) / 3.0);
    return y - (y * y * y - x) / (3.0 * y * y);
}

double normaldeviate(randomnumbers& random)
{
    // Box and Muller; 1 - u is never 0.
    const double u = random.between(0.0, 1.0);
    const double angle = random.between(0.0, 2.0 * std::numbers::pi);
    return std::sqrt(-2.0 * logarithm(1.0 - u)) * cosine(angle);
}

matrix3 randomorientation(randomnumbers& random)
{
    // From a quaternion w, x, y, z of length 1.
    double q[4];
    double norm = 0.0;
    for (double& p : q) {
        p = normaldeviate(random);
        norm += p * p;
    }
    for (double& p : q) p /= std::sqrt(norm);
    const auto [w, x, y, z] = q;
    return {1 - 2 * (y * y + z * z), 2 * (x * y - z * w),     2 * (x * z + y * w),
            2 * (x * y + z * w),     1 - 2 * (x * x + z * z), 2 * (y * z - x * w),
            2 * (x * z - y * w),     2 * (y * z + x * w),     1 - 2 * (x * x + y * y)};
}

matrix3 uprightbasis(double a, double b, double c, double alpha, double beta, double gamma)
{
    const double ca = cosine(alpha * radians);
    const double cb = cosine(beta * radians);
    const double cg = cosine(gamma * radians);
    const double sg = sine(gamma * radians);
    const double y = (ca - cb * cg) / sg;
    return {a,      0.0,    0.0,
            b * cg, b * sg, 0.0, //
            c * cb, c * y,  c * std::sqrt(1.0 - cb * cb - y * y)};
}

matrix3 randomcell(randomnumbers& random, const latticetype& lattice)
{
    // All are drawn in every system, so that the numbers that follow are the same in all of them.
    const double b = twotothe(random.between(-0.5, 0.5));
    const double c = twotothe(random.between(-0.5, 0.5));
    const double alpha = random.between(70.0, 110.0);
    const double beta = random.between(70.0, 110.0);
    const double gamma = random.between(70.0, 110.0);
    const std::string system = lattice.system;
    if (system == "triclinic") return uprightbasis(1.0, b, c, alpha, beta, gamma);
    if (system == "monoclinic")
        return uprightbasis(1.0, b, c, 90.0, 90.0 + 0.75 * (beta - 70.0), 90.0);
    if (system == "orthorhombic") return uprightbasis(1.0, b, c, 90.0, 90.0, 90.0);
    if (system == "tetragonal") return uprightbasis(1.0, 1.0, c * c, 90.0, 90.0, 90.0);
    if (system == "cubic") return uprightbasis(1.0, 1.0, 1.0, 90.0, 90.0, 90.0);
    const double ratio = lattice.centring == 'R' ? 2.0 * c * c : c * c;
    return uprightbasis(1.0, 1.0, ratio, 90.0, 90.0, 120.0); // hexagonal axes
}

matrix3 reducedbasis(matrix3 D)
{
    for (bool shorter = true; shorter;) {
        shorter = false;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                if (i == j) continue;
                const vector3 v = row_of(D, i);
                const vector3 u = row_of(D, j);
                // Not for half a vector: that changes the basis but makes nothing shorter.
                const double parts = v.dot(u) / u.dot(u);
                if (std::fabs(parts) <= 0.5 + 1e-9) continue;
                for (int k = 0; k < 3; ++k) D[i][k] -= std::round(parts) * u.at(k);
                shorter = true;
            }
    }
    return D;
}

matrix3 reciprocalof(const matrix3& D)
{
    // Each component is divided by the volume: a product with its inverse would round twice.
    const double V = D.determinant();
    const auto row = [&](int i, int j) {
        const vector3 normal = row_of(D, i).cross(row_of(D, j));
        return vector3{normal.x / V, normal.y / V, normal.z / V};
    };
    return from_rows(row(1, 2), row(2, 0), row(0, 1));
}

vector3 vectorof(const millerindices& hkl, const matrix3& R)
{
    return R.left_multiply(vector3(hkl));
}

std::vector<millerindices> shortestindices(const matrix3& D, int count)
{
    const matrix3 R = reciprocalof(D);
    const double unit = cuberoot(std::fabs(R.determinant()));
    double limit = cuberoot(static_cast<double>(count)) * unit;
    auto found = indicesupto(limit, D, R, unit);
    while (found.size() < static_cast<std::size_t>(count)) {
        limit *= 1.25;
        found = indicesupto(limit, D, R, unit);
    }
    std::sort(found.begin(), found.end());
    found.resize(static_cast<std::size_t>(count));
    std::vector<millerindices> indices;
    indices.reserve(found.size());
    for (const auto& [length, hkl] : found) indices.push_back(hkl);
    return indices;
}

bool spanall(const std::vector<millerindices>& indices)
{
    std::int64_t divisor = 0;
    for (std::size_t i = 0; i < indices.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            for (std::size_t k = 0; k < j; ++k) {
                divisor = std::gcd(divisor, determinant(indices[i], indices[j], indices[k]));
                if (divisor == 1) return true;
            }
    return false;
}

} // namespace torvik::tools
