// Signals that end the program, held back while something must be finished or cleared away.
#pragma once

#include <csignal>

namespace torvik::tools {

// While it lives, SIGINT, SIGTERM and SIGHUP wait; those that came act at its end. It holds them for its
// thread alone: other threads that run meanwhile must block them.
class heldsignals {
public:
    heldsignals();
    heldsignals(const heldsignals&) = delete;
    heldsignals& operator=(const heldsignals&) = delete;
    heldsignals(heldsignals&&) = delete;
    heldsignals& operator=(heldsignals&&) = delete;
    ~heldsignals();

    // Whether one of them came, and is not ignored.
    static bool waiting();

private:
    sigset_t before_ = {};
};

// The signals that are held.
sigset_t endingsignals();

// Lets a write that cannot be done fail, where it would end the program without a word: to a pipe that
// nobody reads any more, and beyond a limit on the size of files.
void failatwrites();

// The signals that failatwrites() ignores, and that other programs expect as they were.
sigset_t ignoredsignals();

} // namespace torvik::tools
