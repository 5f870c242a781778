// What the tests of the readers share.
#pragma once

#include "base/failure.h"
#include "readers/kinds.h"
#include "readers/reader.h"

#include <cstddef>
#include <string>
#include <vector>

namespace torvik::tools {

using textreader = measurement (*)(const textfile&, const readeroptions&);

// The message of a reader for a text by the name "a.txt", or "nothing".
std::string messageof(textreader read, const std::string& text, const readeroptions& options = {});

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
