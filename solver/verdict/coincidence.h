// Tests of whether the points of a lattice that are hit make up the whole lattice.
#pragma once

#include "solver/evidence/free_lattice.h"

#include <array>
#include <vector>

namespace torvik::solver {

// The index of the lattice that indices span, as a sublattice of all whole numbers; 0 if they lie in a plane. It
// is the greatest common divisor of their 3 x 3 determinants, found by integer elimination in one pass.
long index_of_span(const std::vector<std::array<int, 3>>& indices);

// Whether all indices but at most one lie in a plane through the origin, or there are fewer than four.
bool nearly_in_a_plane(const std::vector<std::array<int, 3>>& indices);

// Whether a lattice may share its inliers with another one by coincidence. A lattice that is not that of the
// crystal can have a row or a plane of points in common with it: the reflections there are all hit together,
// though the statistic counts each as independent. So the inliers of a lattice that takes less than two thirds of
// the reflections must span all of its points, or half of them, as some six of the true one do by chance.
bool may_be_coincidence(const std::vector<vector3>& vectors, const assessment& one);

} // namespace torvik::solver
