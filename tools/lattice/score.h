// Whether a solution is the lattice that is known to be there.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"
#include "formats/resultsfile.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"

#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// What is known: lattices in the frame of the reflections, the first of which a run should find, or
// else cells alone, whose orientation is not known. One of the two lists is empty.
struct truth {
    std::vector<matrix3> bases; // direct, primitive
    std::vector<centred_cell> cells;
};

// Reads the JSON text that stands beside a simulated measurement. Of its keys these count:
//     "direct_basis_rows"     three rows of three numbers, a, b, c of the primitive cell in the frame
//                             of the reflections
//     "lattices"              if there are several: a list of objects with the keys above and below
//     "conventional_cell"     six numbers; only if there is no basis
//     "centring"              P, A, B, C, I, F or R: of that cell; P if it is missing
// Throws badfile where the text is not that.
truth readtruth(const textfile& source);

// What is known of a cell alone.
truth truthof(const centred_cell& cell);

// How far cells may differ that are compared without their orientation.
struct celltolerance {
    double length = 0.02; // relative
    double angle = 2.0;   // degrees
};

enum class verdict { right, supercell, subcell, wrong };

std::string nameof(verdict one); // "right", "supercell", "subcell", "wrong"

// How a solution compares. T is whole, of determinant +-index: truth = T * solution for what is right
// or a subcell, solution = T * truth for a supercell; the truth is its primitive basis, and of a cell
// alone only congruent.
struct score {
    verdict how = verdict::wrong;
    int index = 1;
    matrix3 T;
    double misfit = 0.0; // as in a lattice relation, or, of a cell alone, as in a match of cells
    std::size_t lattice =
        0; // which of the known ones it is compared with, from 1; 0 if it is wrong
};

// The best that a basis is of any of the known lattices: right before a supercell or subcell, and of
// these the smallest index. Super- and subcells count up to the index 16, of cells alone up to 6.
score scoreof(const matrix3& solution, const truth& known, const celltolerance& tolerance = {});

} // namespace torvik::tools
