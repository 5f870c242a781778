// What a run of the program will make of its input.
#pragma once

#include "base/linear.h"
#include "formats/idxfile.h"
#include "selection/estimate.h"

#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// The parameters on which that depends, with the program's defaults.
struct runparameters {
    int extent = 2;
    int periodogram = 0;               // type, 0 by the extent
    std::optional<volumerange> limits; // none: from the shortest vector
    bool uservolumes = false;          // neither range nor periodogram count
    std::optional<double> wavelength;  // if the file has one
};

// Reads them from the keywords of an input file; the last of equal ones counts.
runparameters parametersof(const std::vector<keyword>& keywords);

// Rayleigh's periodogram divides by the square of the number of triples, in 32 bits that overflow
// from 67 reflections on. Where the divisor is negative no value is above zero: no peak is found, no
// volume is tested.
double rayleighdivisor(int reflections);

// Whether a run with so many reflections finds peaks, by the type of its periodogram and its extent.
bool findspeaks(int reflections, const runparameters& parameters);

// The number nearest to a count, of 4 to `most` (999 at most), with which a run finds peaks; the
// smaller of two that are as near.
int nearestgoodcount(int reflections, int most, const runparameters& parameters);

// The largest triple product of the vectors: zero if all lie in a plane.
double largesttriple(const std::vector<vector3>& vectors);

// The program's own range, from the shortest vector m: 1/m^3 to 10000/m^3.
volumerange automaticrange(const std::vector<vector3>& vectors);
volumerange rangeof(const runparameters& parameters, const std::vector<vector3>& vectors);

// The number of test periods that a range asks for, T being the largest triple product. Volumes are
// equally far apart, 1/((2 extent + 2) T), from the largest down; the table holds 8388608 periods,
// and the smallest volumes are left out where that is too few.
double periodsasked(const volumerange& range, double T, int extent);
constexpr double mostperiods = 8388607.0; // the highest number, counted from 0

// The smallest volume that is tested.
double smallesttested(const volumerange& range, double T, int extent);

// The range with its largest volume lowered until the table holds it, or until the program would
// refuse it: then smallesttested tells what is left.
volumerange withintable(const volumerange& range, double T, int extent);

} // namespace torvik::tools
