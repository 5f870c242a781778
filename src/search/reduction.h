// Reduction of a basis to short vectors.
#pragma once

#include "numeric/arrays.h"

// Both reductions keep the lattice: they only exchange vectors, change signs and add whole
// multiples of one vector to another. They work on the three vectors a, b, c (rows 1, 2, 3)
// together with their squared lengths A, B, C and mixed products ab, bc, ac.
//
// Both loop until their tests pass. On data without noise from a symmetric lattice, equal lengths
// can make two vectors change places for ever, so a guard ends a reduction after 100000 passes; the
// basis then stands as it is, and the first such case is told on the error stream.

namespace torvik {

// Brings a basis to Buerger-reduced form: shortest vectors, with the body-diagonal test.
//
// Given and returned:  M   basis in rows
void buergerreduction(matrix3& M);

// Reduces a basis by nearest-integer steps, without the body-diagonal test: cheaper, for bases
// that are only about to be fitted.
//
// Given and returned:  M   basis in rows
void simplereduction(matrix3& M);

// Subtracts x once from y, or adds it: y <- y - sign(x.y) x, the dot product computed afresh.
void buergerstep(const vector3& x, vector3& y);

// Subtracts the nearest whole multiple of x: y <- y - nint(xy / xx) x.
//
// Given:               x        vector
//                      xy, xx   x.y and x.x as the caller holds them
// Given and returned:  y        vector
void lagrangegaussstep(const vector3& x, vector3& y, double xy, double xx);

// Exchanges two vectors and the scalars that go with them.
//
// Given and returned:  u, v   vectors
//                      p, q   their squared lengths
//                      r, t   their mixed products with the third vector, r that of v
void yswitch(vector3& u, vector3& v, double& p, double& q, double& r, double& t);

} // namespace torvik
