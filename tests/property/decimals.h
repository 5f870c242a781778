// Doubles as the decimals that they exactly are, and their rounding to a number of digits.
#pragma once

#include <string>

namespace torvik {

// A number as a sign and decimal digits: 0.d1 d2 d3 ... times 10 to the power `point`. Zero has no
// digits.
struct decimal {
    bool negative = false;
    std::string digits; // without zeros in front and at the end
    int point = 0;
};

// Gives the exact value of a finite double.
decimal exactdecimal(double x);

// Rounds to a whole multiple of 10 to the power -d, ties to even. Gives the digits of that
// multiple, "0" for zero.
std::string roundedmultiple(const decimal& x, int d);

// Rounds a number that is not zero to n digits, 1 at least, ties to even. Zeros at the end stay.
decimal roundedto(const decimal& x, int n);

} // namespace torvik
