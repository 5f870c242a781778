// The stages of a run, to be done by the fast procedures or by the plain ones.
#pragma once

#include "pairs.h"

#include <string>
#include <vector>

namespace torvik {

// How much is measured.
struct benchmarksize {
    std::vector<int> reflections;         // numbers of them
    std::vector<int> searchedextensively; // numbers that extents above 2 are tried with
    double seconds;                       // that the plain procedure may take for a stage, about
};

struct stage {
    std::string name;
    int N;
    int extent; // -1 where it does not matter
    std::string size;
    action plain, fast;
};

// Gives the stages. Their data are made when they are run.
std::vector<stage> stagesfor(const benchmarksize& size);

} // namespace torvik
