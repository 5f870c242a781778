// How well a reflection is indexed, and the ranking curve.
#pragma once

#include "numeric/kernel.h"
#include "numeric/nint.h"
#include "search/tabulcos.h"

#include <algorithm>
#include <cmath>

namespace torvik {

// Gives the distances of three fractional indices from their nearest integers, with their signs.
inline vector3 deviations(const vector3& x)
{
    return {{x(1) - nint(x(1)), x(2) - nint(x(2)), x(3) - nint(x(3))}};
}

// Gives the largest distance of three fractional Miller indices from their nearest integers. All
// acceptance tests of the search use this measure.
//
// Given:     x1, x2, x3   fractional indices
// Returned:  0..0.5
inline double reflexquality222f(double x1, double x2, double x3)
{
    return std::max({std::fabs(x1 - nint(x1)), std::fabs(x2 - nint(x2)), std::fabs(x3 - nint(x3))});
}

// The same, for indices held in a vector.
inline double reflexquality222(const vector3& x)
{
    return reflexquality222f(x(1), x(2), x(3));
}

// Gives the length of the vector of deviations, the "Error" of the results file.
//
// Given:     x   fractional indices
// Returned:  0..sqrt(3)/2
inline double reflexquality333(const vector3& x)
{
    return vectormagnitude(deviations(x));
}

// Gives the largest absolute value of the three nearest integers.
inline int largestindex(const vector3& x)
{
    return std::max({std::abs(nint(x(1))), std::abs(nint(x(2))), std::abs(nint(x(3)))});
}

// Gives a periodic curve on the unit interval: 1 at x = 0, 0 at x = 0.5.
//
// Given:     kappa   not 0; positive for a narrow peak at 0, negative for a broad plateau near 1
//                    that falls steeply to 0 at 0.5
//            x       phase, cycles
// Deliberate: the cosine takes the single-precision two pi.
double vonmises(double kappa, double x);

// Tabulates the ranking curve of a type.
//
// Given:     itype   -9..9: the curve with kappa = itype (0.01 for 0); any other integer: the sum
//                    of the curves with kappa -3, 0.01 and 3
// Returned:  table   the weights of the phases i/511, i = 0..511, normalised to the sum 1
void getavonmisestypefunction(int itype, rankingcurve& table);

} // namespace torvik
