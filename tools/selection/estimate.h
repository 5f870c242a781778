// What the vectors tell of the volume of the cell, before any search.
#pragma once

#include "base/linear.h"

#include <optional>
#include <vector>

namespace torvik::tools {

// Around each vector, among all of them, their negatives and the origin: the three shortest steps to
// other points that do not lie in a plane span a cell. Their triple product is a whole multiple of the
// volume of the reciprocal cell, so its inverse is not above the volume of the cell, and equal to it
// where the neighbourhood is complete.
struct volumeestimate {
    double low = 0.0; // a quarter of the neighbourhoods give less: a lower limit in all but chance
    double usual = 0.0; // the median
    double high = 0.0;  // a quarter give more
    int places = 0;     // how many neighbourhoods were asked
};

// Gives nothing if no three steps span a cell. Steps below three eighths of the usual distance of
// neighbours are errors, or a reflection and its mate, and are passed over.
std::optional<volumeestimate> estimatevolume(const std::vector<vector3>& vectors);

struct volumerange {
    double least = 0.0;
    double most = 0.0;
};

// Limits on the volume of the primitive cell where the user gives none: a fifth of the usual value to
// thirty times it.
//
// A whole measurement has nearly complete neighbourhoods: on six real ones the true volume was 0.7 to
// 20 times the usual value (20 times on a noisy still). Few vectors, taken by chance, have gaps, which
// make the value too small; 8 to 40 of them gave 1/2 to 14 times it.
volumerange rangefrom(const volumeestimate& estimate);

} // namespace torvik::tools
