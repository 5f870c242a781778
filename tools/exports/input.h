// What an export is made of, read from files.
#pragma once

#include "exports/exporter.h"

#include <filesystem>
#include <string>
#include <vector>

namespace torvik::tools {

// Reads results, and the input file that they name if it stands beside. `notes` takes sentences for
// the user: that the basis is turned, that the input file is left out and why. K counts from 1 in
// the list that comes first in the file.
exportinput readexportinput(const std::filesystem::path& path, int K,
                            std::vector<std::string>& notes);

} // namespace torvik::tools
