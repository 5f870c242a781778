// Results to export, and what the tests know of them on their own.
#pragma once

#include "base/linear.h"
#include "exports/exporter.h"
#include "formats/resultsfile.h"

#include "support/runs.h"

#include <sstream>
#include <string>
#include <vector>

namespace torvik::tools {

// The numbers behind the line of a keyword, three by three.
inline std::vector<vector3> vectorsin(const std::string& idx)
{
    std::istringstream text(idx.substr(idx.find("\n_Reflections\n") + 14));
    std::vector<vector3> vectors;
    for (vector3 x; text >> x.x >> x.y >> x.z;) vectors.push_back(x);
    return vectors;
}

// What the program makes of its difficult example: eight solutions in two lists, and relations.
struct keptresults {
    std::string idx =
        readfile(std::string(TORVIK_SOURCE_DIR) + "/examples/5_kyanite_difficult.idx");
    std::vector<vector3> vectors = vectorsin(idx);
    std::string res = runtorvik(idx).files.at("a_idx.res");
    resultsfile results = readresults(textfile("a_idx.res", res));
};

inline const keptresults& kept()
{
    static const keptresults once;
    return once;
}

// Solution K of the example; its reflections only where they are asked for.
inline exportinput keptinput(int K, bool withvectors = false)
{
    exportinput input;
    input.results = kept().results;
    input.chosen = K;
    input.crystal = orientationof(solutionof(input.results, K));
    if (withvectors) input.vectors = kept().vectors;
    return input;
}

// A left-handed cell of 3, 4 and 5 angstroms, whose matrices can be written down.
inline exportinput plaininput()
{
    exportinput input;
    input.results.input = "plain crystal.idx";
    solution one;
    one.number = 1;
    one.basis = {0, 3, 0, 4, 0, 0, 0, 0, 5};
    input.results.byquality = {one};
    input.crystal = orientationof(one);
    return input;
}

} // namespace torvik::tools
