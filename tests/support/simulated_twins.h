// Simulated reflection vectors of twins, for the tests of the solver.
#pragma once

#include "support/simulated_crystals.h"

#include "solver/lattice/deformation.h"

namespace torvik::solver {

// A twin of two crystals with a monoclinic cell of 7.1 9.3 12.2 angstroms, turned half around about a.
struct twin_request {
    double beta = 95.0;
    int reflections = 60; // half of them of each crystal
    int outliers = 0;     // in addition
    double noise = 0.01;  // of each component, as a part of the shortest reciprocal vector
    std::uint64_t seed = 1;
};

struct simulated_twin {
    std::vector<matrix3> bases;   // direct, of both crystals
    std::vector<vector3> vectors; // 1/angstrom
};

// Each crystal has reflections from among its shortest vectors, six times as many as it has.
inline simulated_twin simulated(const twin_request& asked)
{
    chance random(asked.seed);
    simulated_twin made;
    const matrix3 first =
        basis_of({7.1, 9.3, 12.2, 90.0, asked.beta, 90.0}).multiply(random_rotation(random));
    const matrix3 half_turn =
        rotation_by(std::numbers::pi * row_of(first, 0) / row_of(first, 0).length());
    made.bases = {first, first.multiply(half_turn.transpose())};
    const auto each = static_cast<std::size_t>(asked.reflections / 2);
    constexpr double far_enough = 1.0; // 1/angstrom
    for (const matrix3& basis : made.bases) {
        std::vector<vector3> pool = reciprocal_vectors(basis, far_enough);
        const double sigma = asked.noise * pool.front().length();
        pool.resize(6 * each);
        for (std::size_t n = 0; n < each; ++n) {
            const int last = static_cast<int>(pool.size()) - 1;
            std::swap(pool[static_cast<std::size_t>(random.whole(0, last))], pool.back());
            made.vectors.push_back(pool.back() + sigma * normal_vector(random));
            pool.pop_back();
        }
    }
    double longest = 0.0;
    for (const vector3& q : made.vectors) longest = std::max(longest, q.length());
    for (int n = 0; n < asked.outliers; ++n) {
        const vector3 direction = normal_vector(random);
        made.vectors.push_back(
            direction * (longest * std::cbrt(random.between(0.02, 1.0)) / direction.length()));
    }
    return made;
}

} // namespace torvik::solver
