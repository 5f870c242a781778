// Remarks on an answer: what would decide between lattices, and further crystals of the cell.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/lattice/linear.h"
#include "torvik/solver.h"

#include <cstddef>
#include <string>
#include <vector>

namespace torvik::solver {

// The measurement that would distinguish two competing lattices of which one is a supercell of the other: the
// shortest reciprocal-lattice vector that only the larger cell has.
//
// Given:     first, second  direct bases, rows; called lattice 1 and lattice 2
// Returned:  a sentence; empty if the lattices are unrelated, or if no reflection with indices up to 3 decides
std::string what_decides(const matrix3& first, const matrix3& second);

// The same for known cells and their orientations: for unrelated lattices, the shortest reflection of the first
// that lies between the points of the second.
std::string what_decides_of_known(const matrix3& first, const matrix3& second);

// The misorientation of each further crystal of the cell, and how to index them all.
//
// Given:  best      the first crystal, with the others in further_crystals
//         lattices  number of lattices that were asked for
std::vector<std::string> remarks_on_further_crystals(const assessment& best, int lattices);

// Which axes are known to worse than 2 %, as those along the beam of a still image may be.
//
// Given:     found  its basis, and the covariance of UB
// Returned:  a sentence; empty if there are none
std::string remark_on_precision(const lattice& found);

// All remarks on the first of some candidates. Unindexed reflections are diagnosed only if there are no further
// crystals, to which they would belong.
//
// Given:  vectors     1/angstrom
//         candidates  at least one; the first competes with the next ones
//         competing   number of candidates that cannot be told apart; 1 if the first is certain
//         known       whether the cells of the candidates were given
//         lattices    number of lattices that were asked for
std::vector<std::string> remarks_on(const std::vector<vector3>& vectors,
                                    const std::vector<assessment>& candidates,
                                    std::size_t competing, bool known, int lattices);

} // namespace torvik::solver
