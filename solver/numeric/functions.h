// Exponential, logarithm and their like, with the same digits on every machine.
#pragma once

// The last digits of what a mathematical library returns differ between systems, and between processors.
// The functions here consist of sums and products alone, in one order, and are right to a few units in the
// last place.

namespace torvik::solver {

double exponential(double x); // 0 below -745, infinity above 709
double logarithm(double x);   // of 0 minus infinity; not a number below 0
double cube_root(double x);   // of a number not below 0

double sine(double x);                 // radians, of a magnitude up to 1e6
double cosine(double x);               // radians, of a magnitude up to 1e6
double arccosine(double x);            // radians; arguments beyond -1..1 count as these
double arctangent(double y, double x); // the angle of the point (x, y), radians, from -pi to pi

// The logarithm of the gamma function of a number above 0, with an error below 1e-12, or 1e-15 of it.
double log_gamma(double x);

// The logarithm x of a positive normal number with an error below 2e-7 + 1.3e-7 |x|, in a fifth of the time.
float quick_logarithm(double x);

// log(e^x + e^y), also for minus infinity.
double log_sum(double x, double y);

} // namespace torvik::solver
