// Numbers as text.
#pragma once

#include <string>

namespace torvik::solver {

// A number with `decimals` digits after the point, correctly rounded, independent of the locale;
// "-0.00" is given as "0.00".
//
// Given:  value     any double; infinities and NaN are given as "inf" and "nan"
//         decimals  0 to 40
std::string fixed(double value, int decimals);

} // namespace torvik::solver
