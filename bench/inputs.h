// The simulated data that is measured on.
#pragma once

#include "numeric/kernel.h"

#include <string>
#include <vector>

namespace torvik {

// The volume of the cell that is looked for.
constexpr double simulatedvolume = 200.0;

// Volume limits of a run.
struct volumerange {
    double smallest = 100.0;
    double largest = 20000.0;
};

// Gives the input file of a triclinic crystal: N reflections, a tenth of them wrong, the others with
// errors of a hundredth of the shortest reciprocal-lattice vector. The same N gives the same crystal.
std::string simulatedinput(int N, int extent, const volumerange& range = {});

// Brings the program to where it stands when an input has been read.
void readsimulated(int N, int extent, const volumerange& range = {});

// Gives reciprocal bases made of triples of the recorded reflections, with cell volumes of at least
// half that of the true cell, and the numbers of the three.
struct triplebasis {
    matrix3 R;
    numbered<int, 3> start;
};
std::vector<triplebasis> triplebases(int count);

// Gives direct bases near the true one: it, its sublattices and others, by unimodular and integer
// matrices.
std::vector<matrix3> directbases(int count);

} // namespace torvik
