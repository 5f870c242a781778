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

// Lists of four-circle angles, columns named: theta or 2theta, omega, phi, and chi or kappa.
bool looksangles(std::string_view start, const std::filesystem::path& path);
measurement readangles(const textfile& source, const readeroptions& options);

// SAINT's .p4p.
bool looksp4p(std::string_view start, const std::filesystem::path& path);
measurement readp4p(const textfile& source, const readeroptions& options);

// ImageD11's g-vectors, .gve.
bool looksgve(std::string_view start, const std::filesystem::path& path);
measurement readgve(const textfile& source, const readeroptions& options);

// ISAW's lists of peaks, .peaks and .integrate.
bool lookspeaks(std::string_view start, const std::filesystem::path& path);
bool looksintegrate(std::string_view start, const std::filesystem::path& path);
measurement readpeaks(const textfile& source, const readeroptions& options);

} // namespace torvik::tools
