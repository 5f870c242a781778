// The answer as a JSON file and as a screenful.
#pragma once

#include "solving/crystals.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace torvik::tools {

// Where the vectors came from, and the names of the files that are written beside.
struct solutionorigin {
    std::string input;   // name of the measurement
    std::string frame;   // a sentence: what x, y, z are
    std::string idx;     // name of the winning run's input, empty if there is none
    std::string results; // name of its results
};

// NAME.solution.json: docs/solve.md describes each key.
nlohmann::ordered_json solutionjson(const vectorlist& list, const crystals& all,
                                    const solutionorigin& origin);

// The same as text. Names of files are bytes; what is no letter becomes the mark for that.
std::string solutiontext(const vectorlist& list, const crystals& all, const solutionorigin& origin);

// What a person wants to know, in a screenful.
std::string screenful(const vectorlist& list, const crystals& all, bool colourful);

// "solved", "ambiguous" or "refused".
std::string wordfor(verdict how);

} // namespace torvik::tools
