// Cells, bases and their reduced forms.
#pragma once

#include "base/linear.h"

#include <array>
#include <string>

namespace torvik::tools {

using cell6 = std::array<double, 6>; // a, b, c in angstroms, alpha, beta, gamma in degrees

// The cell of a direct basis (rows), and a basis of a cell: a along x, b in the plane of x and y,
// right-handed.
cell6 cellof(const matrix3& basis);
matrix3 basisof(const cell6& cell);

double volumeof(const cell6& cell);

// Throws a failure, as a sentence, for lengths and angles that make no cell.
void checkcell(const cell6& cell);

// Reads six numbers, apart by blanks or commas: "7.71 8.66 10.81 90 102.96 90", and behind them
// perhaps a letter of the centring, P if there is none. Throws a failure that says what is wrong.
struct centredcell {
    cell6 cell;
    char centring = 'P'; // P, A, B, C, I, F, R (hexagonal axes, obverse)
};
centredcell cellfrom(const std::string& text);

// A basis of the lattice of a centred cell: T * conventional, right-handed if that is.
matrix3 primitivetransformation(char centring);

// A reduced basis = T * the given one. T is of whole numbers and determinant 1; of a left-handed
// basis the reduced one is right-handed, and T has determinant -1.
struct reduced {
    matrix3 basis;
    matrix3 T;
};

// Niggli's, unique for a lattice: the same for any basis, on any platform. It is not reached step by
// step, where rounding decides between steps, but chosen from all bases of shortest vectors: those
// that fulfil the conditions (Krivy & Gruber, 1976) within a tolerance as Grosse-Kunstleve, Sauter &
// Adams (2004) have it are a property of the lattice, and so is the one of them with the smallest
// value of a fixed function. `tolerance` times the volume to the power of 2/3 is what products of
// vectors may be off. Of transformations that give this cell alike, as a symmetric lattice has them,
// the one nearest to the identity is taken.
reduced niggli(const matrix3& basis, double tolerance = 1e-5);

// Delaunay's: the shortest three of the four vectors that add up to 0 and include angles of 90 degrees
// or more (Delaunay, 1933; Patterson & Love, 1957), in rising length; chosen in the same manner.
reduced delaunay(const matrix3& basis, double tolerance = 1e-5);

} // namespace torvik::tools
