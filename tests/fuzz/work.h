// How much work a run asks for, so that the fuzzers can pass over long ones.
#pragma once

namespace torvik {

// Estimates the microseconds of the run that the data groups ask for after reading; more than any
// limit for more than twelve reflections. Good to a factor of a few.
double workofrun();

} // namespace torvik
