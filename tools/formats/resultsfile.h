// The results file of the program: its head, its solutions and their relations.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace torvik::tools {

// How a solution takes a reflection, with c the limit on the deviation of an index.
enum class fit {
    none,   // off by 2c or more: the line has the number alone
    poor,   // off by less than 2c, or an index beyond the largest allowed
    loose,  // less than c: "-h"
    strict, // less than c/2: "H-"
};

struct reflectionline {
    int number = 0; // in the input, from 1
    fit how = fit::none;
    std::array<int, 3> hkl = {};     // for loose and strict ones
    std::array<double, 3> real = {}; // but for none, two decimals
    double error = 0.0;              // but for none: length of the vector of the deviations
};

struct solution {
    int number = 0; // in its list, from 1
    matrix3 basis;  // direct, rows a, b, c in angstroms: eight decimals
    std::vector<reflectionline> reflections;
    int h = 0; // strict and loose ones
    int H = 0; // strict ones
    double quality = 0.0;
    std::array<double, 6> cell = {}; // a, b, c, alpha, beta, gamma, as printed
    double volume = 0.0;             // as printed
};

// Basis `second` = T * basis `first`, in the numbers of the list by volume.
struct relation {
    int first = 0;
    int second = 0;
    matrix3 T;
    double ratio = 0.0;
};

struct resultsfile {
    std::string program; // name and version: "Torvik (v. 1.0)"
    std::string input;   // name of the input, without its folder
    std::string date;    // 2026.11.21
    std::string time;    // 08:47:21.693
    std::vector<std::pair<std::string, std::string>>
        parameters;                  // of the head, in order, as printed
    int reflections = 0;             // measured ones
    double criterion = 0.0;          // c
    std::vector<solution> byquality; // empty if the file has only the list by volume
    std::vector<solution> byvolume;  // empty if the file has only the list by quality
    std::vector<relation> relations;

    // The list that comes first in the file.
    [[nodiscard]] const std::vector<solution>& solutions() const
    {
        return byquality.empty() ? byvolume : byquality;
    }
};

// Reads a results file. Throws badfile where the text is not that of the program, or ends too early.
resultsfile readresults(const textfile& source);

// Solution K (from 1) of the first list. Throws a failure that says how many there are.
const solution& solutionof(const resultsfile& results, int K);

} // namespace torvik::tools
