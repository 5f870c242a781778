// Names of files as the system takes them.
#pragma once

#include <cstdio>
#include <filesystem>
#include <string>

namespace torvik {

// Gives the path of a name that was given to the program. On Windows such a name is written in the
// code page of the system, which std::filesystem does not know of.
std::filesystem::path pathof(const std::string& name);

// Opens a file that exists, to change it; or gives null.
std::FILE* opentochange(const std::filesystem::path& path);

// Makes a file and opens it for writing; or gives null, also if there is one of that name.
std::FILE* createfile(const std::filesystem::path& path);

} // namespace torvik
