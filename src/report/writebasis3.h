// The input file of the outside program LePage, which finds the lattice symmetry of a cell.
#pragma once

namespace torvik {

// Writes "LePage.inp" in the working directory: one job for each of the first isave_lepage
// solutions, in the order of the store. Deliberate: each job is complete in itself.
void writebasis3();

} // namespace torvik
