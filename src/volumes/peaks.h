// The largest value of a periodogram of which only bounds are known.
#pragma once

#include "volumes/fastperiodograms.h"

#include <cmath>
#include <cstddef>
#include <limits>

namespace torvik {

// Makes a value known. What is not a number gets the bounds of one that no peak can have.
inline void setvalue(periodogrambounds& bounds, std::size_t i, double value)
{
    const double known = std::isnan(value) ? -std::numeric_limits<double>::infinity() : value;
    bounds.least[i] = bounds.most[i] = known;
}

// The highest of the upper bounds in a stretch of periods, and the second highest.
struct highestbounds {
    int first;     // the first period that has the highest; -1 if there is none
    double second; // minus infinity if there is none
};

inline highestbounds highestin(const periodogrambounds& bounds, int lo, int hi)
{
    double highest = -std::numeric_limits<double>::infinity();
    highestbounds found = {-1, highest};
    for (int i = lo; i <= hi; ++i) {
        const double most = bounds.most[static_cast<std::size_t>(i)];
        if (most > highest) {
            found = {i, highest};
            highest = most;
        } else if (most > found.second) {
            found.second = most;
        }
    }
    return found;
}

// Makes every value known that could still be the largest, in one go.
template <class Valueof>
void settleall(periodogrambounds& bounds, int lo, int hi, Valueof valueof)
{
    double floor = 0.0; // the largest value is surely not less
    for (int i = lo; i <= hi; ++i)
        floor = std::fmax(floor, bounds.least[static_cast<std::size_t>(i)]);
    for (int i = lo; i <= hi; ++i) {
        const auto w = static_cast<std::size_t>(i);
        if (bounds.least[w] == bounds.most[w] || !(bounds.most[w] >= floor)) continue;
        setvalue(bounds, w, valueof(i));
        floor = std::fmax(floor, bounds.least[w]);
    }
}

// Gives the period of the largest value above zero, the first of equals; -1 if there is none.
//
// Given:               lo, hi     the first and the last period to look at
//                      valueof    gives the value for a period, at the price of a plain sum
// Given and returned:  bounds     values that had to be computed become known
//
// The period with the highest upper bound has the largest value if it is known, for then no value
// is larger, and those that could be equal come later; and if its lower bound is above all other
// upper bounds. Otherwise its value is computed, and the question asked anew; where that goes on and
// on, as with a few triples whose bounds are wide everywhere, all that could win are computed.
template <class Valueof>
int largestin(periodogrambounds& bounds, int lo, int hi, Valueof valueof)
{
    constexpr int patience = 32;
    for (int computed = 1;; ++computed) {
        const highestbounds found = highestin(bounds, lo, hi);
        if (found.first < 0) return -1;
        const auto w = static_cast<std::size_t>(found.first);
        if (bounds.most[w] <= 0.0) return -1;
        if (bounds.least[w] == bounds.most[w]) return found.first;
        if (bounds.least[w] > found.second && bounds.least[w] > 0.0) return found.first;
        setvalue(bounds, w, valueof(found.first));
        if (computed == patience) settleall(bounds, lo, hi, valueof);
    }
}

} // namespace torvik
