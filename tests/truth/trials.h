// Runs of the program on simulated crystals, and whether they found the lattice.
#pragma once

#include "truth/crystals.h"

#include <cstdint>
#include <string>
#include <vector>

namespace torvik {

// By how much the elements of the matrix between two bases of one lattice may be off whole numbers.
//
// With D and E direct bases of one lattice, D = T E with an integer T of determinant 1 or -1. D is
// fitted to measured reflections. Its error is tolerated up to a tenth:
// - From below: a basis that was fitted to m reflections with errors s of their indices and indices
//   of about 1 is uncertain by s / sqrt(m). The worst here is six genuine reflections of eight with
//   3 % noise, which makes s = 0.03 to 0.1 by the shape of the cell: up to 0.04. Past a tenth the
//   lattice would be of no use: a reflection of index 2 would be off by more than 0.2, beyond the
//   criterion of 0.12.
// - From above: another lattice of the same volume that shares a part with the true one of index k
//   in both has elements that are multiples of 1/k, so some element is off by 1/k at least. The
//   search makes lattices up to index 5 (extent 1) or 7 (extent 2) from a triple of genuine
//   reflections, and 1/7 = 0.14 is more than a tenth. Multiples and parts of the true lattice have
//   another determinant, a whole number or its inverse, and so never pass.
// The gap is there: of the solutions of 576 simulated crystals with 8 to 20 reflections whose
// volume is the true one, 573 are off by less than 0.10, one by 0.13, nine by 0.20 to 0.32, and 366
// by 1/3 to 1/2.
constexpr double latticetolerance = 0.1;

// Says whether two direct bases span the same lattice. Both should be reduced.
bool nearlysamelattice(const matrix3& D, const matrix3& E, double tolerance = latticetolerance);

// Gives k if the lattice of D is a part of that of E with index k (its cell k times as large), 0 if
// it is none. Reflections of the lattice E* have whole indices in it too.
int multipleof(const matrix3& D, const matrix3& E, double tolerance = latticetolerance);

struct outcome {
    int place = 0;        // of the true lattice in the list of solutions; 0 if it is missing
    int solutions = 0;    // length of the list
    int multiple = 0;     // of the first solution, multipleof the truth: 1 if it is the truth
    double seconds = 0.0; // processor time of the run
};

// The direct bases of a results file, in its order.
std::vector<matrix3> basesin(const std::string& results);

// Runs the program on a crystal. Throws if the run fails.
outcome outcomeof(const experiment& asked, const sample& made, int extent);

// The levels of the grid.
extern const std::vector<double> noiselevels;
extern const std::vector<double> wronglevels;
extern const std::vector<int> countlevels;
extern const std::vector<double> volumelevels;

struct trial {
    std::size_t number = 0; // in the grid, from 0
    experiment asked;
    std::uint64_t seed = 0; // of its own engine, so that one crystal can be made alone
    outcome result;
};

// Gives the grid: `density` crystals for every combination of noise, wrong fraction and number of
// reflections. Lattice type, volume and kind of input are dealt out among all of these in random
// order, each of their levels equally often.
std::vector<trial> grid(int density, std::uint64_t seed);

// The crystal of a trial.
sample sampleof(const trial& one);

// Runs those trials n with n % stride == offset, and prints a line for each to the error stream.
void run(std::vector<trial>& trials, int extent, std::size_t offset, std::size_t stride);

} // namespace torvik
