// Data group: the inverses of the Hermite normal forms of determinant 1 to 16.
#pragma once

#include "numeric/arrays.h"

// Filled by getlowindexsuperlattices before the search; read by getalternativerlbases.

namespace torvik {

constexpr int maxindexofsuperlattice = 16;
constexpr int maxalternativebases = 651; // matrices of determinant 16, the largest table

inline struct matricesforalternativebases_group {
    // How many matrices of each determinant are stored.
    numbered<int, maxindexofsuperlattice> icounterofhnf = {};

    // Table n: the inverses of the matrices of determinant n. Its length is the number of
    // sublattices of index n of a three-dimensional lattice, the sum of d1^2 d2 over all ordered
    // factorizations d1 d2 d3 = n.
    numbered<matrix3, 1> superlatt01 = {};
    numbered<matrix3, 7> superlatt02 = {};
    numbered<matrix3, 13> superlatt03 = {};
    numbered<matrix3, 35> superlatt04 = {};
    numbered<matrix3, 31> superlatt05 = {};
    numbered<matrix3, 91> superlatt06 = {};
    numbered<matrix3, 57> superlatt07 = {};
    numbered<matrix3, 155> superlatt08 = {};
    numbered<matrix3, 130> superlatt09 = {};
    numbered<matrix3, 217> superlatt10 = {};
    numbered<matrix3, 133> superlatt11 = {};
    numbered<matrix3, 455> superlatt12 = {};
    numbered<matrix3, 183> superlatt13 = {};
    numbered<matrix3, 399> superlatt14 = {};
    numbered<matrix3, 403> superlatt15 = {};
    numbered<matrix3, 651> superlatt16 = {};
} matricesforalternativebases;

} // namespace torvik
