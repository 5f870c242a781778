#include "truth/crystals.h"

#include <algorithm>
#include <cstdio>
#include <numbers>
#include <numeric>
#include <stdexcept>
#include <tuple>

namespace torvik {

namespace {

constexpr double radians = std::numbers::pi / 180.0;
constexpr double wavelength = 0.71073; // molybdenum K alpha; reaches d spacings of 0.36
constexpr double kappaaxis = 50.0;

// The rows a*, b*, c* of a direct basis with the rows a, b, c.
matrix3 reciprocalof(const matrix3& D)
{
    const matrix3 G = inverseof(D);
    matrix3 R = {};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) R(i, j) = G(j, i);
    return R;
}

// a along x, b in the plane of x and y.
matrix3 basisof(double a, double b, double c, double alpha, double beta, double gamma)
{
    const double ca = std::cos(alpha * radians);
    const double cb = std::cos(beta * radians);
    const double cg = std::cos(gamma * radians);
    const double sg = std::sin(gamma * radians);
    const double y = (ca - cb * cg) / sg;
    return {{{a, 0.0, 0.0},
             {b * cg, b * sg, 0.0},
             {c * cb, c * y, c * std::sqrt(1.0 - cb * cb - y * y)}}};
}

// The reciprocal-lattice vector of indices: h a* + k b* + l c*, the rows of R being a*, b*, c*.
vector3 combination(const vector3& hkl, const matrix3& R)
{
    vector3 v = {};
    for (int k = 1; k <= 3; ++k) v(k) = hkl(1) * R(1, k) + hkl(2) * R(2, k) + hkl(3) * R(3, k);
    return v;
}

double cubed(double x)
{
    return x * x * x;
}

template <class item>
void shuffle(std::vector<item>& items, randomnumbers& random)
{
    for (std::size_t i = items.size(); i > 1; --i)
        std::swap(items[i - 1],
                  items[static_cast<std::size_t>(random.whole(0, static_cast<int>(i) - 1))]);
}

std::vector<vector3> chosenindices(const std::vector<vector3>& pool, int count,
                                   randomnumbers& random)
{
    for (int attempt = 0; attempt < 10000; ++attempt) {
        std::vector<vector3> indices = pool;
        shuffle(indices, random);
        indices.resize(static_cast<std::size_t>(count));
        if (spanall(indices)) return indices;
    }
    throw std::runtime_error("no choice of reflections spans the lattice");
}

// Any direction, and a length such that the space between two spheres is filled evenly.
vector3 wrongreflection(double shortest, double longest, randomnumbers& random)
{
    const double length =
        std::cbrt(cubed(shortest) + random.between(0.0, 1.0) * (cubed(longest) - cubed(shortest)));
    vector3 v = {{normaldeviate(random), normaldeviate(random), normaldeviate(random)}};
    const double scale = length / vectormagnitude(v);
    return {{scale * v(1), scale * v(2), scale * v(3)}};
}

std::string text(const char* format, double x)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, x);
    return buffer;
}

std::string line(const char* format, const vector3& v)
{
    return text(format, v(1)) + " " + text(format, v(2)) + " " + text(format, v(3)) + "\n";
}

} // namespace

