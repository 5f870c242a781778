// The scores of the ranking as whole numbers, and their decisions.
#pragma once

#include "search/tabulcos.h"
#include "volumes/phaserows.h"

#include <cstdint>

// A score is a sum of weights of the ranking curve. The weights are taken here as whole numbers of
// a small unit, a power of two chosen so that N of the largest fit into 32 bits. Sums of whole
// numbers are exact in any order: every triple is looked up once, for its three vectors, and when a
// vector is dropped its triples are taken off the scores of the others, which then are what they
// would be if computed afresh.
//
// Which score is the lowest is defined for the sums of the weights themselves, added one after the
// other. With m weights, none negative, such a sum is within (m - 1) 2^-53 of its exact value S,
// relative to it, and the whole number within m/2 of S in units. So only a vector whose whole
// number is within m + m 2^-51 times the lowest, and 2 for good measure, of the lowest can have the
// lowest sum. Where there are several, their sums are added up in the defined order, and the first
// of the lowest is dropped. Where the argument fails, with weights that are negative or no numbers,
// that is done for all; and so it is for very few vectors, since it is quicker.

namespace torvik {

// What stood between the whole numbers and the answer.
struct rankingdecisions {
    long long halfways =
        0; // triples too near to a half-way point, evaluated for each of their vectors
    long long neartie = 0; // passes that were decided by the sums in the defined order
};

// The ranking curve in whole numbers.
struct wholeweights {
    bool usable; // false: there are none, and the sums decide every pass
    alignas(32) std::int32_t weight[curvepoints]; // by step; a whole turn, the last, is as 0
};

// What the triples of one vector add to the scores: its own, and that of each other vector.
struct pairsums {
    std::int64_t own;
    std::int64_t of[columnlength];
};

// Gives the whole weights for N vectors.
wholeweights makewholeweights(const rankingcurve& curve, int N);

// Adds up the weights of one vector with all pairs of others.
//
// Given:               a          the vector
//                      list, n    the others: the first n
// Returned:            sums       own, and of[0..n-1]
// Given and returned:  decisions  triples near to a half-way point are counted
void addpairs(const vector3& a, const trialcolumns& list, int n, const phasegrid& grid,
              const wholeweights& weights, pairsums& sums, rankingdecisions& decisions);

// The weights of a table of phases, added up along its rows and columns.
struct rowsums {
    alignas(32) std::int32_t column[columnlength]; // added to
    std::int32_t row[columnlength];                // set, for the rows of the table
    bool near[columnlength]; // set: whether a phase of the row may be near to a half-way point
};

// Adds up the weights of the steps of a table of phases, for any processor and for one with AVX2.
void addweights_anywhere(const phaserows& rows, const phasegrid& grid, const wholeweights& weights,
                         rowsums& sums);
void addweights_avx2(const phaserows& rows, const phasegrid& grid, const wholeweights& weights,
                     rowsums& sums);

// Gives the sum of the weights of one vector of the list with all pairs of the others, in the order
// in which the score is defined: pairs (i, j), i < j, by i and then j.
double definedsum(int candidate, const trialcolumns& list, const phasegrid& grid,
                  const rankingcurve& curve);

// Gives how far above the lowest whole number a score can lie whose sum is the lowest.
//
// Given:     lowest   the lowest whole number
//            T        vectors in the list
std::int64_t tiewidth(std::int64_t lowest, int T);

} // namespace torvik
