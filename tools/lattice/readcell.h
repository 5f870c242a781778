// A cell as a user writes it.
#pragma once

#include "base/linear.h"
#include "solver/lattice/cell.h"

#include <string>

namespace torvik::tools {

// Reads six numbers, separated by blanks or commas: "7.71 8.66 10.81 90 102.96 90", optionally followed by
// the letter of the centring, P by default. Throws a failure that says what is wrong.
centred_cell cellfrom(const std::string& text);

} // namespace torvik::tools
