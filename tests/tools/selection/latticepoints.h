// Reciprocal lattices of known cells, for the tests of the choice of reflections.
#pragma once

#include "base/linear.h"
#include "readers/reader.h"

#include <random>
#include <vector>

namespace torvik::tools {

// Points h a* + k b* + l c* that are not longer than `radius`, without the origin.
inline std::vector<vector3> latticepoints(const vector3& a, const vector3& b, const vector3& c,
                                          double radius)
{
    std::vector<vector3> points;
    constexpr int most = 30;
    for (int h = -most; h <= most; ++h)
        for (int k = -most; k <= most; ++k)
            for (int l = -most; l <= most; ++l) {
                const vector3 r = a * h + b * k + c * l;
                if (r.length() <= radius && (h != 0 || k != 0 || l != 0)) points.push_back(r);
            }
    return points;
}

// A triclinic crystal with a cell of 1/0.000903 = 1107 cubic angstroms.
inline std::vector<vector3> triclinicpoints(double radius)
{
    return latticepoints({0.1, 0.0, 0.0}, {0.02, 0.105, 0.0}, {0.01, -0.02, 0.086}, radius);
}
constexpr double triclinicvolume = 1.0 / (0.1 * 0.105 * 0.086);

// With an error of the same size for every component.
inline std::vector<vector3> disturbed(std::vector<vector3> vectors, double error, unsigned seed)
{
    std::mt19937 chance(seed);
    std::normal_distribution<double> normal(0.0, error);
    for (vector3& r : vectors) r += vector3(normal(chance), normal(chance), normal(chance));
    return vectors;
}

inline measurement measurementof(const std::vector<vector3>& vectors)
{
    measurement measured;
    measured.frame = "The frame is that of the test.";
    for (const vector3& r : vectors)
        measured.spots.push_back(
            {{r.x, r.y, r.z}, {}, {}, "line " + std::to_string(measured.spots.size() + 1)});
    return measured;
}

} // namespace torvik::tools
