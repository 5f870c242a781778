// The limits that decide a verdict.
#pragma once

#include <algorithm>
#include <cstddef>

// All of them were chosen on lists of torvik_solvestudy with its tuning seeds, and reported on others:
// docs/solve.md has the figures.

namespace torvik::solver {

// Evidence that an answer needs, in nats, for up to 20 reflections. Of lists without any lattice less than one
// in a thousand reach it.
constexpr double evidence_needed = 6.5;

// Of many reflections more is needed: outliers are not independent of each other, as the statistic takes
// them to be, but lie in rows, on rings and on other lattices, and evidence grows as their number.
inline double evidence_needed_of(std::size_t reflections)
{
    constexpr double few = 20.0;
    return evidence_needed * std::max(1.0, static_cast<double>(reflections) / few);
}

// The lead that an answer needs, in nats, on the sum of all rivals: the odds are 12 to 1.
constexpr double lead_needed = 2.5;

// Rivals that index more reflections count as if they had so much more evidence, in nats. Of ten reflections nine
// lie on one of the seven halves of their lattice once in thirteen lists, and that half then is the more evident.
constexpr double credit_for_indexing_more = 2.0;

// The fraction of the reflections that a lattice must index to be an answer. A lattice that rows or planes of
// spots share by chance takes up to a fifth of a long list, with evidence beyond any doubt.
constexpr double fraction_needed = 0.23;

// Lists up to this length must keep the evidence needed without the reflections that two others on a row predict
// (independent.h). Rows by themselves do not reach the evidence that longer lists need.
constexpr std::size_t most_checked_for_rows = 64;

// The fraction for a lattice with a common shift. Where it leaves half of the reflections, more than the centre is
// wrong.
constexpr double fraction_needed_with_shift = 0.6;

// A solved lattice is held against one with a shift unless it indexes so many of the reflections with errors so
// small, as a part of the mean distance of lattice points: a shift of a tenth of an axis makes them larger.
constexpr double fraction_beyond_shift = 0.75;
constexpr double error_beyond_shift = 0.05;

// The same for its evidence for each reflection that it indexes, in nats: with a cell that takes in shifted
// reflections by its many points it is less. Between the two, one round of the search must find nothing better.
constexpr double evidence_beyond_shift = 6.0;
constexpr double evidence_nearly_beyond_shift = 2.5;

// The fewest reflections that can determine a lattice beyond doubt: three make it, and the others must confirm
// it against all that chance offers.
constexpr std::size_t fewest_reflections = 6;

} // namespace torvik::solver
