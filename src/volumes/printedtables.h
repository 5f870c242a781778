// Tables of periodograms whose digits are those of the plain sums.
#pragma once

#include "volumes/fastperiodograms.h"

#include <cstddef>

// A printed number has few digits: where both ends of the bounds on a value print alike, so does the
// value. Most rows of a table are settled so. For the others the bounds are made narrower, first by
// the sums of nearsums.h, then by the plain sums themselves.

namespace torvik {

// A table: the value for each period, and the angle that stands beside it, in degrees.
struct periodogramtable {
    periodogrambounds value, angle;
    int nearrows, plainrows; // that took the sums of nearsums.h, and plain sums
};

// Computes a table in which both ends of every bounds print alike: values with 5 decimals in
// engineering notation, angles with one.
//
// Given:     products
//            kind         rayleigh or scargle
//            P, periods   test periods, and how many
// Returned:  table
// Status:    done or failed, as of boundperiodogram
void computetable(const tripleproducts& products, int kind, const double* P, std::size_t periods,
                  periodogramtable& table, int& status);

// Gives the phase in degrees that stands beside a value of Rayleigh's periodogram.
double printedphase(double S, double C);

// Gives the offset in degrees that stands beside a value of Scargle's periodogram, from cycles.
double printedoffset(double tau);

// Says whether a value is settled: whether its bounds print alike.
bool printsalike(const periodogrambounds& value, std::size_t i);

} // namespace torvik
