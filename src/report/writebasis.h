// The results file.
#pragma once

#include "text/names.h"

namespace torvik {

// Cleans and cuts the store, and writes the results file in the orders that
// sortsolutionsbyqualityvsvolume asks for.
//
// Given:     filename   of the input; gives the name of the results file
//
// The store stays cut to maxnumberofsavedbases and is left in quality order, or in volume order for
// way 1 of sorting. Deliberate: the terminal then shows the smallest cell, otherwise the best.
void writebasis(const inputfilename& filename);

// Opens the results file, announces it on the terminal and writes its header.
//
// Given:     filename   of the input
void openresfile(const inputfilename& filename);

// Gives the name of the results file: the trimmed input name with its last four characters replaced
// by "_idx.res". Deliberate: a name of fewer than four characters cuts the ending, so that the
// result is always four characters longer than the name.
std::string resultsfilename(const inputfilename& filename);

// Writes the list of solutions in the order of the store.
//
// Given:     first   1: also show the first solution on the terminal
void writebasis2(int first);

// Writes how every pair of solutions is related: T with the larger cell = T times the smaller, and
// the ratio of volumes. Every pair is written; an integral T means a superlattice.
void writebasisrelationships();

} // namespace torvik
