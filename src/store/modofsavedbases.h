// Data group: the saved solutions.
#pragma once

#include "numeric/arrays.h"

// Written by savethebasis during the search, then by the final refit, clean-up and sorting.
// properindexing empties the store and writebasis cuts it; fix_defaults and fix_parameter set the
// two parameters. Read by the reports.

namespace torvik {

constexpr int maxsavedbases = 128;
constexpr int defaultnumberofsavedbases = 16;
constexpr numbered<double, 2> defaultweights = {{0.3, 0.7}};

// How many reflections a basis indexes.
struct indexcounts {
    int h = 0; // within half the main criterion (the strict count)
    int H = 0; // within the main criterion (the loose count; it includes the strict one)

    bool operator==(const indexcounts&) const = default;
};

inline struct modofsavedbases_group {
    // Direct bases, rows a, b, c. Slots 1..numberofsavedbases are valid.
    numbered<matrix3, maxsavedbases> savedbases = {};

    // Quality of each basis: the weighted sum of its two counts.
    numbered<double, maxsavedbases> aqualityofsavedbases = {};

    // The two counts of each basis.
    numbered<indexcounts, maxsavedbases> iqualityofsavedbases = {};

    // How many bases are held, 0..128.
    int numberofsavedbases = 0;

    // How many solutions are reported, 1..128. Deliberate: it does not bound the store.
    int maxnumberofsavedbases = defaultnumberofsavedbases;

    // Slot of the worst basis, as indicatecurrentlyworstsavedbasis found it.
    int icurrentlyworstsavedbasis = 0;

    // Weights of the strict and the loose count in the quality; not negative, not both zero.
    numbered<double, 2> weightsforsortingbases = defaultweights;
} modofsavedbases;

} // namespace torvik
