// The number fields as they are defined: the digits of the standard library, cut and joined.
#pragma once

#include <string>

// What each sets is told in text/fields.h. The plain procedures print with these.

namespace torvik::plain {

std::string F(int w, int d, double x);
std::string ES(int w, int d, double x);
std::string EN(int w, int d, double x);

} // namespace torvik::plain
