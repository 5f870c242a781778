// The run driver.
#pragma once

#include "text/names.h"

namespace torvik {

// Indexes one input file, from the reading to the timing.
//
// Given:     filename   as obtained
void properindexing(const inputfilename& filename);

} // namespace torvik
