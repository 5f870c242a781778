// How often `solve --cell` is right.
#pragma once

// Prints the tables of docs/solve.md on cells that are known, with so many crystals for each row.
void cellstudy(int trials);
