#include "base/interruption.h"

#include "base/failure.h"
#include "base/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace torvik::tools {

namespace {

// A signal handler may write to a pipe, and hardly anything else: it wakes the watcher so.
std::array<int, 2> pipe_ends = {-1, -1};

constexpr char interrupted = 'i';
constexpr char over = 'o';

void tell(char what)
{
    const int error = errno;
    while (write(pipe_ends[1], &what, 1) < 0 && errno == EINTR) {}
    errno = error;
}

void handle(int /*signal*/)
{
    tell(interrupted);
}

} // namespace

interruption::interruption()
{
    if (pipe2(pipe_ends.data(), O_CLOEXEC) != 0) throw failure("Cannot make a pipe.");
    {
        const heldsignals inherited; // what comes later is for the thread that works
        watcher_ = std::thread([this] { watch(); });
    }
    struct sigaction action = {};
    action.sa_handler = handle;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &before_);
}

interruption::~interruption()
{
    sigaction(SIGINT, &before_, nullptr);
    tell(over);
    watcher_.join();
    close(pipe_ends[0]);
    close(pipe_ends[1]);
}

void interruption::watch()
{
    for (;;) {
        char what = 0;
        const auto count = read(pipe_ends[0], &what, 1);
        if (count < 0 && errno == EINTR) continue;
        if (count != 1 || what == over) return;
        requested_ = true;
        source_.request_stop();
    }
}

} // namespace torvik::tools
