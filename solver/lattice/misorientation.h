// The misorientation of two crystals with the same cell.
#pragma once

#include "solver/lattice/linear.h"

#include <array>
#include <optional>

namespace torvik::solver {

// The rotation from the first of two lattices to the second.
struct misorientation {
    double angle =
        0.0;      // degrees, the smallest of all that are equivalent by the symmetry of the cell
    vector3 axis; // of the rotation, of length 1, in the frame of the vectors
    std::optional<std::array<int, 3>> direct; // the lattice row along it, up to 3 in each index
    double off = 0.0;                         // degrees between axis and row
    bool twin = false; // 180, 120, 90 or 60 degrees about a row, within a degree: a likely twin law
};

// The misorientation of two lattices; of the equivalent rotations a twin law is preferred.
//
// Given:     first, second  direct bases, rows, in one frame
// Returned:  nothing if the two cells are not congruent
// Throws:    invalid_input if a basis is coplanar or not finite
std::optional<misorientation> misorientation_of(const matrix3& first, const matrix3& second);

} // namespace torvik::solver
