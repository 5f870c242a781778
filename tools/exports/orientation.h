// A solution as other programs take it: right-handed, with its matrix UB and its cell.
#pragma once

#include "base/linear.h"
#include "formats/resultsfile.h"
#include "solver/lattice/cell.h"

namespace torvik::tools {

// Torvik's bases have either hand, since the sign of a volume says nothing of a lattice. Most other
// programs want a right-handed one: of a left-handed basis all three vectors are negated here. The
// cell stays as it is, and all indices h k l change their signs.
struct orientation {
    matrix3 basis; // direct, rows a, b, c in angstroms: times a reflection vector it gives h k l
    matrix3 UB;    // its inverse, columns a*, b*, c* in 1/angstrom: times h k l, the vector
    cell_parameters cell = {}; // of the basis, with more digits than are printed in the results
    double volume = 0.0;       // positive
    bool turned = false;       // the basis of the results is left-handed
};

// Throws a failure for a basis without a volume.
orientation orientationof(const solution& chosen);

} // namespace torvik::tools
