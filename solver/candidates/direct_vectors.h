// Vectors of the direct lattice that three reflections suggest and the others confirm.
#pragma once

#include "solver/lattice/linear.h"
#include "solver/numeric/random.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

// A vector t of the direct lattice has whole products with all reflections of the crystal. Let three of
// them, the anchors, be linearly independent, in the rows of Q. Then t = Q^-1 n with n whole: the dual
// basis of the anchors generates a lattice that contains the direct lattice. A ball of radius T holds
// (2 pi / 3) T^3 |det Q| of its points up to sign, a thousand or so, and all of them are enumerated. Of those
// in the crystal's lattice all reflections but the outliers have whole products; of others a part by chance.

namespace torvik::solver {

// At most 64 reflections at a time, so that those that a vector takes are the bits of one integer.
constexpr std::size_t most_sampled = 64;

// Tolerances for products with reflections, parts of an index.
constexpr std::array<double, 2> hit_tolerances = {0.05, 0.14};

// A vector that takes more reflections than expected by chance.
struct direct_vector {
    vector3 value;          // angstroms
    double length = 0.0;    // angstroms
    std::uint64_t hits = 0; // bit i: the product with reflection i is whole within the tolerance
    double log_chance =
        0.0; // logarithm of the number of points as short that would be as good by chance
};

// Three reflections of a sample, by their places.
using anchor_places = std::array<std::size_t, 3>;

// How good three reflections are as anchors: 0 if they are nearly in a plane, else the higher the better.
double anchor_quality(const std::array<vector3, 3>& anchors, double longest);

// Draws some triples and returns the best. Nothing if none of them is good enough.
//
// Given:  among   places of the reflections to choose from
//         longest length of the longest reflection, 1/angstrom
//         draws   number of triples
std::optional<anchor_places> draw_anchors(std::span<const vector3> sample,
                                          std::span<const std::size_t> among, double longest,
                                          int draws, random_numbers& random);

// For each tolerance the vectors within a radius that take the most reflections, best first.
struct direct_vectors {
    std::array<std::vector<direct_vector>, hit_tolerances.size()> by_tolerance;
    std::size_t points = 0; // enumerated
};

// What is enumerated.
struct ball {
    double shortest = 0.0; // shorter vectors are left out, angstroms
    double radius = 0.0;   // angstroms
    double most = 1e7;     // points; where there are more, none is enumerated
    // Whether the vectors are judged by how near their products are to whole numbers, rather than by how
    // many are near: takes longer, and is worth it for few reflections, and for many outliers.
    bool by_distances = false;
};

// Enumerates all points of a ball.
//
// Given:  sample    3 to 64 reflections, 1/angstrom
//         anchors   three of them
direct_vectors enumerate_direct_vectors(std::span<const vector3> sample,
                                        const anchor_places& anchors, const ball& within);

// The same, one point and one reflection after the other: what the fast enumeration must equal in all bits.
direct_vectors plain_direct_vectors(std::span<const vector3> sample, const anchor_places& anchors,
                                    const ball& within);

} // namespace torvik::solver
