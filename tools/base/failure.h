// What ends a command, as a sentence for the user.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace torvik::tools {

// Ends the command with exit status 1. The text is a sentence; it goes to the error stream.
struct failure : std::runtime_error {
    explicit failure(const std::string& sentence);
};

// A text for one line of a terminal or a file: control characters, as names of files may have, are
// written as in C, "\\n" and "\\x1B".
std::string online(std::string_view text);

// A fault in a file, lines and columns counted from 1; 0 where there is none to name. Reads as
// "spots.csv, line 3, column 7: expected a number, found 'x'."
struct badfile : failure {
    badfile(const std::string& name, std::size_t line, std::size_t column, const std::string& what);
};

} // namespace torvik::tools
