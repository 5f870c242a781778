// Simulated reflection vectors of one crystal, for the tests of the solver.
#pragma once

#include "simulation/randomnumbers.h"
#include "solver/lattice/cell.h"
#include "support/random_bases.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <utility>
#include <vector>

namespace torvik::solver {

struct crystal_request {
    cell_parameters cell = {7.5, 9.0, 11.0, 85.0, 100.0, 95.0};
    int reflections = 40; // outliers included
    int outliers = 0;
    double smallest_d = 1.0; // angstroms
    double noise = 0.0;      // of each component, as a part of the shortest reciprocal vector
    vector3 offset = {};     // of all vectors, 1/angstrom
    std::uint64_t seed = 1;
};

struct simulated_crystal {
    matrix3 basis;                // direct, rows, rotated
    std::vector<vector3> vectors; // 1/angstrom
    double sigma = 0.0;           // of each component, 1/angstrom
};

// By Box & Muller (1958).
inline double normal_deviate(chance& random)
{
    const double u = 1.0 - random.between(0.0, 1.0);
    const double v = random.between(0.0, 2.0 * std::numbers::pi);
    return std::sqrt(-2.0 * std::log(u)) * std::cos(v);
}

inline vector3 normal_vector(chance& random)
{
    const double x = normal_deviate(random);
    const double y = normal_deviate(random);
    return {x, y, normal_deviate(random)};
}

// The reciprocal lattice vectors up to a length, one of each pair of opposite ones, the shortest first.
inline std::vector<vector3> reciprocal_vectors(const matrix3& basis, double longest)
{
    const matrix3 UB = basis.inverse();
    const auto most = [&](int i) { return static_cast<int>(row_of(basis, i).length() * longest); };
    std::vector<vector3> found;
    for (int h = 0; h <= most(0); ++h)
        for (int k = -most(1); k <= most(1); ++k)
            for (int l = -most(2); l <= most(2); ++l) {
                if (std::pair(h, std::pair(k, l)) <= std::pair(0, std::pair(0, 0))) continue;
                const vector3 q = UB.multiply(vector3(h, k, l));
                if (q.length() <= longest) found.push_back(q);
            }
    std::stable_sort(found.begin(), found.end(), [](const vector3& one, const vector3& other) {
        return one.length_sq() < other.length_sq();
    });
    return found;
}

// Inliers are drawn from all lattice points up to 1/d, with either sign; outliers fill the same sphere
// evenly, without its core.
inline simulated_crystal simulated(const crystal_request& asked)
{
    chance random(asked.seed);
    simulated_crystal made;
    made.basis = basis_of(asked.cell).multiply(random_rotation(random));
    const double longest = 1.0 / asked.smallest_d;
    std::vector<vector3> pool = reciprocal_vectors(made.basis, longest);
    const double shortest = pool.front().length();
    made.sigma = asked.noise * shortest;
    for (int n = asked.outliers; n < asked.reflections; ++n) {
        const int last = static_cast<int>(pool.size()) - 1;
        std::swap(pool[static_cast<std::size_t>(random.whole(0, last))], pool.back());
        const double sign = random.whole(0, 1) == 1 ? 1.0 : -1.0;
        made.vectors.push_back(sign * pool.back() + made.sigma * normal_vector(random)
                               + asked.offset);
        pool.pop_back();
    }
    for (int n = 0; n < asked.outliers; ++n) {
        const double cube = random.between(std::pow(shortest, 3.0), std::pow(longest, 3.0));
        const vector3 direction = normal_vector(random);
        made.vectors.push_back(direction * (std::cbrt(cube) / direction.length()) + asked.offset);
    }
    return made;
}

} // namespace torvik::solver
