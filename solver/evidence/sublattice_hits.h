// Counts of reflections on the sublattices of a reciprocal lattice.
#pragma once

#include "solver/lattice/linear.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

// The points h = H^T h', h' whole, of a reciprocal lattice are a sublattice of index n, the determinant of the
// Hermite form H. Its direct cell is n times smaller: T = H^-T times the direct basis. One in n of the points
// lies on it. If it is the lattice of a crystal, more of the reflections do.

namespace torvik::solver {

using miller_indices = std::array<int, 3>;

// A sublattice that has more reflections than chance explains.
struct striking_sublattice {
    matrix3 T;     // T * direct basis is its direct basis; T * h is whole for its points
    int index = 1; // n
    int hits = 0;  // number of reflections on it
    double log_expected = 0.0; // logarithm of the number of sublattices with as many hits by chance
};

// Whether a point lies on the sublattice with the matrix T, of an index up to 40.
bool on_sublattice(const matrix3& T, const miller_indices& h);

// The number of reflections on each of the sublattices of an index.
//
// Given:     indices  of the reflections
//            index    1 to 32
// Returned:  in the order of finer_forms
// Cost:      a nanosecond for each reflection, divisor d of the index and h with h < d
std::vector<int> sublattice_hits(std::span<const miller_indices> indices, int index);

// The same, reflection by reflection in double precision: what the fast count is held against.
std::vector<int> plain_sublattice_hits(std::span<const miller_indices> indices, int index);

// The matrix of a sublattice, by its place among those of the index.
matrix3 finer_form_at(int index, std::size_t place);

// The sublattices that have more reflections than chance explains, the most striking first.
//
// Given:  largest   index, 2 to 32
//         expected  number of sublattices that are returned for random indices, at most; it is shared equally
//                   by the indices, and for each by its sublattices
std::vector<striking_sublattice> striking_sublattices(std::span<const miller_indices> indices,
                                                      int largest, double expected);

} // namespace torvik::solver
