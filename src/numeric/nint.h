// Conversions from a double to a 32-bit integer, defined for every input.
#pragma once

namespace torvik {

constexpr int largestinteger = 2147483647;

// truncated(x): the 32-bit integer next to x towards zero.
//
// Given:     x   any double
// Returned:  x without its fraction; beyond +-2147483647 the nearer of these two; 0 for NaN
constexpr int truncated(double x)
{
    if (x >= 2147483647.0) return largestinteger;
    if (x <= -2147483647.0) return -largestinteger;
    return x == x ? static_cast<int>(x) : 0;
}

// nint(x): the nearest 32-bit integer, halves away from zero.
//
// Given:     x   any double
// Returned:  2.5 gives 3, -2.5 gives -3; beyond +-2147483647 the nearer of these two; 0 for NaN
//
// x - truncated(x) is exact, so 0.49999999999999994 rounds to 0, where (int)(x + 0.5) would not.
constexpr int nint(double x)
{
    const int whole = truncated(x);
    const double fraction = x - whole;
    if (fraction >= 0.5 && whole < largestinteger) return whole + 1;
    if (fraction <= -0.5 && whole > -largestinteger) return whole - 1;
    return whole;
}

} // namespace torvik
