// A step of the program run in a child process, for steps that end the process or read an answer.
#pragma once

#include <functional>
#include <string>

namespace torvik {

struct childresult {
    int status = -1;    // exit status, stepreturned if the step returned; 128 + signal if killed
    std::string output; // standard output
    std::string errors; // standard error
};

constexpr int stepreturned = 77;

// Runs a step in a child process of the test and waits for it. The child begins with the state of
// the test; what it changes is lost with it.
//
// Given:     step    what to run
//            input   standard input of the child
childresult inchild(const std::function<void()>& step, const std::string& input = "\n");

} // namespace torvik
