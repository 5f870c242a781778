// Reduced cells and two-fold axes by gemmi.
#pragma once

#include "solver/lattice/cell.h"

#include <array>
#include <cstddef>
#include <vector>

// One of gemmi's headers defines a function that is not inline, and can be included in only one source
// file: it is the one behind these calls.

namespace torvik::solver {

using integer_matrix = std::array<std::array<int, 3>, 3>;

// The two-fold axes of a reduced cell, as rotations that act on columns of coordinates.
//
// Given:  limit  largest obliquity, degrees
std::vector<integer_matrix> two_fold_axes(const cell_parameters& reduced, double limit);

// The angle in degrees between a lattice direction and the normal of the plane (h k l).
double obliquity_of(const cell_parameters& reduced, const vector3& direction,
                    const vector3& normal);

// The number of rotations of the lattice of a reduced cell, up to an obliquity in degrees.
std::size_t rotation_count(const cell_parameters& reduced, double limit);

// Reduced cells by the published steps. Where conditions are near equalities, rounding decides.
cell_parameters niggli_by_steps(const matrix3& basis, double tolerance);
cell_parameters delaunay_by_steps(const matrix3& basis, double tolerance);

} // namespace torvik::solver
