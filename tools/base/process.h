// Other programs, run and waited for.
#pragma once

#include "base/signals.h"

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

namespace torvik::tools {

enum class ending { finished, failed, stopped, outoftime };

// Runs a program in a folder, without a terminal: it reads nothing and what it prints is dropped.
// Waits for its end, but no longer than some seconds, nor when `stop` is set or a signal that is held
// waits to end this program; it is killed then.
// Finished means an exit status of 0. Throws a failure if the program cannot be started.
ending runprocess(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                  const std::filesystem::path& folder, double seconds,
                  const std::atomic<bool>& stop);

// The file of the program that runs; empty if the system does not tell.
std::filesystem::path thisprogram();

// Where Torvik is: what is asked for, a path or a name on the PATH; else beside this program, else on
// the PATH. Throws a failure that says where it was looked for.
std::filesystem::path torvikprogram(const std::string& asked = "");

// A folder for temporary files that is removed with everything in it at the end. Signals that end the
// program are held as long. Throws a failure if there is no place for it.
class temporarydirectory {
public:
    temporarydirectory();
    temporarydirectory(const temporarydirectory&) = delete;
    temporarydirectory& operator=(const temporarydirectory&) = delete;
    temporarydirectory(temporarydirectory&&) = delete;
    temporarydirectory& operator=(temporarydirectory&&) = delete;
    ~temporarydirectory();

    [[nodiscard]] const std::filesystem::path& path() const
    {
        return path_;
    }

private:
    heldsignals held_;
    std::filesystem::path path_;
};

} // namespace torvik::tools
