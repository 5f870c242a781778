// Bounds on the values of the periodograms, for all test periods together.
#pragma once

#include "volumes/triples.h"

#include <cstddef>
#include <vector>

// The test periods P_i are such that 1/P_i = a + s k, k = i - m, for a middle period m: evenly
// spaced. With w = two pi t the phase w/P_i is linear in i, and the sums of Rayleigh's periodogram
// are those of nonuniformtransform.h, taken for a block of periods at a time: many thousand terms
// for the price of one. Those of Scargle's are the same at the single and the double phase.
//
// They are not the sums that define the periodogram (plainsums.h), which are rounded otherwise. What
// is computed here are bounds: the value of plainsums.h is never outside. Where they cannot decide,
// the caller computes that value.
//
// THE SUMS. Let F = sum of exp(i w (a + s k)) in exact numbers, n terms, W = sum of w, u = 2^-53,
// and V the largest 1/P of the block. The computed F is off by less than n times the error of a wave
// (nonuniformtransform.h). The phases of the computed F and of the plain sum C + i S differ by less
// than w (D + u (4 V + 5 |s k|)) (evenspacing.h), and a term by no more than its phase. The
// sines and cosines of the plain sum are off by 2 u at most, and adding up n of them rounds each of S
// and C by less than u n (n + 1) / 2. So C + i S differs from the computed F by less than
//
//     B = n waveerror + W (D + u (4 V + 5 |s k|)) + sqrt(2) u (2 n + n (n + 1) / 2),
//
// times 1 + 2^-20 for the products of such errors, which are left out.
//
// RAYLEIGH. (C^2 + S^2) / D lies between (|F| - B)^2 / D and (|F| + B)^2 / D, with four roundings.
//
// SCARGLE. Let F1 be the sum at the single and F2 that at the double phase, and psi the turn by the
// offset, 2 psi = arg F2. Then c + i s = F1 exp(-i psi), the sums of squares are (n - |F2|) / 2 and
// (n + |F2|) / 2, and with c^2 - s^2 = Re(F1^2 exp(-2 i psi)) the value v becomes
//
//     n v = 2 (n |F1|^2 - Re(F1^2 conj F2)) / (n^2 - |F2|^2),
//
// without psi, which is unknown where F2 nearly vanishes. The plain sum takes psi from its own F2,
// which is another by B2, so psi is turned by eta with |F2| |sin eta| <= B2' = B2 + 4 u pi n: this
// changes the numerator by no more than 2 |F1|^2 B2', and the divisor to n^2 - |F2|^2 + (0 to B2'^2).
// Then its s and c are off by B1', which is B1 with 3 roundings of the phase, w u V and u pi/2 each,
// and its sums of squares by E = 2 (B1' + B2'): half of B2 for F2 and half of it again, B2 for its
// direction, the phases as in B1', their roundings less. So n v changes by no more than
// 2 (2 |F1| B1' + B1'^2 + n v E) / m, where m = (n - |F2|) / 2 - E is the least that a sum of squares
// can be. There is no bound unless m > E.

namespace torvik {

// The value for period i lies in least[i]..most[i], and is known where both are the same. What may
// not be a number lies in minus infinity to infinity, and what is none has both minus infinity.
struct periodogrambounds {
    std::vector<double> least, most;
};

// A sum of sines S and of cosines C, and a bound on the distance of C + i S from that of the plain
// sums.
struct boundedsum {
    double S, C, bound;
};

struct interval {
    double least, most;
};

inline void setbounds(periodogrambounds& bounds, std::size_t i, const interval& x)
{
    bounds.least[i] = x.least;
    bounds.most[i] = x.most;
}

// Bounds the value of Rayleigh's periodogram.
//
// Given:     D   the divisor, a whole number of either sign, or 0
interval rayleighbounds(const boundedsum& F, double D);

// Bounds the angle of a sum as the tables print it: atan2(S, C), in radians, times 180 / pisingle.
// One that may have either end of the range, and one that may be any, is bounded by infinities.
interval anglebounds(const boundedsum& F);

// The kinds of periodogram, numbered as the input file does.
constexpr int folding = 1, rayleigh = 2, scargle = 3, rayleighxscargle = 4;

// Multiplies bounds by those of another periodogram.
void multiply(periodogrambounds& bounds, const periodogrambounds& others);

// Computes the bounds of a periodogram.
//
// Given:     products
//            kind         folding (wholephases.h), rayleigh, scargle or rayleighxscargle
//            P, periods   test periods, positive, and how many; two at least
// Returned:  bounds       for each test period
//            angles       if they are asked for, with rayleigh or scargle: for each test period bounds
//                         on the angle that the table shows, the phase of the sum, or half that of
//                         the sum at the double phase
// Status:    done or failed (numbers out of range); then there are no bounds
//
// Cost:      20 ns for each triple product and block of periods, some 20 ns for each period
void boundperiodogram(const tripleproducts& products, int kind, const double* P,
                      std::size_t periods, periodogrambounds& bounds, int& status,
                      periodogrambounds* angles = nullptr);

} // namespace torvik
