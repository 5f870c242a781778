// The plain sums of Rayleigh's periodogram for four periods at once, but for a few roundings.
#pragma once

#include "volumes/triples.h"

// Every phase has the bits that it has in rayleighsums: the same product and the same quotient, of
// four periods instead of one. Only the sines and cosines are others, those of lanesines.h. They are
// off by 4 units (of 2^-53) and those of the plain sums by 2, so two terms differ by less than 6.
// The sums are rounded after each term, by less than a unit of what they have come to; so those here
// and those there differ by less than
//
//     u (6 n + 2 (|S_1| + |S_2| + ... + |S_n|)),   u = 2^-53,
//
// where S_k is the sum of k terms here (1 + 2^-20 times that, for those there come to a little
// else). These magnitudes are added up as well. They are what makes the bound narrow: a sum of terms
// of both signs stays far below their number.

namespace torvik {

struct nearsum {
    double S, C;
    double bound; // on the distance of C + i S from that of the plain sums
};

// Sums the sines and cosines of the phases of four periods.
//
// Given:     products
//            P        four test periods
// Returned:  sums
// Status:    done or failed (a phase that is beyond the range of these sines)
void nearrayleighsums(const tripleproducts& products, const double P[4], nearsum sums[4],
                      int& status);

// Four sums of sines and of cosines, and the magnitudes that they went through.
struct runningsums {
    double S[4], C[4], wayofS[4], wayofC[4];
};

// Adds the terms of some triple products, for any processor and for one with AVX2.
void addnearsums_anywhere(const double* t, int count, const double P[4], runningsums& sums);
void addnearsums_avx2(const double* t, int count, const double P[4], runningsums& sums);

} // namespace torvik
