// Data group: the grid of test periods.
#pragma once

#include "numeric/arrays.h"

// Filled once by initializingvolumes2; read by the periodograms and by estimate_true_rvolumes. The
// table takes 64 MiB: its default is zero, it is never copied, and it rests untouched in a run with
// user-given volumes.

namespace torvik {

constexpr int lasttestperiod = 8388607;

inline struct testperiods_group {
    // The highest index in use; there is one period more than this number says.
    int number_of_test_periods = 0;

    // The test periods, RS volumes, increasing; numbered from 0. Without a triple product above
    // zero the only one is not a number.
    fromzero<double, lasttestperiod + 1> tableoftestperiods = {};
} testperiods;

} // namespace torvik
