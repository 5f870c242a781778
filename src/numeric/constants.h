// The constants of the method, each with the reason for its digits.
#pragma once

#include "numeric/unfused.h"

#include <cfloat>
#include <limits>

namespace torvik {

// Sums are promised to the last bit, so no intermediate may carry more digits than a double.
static_assert(FLT_EVAL_METHOD == 0, "compile for SSE2 or better: x87 keeps extra digits");
static_assert(std::numeric_limits<double>::is_iec559, "IEEE double arithmetic is assumed");

// Pi in single precision, widened. The periodograms, the ranking curve and the angle factors were
// tuned with single-precision constants; the last digits of every printed periodogram hang on
// them. Deliberate: they stay single.
constexpr double pisingle = 3.1415927410125732;
constexpr double twopi = 6.2831854820251465;
constexpr double fourpi = 12.566370964050293;
static_assert(pisingle == static_cast<double>(3.14159265358979323846F));
static_assert(twopi == 2.0 * pisingle && fourpi == 4.0 * pisingle);

// Degrees to radians and back: double-precision quotients of the single-precision pi, so that their
// product is 1 to double precision. Deliberate: see above.
constexpr double degreestoradians = 0.017453293005625408;
constexpr double radianstodegrees = 57.29577791868205;
static_assert(degreestoradians == pisingle / 180.0);
static_assert(radianstodegrees == 180.0 / pisingle);

// Radians to degrees for the cell angles of the reports: here the exact factor, rounded once.
constexpr double cellangledegrees = 57.29577951308232;
static_assert(cellangledegrees == 180.0 / 3.14159265358979323846);

// Thresholds on |det| under which a matrix counts as singular: the machine epsilon for normal
// matrices of integer indices, whose determinant is a whole number; a hundred times the smallest
// normal double where only an outright zero is to be caught.
constexpr double machineepsilon = 2.220446049250313e-16;
constexpr double hundredtimestiny = 2.2250738585072014e-306;
static_assert(machineepsilon == std::numeric_limits<double>::epsilon());
static_assert(hundredtimestiny == 100.0 * std::numeric_limits<double>::min());

// The smallest lower limit on the volume of the direct cell, the machine epsilon of single
// precision, and the smallest test volume that a user may give, a hundred times larger. Both only
// keep zero out of the denominators.
constexpr double smallestminvolume = 1.1920928955078125e-07;
constexpr double smallestuservolume = 1.1920928955078125e-05;
static_assert(smallestminvolume == static_cast<double>(std::numeric_limits<float>::epsilon()));
static_assert(smallestuservolume == 100.0 * smallestminvolume);

constexpr double largestdouble = std::numeric_limits<double>::max();

} // namespace torvik
