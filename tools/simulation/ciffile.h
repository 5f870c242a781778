// The cell of a structure in a CIF file.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"
#include "solver/lattice/cell.h"

namespace torvik::tools {

// Reads the first cell of a file and its centring, by the name or number of its space group, or its
// symmetry operations. Throws badfile where the text is no CIF, or lacks one of them.
centred_cell readcifcell(const textfile& source);

} // namespace torvik::tools
