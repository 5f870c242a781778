// One keyword of the input file: its values, their checks, and its echo on the terminal.
#pragma once

namespace torvik {

// Reads the keyword on the line just read, and its values from the lines that follow.
//
// Returned:  flag   0; 1 on a read error, a missing value, the end of the file or an unknown
//                   keyword
//
// A value out of bounds stops the program. The order of keywords matters: the number of reflections
// comes before their list and sets the supporting fraction anew; wavelength and kappa axis come
// before a list of angles.
void fix_parameter(int& flag);

} // namespace torvik
