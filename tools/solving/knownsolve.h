// From measured vectors to the orientation of a crystal whose cell is known.
#pragma once

#include "solving/solve.h"

#include <string>
#include <vector>

namespace torvik::tools {

// Looks for the orientation of one of the cells of the options, all of them primitive, that the
// vectors are best explained by. No run is made: orientations are proposed by pairs of vectors, and
// judged by their evidence (known_cell.h). An answer needs the evidence that `solve` needs, or more if
// there are more than 20 vectors, and its lead on the next orientation or cell; and it must not be a
// coincidence with a part of another lattice. The bases of the answer are right-handed, in the setting
// of the cell that was given.
answer solveknown(const vectorlist& list, const solveoptions& options);

// Throws invalid_input for what is no cell, and a failure for a cell that no crystal has: both sentences.
void checkknown(const cell_parameters& cell);

// A remark on the best lattice of an answer, if a part of its points alone is hit: the smaller cell, of a
// half or a third of the volume, that explains the vectors better by the lead that an answer needs.
// Else empty.
std::string pointsneverhit(const std::vector<vector3>& vectors, const answer& found);

} // namespace torvik::tools
