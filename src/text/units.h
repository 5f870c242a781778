// The units: the input file, the terminal, and the files that a run writes.
#pragma once

#include "text/fields.h"
#include "text/freeform.h"

#include <string>
#include <string_view>

// A unit is a number that stands for an open file. A file that cannot be created or written ends
// the run with a sentence on the terminal. Only complete files bear their final names: results are
// written beside, to "Torvik.part" in the same folder, which takes the final name on closing. The
// log alone is written in place, so that it can be followed while the search runs.

namespace torvik {

constexpr int resultsunit = 2;
constexpr int lepageunit = 3;
constexpr int periodogramunit = 4;
constexpr int terminalunit = 6; // standard output, always open
constexpr int logunit = 17;

// Opens the input file for reading, line by line from its first.
//
// Given:     name   of the file
// Returned:  true if it could be read; a folder, a missing or an unreadable file give false
bool openinput(const std::string& name);

// Gives the lines of the open input file.
freeformtext& inputlines();

// Closes the input file.
void closeinput();

// Opens a file that is written in place; an existing one is replaced.
void openoutput(int unit, const std::string& name);

// Opens a file that is written beside and takes its final name when it is closed. A link keeps
// pointing at the file, and what is not a file at all, such as a device, is written in place.
void openoutputbeside(int unit, const std::string& name);

// Closes a file; it is then complete on disk.
void closeoutput(int unit);

// Writes a text as it stands.
void writetext(int unit, std::string_view text);

// Ends the line on the terminal if its last text did not.
void endterminalline();

// Shows at once what was written to the terminal so far.
void showterminal();

// Writes a line of fields and literal texts.
template <class... Fields>
void writeline(int unit, const Fields&... fields)
{
    writetext(unit, joined(fields..., "\n"));
}

// Writes a free-format line (see freeline).
template <class... Items>
void writefreeline(int unit, const Items&... items)
{
    writetext(unit, freeline(items...) + "\n");
}

} // namespace torvik
