// Input files made by chance, of everything that the program can be asked.
#pragma once

#include <string>

namespace torvik {

// Gives an input file of 4 to 40 reflections for a run that the plain program does in some tenths
// of a second at most.
//
// Given:     extent   of the search, 0..5: sparser data for a higher one, since it takes longer
//            number   of the input; the same number gives the same input
//
// The reflections are vectors or angles of a crystal with noise and wrong ones among them, of a
// lattice without any noise, of no lattice at all, or all in a plane; some come with their Friedel
// mates, twice, or with zero vectors. All keywords take values by chance.
std::string randominput(int extent, int number);

} // namespace torvik
