// Several crystals of one cell, where one lattice with a large cell would hold them all.
#pragma once

#include "base/linear.h"
#include "solver/evidence/free_lattice.h"
#include "solving/ladder.h"

#include <functional>
#include <optional>

// The points of two crystals of one cell, such as the parts of a twin, nearly are points of one lattice
// with a cell some times as large, that of their coincidence. It takes all reflections, and no small cell
// does; so among single lattices it wins. But most of its points are never hit, and each reflection pays
// for that: with a cell n times as large, log n. Against it stands the evidence of all crystals,
//
//     E(S) + E'(S | the rest) + E''(S | what that leaves) + ...
//
// The first counts the reflections of the other crystals as wrong. The others are those of the cell as one
// that is known (known_cell.h), against chance, in what is left: where a reflection is genuine there it
// stands in the place of a wrong one. So the sum is the likelihood of a mixture of all crystals, but for
// those few reflections that two of them could have made.

namespace torvik::tools {

// Gives the crystals that a lattice holds together: the first of them with the others as companions, and
// the evidence of all.
//
// Looked through are the parts of its points that make a lattice with a cell n times smaller, n up to 24.
// A part has one in n of the points. If it is that of a crystal, it has more of the reflections than
// chance would give it.
//
// Given:     list  the measurement
//            held  the lattice
//            over  says when to stop
// Returned:  nothing if there are no such crystals, or if they would be far less evident than the lattice
std::optional<assessment> heldtogether(const vectorlist& list, const assessment& held,
                                       const std::function<bool()>& over);

// Whether a lattice is that of one of the crystals.
bool among(const assessment& lattice, const assessment& crystals);

} // namespace torvik::tools
