// What the tests of the readers share.
#pragma once

#include "base/failure.h"
#include "readers/kinds.h"
#include "readers/reader.h"

#include <cstddef>
#include <numbers>
#include <string>
#include <vector>

namespace torvik::tools {

using textreader = measurement (*)(const textfile&, const readeroptions&);

// The message of a reader for a text by the name "a.txt", or "nothing".
std::string messageof(textreader read, const std::string& text, const readeroptions& options = {});

// The message of the failure that ends some work, or "nothing".
template <typename procedure>
std::string failureof(const procedure& work)
{
    try {
        work();
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

// The vector of the first spot.
vector3 firstof(const measurement& measured);

// Expects two vectors to be alike to 1e-9.
void expectnear(const vector3& found, const vector3& expected);

// Sine and cosine of the 45 degrees by which a spot is scattered that lies as far off the centre as the
// detector is behind the crystal.
constexpr double half = std::numbers::sqrt2 / 2.0;

// The path of a file of the sample measurements; empty where they are not at hand.
std::string samplefile(const std::string& name);

// The matrix UB by least squares of all spots with indices: vector = UB h. The fit is repeated
// without those that it misses by more than a limit in an index, which shrinks to 0.1.
matrix3 fittedUB(const measurement& measured);

// How many spots with indices the inverse of UB indexes within a limit.
std::size_t fitting(const measurement& measured, const matrix3& UB, double limit);

// a, b, c, alpha, beta, gamma of a matrix UB.
std::vector<double> cellofUB(const matrix3& UB);

// Runs the program on a number of the vectors, spread over all of them, and gives the cell of its
// first solution.
std::vector<double> cellfound(const measurement& measured, std::size_t count,
                              const std::vector<keyword>& keywords);

} // namespace torvik::tools
