// The readers, each in a file of its own: whether it knows a text, and what it makes of it.
#pragma once

#include "base/textfile.h"
#include "readers/reader.h"

#include <filesystem>
#include <string_view>

// A reader of text works on a textfile, so that tests need no file for it.

namespace torvik::tools {

// The input file of the program itself, .idx.
bool looksidx(std::string_view start, const std::filesystem::path& path);
measurement readidxmeasurement(const textfile& source, const readeroptions& options);

// Plain text or CSV: columns x y z, perhaps an intensity and indices, perhaps named in a first row.
bool lookstext(std::string_view start, const std::filesystem::path& path);
measurement readtext(const textfile& source, const readeroptions& options);

} // namespace torvik::tools
