// Data group: the test volumes.
#pragma once

#include "numeric/arrays.h"

// Filled by fix_parameter (user-given volumes) or estimate_true_rvolumes, ordered by
// sortthetestvolumes. getthebasis sets the volume under test; the ranking and the search read it.

namespace torvik {

constexpr int maxestimatedvolumes = 350;

inline struct estimatedvolumes_group {
    // How many test volumes the table holds, 0..350.
    int number_of_estimatedvolumes = 0;

    // Volumes of the primitive reciprocal cell (RS volumes), each the reciprocal of a direct-cell
    // volume.
    numbered<double, maxestimatedvolumes> table_of_estimatedvolumes = {};

    // The RS volume under test.
    double currentlyinvestigatedvolume = 0.0;
} estimatedvolumes;

} // namespace torvik
