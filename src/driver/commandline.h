// The command line: help, refusal, or a run.
#pragma once

#include <span>

namespace torvik {

// Does what the command line asks for, and returns after a run. Help and refusal pause and stop.
//
// Given:     arguments   those of the process, without the program's name
void followcommandline(std::span<char* const> arguments);

// Prints the banner.
void winieta();

} // namespace torvik
