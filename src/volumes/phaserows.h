// The phases of many triple products at once.
#pragma once

#include "driver/recorded_reflections.h"
#include "numeric/arrays.h"

#include <cstddef>
#include <cstdint>

// The ranking takes d = |deter| of three vectors to the nearest of 511 steps of d/V (phaseindex).
// Here the same step comes from y = |(a x b).c| / V, eight triples at a time, without a remainder:
// y is put on a grid of 2^-bits by adding a number so large that only so many bits are left behind
// the point. Whole numbers in y have no say in the phase and are cut off; the rest times 511 is a
// whole number of units of 2^-bits steps.
//
// Why the phase is the same, whichever vector stands first: let A be the largest component, u =
// 2^-53, and D the exact determinant, a sum of six products of which none exceeds A^3. Each goes
// through at most 5 roundings in deter and 2 more by the scale, so that d 511/V is within 511 * 6
// A^3 / V * 7.1 u of 511 D/V; and through as many in y. The grid adds half a unit of y, 511/2 units
// of a step. If both together, the margin, do not reach the next half-way point between two steps,
// d 511/V lies on the same side of it, whichever vector stands first. Otherwise the phase is taken
// by deter and phaseindex, for each of the three by itself. So are all of them where the argument
// fails: for numbers that are not finite, for products beyond the grid, or so small that they lose
// bits. The order of the other two vectors never matters: exchanged, they give each difference in
// deter the other sign, and the same bits.

namespace torvik {

constexpr int atonce = 8; // triples at a time
constexpr int columnlength = (maxreflections + atonce - 1) / atonce * atonce;

// The trial vectors, component by component, numbered from 0: the last of the list first.
struct trialcolumns {
    int n;
    alignas(32) double x[columnlength], y[columnlength], z[columnlength];
};

// How triple products become phases.
struct phasegrid {
    double scale;         // steps in a unit of volume, 511 / V
    double inverse;       // 1 / V
    int bits;             // bits behind the point of a phase
    double cut;           // added to y, leaves those bits
    std::uint32_t shift;  // half a step and the margin, in units of 2^-bits steps
    std::uint32_t window; // a phase with less than this behind the point is too near to a half-way
                          // point: twice the margin and 1, or more than any for all phases
};

// The phases of one vector with pairs of others: rows first..last, row j for the pairs of vector j
// with the vectors 0..j-1.
struct phaserows {
    static constexpr int size = 4096;
    int first, last;
    int stride; // length of a row in the table, a multiple of 8
    // Whole steps and the bits behind the point. What lies behind the end of a row has no meaning,
    // but is less than 512 steps.
    alignas(32) std::uint32_t phase[size];

    [[nodiscard]] const std::uint32_t* row(int j) const
    {
        return phase + static_cast<std::ptrdiff_t>(j - first) * stride;
    }
    [[nodiscard]] std::uint32_t* row(int j)
    {
        return phase + static_cast<std::ptrdiff_t>(j - first) * stride;
    }
};

// Lists the trial vectors.
void fillcolumns(trialcolumns& list);

// Gives one of them.
inline vector3 vectorat(const trialcolumns& list, int m)
{
    return {{list.x[m], list.y[m], list.z[m]}};
}

// Takes one of them out of the list.
void removecolumn(trialcolumns& list, int m);

// Makes the grid for a list and a volume.
phasegrid makephasegrid(const trialcolumns& list, double V);

// Computes the phases of one vector with the pairs of a list, as many rows as the table holds.
//
// Given:     a      the vector
//            list   the others, of which rows up to `last` are used
//            last   the last row, at least 1
// Returned:  rows   rows first..last; go on with first - 1 until that is 0
void computephaserows(const vector3& a, const trialcolumns& list, const phasegrid& grid, int last,
                      phaserows& rows);

// The same for any processor, and for one with AVX2; `first`, `last` and `stride` are set.
void fillphaserows_anywhere(const vector3& a, const trialcolumns& list, const phasegrid& grid,
                            phaserows& rows);
void fillphaserows_avx2(const vector3& a, const trialcolumns& list, const phasegrid& grid,
                        phaserows& rows);

// Says whether a phase is too near to a half-way point.
inline bool nearhalfway(std::uint32_t phase, const phasegrid& grid)
{
    return (phase & ((1U << grid.bits) - 1)) < grid.window;
}

// Gives the step of a phase, 0..511, for one that is not.
inline int stepof(std::uint32_t phase, const phasegrid& grid)
{
    return static_cast<int>(phase >> grid.bits);
}

// Gives the step for a candidate and a pair as it is defined: by the determinant with the candidate
// first. The order of the pair turns only its sign.
int definedstep(const vector3& candidate, const vector3& b, const vector3& c,
                const phasegrid& grid);

// Gives the point of the ranking curve for a triple product: its fractional part in units of V, on
// a grid of 511 steps.
//
// Given:     d       absolute triple product, RS volume
//            scale   511 / V
// Returned:  nint(d scale) mod 511, 0..510, for any size of d scale; a product that is not finite
//            has no phase and gets the middle of the curve, its lowest weight
int phaseindex(double d, double scale);

} // namespace torvik
