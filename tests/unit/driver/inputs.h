// Input files for the tests of the driver, and what the program makes of them.
#pragma once

#include "support/runs.h"

#include <functional>
#include <string>

namespace torvik {

// The notice on the error stream when the program stops.
extern const std::string pausenotice;

// The exact drawing of a parameter error on the terminal: two empty lines, the message, two empty
// lines.
std::string parametererrorlines(const std::string& message);

// Carries out an action that must return, and gives what it printed. The program ends by an exit
// with status 0, which would pass for a success of the test: here it fails the test executable.
std::string printedbyreturning(const std::function<void()>& action);

// What fix_parameter made of one keyword.
struct keywordresult {
    int flag;            // 1 if it could not be read
    std::string printed; // the echo
};

// Hands a keyword with the lines that follow to fix_parameter, as the reading loop does.
keywordresult fixed(const std::string& lines);

// Sets the defaults and reads an input file with the given content. Gives what was printed.
std::string readinput(const std::string& idx);

// Checks that a run stopped after a pause: it printed exactly this, gave the pause notice, ended
// with status 0 and left no file.
void expectstopped(const runresult& run, const std::string& output);

// An input that is solved in a moment: six reflections of a triclinic lattice and its volume.
// The vectors are a = (0.1, 0, 0), b = (0.013, 0.12, 0), c = (0.021, 0.034, 0.131), a + b, a + c
// and b + c; the cell volume is 1 / (0.1 * 0.12 * 0.131) = 636.13.
extern const std::string sixreflections;
extern const std::string solvedinput; // the six reflections and user-given volumes

} // namespace torvik
