// Lattices from vectors of the direct lattice that have reflections in common.
#pragma once

#include "solver/candidates/direct_vectors.h"

#include <span>
#include <vector>

namespace torvik::solver {

// Direct bases of lattices that several reflections support. All triples of the vectors are looked at; of
// those that most reflections share, and different ones, a few are kept. Each is exchanged for the shortest
// vectors that share most of its reflections, if these have a smaller cell, and refined on them by least
// squares.
//
// Given:     vectors  best first, their hits the bits of the sample
//            sample   up to 64 reflections, 1/angstrom
//            least    reflections that a triple must have in common
//            most     triples that are kept
// Returned:  reduced direct bases, those with most reflections first
std::vector<matrix3> combine(const std::vector<direct_vector>& vectors,
                             std::span<const vector3> sample, int least, std::size_t most);

// The least-squares direct basis of reflections whose indices are those of a basis, rounded. Nothing if they
// lie in a plane.
std::optional<matrix3> fitted_basis(const matrix3& basis, std::span<const vector3> sample,
                                    std::uint64_t reflections);

} // namespace torvik::solver
