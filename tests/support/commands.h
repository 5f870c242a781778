// Commands of the system, and what is found in their output.
#pragma once

#include <string>
#include <vector>

namespace torvik {

struct commandresult {
    int status;
    std::string output; // of both streams
};

// Runs a line of the shell.
commandresult resultof(const std::string& command);

// Says whether the shell knows a command.
bool isinstalled(const std::string& command);

// Gives the first group of all matches of a pattern in a text.
std::vector<std::string> matchesin(const std::string& text, const std::string& pattern);

} // namespace torvik
