// How evenly the inverses of test periods are spaced.
#pragma once

#include <cstddef>

// In a block of periods 1/P_i is a + s k, k = i - middle, but for what the rounding of the table
// makes of it. A phase that is computed as t (a + s k) stands for t/P_i in the plain sums, and is off
// by less than t times
//
//     D + u (4 V + 5 |s k|),   u = 2^-53, V the largest 1/P of the block:
//
// D is the largest |1/P - (a + s k)| as computed. There are roundings of 1/P, of the sum and of s k
// in it, of the quotient in the plain sum, of t a and of t s, and s may stand for a number that is
// off by three units. The middle is no exception: a is a double, that nearest to 1/P.

namespace torvik {

struct evenspacing {
    std::size_t first, last; // of the block
    double a, s;
    double error;          // of a phase, for t = 1
    double largestinverse; // V
};

// Gives the period of a block for which k = 0.
inline int middleof(const evenspacing& block)
{
    return static_cast<int>((block.first + block.last) / 2);
}

// Measures a block.
//
// Given:     first, last   of the block
//            P             all test periods
//            s             as above
evenspacing measured(std::size_t first, std::size_t last, const double* P, double s);

// Gives s from the first and the last of all test periods, two at least.
double stepofinverse(const double* P, std::size_t periods);

} // namespace torvik
