// The crystals of the trials, and the inputs made of them.
#pragma once

#include "numeric/kernel.h"
#include "property/randomlattices.h"
#include "simulation/crystals.h"
#include "simulation/simulate.h"

#include <string>
#include <vector>

// torvik-tools has the simulator; what is asked of it, and what it makes, stands here in the types of
// the program. Lengths are in angstroms, reflection vectors in 1/angstrom. The rows of a direct basis
// are a, b, c in the laboratory frame.

namespace torvik {

using tools::latticetype;
using tools::latticetypes;
using inputkind = tools::listkind;

vector3 intypes(const tools::vector3& v);
matrix3 intypes(const tools::matrix3& D);

// What is asked of a crystal and its measurement.
struct experiment {
    latticetype lattice = latticetypes[0];
    double volume = 100.0; // of the primitive cell
    int reflections = 20;  // measured ones, the wrong ones included
    double noise = 0.0;    // of each component, as a part of the shortest reciprocal-lattice vector
    double wrong = 0.0;    // fraction of the reflections that have nothing to do with the lattice
    inputkind kind = inputkind::vectors;
};

struct sample {
    matrix3 conventional = {};        // direct basis of the centred cell
    matrix3 truth = {};               // direct basis of the primitive cell, reduced
    double shortest = 0.0;            // length of the shortest vector of the reciprocal lattice
    std::vector<vector3> reflections; // as measured, in arbitrary order
    std::vector<bool> genuine;        // of each reflection: whether it belongs to the lattice
    double smallestvolume = 0.0;      // what the user takes for the limits of the volume
    double largestvolume = 0.0;
};

// Makes a crystal and measures it: reflections of the 3 N shortest vectors of the reciprocal lattice.
// The user's guess of the volume is wrong by up to a factor of 1.5, and the limits are a third and
// three times the guess.
sample samplefor(const experiment& asked, randomnumbers& random);

// Angles of a reflection vector in degrees: theta, phi and chi of a Eulerian cradle, theta, phi and
// kappa of a kappa goniometer.
vector3 eulerianangles(const vector3& v, double wavelength);
vector3 kappaangles(const vector3& v, double wavelength, double kappaaxis);

// The input file of the program, with the truth in its comments.
std::string inputfor(const experiment& asked, const sample& made, int extent);

} // namespace torvik
