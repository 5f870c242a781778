// Free-form reading: items separated by blanks, commas and line ends, whatever their columns.
#pragma once

#include <cstddef>
#include <span>
#include <string>

// One read takes as many items as it has places to fill, over as many lines as that needs, and
// then skips the rest of its last line. The rules:
//   - blanks, tabs, carriage returns, commas and line ends separate items;
//   - nothing between two commas is a null item: its place keeps the value that it had;
//   - r*c stands for r times the item c, r* for r null items;
//   - a slash ends the read, and the places left keep their values;
//   - a number must be one to its last character; an exponent may be written with e, E, d or D;
//   - a word ends at a separator or a slash; in single or double quotes it may hold them, with a
//     doubled quote standing for one; it may run on over a line end, which is dropped.

namespace torvik {

constexpr int readdone = 0;   // the read has ended; every place is filled or keeps its value
constexpr int readended = 1;  // end of file before the read was complete
constexpr int readfailed = 2; // an item is not what its place asks for

// A text that is read line by line.
struct freeformtext {
    std::string text;         // the whole text
    std::size_t position = 0; // where the next read begins: the start of a line, or the end
};

// Steps back to the start of the line before the next one. At the start of the text it stays.
void stepback(freeformtext& source);

// Says whether nothing but blanks and line ends is left to read.
bool onlyblanksleft(const freeformtext& source);

// Reads one word. A quote that is never closed runs into the end of the file.
//
// Given and returned:  source   moved behind the read's last line
//                      word     replaced, unless the item is null or a slash
// Status:              readdone, readended or readfailed
int readword(freeformtext& source, std::string& word);

// Reads one 32-bit integer.
//
// Given and returned:  source   moved behind the read's last line
//                      value    replaced, unless the item is null or a slash
// Status:              readdone; readended; readfailed for a word, a fraction or a number beyond
//                      the range of 32 bits
int readinteger(freeformtext& source, int& value);

// Reads as many reals as there are places.
//
// Given and returned:  source   moved behind the read's last line
//                      values   each replaced, unless its item is null or behind a slash. A number
//                               too large for a double becomes infinite.
// Status:              readdone; readended; readfailed for a word or a malformed number
int readreals(freeformtext& source, std::span<double> values);

// Reads, in one read, an integer n and then n reals, of which no more are kept than have places.
//
// Given and returned:  source   moved behind the read's last line
//                      n        as for readinteger; zero or less asks for no reals
//                      values   the first of the n reals, as for readreals
// Status:              as for readreals
int readcountandreals(freeformtext& source, int& n, std::span<double> values);

} // namespace torvik
