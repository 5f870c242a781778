// Output fields: numbers, logicals and strings set in columns of a fixed width.
#pragma once

#include <string>
#include <string_view>

// One function for each field notation, so that a line of code reads as the line it prints:
//     writeline(unit, X(2), "Solution nr ", I(3, i), " out of ", I(3, n), ".");
//
// Numbers are the exactly rounded decimals of the binary value, ties to even. A value too wide for
// its field prints as asterisks; a fixed-point field first drops the zero before the point to gain
// a column (F(3, 2, 0.5) is ".50"). A value that rounds to zero from below keeps its sign
// ("-0.00"). NaN and Infinity are right-aligned words.

namespace torvik {

// Sets an integer, right-aligned in w columns.
std::string I(int w, int n);

// Sets a number in fixed point, w columns, d decimals.
std::string F(int w, int d, double x);

// Sets a number in scientific notation: one digit before the point, d after it, an exponent of two
// digits ("1.00000E+02") or of three without the letter ("1.00000+100").
std::string ES(int w, int d, double x);

// Sets a number in engineering notation: an exponent that is a multiple of 3 and one to three
// digits before the point; d up to 15.
std::string EN(int w, int d, double x);

// Sets T or F, right-aligned in w columns.
std::string L(int w, bool value);

// Sets a string right-aligned in w columns, cut on its right if it is longer.
std::string A(int w, std::string_view text);

// Gives n blanks.
std::string X(int n);

// Gives a rule: n times a character.
std::string rule(int n, char c);

// Gives a free-format line: one blank, then the items, one blank before each item that follows,
// but none between two strings; integers take 11 columns. No items give an empty line.
//
// Given:     items   strings and integers
// Returned:  the line, without a line end
template <class... Items>
std::string freeline(const Items&... items);

// Joins fields and literal texts.
template <class... Fields>
std::string joined(const Fields&... fields)
{
    std::string line;
    line.reserve((std::size_t{0} + ... + std::string_view(fields).size()));
    (line.append(fields), ...);
    return line;
}

namespace freeformat {

struct growingline {
    std::string text;
    bool endswithstring = false; // the last item was a string
};

inline void append(growingline& line, std::string_view item)
{
    if (!line.endswithstring) line.text += ' ';
    line.text += item;
    line.endswithstring = true;
}

inline void append(growingline& line, int item)
{
    line.text += ' ';
    line.text += I(11, item);
    line.endswithstring = false;
}

} // namespace freeformat

template <class... Items>
std::string freeline(const Items&... items)
{
    freeformat::growingline line;
    (freeformat::append(line, items), ...);
    return line.text;
}

} // namespace torvik
