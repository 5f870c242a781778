// All lattices of a measurement, one after the other.
#pragma once

#include "base/linear.h"
#include "solver/verdict/diagnosis.h"
#include "solver/verdict/uncertainty.h"
#include "solving/solve.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// A lattice that was found, and what it is to the measurement.
struct crystal {
    answer found;                       // of the reflections that those before it left
    uncertain_cell cell;                // of its best lattice
    std::vector<std::size_t> members;   // the vectors that it takes, among all
    std::optional<misorientation> turn; // against the first crystal, if its cell is the same
};

struct crystals {
    answer first;               // the answer for all vectors: its verdict is that of the whole
    std::vector<crystal> each;  // those that are solved or ambiguous; empty if refused
    std::vector<int> latticeof; // of each vector: 1, 2, ..., or 0
    std::vector<std::string> remarks; // on what is not indexed, and what would decide
};

// Solves for a lattice, then for another with the reflections that are left, up to `lattices`.
crystals solveall(const vectorlist& list, const solveoptions& options, int lattices);

// What measurement would tell the first of the competing lattices from the second: the shortest
// reciprocal-lattice vector that only the larger cell has. A sentence; empty if they are not related.
std::string whatdecides(const matrix3& first, const matrix3& second);

// The same of orientations or cells that are known: where they are not related, the shortest reflection
// of the first that lies between the points of the second.
std::string whatdecidesofknown(const matrix3& first, const matrix3& second);

} // namespace torvik::tools