double normaldeviate(randomnumbers& random)
{
    // Box and Muller; 1 - u is never 0.
    const double u = random.between(0.0, 1.0);
    const double angle = random.between(0.0, 2.0 * std::numbers::pi);
    return std::sqrt(-2.0 * std::log(1.0 - u)) * std::cos(angle);
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
    return {{{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
             {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
             {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}}};
}

matrix3 randomcell(randomnumbers& random, const latticetype& lattice)
{
    // All are drawn in every system, so that the numbers that follow are the same in all of them.
    const double b = std::exp2(random.between(-0.5, 0.5));
    const double c = std::exp2(random.between(-0.5, 0.5));
    const double alpha = random.between(70.0, 110.0);
    const double beta = random.between(70.0, 110.0);
    const double gamma = random.between(70.0, 110.0);
    const std::string system = lattice.system;
    if (system == "triclinic") return basisof(1.0, b, c, alpha, beta, gamma);
    if (system == "monoclinic") return basisof(1.0, b, c, 90.0, 90.0 + 0.75 * (beta - 70.0), 90.0);
    if (system == "orthorhombic") return basisof(1.0, b, c, 90.0, 90.0, 90.0);
    if (system == "tetragonal") return basisof(1.0, 1.0, c * c, 90.0, 90.0, 90.0);
    if (system == "cubic") return basisof(1.0, 1.0, 1.0, 90.0, 90.0, 90.0);
    const double ratio = lattice.centring == 'R' ? 2.0 * c * c : c * c;
    return basisof(1.0, 1.0, ratio, 90.0, 90.0, 120.0); // hexagonal axes
}

matrix3 primitiveof(const matrix3& conventional, char centring)
{
    constexpr double third = 1.0 / 3.0;
    matrix3 P = identity();
    if (centring == 'A') P = {{{1, 0, 0}, {0, 0.5, 0.5}, {0, -0.5, 0.5}}};
    if (centring == 'C') P = {{{0.5, 0.5, 0}, {-0.5, 0.5, 0}, {0, 0, 1}}};
    if (centring == 'I') P = {{{-0.5, 0.5, 0.5}, {0.5, -0.5, 0.5}, {0.5, 0.5, -0.5}}};
    if (centring == 'F') P = {{{0, 0.5, 0.5}, {0.5, 0, 0.5}, {0.5, 0.5, 0}}};
    if (centring == 'R') // the obverse setting
        P = {{{2 * third, third, third}, {-third, third, third}, {-third, -2 * third, third}}};
    return matrixproduct(P, conventional);
}

matrix3 reducedbasis(matrix3 D)
{
    for (bool shorter = true; shorter;) {
        shorter = false;
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) {
                if (i == j) continue;
                const vector3 v = rowof(D, i);
                const vector3 u = rowof(D, j);
                // Not for half a vector: that changes the basis but makes nothing shorter.
                const double parts = dotproduct(v, u) / dotproduct(u, u);
                if (std::fabs(parts) <= 0.5 + 1e-9) continue;
                for (int k = 1; k <= 3; ++k) D(i, k) -= nint(parts) * u(k);
                shorter = true;
            }
    }
    return D;
}

std::vector<vector3> shortestindices(const matrix3& D, int count)
{
    const matrix3 R = reciprocalof(D);
    const double unit = std::cbrt(std::fabs(deter(R)));
    for (double limit = std::cbrt(static_cast<double>(count)) * unit;; limit *= 1.25) {
        // Each is kept with its length in millionths of the unit: equal lengths of a symmetric cell
        // are equal then, whatever the last bits of their computation.
        std::vector<std::tuple<long, int, int, int>> found;
        const auto last = [&](int i) {
            return static_cast<int>(limit * vectormagnitude(rowof(D, i)));
        };
        for (int h = 0; h <= last(1); ++h)
            for (int k = -last(2); k <= last(2); ++k)
                for (int l = -last(3); l <= last(3); ++l) {
                    const bool opposite = h == 0 && (k < 0 || (k == 0 && l <= 0));
                    if (opposite) continue;
                    const vector3 hkl = {
                        {static_cast<double>(h), static_cast<double>(k), static_cast<double>(l)}};
                    const double length = vectormagnitude(combination(hkl, R));
                    if (length <= limit)
                        found.emplace_back(std::lround(1e6 * length / unit), h, k, l);
                }
        if (found.size() < static_cast<std::size_t>(count)) continue;
        std::sort(found.begin(), found.end());
        std::vector<vector3> indices;
        for (int n = 0; n < count; ++n) {
            const auto& [length, h, k, l] = found[static_cast<std::size_t>(n)];
            indices.push_back(
                {{static_cast<double>(h), static_cast<double>(k), static_cast<double>(l)}});
        }
        return indices;
    }
}

bool spanall(const std::vector<vector3>& indices)
{
    long divisor = 0;
    for (std::size_t i = 0; i < indices.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            for (std::size_t k = 0; k < j; ++k) {
                const double d = deter(rowsmatrix(indices[i], indices[j], indices[k]));
                divisor = std::gcd(divisor, std::lround(d));
                if (divisor == 1) return true;
            }
    return false;
}

sample samplefor(const experiment& asked, randomnumbers& random)
{
    sample made;
    // The cell, scaled to the volume, in its orientation.
    const matrix3 cell = randomcell(random, asked.lattice);
    made.conventional = matrixproduct(cell, randomorientation(random));
    const double volume = std::fabs(deter(primitiveof(made.conventional, asked.lattice.centring)));
    const double scale = std::cbrt(asked.volume / volume);
    for (int i = 1; i <= 3; ++i)
        for (int k = 1; k <= 3; ++k) made.conventional(i, k) *= scale;
    made.truth = reducedbasis(primitiveof(made.conventional, asked.lattice.centring));

    const matrix3 R = reciprocalof(made.truth);
    const auto pool = shortestindices(made.truth, 3 * asked.reflections);
    made.shortest = vectormagnitude(combination(pool.front(), R));
    const int wrong = nint(asked.wrong * asked.reflections);
    const double error = asked.noise * made.shortest;

    double nearest = 1e30;
    double farthest = 0.0;
    for (const vector3& hkl : chosenindices(pool, asked.reflections - wrong, random)) {
        vector3 v = combination(hkl, R);
        nearest = std::min(nearest, vectormagnitude(v));
        farthest = std::max(farthest, vectormagnitude(v));
        const double sign = random.whole(0, 1) == 1 ? 1.0 : -1.0; // of two opposite ones, either
        for (int k = 1; k <= 3; ++k) v(k) = sign * v(k) + error * normaldeviate(random);
        made.reflections.push_back(v);
    }
    for (int n = 0; n < wrong; ++n)
        made.reflections.push_back(wrongreflection(nearest, farthest, random));

    // In arbitrary order.
    std::vector<std::size_t> order(made.reflections.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    shuffle(order, random);
    const std::vector<vector3> inorder = made.reflections;
    for (std::size_t n = 0; n < order.size(); ++n) {
        made.reflections[n] = inorder[order[n]];
        made.genuine.push_back(order[n] < order.size() - static_cast<std::size_t>(wrong));
    }

    const double guess = asked.volume * std::pow(1.5, random.between(-1.0, 1.0));
    made.smallestvolume = guess / 3.0;
    made.largestvolume = guess * 3.0;
    return made;
}

vector3 eulerianangles(const vector3& v, double lambda)
{
    const double length = vectormagnitude(v);
    return {{std::asin(lambda * length / 2.0) / radians, std::atan2(-v(1), v(2)) / radians,
             std::asin(v(3) / length) / radians}};
}

vector3 kappaangles(const vector3& v, double lambda, double axis)
{
    const vector3 euler = eulerianangles(v, lambda);
    const double d = -std::sin(euler(3) * radians / 2.0);
    const double s = std::sin(axis * radians);
    const double r = std::sqrt(s * s - d * d);
    const double delta = std::atan2(d * std::cos(axis * radians), r) / radians;
    return {{euler(1) - delta, euler(2) - delta, -2.0 * std::atan2(d, r) / radians}};
}

std::string inputfor(const experiment& asked, const sample& made, int extent)
{
    std::string input = std::string("# ") + asked.lattice.system + " " + asked.lattice.centring
                        + ", primitive volume " + text("%.1f", asked.volume) + ", noise "
                        + text("%.3f", asked.noise) + ", wrong " + text("%.2f", asked.wrong)
                        + "; the direct basis:\n";
    for (int i = 1; i <= 3; ++i) input += "# " + line("%11.6f", rowof(made.truth, i));
    input += "_ExtentOfTheSearch\n" + std::to_string(extent) + "\n";
    input += "_MinMaxVolumeOfPrimitiveCell\n" + text("%.1f", made.smallestvolume) + " "
             + text("%.1f", made.largestvolume) + "\n";
    if (asked.kind != inputkind::vectors)
        input += "_Wavelength\n" + text("%.5f", wavelength) + "\n";
    if (asked.kind == inputkind::kappa)
        input += "_AngleOfKappaAxis\n" + text("%.1f", kappaaxis) + "\n";
    input += "_NumberOfReflections\n" + std::to_string(made.reflections.size()) + "\n";
    if (asked.kind == inputkind::vectors) input += "_Reflections\n";
    if (asked.kind == inputkind::eulerian) input += "_ReflectionsThetaPhiChi\n";
    if (asked.kind == inputkind::kappa) input += "_ReflectionsThetaPhiKappa\n";
    for (const vector3& v : made.reflections) {
        if (asked.kind == inputkind::vectors) input += line("%10.6f", v);
        if (asked.kind == inputkind::eulerian)
            input += line("%10.4f", eulerianangles(v, wavelength));
        if (asked.kind == inputkind::kappa)
            input += line("%10.4f", kappaangles(v, wavelength, kappaaxis));
    }
    return input;
}

} // namespace torvik
