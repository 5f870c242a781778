// Random bases and unimodular matrices for the property tests, the same on every machine.
#pragma once

#include "numeric/kernel.h"
#include "numeric/nint.h"
#include "simulation/randomnumbers.h"

#include <cmath>
#include <utility>

namespace torvik {

using tools::randomnumbers;

inline matrix3 identity()
{
    return {{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};
}

// A matrix of components in -1..1 whose determinant is at least 0.05, so that its inverse has
// elements of at most 2 / 0.05 = 40.
inline matrix3 randombasis(randomnumbers& random)
{
    for (;;) {
        matrix3 M = {};
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) M(i, j) = random.between(-1.0, 1.0);
        if (std::fabs(deter(M)) >= 0.05) return M;
    }
}

// A unimodular integer matrix: a product of exchanges, negations and additions of rows.
inline matrix3 randomunimodular(randomnumbers& random, int steps)
{
    matrix3 U = identity();
    for (int step = 0; step < steps; ++step) {
        const int i = random.whole(1, 3);
        const int j = i % 3 + 1;
        const int what = random.whole(0, 3);
        for (int k = 1; k <= 3; ++k) {
            if (what == 0)
                std::swap(U(i, k), U(j, k));
            else if (what == 1)
                U(i, k) = -U(i, k);
            else
                U(i, k) = U(i, k) + (what == 2 ? U(j, k) : -U(j, k));
        }
    }
    return U;
}

// The inverse of a regular matrix.
inline matrix3 inverseof(const matrix3& M)
{
    matrix3 inverse = {};
    int status = done;
    invmat(M, inverse, 0.0, status);
    return inverse;
}

// How far a matrix is from having whole elements only: its largest deviation.
inline double offwhole(const matrix3& T)
{
    double off = 0.0;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) off = std::fmax(off, std::fabs(T(i, j) - nint(T(i, j))));
    return off;
}

// Says whether two bases span one lattice: the one is a unimodular integer matrix times the other,
// to a tolerance far above rounding and far below the fractions of a sublattice.
inline bool spansamelattice(const matrix3& A, const matrix3& B)
{
    const matrix3 T = matrixproduct(A, inverseof(B));
    return offwhole(T) < 1e-6 && std::fabs(std::fabs(deter(T)) - 1.0) < 1e-6;
}

} // namespace torvik
