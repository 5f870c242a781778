// The periodograms as they are defined: sums over the triple products, term by term.
#pragma once

#include "volumes/triples.h"

#include <cstddef>

// Each procedure computes the values for some test periods, P[0], P[1], ... The terms of a period
// are added in the order of the triple products, and each is computed by itself, so the bits do not
// depend on how many periods are computed together, nor on how many triple products at a time.

namespace torvik {

// Sums Rayleigh's periodogram (rayleigh_periodogram).
//
// Given:     products
//            P, periods   test periods, and how many
// Returned:  out          values
//            S, C         sums of the sines and of the cosines
void rayleighsums(const tripleproducts& products, const double* P, std::size_t periods, double* out,
                  double* S, double* C);

// Sums the Lomb-Scargle periodogram (scargle_periodogram).
//
// Returned:  out   values
//            tau   the offset of each period, in cycles, that decouples the sine and the cosine terms
void scarglesums(const tripleproducts& products, const double* P, std::size_t periods, double* out,
                 double* tau);

// Sums the folding periodogram (folding_periodogram).
//
// Returned:  out   values
//
// Four periods are worked on at once where every t/P is positive and below 2^31: the whole part of
// such a quotient is that of `truncated`, and all else is the same for one number or four.
void foldingsums(const tripleproducts& products, const double* P, std::size_t periods, double* out);

// Adds the terms of some triple products to those of 16 periods, for any processor and for one with
// AVX2; every quotient is in the range named above.
constexpr std::size_t periodsatonce = 16;
void addfoldings_anywhere(const double* t, int count, const double* P, double* out);
void addfoldings_avx2(const double* t, int count, const double* P, double* out);

// Gives n x n as a 32-bit product that wraps around in two's complement.
double wrappedsquare(int n);

} // namespace torvik
