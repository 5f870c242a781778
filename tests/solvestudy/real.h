// Real measurements whose cells are known.
#pragma once

#include "judge.h"

#include <filesystem>
#include <string>
#include <vector>

namespace torvik::study {

// Solves the files of a folder that this study knows by name, and returns a line for each list: verdict,
// cell, evidence, processor time, hash. A file that is missing has a line that says so. `failures` counts
// lists that are solved wrong, or that throw.
std::vector<std::string> lines_on_real(const std::filesystem::path& folder,
                                       const solver::options& options, int& failures);

} // namespace torvik::study
