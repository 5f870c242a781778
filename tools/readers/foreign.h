// Files of other programs that are not read, by name: better than to fail at them as at text.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace torvik::tools {

// What a file is that is known and not read: "a pickle of Python, which is not read", and what to do
// instead if that is certain.
//
// By content, or by a name that nothing else has. Nothing if it may be a measurement.
std::optional<std::string> foreigncontent(std::string_view start,
                                          const std::filesystem::path& path);

// By the ending of the name alone, for files that could not be read as text either.
std::optional<std::string> foreignending(const std::filesystem::path& path);

} // namespace torvik::tools
