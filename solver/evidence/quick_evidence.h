// Evidence for a lattice in single precision, a thousand times a millisecond.
#pragma once

#include "solver/evidence/reflections.h"
#include "solver/lattice/linear.h"

#include <cstdint>

// The statistic is that of free_lattice.h. It decides what is looked at further, and has the last word
// nowhere: errors of some hundredths of a nat do no harm.

namespace torvik::solver {

// What is known of a lattice in the search.
struct candidate_lattice {
    matrix3 basis;         // direct, rows a, b, c
    double evidence = 0.0; // nats
    double sigma = 0.0;    // standard deviation of each component, 1/angstrom
    double outlier_fraction = 1.0;
    double inliers = 0.0; // expected number
};

// Refines a lattice, its errors and the fraction of outliers by expectation and maximisation.
//
// Given:     list   the reflections
//            start  direct basis, right to about a tenth of an index
//            least  a lattice that will stay below this evidence is not refined to the end
// Returned:  evidence minus infinity if the reflections do not determine the lattice
candidate_lattice quick_assess(const reflection_list& list, const matrix3& start, double least);

// The evidence of a lattice as it is: two rounds for errors and outliers alone.
//
// Given:  like  the errors and the fraction of outliers to begin with
candidate_lattice quick_glance(const reflection_list& list, const matrix3& basis,
                               const candidate_lattice& like);

// The same by a kernel for any processor, which the fast one must equal in all bits.
candidate_lattice plain_quick_assess(const reflection_list& list, const matrix3& start,
                                     double least);

} // namespace torvik::solver
