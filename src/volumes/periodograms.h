// Periodograms of the triple products over the test periods.
#pragma once

#include "text/names.h"
#include "volumes/fastperiodograms.h"
#include "volumes/triples.h"

#include <vector>

// The triple product of any three reciprocal-lattice vectors is a whole multiple of the volume of
// the primitive reciprocal cell. Taking the absolute triple products t of all triples of
// reflections for event times, and each test period P for a period, a periodogram measures how
// strongly the t cluster at whole multiples of P.

namespace torvik {

// One value for each test period, numbered from 0 like them: number_of_test_periods + 1 values. The
// procedures fill a periodogram that has this size already.
using periodogram = std::vector<double>;

// Computes Rayleigh's periodogram: the squared length of the mean of the unit vectors at the phases
// of t/P.
//
// Given and returned:  out   filled
//
// Deliberate: the divisor, the squared number of triples, is a 32-bit product that wraps around.
//            From 67 reflections on it scales the whole periodogram, negative where it is negative.
// Cost:      a sine and a cosine for each triple and period
// Log:       the table, with phases
// Source:    Lord Rayleigh, Phil. Mag. 10, 73 (1880), for the statistic
void rayleigh_periodogram(periodogram& out);

// Computes the Lomb-Scargle periodogram for events of unit weight.
//
// Given and returned:  out   filled; not a number where a sum of squares is 0
//
// Cost:      two passes over the triples, a sine and a cosine for each triple and period in both
// Log:       the table, with the offsets tau
// Source:    N. R. Lomb, Astrophys. Space Sci. 39, 447 (1976); J. D. Scargle, Astrophys. J. 263,
//            835 (1982)
void scargle_periodogram(periodogram& out);

// Computes the folding periodogram: the mean of |2f - 1| over the fractional parts f of t/P.
//
// Given and returned:  out   filled with values in 0..1: 1 where every t is a whole multiple of P,
//                            0 where every one lies half-way
//
// Cost:      a division for each triple and period
// Log:       the table
void folding_periodogram(periodogram& out);

// Computes the periodogram that the run parameters select, as far as it is needed: bounds on the
// values, of which those are known that the bounds cannot decide.
//
// Given:     filename   of the input, for the name of the periodogram file
//            products   of the recorded reflections
// Returned:  bounds     for each test period
//
// itypeofperiodogram: 1 or -1 folding, 2 or -2 Rayleigh, 3 or -3 Scargle, 4 or -4 Rayleigh times
// Scargle; 0 by iextentofthesearch: folding for 0, the product for 5, otherwise Rayleigh. A
// negative type writes the periodogram file and ends the run.
//
// Log:       the tables, with the digits of the procedures above
void computeperiodogram(const inputfilename& filename, const tripleproducts& products,
                        periodogrambounds& bounds);

// Gives the value of the selected periodogram for test period i, the same bits as the procedures
// above.
double periodogramvalue(const tripleproducts& products, int i);

// Gives the logarithm of x to base a.
double loga(double a, double x);

} // namespace torvik
