// The pause that lets a message be read before the console closes.
#pragma once

namespace torvik {

// Writes a notice to the error stream and reads a line from standard input. Returns only if that
// line is "go"; any other line, and the end of the input, stop the program.
void pauseprogram();

// Waits for a line from standard input, asked for on the error stream, and stops whatever it is.
[[noreturn]] void pauseandstop();

} // namespace torvik
