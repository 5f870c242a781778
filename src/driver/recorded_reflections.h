// Data group: the measured reflections and the list of trial vectors.
#pragma once

#include "numeric/arrays.h"

// Written by fix_defaults and fix_parameter while the input is read. Afterwards only the list of
// trial vectors changes: getthebasis resets it and rank_trial_vectors shortens it, for every test
// value. Read by the volume estimation, the search, the store and the results file.

namespace torvik {

inline struct recorded_reflections_group {
    // Number of reflections N, 4..999 once given; 0 before.
    int numberofreflections = 0;

    // Reflection i is the reciprocal-lattice vector reflections(i), in reciprocal length units of
    // the input (or, from angles, the inverse of the wavelength's unit). Those beyond N, and those
    // of a count that no list followed, are zero vectors.
    vectorlist reflections = {};

    // Length of reflection i, same unit.
    numbered<double, maxreflections> reflectionmagnitudes = {};

    // How many entries of the list below are in use, 0..N.
    int number_of_trial_vectors = 0;

    // Numbers (1..N) of the reflections from which bases are built, in increasing order.
    numbered<int, maxreflections> list_of_trial_vectors = {};
} recorded_reflections;

} // namespace torvik
