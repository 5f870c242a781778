// JSON, read within limits.
#pragma once

#include "base/textfile.h"

#include <nlohmann/json.hpp>

#include <cstddef>

namespace torvik::tools {

// Values of a usual file, far more than any has. In memory each takes up to a hundred bytes.
constexpr std::size_t usualjsonvalues = 4'000'000;

// What a text says. Throws badfile, with the place, if it is no JSON, has a number beyond all doubles, more
// than so many values, or more than a thousand lists in one another.
nlohmann::json jsonin(const textfile& source, std::size_t mostvalues = usualjsonvalues);

} // namespace torvik::tools
