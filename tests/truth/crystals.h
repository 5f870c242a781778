// Crystals made by chance, and the reflections that are measured of them.
#pragma once

#include "numeric/kernel.h"
#include "property/randomlattices.h"

#include <array>
#include <string>
#include <vector>

// Lengths are in angstroms, reflection vectors in 1/angstrom. The rows of a direct basis are a, b,
// c in the laboratory frame. Everything is drawn from one engine that the C++ standard fixes, and
// what is given to the program is rounded to a few decimals, so a seed means the same crystal
// everywhere.

namespace torvik {

struct latticetype {
    const char* system;
    char centring; // P, or A, C, I, F, R
};

// All seven systems, each with the centrings that it has. (A trigonal P lattice is a hexagonal
// one.)
constexpr std::array<latticetype, 17> latticetypes = {{{"triclinic", 'P'},
                                                       {"monoclinic", 'P'},
                                                       {"monoclinic", 'A'},
                                                       {"monoclinic", 'C'},
                                                       {"monoclinic", 'I'},
                                                       {"orthorhombic", 'P'},
                                                       {"orthorhombic", 'A'},
                                                       {"orthorhombic", 'C'},
                                                       {"orthorhombic", 'I'},
                                                       {"orthorhombic", 'F'},
                                                       {"tetragonal", 'P'},
                                                       {"tetragonal", 'I'},
                                                       {"trigonal", 'R'},
                                                       {"hexagonal", 'P'},
                                                       {"cubic", 'P'},
                                                       {"cubic", 'I'},
                                                       {"cubic", 'F'}}};

enum class inputkind { vectors, eulerian, kappa };

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

// Normal deviate of mean 0 and variance 1.
double normaldeviate(randomnumbers& random);

// The rotation matrix of a random orientation, all equally likely.
matrix3 randomorientation(randomnumbers& random);

// A direct basis of a cell of the system, of arbitrary shape and no particular size: edges within a
// factor of 2 of each other (c/a in 1..4 on the hexagonal axes of an R lattice), angles that the
// system leaves free in 70..110 degrees (triclinic) or 90..120 degrees (the monoclinic beta).
matrix3 randomcell(randomnumbers& random, const latticetype& lattice);

// The primitive basis of a centred one.
matrix3 primitiveof(const matrix3& conventional, char centring);

// A basis of the same lattice in which no vector gets shorter when another one is added to it or
// subtracted from it, so that errors of the basis are not magnified when another is compared to it.
matrix3 reducedbasis(matrix3 D);

// The indices of the `count` shortest reciprocal-lattice vectors, one of each pair of opposite
// ones, the shortest first.
std::vector<vector3> shortestindices(const matrix3& D, int count);

// Says whether whole indices span the whole lattice of indices, and not only a part of it: whether
// their 3 x 3 determinants have no common divisor.
bool spanall(const std::vector<vector3>& indices);

// Makes a crystal and measures it. The genuine reflections are chosen by chance from the 3 N
// shortest vectors of the reciprocal lattice, such that they span it: of a part of the lattice
// nobody could tell that it is only a part. The wrong ones fill evenly the space between the
// shortest and the longest of the genuine ones. The user's guess of the volume is wrong by up to a
// factor of 1.5, and the limits are a third and three times the guess.
sample samplefor(const experiment& asked, randomnumbers& random);

// Angles of a reflection vector in degrees: theta, phi and chi of a Eulerian cradle, theta, phi and
// kappa of a kappa goniometer (theta of its omega circle, which the angle kappa shifts like phi).
vector3 eulerianangles(const vector3& v, double wavelength);
vector3 kappaangles(const vector3& v, double wavelength, double kappaaxis);

// The input file of the program, with the truth in its comments.
std::string inputfor(const experiment& asked, const sample& made, int extent);

} // namespace torvik
