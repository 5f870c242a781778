// Sine, logarithm and their like, with the same digits on every machine.
#pragma once

#include <cmath>

// The last digits of what a mathematical library gives differ from one system to another, and even
// from one processor to another on the same system; a vector from angles that differs in its last
// bit can change which of two equal solutions comes first. These are calculated by sums and products
// alone, to twice the digits of a double, and rounded once, at the end: what comes out is the double
// nearest to the exact value. That holds within the range named; beyond, and where the result is no
// number, the library answers.

namespace torvik {

double sine(double x);   // radians, of a magnitude up to 2^45
double cosine(double x); // radians, of a magnitude up to 2^45

double arcsine(double x);   // radians, for -1..1
double arccosine(double x); // radians, for -1..1

// The angle of the point (x, y), radians; magnitudes from 1e-100 to 1e100.
double arctangent(double y, double x);

double exponential(double x); // for -600..600
double logarithm(double x);   // for 1e-250..1e250

// Sine and cosine for sums of many thousands, of which six digits are printed: to one unit in the
// last place, and seven times as fast. The library does, except on Windows, where it is far off for
// large angles.
inline double quicksine(double x)
{
#ifdef _WIN32
    return sine(x);
#else
    return std::sin(x);
#endif
}

inline double quickcosine(double x)
{
#ifdef _WIN32
    return cosine(x);
#else
    return std::cos(x);
#endif
}

} // namespace torvik
