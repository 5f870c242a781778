// Bounds on the folding periodogram, from phases in whole numbers.
#pragma once

#include "volumes/triples.h"

#include <cstddef>
#include <cstdint>

// A phase is counted in 2^-32 of a cycle: what exceeds a cycle drops out by itself, and eight phases
// go into four doubles. With t fixed the phase t/P_i goes by equal steps (evenspacing.h), one
// addition for each period. |2f - 1| of the fractional part f is the magnitude of the phase less half
// a cycle; it is cut to 23 bits, and 256 of them are added before the sum outgrows 32 bits.
//
// The mean that comes out differs from the value of foldingsums by less than, for each term,
//
//   2^-23                              what was cut off, which only makes it smaller
//   2 t (D + u (4 V + 5 |s k|))        the phase (evenspacing.h)
//   2 (2^-33 + 128 2^-33)              the phase of the middle and the step rounded to whole numbers
//   2^-31                              a negative number is not negated but turned over bit by bit
//   u (2 + (n + 1) / 2)                the roundings of the term, of the sum and of the mean
//
// It decides less often than the bounds on the other periodograms do, but values that agree in six
// digits are few.

namespace torvik {

// Computes the bounds of the folding periodogram.
//
// Given:     products
//            P, periods    test periods, positive, and how many; two at least
// Returned:  least, most   for each test period
// Status:    done or failed (no triples, or a quotient t/P of 2^30 or more); then there are no bounds
//
// Cost:      an addition of whole numbers and a few bitwise operations for each triple and period
void boundfolding(const tripleproducts& products, const double* P, std::size_t periods,
                  double* least, double* most, int& status);

constexpr int phasesatonce = 256; // periods of a block
constexpr int termsatonce = 256;  // triple products

// Adds |2f - 1| for some triple products, as 23-bit numbers.
//
// Given:               t, count   up to termsatonce triple products
//                      a, s       1/P is a + s k for k = -127..128
// Given and returned:  sums       for k = -127..128
void addwholephases(const double* t, int count, double a, double s, std::uint32_t* sums);

// The same for any processor, and for one with AVX2.
void addwholephases_anywhere(const double* t, int count, double a, double s, std::uint32_t* sums);
void addwholephases_avx2(const double* t, int count, double a, double s, std::uint32_t* sums);

} // namespace torvik
