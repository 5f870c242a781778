// Data group: the ranking curve.
#pragma once

#include "numeric/arrays.h"

// Filled by getavonmisestypefunction, called while the parameters are set; read by
// rank_trial_vectors.

namespace torvik {

constexpr int curvepoints = 512;
using rankingcurve = fromzero<double, curvepoints>; // element i belongs to the phase i/511

inline struct tabulcos_group {
    // Weight of a phase in the ranking; the 512 weights sum to 1.
    rankingcurve vonmisesfunctinranking = {};

    // Deliberate: read and written by nobody, kept with its group.
    double xvonmisesnumberofdatapoints = 0.0;
} tabulcos;

} // namespace torvik
