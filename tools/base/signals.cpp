#include "base/signals.h"

#include <pthread.h>

#include <array>

namespace torvik::tools {

namespace {

constexpr std::array ending = {SIGINT, SIGTERM, SIGHUP};
constexpr std::array ignored = {SIGPIPE, SIGXFSZ};

template <std::size_t count>
sigset_t setof(const std::array<int, count>& signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int one : signals) sigaddset(&set, one);
    return set;
}

} // namespace

heldsignals::heldsignals()
{
    const sigset_t held = endingsignals();
    pthread_sigmask(SIG_BLOCK, &held, &before_);
}

heldsignals::~heldsignals()
{
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

bool heldsignals::waiting()
{
    sigset_t pending;
    sigpending(&pending);
    for (const int one : ending) {
        if (sigismember(&pending, one) != 1) continue;
        struct sigaction action = {}; // a blocked signal waits even if it is ignored, as by nohup
        sigaction(one, nullptr, &action);
        if (action.sa_handler != SIG_IGN) return true;
    }
    return false;
}

sigset_t endingsignals()
{
    return setof(ending);
}

void failatwrites()
{
    for (const int one : ignored) std::signal(one, SIG_IGN);
}

sigset_t ignoredsignals()
{
    return setof(ignored);
}

} // namespace torvik::tools
