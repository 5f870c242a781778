// A run of the program in a folder of its own.
#pragma once

#include <filesystem>
#include <string>

namespace torvik::tools {

// The program: the one that is asked for; else the Torvik beside torvik-tools; else that of the PATH.
std::string programtorun(const std::string& asked);

// Runs the program on a file in a folder, with nothing typed and nothing shown. Says whether it could
// be started and ended by itself.
bool runprogram(const std::string& program, const std::filesystem::path& folder,
                const std::string& file);

} // namespace torvik::tools
