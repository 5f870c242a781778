// Data group: the grid of test periods.
#pragma once

#include "numeric/arrays.h"

// Filled once by initializingvolumes2; read by the periodograms and by estimate_true_rvolumes. The
// table takes 64 MiB: its default is zero, it is never copied, and it rests untouched in a run with
// user-given volumes. It alone is defined in a source: a program for Windows holds what headers
// define in full, zeros as well.

namespace torvik {

constexpr int lasttestperiod = 8388607;

extern struct testperiods_group {
    // The highest index in use; there is one period more than this number says.
    int number_of_test_periods = 0;

    // The test periods, RS volumes, increasing; numbered from 0. Without a triple product above
    // zero the only one is not a number.
    fromzero<double, lasttestperiod + 1> tableoftestperiods = {};
} testperiods;

} // namespace torvik
