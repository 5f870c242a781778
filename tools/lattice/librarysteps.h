// What gemmi has for reduced cells and two-fold axes.
#pragma once

#include "lattice/cell.h"

#include <array>
#include <cstddef>
#include <vector>

// All of it is behind these calls, since one of gemmi's headers defines a function that is not inline,
// and so can stand in one source alone.

namespace torvik::tools {

// A two-fold axis of a reduced cell: its rotation, which acts on columns of coordinates.
using wholematrix = std::array<std::array<int, 3>, 3>;
std::vector<wholematrix> twofoldaxes(const cell6& reduced, double limit);

// The angle in degrees between a direction of a lattice and the normal of its plane (h k l).
double obliquityof(const cell6& reduced, const vector3& direction, const vector3& normal);

// How many rotations the lattice of a reduced cell has.
std::size_t rotationsof(const cell6& reduced, double limit);

// Reduced cells by the published steps. Where conditions are near equalities, rounding decides.
cell6 nigglibysteps(const matrix3& basis, double tolerance);
cell6 delaunaybysteps(const matrix3& basis, double tolerance);

} // namespace torvik::tools
