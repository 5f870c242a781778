// Simulated lists of reflections whose lattices are known.
#pragma once

#include "base/linear.h"
#include "simulation/crystals.h"
#include "simulation/simulate.h"
#include "solver/lattice/cell.h"

#include <torvik/solver.h>

#include <cstdint>
#include <optional>
#include <vector>

// Every list is a function of its request and a seed, the same on every machine. Lengths are in
// angstroms, vectors in 1/angstrom. Errors are normal; the noise is the standard deviation of each
// component as a fraction of the length of the shortest reciprocal-lattice vector.

namespace torvik::study {

using tools::cell_parameters;
using tools::matrix3;
using tools::millerindices;
using tools::vector3;

// A measurement and the truth about it.
struct known_list {
    solver::measurement measured;
    std::vector<solver::known_cell> cells; // for the solver's options; mostly none
    bool cells_are_true = true;            // the cells given are that of the crystal
    std::vector<matrix3> lattices;         // direct bases, primitive and reduced; none: no lattice
    std::vector<int> crystals;             // N: from 1; 0 for an outlier
    std::vector<millerindices> indices;    // N: by the basis of the crystal; 0 0 0 for an outlier
    vector3 shift;                         // common to all vectors
    double noise = 0.0;                    // 1/angstrom
    // The index, in the reciprocal lattice, of the part that the inliers of the first crystal span; 0
    // if they lie in a plane. The list determines the lattice only if it is 1.
    std::int64_t span = 1;
    std::optional<matrix3> spanned; // the lattice that they determine, if span is above 1
};

// The index of the lattice of whole vectors that some of them generate, and, if it is finite, a basis
// of it in the rows (Hermite's form); 0 if all lie in a plane.
struct span_of_indices {
    std::int64_t index = 0;
    matrix3 basis;
};
span_of_indices span_of(const std::vector<millerindices>& indices);

// What crystal is drawn.
enum class crystal_kind {
    bravais,        // one of the 14 Bravais types, edges within a factor of 2, at random
    pseudosymmetric // axes equal to within 1 %, angles within 1 degree of 90, primitive
};

// A list of one crystal: reflections drawn from all with d above a limit, each equally likely. They
// need not span the lattice.
struct lattice_request {
    int reflections = 40; // outliers included
    double wrong = 0.0;   // fraction of outliers: uniform in the shell of the right ones
    double noise = 0.01;
    double smallest_volume = 200.0; // of the primitive cell, drawn evenly in the logarithm
    double largest_volume = 10000.0;
    crystal_kind kind = crystal_kind::bravais;
    std::optional<cell_parameters> cell; // in place of a random one; primitive
    double smallest_d = 1.0;
    double odd = 0.0;        // of a superstructure: the fraction of inliers that the subcell lacks
    double shift = 0.0;      // times the shortest reciprocal axis, in a random direction
    double anisotropy = 1.0; // errors are larger by this factor along one random direction
};
known_list lattice_list(const lattice_request& asked, std::uint64_t seed);

// The whole range: 5 to 300 reflections, up to 80 % outliers, noise up to 4 %, V 200 to 10000.
known_list plain_list(std::uint64_t seed);

// What torvik-tools simulates, with spanning reflections: twins, several crystals.
known_list simulated_list(const tools::simulationrequest& asked);

// A list of a rotation or a still: spots that cross the Ewald sphere.
struct exposure_request {
    double wedge = 10.0;  // degrees of rotation; 0 for a still
    double width = 0.003; // stills: points up to so far off the Ewald sphere give spots, 1/angstrom
    double wrong = 0.2;   // fraction of outliers: directions uniform on the detector
    double noise = 0.01;
    double smallest_volume = 1000.0;
    double largest_volume = 1e5;
    int most = 300;        // reflections, outliers included
    bool geometry = false; // gives images and normals
};
known_list exposure_list(const exposure_request& asked, std::uint64_t seed);

// Lists without a lattice.
enum class chance_kind {
    ball,  // uniform in a ball
    rings, // few lengths, any direction
    rows,  // points with equal distances on lines that meet nowhere
    turned // the reflections of a crystal, each rotated at random
};
known_list chance_list(chance_kind kind, int reflections, std::uint64_t seed);

// A cell that is believed of a crystal.
enum class belief {
    right,     // the cell, strained at random by 0.3 % in each component
    another,   // a random triclinic cell of the same volume
    one_edge,  // an edge 5 % longer
    all_edges, // all edges 2 % longer
    supercell, // of index 2
    subcell    // of index 2
};
void believe(known_list& list, belief what, std::uint64_t seed);

// The same for no lattice: every vector rotated at random.
void scramble(known_list& list, std::uint64_t seed);

} // namespace torvik::study
