// The input file, and the defaults of what it may set.
#pragma once

#include "text/names.h"

namespace torvik {

// Sets every parameter to its default, forgets all reflections and tabulates the default ranking
// curve.
void fix_defaults();

// Reads an input file into the run parameters and the reflection list.
//
// Given:     filename   as obtained; blanks around it are ignored
//
// Returns only on success. A name that does not end in ".idx", a file that cannot be opened and a
// line that cannot be read are told on the terminal, and the program pauses and stops.
void read_idx_file(const inputfilename& filename);

} // namespace torvik
