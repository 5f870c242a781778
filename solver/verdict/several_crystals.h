// Several crystals with one cell, where a single lattice with a large cell would index them all.
#pragma once

#include "solver/evidence/free_lattice.h"

#include <functional>
#include <optional>
#include <vector>

// The reciprocal-lattice points of two crystals with one cell, such as the components of a twin, nearly
// coincide with points of one lattice whose cell is several times as large: their coincidence lattice. It
// indexes all reflections, which no small cell does, so it wins among single lattices. But most of its points
// are never hit, and each reflection pays for that: with a cell n times as large, log n. Against it competes
// the evidence of all crystals,
//
//     E(S) + E'(S | the rest) + E''(S | what that leaves) + ...
//
// The first term takes the reflections of the other crystals as outliers. The further terms are those of a
// known cell (known_cell.h), against chance, in the reflections that are left: an inlier there replaces an
// outlier. So the sum is the likelihood of a mixture of all crystals, except for the few reflections that two
// of them share.

namespace torvik::solver {

// The crystals that a lattice holds together: the first of them, with the others as further crystals and the
// evidence of all.
//
// The reflections that the lattice indexes are counted on its reciprocal sublattices of index 2 to 24. One that
// has more of them than chance explains is a candidate for the first crystal. The others are near sublattices of
// the same index with the same cell; from these orientations the known cell is refined on what is left.
//
// Given:     vectors  1/angstrom
//            held     the assessment of the lattice on these vectors
//            over     whether to stop; asked at least every few milliseconds
// Returned:  nothing if there are no such crystals, if they are less evident than the lattice by more than the
//            lead that an answer needs, or if `over` came first
// Cost:      1 ms for 20 reflections, 3 ms for 80
std::optional<assessment> crystals_held_by(const std::vector<vector3>& vectors,
                                           const assessment& held,
                                           const std::function<bool()>& over);

// Whether a lattice is that of one of the crystals.
bool is_one_of(const assessment& lattice, const assessment& crystals);

// Lattices, the most evident first, with the crystals that one of the best holds together among them. These
// crystals are then no longer listed by themselves.
//
// Given:  lattices  the most evident first
std::vector<assessment> with_several_crystals(const std::vector<vector3>& vectors,
                                              std::vector<assessment> lattices,
                                              const std::function<bool()>& over);

} // namespace torvik::solver
