// Sine, cosine and whole parts of four doubles at once.
#pragma once

#include "numeric/lanes.h"

// The argument y is brought to r = y - k pi/2, |r| <= pi/4, and the Taylor series of both functions
// are summed there. pi/2 is split into three parts, of which the first two have 28 bits: their
// products with a whole k below 2^25 are exact, so is y less the first, and r is off by the rounding
// of two differences below 1, less than 1.2 units (a unit is 2^-53). The series are cut where they
// have fallen below 0.5 units: (pi/4)^17/17! and (pi/4)^18/18!. Their own roundings are below 1.5
// units. Together a sine or cosine is off by less than 4 units, 2^-51.

namespace torvik {

constexpr double truepi = 3.14159265358979323846;

constexpr double lanesinelimit = 33554432.0; // 2^25: arguments beyond are not for these sines
constexpr double lanesineerror = 0x1p-51;

struct lanesines {
    lanes sine, cosine;
};

// Gives the nearest whole numbers, for numbers below 2^50. Adding 1.5 times 2^52 leaves no place
// for a fraction; `whole` has the number in its low bits as well.
TORVIK_INLINED lanes nearestlanes(const lanes& x, wholelanes& whole)
{
    const lanes shift = fourof(6755399441055744.0);
    const lanes shifted = x + shift;
    whole = (wholelanes)shifted - (wholelanes)shift;
    return shifted - shift;
}

// Gives the magnitudes.
TORVIK_INLINED lanes magnitude(const lanes& x)
{
    return (lanes)((wholelanes)x & ~(wholelanes)fourof(-0.0));
}

// Gives the whole parts of numbers from 0 to 2^50.
TORVIK_INLINED lanes wholepart(const lanes& x)
{
    wholelanes whole;
    const lanes nearest = nearestlanes(x, whole);
    const auto above = (wholelanes)(nearest > x); // ones where it was rounded up
    return nearest - (lanes)(above & (wholelanes)fourof(1.0));
}

// Gives a where the mask has ones and b where it has zeros.
TORVIK_INLINED lanes chosen(const wholelanes& mask, const lanes& a, const lanes& b)
{
    return (lanes)((mask & (wholelanes)a) | (~mask & (wholelanes)b));
}

// Gives sine and cosine of angles in radians, of at most 2^25.
TORVIK_INLINED lanesines sinesof(const lanes& y)
{
    // 1. k = y / (pi/2), rounded, and the rest.
    wholelanes k;
    const lanes whole = nearestlanes(y * fourof(0.63661977236758138), k);
    const lanes r = ((y - whole * fourof(0x1.921fb54p+0)) - whole * fourof(0x1.10b4610p-30))
                    - whole * fourof(0x1.a62633145c06ep-58);
    // 2. The series.
    const lanes z = r * r;
    lanes s = fourof(-1.0 / 1307674368000.0);
    s = s * z + fourof(1.0 / 6227020800.0);
    s = s * z + fourof(-1.0 / 39916800.0);
    s = s * z + fourof(1.0 / 362880.0);
    s = s * z + fourof(-1.0 / 5040.0);
    s = s * z + fourof(1.0 / 120.0);
    s = s * z + fourof(-1.0 / 6.0);
    const lanes sine = r + r * (z * s);
    lanes c = fourof(1.0 / 20922789888000.0);
    c = c * z + fourof(-1.0 / 87178291200.0);
    c = c * z + fourof(1.0 / 479001600.0);
    c = c * z + fourof(-1.0 / 3628800.0);
    c = c * z + fourof(1.0 / 40320.0);
    c = c * z + fourof(-1.0 / 720.0);
    c = c * z + fourof(1.0 / 24.0);
    const lanes cosine = (fourof(1.0) - fourof(0.5) * z) + (z * z) * c;
    // 3. A quarter turn exchanges them, with signs.
    const wholelanes odd = -(k & 1);
    const wholelanes sinesign = (k & 2) << 62;
    const wholelanes cosinesign = ((k + 1) & 2) << 62;
    return {(lanes)((wholelanes)chosen(odd, cosine, sine) ^ sinesign),
            (lanes)((wholelanes)chosen(odd, sine, cosine) ^ cosinesign)};
}

} // namespace torvik
