// Sums of waves of any frequencies at evenly spaced points.
#pragma once

#include "volumes/fouriertransform.h"

#include <vector>

// This is the Fourier transform of events that lie on no grid. Wanted are, for frequencies w and
// whole k with |k| <= n/4,
//
//     F(k) = the sum over all w of exp(i w a) exp(i k 2 pi x / n),   x = w b.
//
// Each wave is a point of strength exp(i w a) at the place x of a circle of n grid points. It is
// spread over the 32 grid points l around x with weights phi(l - x), phi(d) = exp(-lambda d^2); the
// grid is transformed, and F(k) is the transform at k over that of phi,
//
//     phihat(k) = sqrt(pi / lambda) exp(-c (k/n)^2),   c = pi^2 / lambda = 62.
//
// By Poisson's formula the sum over all l of phi(l - x) exp(2 pi i k l / n) is the sum over all m of
// phihat(k + m n) exp(2 pi i (k + m n) x / n): the wanted wave for m = 0, and others. So for each
// wave of strength 1, F(k) is off by
//
//   others      the sum over m = 1, -1, 2, ... of exp(-c (m^2 - 2 m |k|/n)): at |k| = n/4 it is
//               exp(-c/2) within a thousandth, and nowhere more
//   cut         2 exp(-16^2 lambda) / (1 - exp(-33 lambda)) / phihat(k), for the weights left out:
//               less than a ten-thousandth of that
//   roundings   exp(c (k/n)^2), the sum of all weights over phihat(k), times so many units of 2^-53:
//               64 for strength, weights and divisor (a weight at the distance d is off by less than
//               5 |d| + d^2 / 2 + 6 units, with a mean below 16; a sine with a cosine by 6; three
//               products; the divisor by 17), the number of waves that met in a grid point, whose
//               sum rounds so often, and those of the transform
//
// The roundings of w a and of w b, which turn a wave, are the caller's: each is a unit.
// Source: A. Dutt & V. Rokhlin, SIAM J. Sci. Comput. 14, 1368 (1993); L. Greengard & J.-Y. Lee,
//         SIAM Rev. 46, 443 (2004)

namespace torvik {

// A grid, and room for its transform.
struct wavegrid {
    int points; // n
    fouriertable table;
    std::vector<double> re, im;         // with a margin on both sides
    std::vector<double> workre, workim; // for the transform
    std::vector<int> crowd;             // how many waves began in each stretch of grid points
    std::vector<double> divisor;        // 1/phihat(k), by |k|
};

// Makes a grid of n points, a power of two, 256 or more.
wavegrid newwavegrid(int points);

// Takes all waves from a grid.
void cleargrid(wavegrid& grid);

// Adds waves. Those of |w a| up to 2^25 are quick; |w b| must be below 2^50.
//
// Given:               w, count   the frequencies
//                      a, b       as above
// Given and returned:  grid
void addwaves(wavegrid& grid, const double* w, int count, double a, double b);

// The same for any processor, and for one with AVX2.
void addwaves_anywhere(wavegrid& grid, const double* w, int count, double a, double b);
void addwaves_avx2(wavegrid& grid, const double* w, int count, double a, double b);

// Transforms the grid, for fieldat. Gives the roundings above, in multiples of 1 rather than units.
double transformgrid(wavegrid& grid);

// A sum of waves, and how far it may be off for each wave in it.
struct fieldvalue {
    double re, im;
    double waveerror;
};

// Gives F(k) after the transform, -n/4 <= k <= n/4.
//
// Given:     roundings   from transformgrid
fieldvalue fieldat(const wavegrid& grid, int k, double roundings);

} // namespace torvik
