// Files, opened for reading.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace torvik::tools {

// The bytes of a file from its start, `most` of them at most. Throws a failure if it cannot be read, or
// is a folder, a pipe, a socket or a device: these may never come to an end.
std::string bytesof(const std::filesystem::path& path, std::size_t most);

} // namespace torvik::tools
