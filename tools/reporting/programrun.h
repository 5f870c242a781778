// A run of the program in a folder of its own.
#pragma once

#include <filesystem>
#include <string>

namespace torvik::tools {

// A folder that goes when it is no longer needed.
class scratchfolder {
public:
    scratchfolder();
    scratchfolder(const scratchfolder&) = delete;
    scratchfolder& operator=(const scratchfolder&) = delete;
    scratchfolder(scratchfolder&&) = delete;
    scratchfolder& operator=(scratchfolder&&) = delete;
    ~scratchfolder();

    [[nodiscard]] const std::filesystem::path& path() const
    {
        return path_;
    }

private:
    std::filesystem::path path_;
};

// The program: the one that is asked for; else the Torvik beside torvik-tools; else that of the PATH.
std::string programtorun(const std::string& asked);

// Runs the program on a file in a folder, with nothing typed and nothing shown. Says whether it could
// be started and ended by itself.
bool runprogram(const std::string& program, const std::filesystem::path& folder,
                const std::string& file);

} // namespace torvik::tools
