// Simulated measurements: the reflections of crystals whose lattices are known.
#pragma once

#include "base/linear.h"
#include "formats/idxfile.h"
#include "simulation/crystals.h"
#include "solver/lattice/cell.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Lengths are in angstroms, reflection vectors in 1/angstrom, angles in degrees. The rows of a direct
// basis are a, b, c in the frame of the reflection vectors.

namespace torvik::tools {

// A rotation that takes the first lattice of a twin to the second: about the direction [u v w], or
// about the normal of the planes (h k l), of the conventional cell.
struct twinlaw {
    double angle = 180.0;
    std::array<double, 3> axis = {0.0, 0.0, 1.0};
    bool normal = false;
};

// What is asked of a crystal and its measurement.
struct simulationrequest {
    // The crystal: a cell, or one of the system by chance, of the volume.
    std::optional<cell_parameters> cell; // conventional
    std::string system = "triclinic";
    char centring = 'P';
    double volume = 1000.0; // of the primitive cell; not for a given cell
    // What turns a crystal with a along x and b in the plane of x and y to where it is, by
    // r' = orientation r; by chance if it is not given.
    std::optional<matrix3> orientation;

    // The reflections: chosen from the shortest reciprocal-lattice vectors, `pool` times as many as
    // are asked for, or from all within the limits.
    int reflections = 40; // the wrong ones included
    int pool = 3;
    std::optional<double> smallestd;
    std::optional<int> largestindex; // of the conventional cell

    // Errors.
    double noise = 0.0;       // of each component, as a part of the shortest reciprocal vector
    double noiselength = 0.0; // the same in 1/angstrom, in addition
    int wrong = 0;            // reflections that have nothing to do with a lattice
    double scale = 1.0;       // of all vectors: true wavelength / wavelength that is believed
    vector3 offset;           // of all vectors: a wrong centre

    // Further crystals of the cell, in orientations by chance or by a law; for a third crystal the law
    // is applied twice, and so on. The parts of the right reflections that each has are equal unless
    // they are given.
    int lattices = 1;
    std::optional<twinlaw> twin;
    std::vector<double> parts;

    // The input file.
    listkind kind = listkind::vectors;
    double wavelength = 0.71073; // molybdenum K alpha; reaches d spacings of 0.36
    double kappaaxis = 50.0;
    double guesserror = 1.5;   // the volume is guessed up to a factor of this
    double volumefactor = 3.0; // its limits are the guess divided and multiplied by this; 0: none

    std::uint64_t seed = 1;
};

struct simulatedreflection {
    vector3 measured;
    vector3 exact; // without any error; for a wrong one what it is before scale and offset
    millerindices hkl =
        {};          // of the primitive basis of its lattice: basis * exact; 0 for a wrong one
    int lattice = 0; // from 1; 0 for a wrong one

    [[nodiscard]] bool genuine() const
    {
        return lattice > 0;
    }
};

struct simulatedlattice {
    matrix3 conventional; // direct basis of the centred cell
    matrix3 primitive;    // direct basis of the primitive cell, reduced
    int reflections = 0;
};

struct simulated {
    std::vector<simulatedlattice> lattices;       // the first is what a run should find
    std::vector<simulatedreflection> reflections; // in arbitrary order
    double shortest = 0.0;       // length of the shortest vector of the reciprocal lattice
    double noise = 0.0;          // of each component, in 1/angstrom
    double smallestvolume = 0.0; // what the user takes for the limits of the volume
    double largestvolume = 0.0;

    [[nodiscard]] const simulatedlattice& truth() const
    {
        return lattices.front();
    }

    // What a measurement gives of the reflections.
    [[nodiscard]] std::vector<vector3> vectors() const;
};

// Makes a crystal and measures it. The right reflections are chosen by chance, such that they span
// their lattice: of a part of a lattice nobody could tell that it is only a part. The wrong ones fill
// evenly the space between the shortest and the longest of the right ones. The same request gives the
// same reflections on every machine, and a change of noise, scale or offset changes nothing else.
// Throws a failure that says so if something that is asked for is impossible.
//
// 40 reflections take some 60 microseconds.
simulated simulate(const simulationrequest& asked);

// The same with numbers drawn from an engine that goes on.
simulated simulate(const simulationrequest& asked, randomnumbers& random);

} // namespace torvik::tools
