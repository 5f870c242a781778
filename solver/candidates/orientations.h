// Orientations of a known cell that pairs of vectors propose.
#pragma once

#include "solver/evidence/known_cell.h"
#include "solver/lattice/linear.h"

#include <cstddef>
#include <functional>
#include <vector>

// Two measured vectors and two points of the reciprocal lattice with the same lengths, up to a common factor,
// and the same angle within the errors make an orientation. Both (g, k) and (-g, -k) count, which gives the
// mirror image of the lattice in the plane of the two; of points that rotations of the lattice exchange, one is
// enough for the first vector. Pairs with few choices of points come first, and each orientation is scored by
// how near to points the vectors lie.

namespace torvik::solver {

// The limits of the work, whatever the list and the cell: some milliseconds. Choices are pairs of points with the
// right lengths; an orientation is a choice with the right angle.
constexpr std::size_t most_pairing_vectors = 40;
constexpr std::size_t most_scoring_vectors = 48;
constexpr double most_points = 3e4;
constexpr double most_choices = 3e6;
constexpr double most_orientations = 3e4;

struct proposal_limits {
    double tolerance = 0.0; // part of a length by which all lengths of the cell may be off together
    std::size_t most = 40;  // orientations that are returned
    double choices = most_choices;
    double orientations = most_orientations;
};

struct proposed_orientation {
    deformed_cell cell;
    double score = 0.0; // nats, about
};

struct proposed_orientations {
    std::vector<proposed_orientation> best; // each lattice once, the best first
    std::size_t points = 0;
    double choices = 0.0;
    double orientations = 0.0;
    bool interrupted = false;
};

// Vectors of a long list that represent it: the shortest half, and of the others the strongest, or some of each
// length if there are no intensities.
//
// Given:  intensities  as many as vectors, or none
std::vector<vector3> representative(const std::vector<vector3>& vectors,
                                    const std::vector<double>& intensities, std::size_t most);

// Proposes orientations.
//
// Given:  vectors      1/angstrom
//         intensities  as many, or none
//         over         whether to stop; asked at least every few milliseconds
proposed_orientations propose_orientations(const std::vector<vector3>& vectors,
                                           const std::vector<double>& intensities,
                                           const given_cell& cell, const proposal_limits& limits,
                                           const std::function<bool()>& over);

// Whether two bases of shortest vectors of one cell are of the same lattice, to some hundredths of an index.
bool same_orientation(const matrix3& D, const matrix3& E);

} // namespace torvik::solver
