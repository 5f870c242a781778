// Orientations of a known cell that pairs of measured vectors suggest.
#pragma once

#include "base/linear.h"
#include "solver/evidence/known_cell.h"
#include "solving/ladder.h"

#include <functional>
#include <vector>

namespace torvik::tools {

// Two measured vectors and two points of the reciprocal lattice, of the same lengths and the same
// angle within the errors, make an orientation. All pairs of measured vectors are taken, those first
// that leave few choices, and all pairs of points that fit them: (h, k) as well as (-h, -k), which
// gives the mirror image of the lattice in the plane of the two. Each orientation is judged by how
// near to points the vectors lie; the best are refined, and the best of these given.
//
// Of many vectors the shortest and the strongest are taken, and where the choices are too many, pairs
// that leave more of them are left out: the work is bounded.
//
// Given:     over      says when time is up; what was found so far is given then
//            cells     how many cells were given
// Returned:  assessments of the orientations, refined on all vectors, each lattice once, the most
//            evident first
std::vector<assessment> orientationsof(const vectorlist& list, const given_cell& cell, int cells,
                                       const std::function<bool()>& over);

// Whether two lattices of one cell are one, to some hundredths of an index: bases of shortest vectors.
bool sameorientation(const matrix3& D, const matrix3& E);

} // namespace torvik::tools
