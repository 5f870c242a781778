// What ends a command, as a sentence for the user.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace torvik::tools {

// Ends the command with exit status 1. The text is a sentence; it goes to the error stream.
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A fault in a file, lines and columns counted from 1; 0 where there is none to name. Reads as
// "spots.csv, line 3, column 7: expected a number, found 'x'."
struct badfile : failure {
    badfile(const std::string& name, std::size_t line, std::size_t column, const std::string& what);
};

} // namespace torvik::tools
