#include "text/clock.h"

#include <chrono>
#include <ctime>

namespace torvik {

namespace {

struct instant {
    std::tm local;    // broken-down local time
    int milliseconds; // 0..999
};

instant localnow()
{
    using namespace std::chrono;
    const auto now = system_clock::now();
    const auto second = floor<seconds>(now);
    const std::time_t time = system_clock::to_time_t(second);
    return {*std::localtime(&time), static_cast<int>(floor<milliseconds>(now - second).count())};
}

// Gives a number with leading zeros.
std::string padded(int number, std::size_t digits)
{
    const std::string text = std::to_string(number);
    return text.size() < digits ? std::string(digits - text.size(), '0') + text : text;
}

} // namespace

float processorseconds()
{
#ifdef _WIN32 // where std::clock counts the time of the day
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<float>(static_cast<double>(used.tv_sec)
                              + static_cast<double>(used.tv_nsec) * 1e-9);
#else
    return static_cast<float>(std::clock()) / static_cast<float>(CLOCKS_PER_SEC);
#endif
}

float secondssincemidnight()
{
    const instant now = localnow();
    const int seconds = (now.local.tm_hour * 60 + now.local.tm_min) * 60 + now.local.tm_sec;
    return static_cast<float>(seconds + now.milliseconds / 1000.0);
}

float elapsedseconds(float start, float now)
{
    const float elapsed = now - start;
    return elapsed < 0.0F ? elapsed + 86400.0F : elapsed;
}

dateandtime localdateandtime()
{
    const instant now = localnow();
    return {padded(now.local.tm_year + 1900, 4),
            padded(now.local.tm_mon + 1, 2),
            padded(now.local.tm_mday, 2),
            padded(now.local.tm_hour, 2),
            padded(now.local.tm_min, 2),
            padded(now.local.tm_sec, 2) + "." + padded(now.milliseconds, 3)};
}

} // namespace torvik
