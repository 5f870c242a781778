// The program run on bytes, in one process and many times over: for the fuzzers and the replay.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace torvik {

// Thrown in place of the end of the program: the replacements of exit.cpp and pause.cpp do that.
struct programstopped {
    bool afterpause; // a message was shown, and the user pressed Enter
};

// Feeds bytes to the program as its input file, in a folder in memory that is the working directory
// from the first use on. Terminal texts go to a string.
class harness {
public:
    harness();
    ~harness();
    harness(const harness&) = delete;
    harness& operator=(const harness&) = delete;

    // Reads an input file. Throws misbehaviour if a parameter is outside its documented range
    // afterwards, or if the terminal shows anything but echo lines and one documented message.
    //
    // Returned:  "read", or the message
    std::string readonly(std::string_view bytes);

    // Indexes an input file, from its bytes to its results, unless that asks for more work than
    // fits into a test. Throws misbehaviour for texts and files that are not those of a result, of
    // a periodogram or of a documented message, and for a run that takes too long.
    //
    // Returned:  "results", "periodogram", "too much work", or the message
    std::string wholerun(std::string_view bytes);

    // How often each outcome was returned so far, and the longest run in seconds.
    std::map<std::string, std::uint64_t> outcomes;
    double longest = 0.0;

    // How much work a run may ask for: about its microseconds.
    double workadmitted = 2e4;

private:
    std::string folder_;
    int input_ = -1; // descriptor of the input file
};

// Says what a harness has seen, a line for each outcome.
std::string summaryof(const harness& seen);

} // namespace torvik
