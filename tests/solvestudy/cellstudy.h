// How often `solve --cell` is right.
#pragma once

// Elements of the matrix between two bases of one lattice may be off whole numbers by so much.
constexpr double nearly = 0.15;

// Prints the tables of docs/solve.md on cells that are known, with so many crystals for each row.
void cellstudy(int trials);
