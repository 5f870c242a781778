// The jobs that the program writes for the symmetry of its solutions: LePage.inp.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"
#include "solver/lattice/cell.h"

#include <optional>
#include <vector>

namespace torvik::tools {

struct lepagejob {
    centred_cell cell;
    std::optional<double> metric; // METR: the tolerance of the obliquity, in degrees
};

// Whether a text has the line of a cell.
bool islepage(const textfile& source);

// Reads the jobs: METR and CELL in any order, then CALC; METR holds until QUIT. Throws badfile where
// something else stands.
std::vector<lepagejob> readlepage(const textfile& source);

} // namespace torvik::tools
