// The clocks: processor time, wall clock, and the date for the report headers.
#pragma once

#include <string>

namespace torvik {

// Gives the processor time used so far, in seconds. Deliberate: single precision.
float processorseconds();

// Gives the seconds since local midnight. Deliberate: single precision, some milliseconds coarse
// towards the end of a day.
float secondssincemidnight();

// Gives the seconds from start to now, two readings of secondssincemidnight. A run across midnight
// comes out right if it lasted less than a day.
float elapsedseconds(float start, float now);

// The local date and time in characters, as the report headers set them.
struct dateandtime {
    std::string year;  // four digits
    std::string month; // two digits, as the next three
    std::string day;
    std::string hours;
    std::string minutes;
    std::string seconds; // two digits, a point and three digits
};

dateandtime localdateandtime();

} // namespace torvik
