// The source files of the program, as the structure tests look at them.
#pragma once

#include <string>
#include <vector>

namespace torvik {

struct sourcefile {
    std::string path;      // from src/: "numeric/arrays.h"
    std::string component; // without extension: "numeric/arrays"
    std::vector<std::string> lines;
};

// Gives all source files, in the order of their paths.
std::vector<sourcefile> programsources();

// Gives what a command prints.
std::string printedbycommand(const std::string& command);

} // namespace torvik
