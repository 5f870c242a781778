// The orientation of a crystal whose cell is known.
#pragma once

#include "solver/lattice/cell.h"
#include "solver/verdict/decision.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace torvik::solver {

struct known_limits {
    // Part of a length by which all lengths of a cell may be off together: the wavelength or the distance may be
    // wrong. It is two standard deviations of the prior of the scale. The shape may be off by the usual strain.
    double tolerance = 0.02;
    std::uint64_t seed = 1;
    std::function<bool()> over; // whether to stop; asked at least every 50 ms
};

// What the search did: limits on these bound its time.
struct known_work {
    bool pairs = false; // whether pairs were tried: the search without the cell had not settled it
    double choices = 0.0;      // pairs of points looked at (orientations.h)
    double orientations = 0.0; // scored
    std::size_t refined = 0;   // refinements, on a sample or on all vectors
};

struct known_result {
    // Candidates have the number of their cell (`known`). Their bases are right-handed, in the primitive setting
    // primitive_transformation(centring) * (conventional axes) of the cell as it was given: the inverse of the
    // transformation gives the conventional axes. Evidence counts the scale as unknown within the tolerance.
    decision made;
    double scale = 1.0; // lengths of the cell of the first candidate over those given
    known_work work;
};

// Looks for the orientation of one of some cells. Without the cell the search of direct space finds most lattices
// in milliseconds; where one of them is a known cell, or a sub- or superlattice of it, up to a common scale and
// small strains, it determines the orientation. Else pairs of vectors propose orientations (orientations.h).
// Candidates are judged by their evidence (known_cell.h): on at most 200 of the vectors first, and the few best on
// all of them.
//
// An answer needs the evidence that thresholds.h asks for, and the lead on the sum of other orientations and
// cells. It is refused if its inliers are likely a coincidence with a part of another lattice (coincidence.h), if
// a lattice that is free to differ explains the vectors better, and if a sub- or superlattice of index 2 or 3
// does.
//
// Given:   vectors      1/angstrom
//          intensities  as many, or none
//          cells        conventional, with their centrings
// Throws:  as check_known
known_result find_known(const std::vector<vector3>& vectors, const std::vector<double>& intensities,
                        const std::vector<centred_cell>& cells, const known_limits& limits);

// Throws invalid_input, with a sentence, for what is no cell, for axes that no crystal has, and for centrings that
// do not exist.
void check_known(const centred_cell& cell);

} // namespace torvik::solver
