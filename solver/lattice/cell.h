// Unit cells, bases and their reduced forms.
#pragma once

#include "solver/lattice/linear.h"

#include <array>

namespace torvik::solver {

using cell_parameters =
    std::array<double, 6>; // a, b, c in angstroms, alpha, beta, gamma in degrees

// The cell of a direct basis (rows).
cell_parameters cell_of(const matrix3& basis);

// A right-handed basis of a cell, a along x and b in the xy plane. Throws as check_cell.
matrix3 basis_of(const cell_parameters& cell);

double volume_of(const cell_parameters& cell);

// Throws invalid_input if no cell has these lengths and angles.
void check_cell(const cell_parameters& cell);

// A conventional cell and the letter of its centring.
struct centred_cell {
    cell_parameters cell;
    char centring = 'P'; // P, A, B, C, I, F, R (hexagonal axes, obverse)
};

// T such that T * (conventional basis) is a primitive basis of the same hand. Throws invalid_input for
// any other letter than P, A, B, C, I, F and R.
matrix3 primitive_transformation(char centring);

// A reduced basis = T * (given basis). T is an integer matrix of determinant 1; if the given basis is
// left-handed the reduced one is right-handed, and T has determinant -1.
struct reduction {
    matrix3 basis;
    matrix3 T;
};

// The Niggli reduction, unique for a lattice: the same for every basis, on every platform. A stepwise
// reduction depends on rounding where conditions are near equalities; so the basis is chosen from all
// bases of shortest vectors. Those that fulfil the conditions within a tolerance are a property of the
// lattice, and the one with the smallest value of a fixed function is taken. If several
// transformations give the same cell, as in a symmetric lattice, the one nearest to the identity is
// taken.
//
// Given:   basis      direct, rows; any hand
//          tolerance  of scalar products, in units of the volume to the power of 2/3
// Throws:  invalid_input if the rows are coplanar or not finite
// Source:  conditions: Krivy & Gruber (1976); tolerance: Grosse-Kunstleve, Sauter & Adams (2004)
reduction niggli(const matrix3& basis, double tolerance = 1e-5);

// The Delaunay reduction: the shortest three of four vectors with zero sum that are pairwise at angles
// of 90 degrees or more, in increasing length; chosen in the same way.
//
// Given:   as for niggli
// Throws:  invalid_input if the rows are coplanar or not finite, or if no basis fulfils the
//          conditions within the tolerance
// Source:  Delaunay (1933); Patterson & Love (1957)
reduction delaunay(const matrix3& basis, double tolerance = 1e-5);

} // namespace torvik::solver
