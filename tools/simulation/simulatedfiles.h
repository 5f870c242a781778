// The files of a simulated measurement: the program's input, and the truth beside it.
#pragma once

#include "formats/idxfile.h"
#include "simulation/simulate.h"

#include <string>
#include <vector>

namespace torvik::tools {

// The measured reflections as the numbers of the kind of list that was asked for. Throws a failure for
// a reflection that has no such angles.
std::vector<std::array<double, 3>> listof(const simulationrequest& asked, const simulated& made);

// The input file of the program, with the request in its comments.
idxfile inputof(const simulationrequest& asked, const simulated& made);

// Its text: six decimals for vectors, four for angles.
std::string inputtextof(const simulationrequest& asked, const simulated& made);

// The truth as JSON text: lattices, what each reflection is, and everything that was asked for.
// docs/tools.md describes the keys.
std::string truthtextof(const simulationrequest& asked, const simulated& made);

// What a crystal is called in both: "monoclinic C, simulated, seed 1".
std::string nameof(const simulationrequest& asked);

} // namespace torvik::tools
