// Ctrl-C as a request to stop, for work that then gives its best answer so far.
#pragma once

#include <atomic>
#include <csignal>
#include <stop_token>
#include <thread>

namespace torvik::tools {

// While it lives the first SIGINT requests a stop; a second one ends the program as usual. There is one at a
// time.
class interruption {
public:
    interruption();
    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;
    interruption(interruption&&) = delete;
    interruption& operator=(interruption&&) = delete;
    ~interruption();

    [[nodiscard]] std::stop_token token() const
    {
        return source_.get_token();
    }
    // The same, for work that polls.
    [[nodiscard]] const std::atomic<bool>& requested() const
    {
        return requested_;
    }

private:
    void watch();

    std::stop_source source_;
    std::atomic<bool> requested_{false};
    struct sigaction before_ = {};
    std::thread watcher_;
};

} // namespace torvik::tools
