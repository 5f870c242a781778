// A word on the reflections that a lattice does not take.
#pragma once

#include "base/linear.h"
#include "solving/evidence.h"

#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// What is seen in the reflections, each as a sentence. Nothing is said that chance makes as often as
// once in a thousand measurements.
//
// - Half or third indices: reflections that are not taken, but lie within three errors of the points
//   of a lattice with 2 or 3 times finer spacing, more often than chance puts them there (a binomial
//   test against the part of space that these neighbourhoods fill): a doubled cell, or satellites.
// - Rings: many of those that are not taken have one length: powder, ice, or a hot ring.
// - Offset: all errors have a common part (a chi-squared test): a wrong centre of the detector.
// - Bend: errors along the vectors grow with the square of the length, which no lattice takes up: a
//   wrong distance or wavelength.
std::vector<std::string> diagnose(const std::vector<vector3>& vectors, const assessment& found);

// How the second of two lattices lies to the first.
struct misorientation {
    double angle = 0.0; // degrees, the smallest of all that the symmetry of the cell allows
    vector3 axis;       // of the turn, of length 1, in the frame of the vectors
    std::optional<std::array<int, 3>> direct; // the lattice row along it, up to 3 in each index
    double off = 0.0;                         // degrees between axis and row
    bool twin = false; // 180, 120, 90 or 60 degrees about a row, to a degree: a likely twin law
};

// Gives nothing if the two cells are not congruent.
std::optional<misorientation> misorientationof(const matrix3& first, const matrix3& second);

std::string sentenceof(const misorientation& turn);

} // namespace torvik::tools
