// Measured reciprocal-lattice vectors in; the lattice, the indices and a verdict out.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

// Lengths are in angstroms, angles in degrees. Vectors of reciprocal space are in 1/angstrom without a
// factor of 2 pi, in any frame that is fixed to the crystal. A direct basis has a, b, c in its rows; times a
// vector it gives the indices h, k, l. Evidence is a natural logarithm of odds ("nats").

namespace torvik::solver {

using vec3 = std::array<double, 3>;
using mat3 = std::array<vec3, 3>;          // rows
using cell_values = std::array<double, 6>; // a, b, c, alpha, beta, gamma

// What was measured of N reflections.
struct measurement {
    std::vector<vec3> vectors;       // N
    std::vector<double> intensities; // N, in any unit; or empty
    std::vector<int> images; // N, the number of the image or of its rotation range; or empty
    // N, unit vectors along the normal of the Ewald sphere at the reflection: the direction of the diffracted
    // beam, in the frame of the vectors; or empty. With them, errors along it may differ from those across, as
    // they do for stills and narrow wedges. Not used with known cells.
    std::vector<vec3> normals;
};

// A cell that the crystal may have.
struct known_cell {
    cell_values cell = {}; // conventional
    char centring = 'P';   // P, A, B, C, I, F, or R in obverse hexagonal axes
};

struct options {
    std::vector<known_cell> known;         // candidates for the cell; empty if it is not known
    double known_tolerance = 0.02;         // part of a length by which a known cell may be off
    std::optional<double> smallest_volume; // of the primitive cell, angstroms cubed
    std::optional<double> largest_volume;
    double shortest_axis = 2.5;              // angstroms; shorter ones are not believed
    int lattices = 1;                        // how many to look for, one after the other
    std::chrono::milliseconds budget{60000}; // an answer is given soon after it is over
    std::uint64_t seed = 1;                  // of all random choices
};

enum class verdict { solved, ambiguous, refused };

// A lattice, and what speaks for it.
struct lattice {
    mat3 basis = {}; // direct, reduced, right-handed
    // Covariance of the nine elements of UB, row by row, 1/angstrom squared: the inverse of the basis, with
    // a*, b*, c* in its columns.
    std::array<std::array<double, 9>, 9> covariance = {};
    double evidence = 0.0; // against no lattice at all, nats
    double sigma = 0.0;    // standard deviation of a component of a vector, 1/angstrom
    // That along the normals, where these were given and it differs: else 0.
    double sigma_along_normal = 0.0;
    double outlier_fraction = 0.0; // estimated
    int indexed = 0;               // reflections that are more likely inliers than outliers
    int known = -1;                // which of the known cells it is, from 0
    vec3 shift = {};           // a shift common to all vectors that was found with it, 1/angstrom
    std::vector<mat3> further; // bases of further crystals of the cell, counted in the evidence
};

// What a lattice says about a reflection.
struct assignment {
    int lattice = 0;             // from 1; 0 if it is not indexed
    std::array<int, 3> hkl = {}; // by the basis of that lattice
    double inlier = 0.0;         // probability that it belongs to the lattice
};

struct answer {
    verdict how = verdict::refused;
    std::string reason;            // a sentence
    std::vector<lattice> lattices; // found one after the other; the first is what the verdict is on
    std::vector<lattice> candidates; // that compete for the first place, the most evident first
    std::size_t competing = 0;       // how many of them cannot be told apart; 1 if solved
    double lead = 0.0;               // evidence of the first against the sum of all others, nats
    std::vector<assignment> reflections; // N
    std::vector<std::string> remarks;    // on the reflections that are not indexed, each a sentence
    bool interrupted = false; // the budget was over or a stop requested before it was clear
};

// What is passed on as work proceeds: a sentence. Called from the thread that solves.
using progress = std::function<void(const std::string&)>;

// Finds the lattice of a measurement. The same arguments give the same answer on every machine, unless it
// was interrupted. It keeps no state: threads may call it at once.
//
// Given:     measured  at least one vector
//            how       options
//            report    called now and then; may be empty
//            stop      ends the search within 50 ms: the best so far is returned
// Returned:  the answer. An interrupted one is never `solved`
// Throws:    std::invalid_argument, with a sentence, for lists of different lengths, numbers that are not
//            finite, or cells that no crystal has
answer solve(const measurement& measured, const options& how = {}, const progress& report = {},
             std::stop_token stop = {});

} // namespace torvik::solver
