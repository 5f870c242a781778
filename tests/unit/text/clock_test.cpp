#include "text/clock.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>

namespace torvik {

namespace {

class Clock : public fresh {};

bool alldigits(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
}

// Seconds of the day that a date and time names.
double secondsofday(const dateandtime& t)
{
    return 3600.0 * std::stod(t.hours) + 60.0 * std::stod(t.minutes) + std::stod(t.seconds);
}

// Runs the action in a time zone, then returns to the one before.
template <class Action>
void intimezone(const char* zone, Action action)
{
    const char* set = std::getenv("TZ");
    const std::string before = set == nullptr ? "" : set;
    setenv("TZ", zone, 1);
    tzset();
    action();
    if (set == nullptr)
        unsetenv("TZ");
    else
        setenv("TZ", before.c_str(), 1);
    tzset();
}

TEST_F(Clock, TheElapsedTimeIsTheDifferenceOfTheReadings)
{
    EXPECT_EQ(elapsedseconds(100.0F, 350.5F), 250.5F);
    EXPECT_EQ(elapsedseconds(100.0F, 100.0F), 0.0F);
    EXPECT_EQ(elapsedseconds(0.0F, 86399.0F), 86399.0F);
}

TEST_F(Clock, ARunAcrossMidnightGainsADay)
{
    EXPECT_EQ(elapsedseconds(86390.0F, 20.0F), 30.0F);
    EXPECT_EQ(elapsedseconds(86399.5F, 0.0F), 0.5F);
    EXPECT_EQ(elapsedseconds(50000.0F, 49999.0F), 86399.0F);
}

TEST_F(Clock, ADateIsWrittenInDigitsOfFixedNumber)
{
    const dateandtime t = localdateandtime();
    EXPECT_EQ(t.year.size(), 4U);
    for (const std::string& text : {t.month, t.day, t.hours, t.minutes}) EXPECT_EQ(text.size(), 2U);
    EXPECT_TRUE(alldigits(t.year + t.month + t.day + t.hours + t.minutes));
    ASSERT_EQ(t.seconds.size(), 6U);
    EXPECT_EQ(t.seconds[2], '.');
    EXPECT_TRUE(alldigits(t.seconds.substr(0, 2) + t.seconds.substr(3)));
}

// Within the first tenth of a second, missing zeros would make the text shorter and the value
// larger; readings are taken until one falls there.
TEST_F(Clock, MillisecondsArePaddedWithZeros)
{
    bool padded = false;
    const std::time_t patience = std::time(nullptr) + 500;
    while (!padded && std::time(nullptr) < patience) {
        std::timespec before = {};
        std::timespec after = {};
        clock_gettime(CLOCK_REALTIME, &before);
        const dateandtime t = localdateandtime();
        clock_gettime(CLOCK_REALTIME, &after);
        if (before.tv_sec != after.tv_sec || after.tv_nsec >= 100000000) continue;
        padded = true;
        ASSERT_EQ(t.seconds.size(), 6U);
        const long milliseconds = std::stol(t.seconds.substr(3));
        EXPECT_GE(milliseconds, before.tv_nsec / 1000000);
        EXPECT_LE(milliseconds, after.tv_nsec / 1000000);
    }
    EXPECT_TRUE(padded);
}

TEST_F(Clock, TheDateIsTheLocalOne)
{
    // Fourteen hours east and twelve hours west of Greenwich: never the same day.
    std::string east;
    std::string west;
    intimezone("EAST-14", [&] { east = localdateandtime().day; });
    intimezone("WEST+12", [&] { west = localdateandtime().day; });
    EXPECT_NE(east, west);
}

TEST_F(Clock, TheDateAgreesWithTheCalendarOfTheCLibrary)
{
    std::timespec before = {};
    std::timespec after = {};
    dateandtime t;
    do { // until no second begins in between
        clock_gettime(CLOCK_REALTIME, &before);
        t = localdateandtime();
        clock_gettime(CLOCK_REALTIME, &after);
    } while (before.tv_sec != after.tv_sec);
    const std::tm* local = std::localtime(&before.tv_sec);
    char expected[32];
    std::strftime(expected, sizeof expected, "%Y-%m-%d %H:%M:%S", local);
    EXPECT_EQ(t.year + "-" + t.month + "-" + t.day + " " + t.hours + ":" + t.minutes + ":"
                  + t.seconds.substr(0, 2),
              expected);
}

TEST_F(Clock, SecondsSinceMidnightAreThoseOfTheDate)
{
    const float before = secondssincemidnight();
    const dateandtime t = localdateandtime();
    const float after = secondssincemidnight();
    EXPECT_GE(before, 0.0F);
    EXPECT_LE(before, 86400.0F);
    // A single-precision reading of a day is coarse by up to 1/256 s.
    const auto since = static_cast<double>(elapsedseconds(before, after)) + 0.01;
    EXPECT_LE(elapsedseconds(before, static_cast<float>(secondsofday(t))), since);
}

TEST_F(Clock, ProcessorTimeGrowsWithWork)
{
    const float start = processorseconds();
    EXPECT_GE(start, 0.0F);
    volatile double sum = 0.0;
    const std::time_t patience = std::time(nullptr) + 500;
    while (processorseconds() - start < 0.05F && std::time(nullptr) < patience)
        for (int k = 1; k < 10000; ++k) sum = sum + std::sqrt(k);
    EXPECT_GE(processorseconds() - start, 0.05F);
}

TEST_F(Clock, ProcessorTimeStandsStillDuringSleep)
{
    const float start = processorseconds();
    const std::timespec nap = {0, 200000000};
    nanosleep(&nap, nullptr);
    EXPECT_LT(processorseconds() - start, 0.1F);
}

} // namespace

} // namespace torvik
