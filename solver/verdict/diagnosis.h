// Diagnoses of unindexed reflections, as sentences.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/linear.h"
#include "solver/lattice/misorientation.h"

#include <string>
#include <vector>

namespace torvik::solver {

// The effects that are visible in the reflections, one sentence each. Only effects with p < 0.001 are
// reported.
//
// - Half or third indices: unindexed reflections within three standard deviations of the points of a
//   lattice with 2 or 3 times finer spacing, more than chance explains (a binomial test against the
//   fraction of space that these neighbourhoods fill): a doubled cell, or satellites.
// - Rings: many unindexed reflections of one length: powder, ice, or a hot ring.
// - Offset: a common part of all errors (a chi-squared test): a wrong beam centre.
// - Bend: errors along the vectors that grow with the cube of the length, which no lattice can absorb:
//   a wrong distance or wavelength.
//
// Given:  vectors  1/angstrom
//         found    the assessment of a lattice on these vectors
std::vector<std::string> diagnose(const std::vector<vector3>& vectors, const assessment& found);

// A misorientation in words: "turned by 180.0 degrees about [1 0 0]: a likely twin law".
std::string sentence_of(const misorientation& turn);

} // namespace torvik::solver
