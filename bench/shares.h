// What this processor could do at best, and how much of it the stages use.
#pragma once

#include "stages.h"

#include <string>

namespace torvik {

// Gives operations per second of one core, on four doubles at a time and with nothing to wait for:
// products and sums in equal number, not fused.
double arithmeticpeak();

// Gives divisions per second, likewise.
double divisionpeak();

// The work that a stage cannot do without: what is counted, how many of it in one call, and how many
// operations each takes. Divisions stand for themselves where they are the limit.
struct necessarywork {
    std::string what;
    double count = 0.0; // 0: not counted for this stage
    double operations = 0.0;
    bool divisions = false;
};

// Counts the work of the stage that was just run.
necessarywork workof(const stage& done);

} // namespace torvik
