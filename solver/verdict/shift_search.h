// The lattice of vectors that are all shifted by one unknown vector.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/verdict/search.h"

#include <vector>

namespace torvik::solver {

// The differences of the vectors from any one of them do not contain a common shift. So the search is made on
// the differences from a few of them; what it finds is refined with a shift on the vectors themselves.
//
// Given:     vectors  1/angstrom
//            images   their numbers; empty if there are none. Differences are taken between near images, since
//                     a shift of the detector is constant in the frame of the crystal there
//            found    the lattices found without a shift: they are refined with one too
//            rounds   of each search (search.h)
// Returned:  lattices with a shift, each once, the best first
std::vector<assessment> find_shifted_lattices(const std::vector<vector3>& vectors,
                                              const std::vector<int>& images,
                                              const std::vector<assessment>& found, int rounds,
                                              const search_limits& limits);

} // namespace torvik::solver
