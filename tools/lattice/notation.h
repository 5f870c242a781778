// Cells and matrices as people read them.
#pragma once

#include "base/linear.h"
#include "solver/lattice/cell.h"

#include <array>
#include <string>

namespace torvik::tools {

// "7.71 8.66 10.81 90.0 103.0 90.0"
std::string celltext(const cell_parameters& cell, int lengthdecimals, int angledecimals);

// The rows of a matrix of whole numbers or simple fractions: "1 0 0 | 0 1/2 -1/2 | 0 0 1".
std::string rowstext(const matrix3& T);

// The same as sums of axes: "a, 1/2b-1/2c, c".
std::string axestext(const matrix3& T);

// The elements of a whole matrix as such, for JSON.
std::array<std::array<int, 3>, 3> wholerows(const matrix3& T);

} // namespace torvik::tools
