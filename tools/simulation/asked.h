// What is asked of a simulation, in the words of a command line.
#pragma once

#include "simulation/simulate.h"

#include <string>
#include <vector>

// All throw a failure that says what was expected.

namespace torvik::tools {

// A cell from the name of a CIF file, or from the items of a cell: "7.71 8.66 10.81 90 102.96 90 P".
centred_cell cellasked(const std::vector<std::string>& items);

// A number of reflections ("10") or a part of them ("0.25", "25%").
int wrongasked(const std::string& text, int reflections);

// A rotation of nine elements in rows, or of three angles in degrees: of turns about x, y and z, the
// one after the other.
matrix3 rotationasked(const std::vector<double>& numbers);

// "180 [1 0 0]": an angle and a direction; "180 (1 0 0)": the normal of planes.
twinlaw twinasked(const std::string& text);

} // namespace torvik::tools
