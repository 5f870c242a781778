// Whole runs of a program, in a process of their own.
#pragma once

#include "inputs.h"
#include "pairs.h"

#include <string>
#include <vector>

namespace torvik {

// Runs a program on an input "a.idx" in a folder of its own, with its output to a file. The time is
// that of the processor, user and system; the hash is that of the files it leaves and of what it
// prints, dates and timing figures masked.
action runof(const std::string& program, const std::string& idx);

// The same of any call in a folder that holds a file.
struct heldfile {
    std::string name;
    std::string content;
};
action callof(const std::string& program, const std::vector<std::string>& arguments,
              const heldfile& file);

// What a run printed behind a text, as a number; -1 if the text is not there.
int printedbehind(const std::string& program, const std::string& idx, const std::string& text);

} // namespace torvik
