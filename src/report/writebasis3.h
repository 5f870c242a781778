// The input file of the outside program LePage, which finds the lattice symmetry of a cell.
#pragma once

namespace torvik {

// Writes "LePage.inp": one job for each of the first isave_lepage solutions, in the order of the
// store. Deliberate: each job is complete in itself, and the file stands in the working directory,
// while all others stand beside the input.
void writebasis3();

} // namespace torvik
