// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace torvik::tools {

struct namedtext {
    std::filesystem::path path;
    std::string text;
};

// Writes files that belong together: they appear together, or none does. Throws a failure, "Cannot write
// NAME.", and leaves what was there, if one of them cannot be written.
//
// Each is written beside, under a name of its own, forced to the disk, and then takes its final name.
// Signals that end the program wait meanwhile. Only SIGKILL, or the end of power, can come between the
// names of two files; each of these is then the old one or the new one, whole.
//
// A file that is replaced keeps its permissions, and its owner as far as the system allows; one that the
// user may not write is not replaced. Where a name is a link, what it leads to is replaced. Devices and
// pipes are written to; a pipe that nobody reads is waited for, some seconds.
void writetogether(const std::vector<namedtext>& files);

// The same for one file. "-" is the standard output.
void writewhole(const std::filesystem::path& path, std::string_view text);

} // namespace torvik::tools
