// Spots that are one reflection, measured more than once.
#pragma once

#include "base/linear.h"
#include "readers/reader.h"

#include <cstddef>
#include <vector>

// A reflection that is cut by the frames of a scan appears on a few of them, each time as a spot of
// its own. Repeats add nothing to a search but triples without volume. Friedel mates, r and -r, are
// two reflections.

namespace torvik::tools {

// A distance within which spots are one reflection, taken from the spots: an eighth of what nine
// tenths of them have to their nearest neighbour once repeats are merged, and at most an eighth of
// the length of the shortest vector.
//
// Neighbours in a lattice are one shortest lattice vector apart, or more. An eighth of it is the
// deviation of an index at which the program stops to index a reflection (0.12 at its default), so
// spots farther apart cannot both be indexed as one. 0 for fewer than two spots.
double usualtolerance(const std::vector<vector3>& vectors);

// Puts each spot to the nearest group that has begun within the tolerance, or begins a group with
// it; spots come in the order of `sequence`, which holds the number of each spot once. The first of a
// group is the one that began it; so no group is wider than two tolerances.
std::vector<std::vector<std::size_t>> groupsof(const std::vector<vector3>& vectors,
                                               const std::vector<std::size_t>& sequence,
                                               double tolerance);

// Makes one spot of each group of repeats, strong spots first: with the mean vector, weighted by the
// intensities where all are positive, and the largest intensity; indices stay where all agree. Angles
// are not averaged: the strongest spot stands for its group. The order is that of the spots that
// began the groups. `vectors` are those of the measured spots. A tolerance of 0 merges nothing.
measurement mergerepeats(const measurement& measured, const std::vector<vector3>& vectors,
                         double tolerance);

// Numbers of the spots, the strongest first; those without an intensity last, as they come.
std::vector<std::size_t> strongestfirst(const std::vector<spot>& spots);

// Whether at least a part of the spots, from 0 to 1, has intensities, and these are not all the same.
bool intensitiesdiffer(const std::vector<spot>& spots, double part);

} // namespace torvik::tools
