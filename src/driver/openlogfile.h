// The opening of the log.
#pragma once

#include "text/names.h"

namespace torvik {

// Creates the log, sets log_file_number and writes the header with the parameter echo.
//
// Given:     filename   of the input; crystal.idx gives crystal_idx.log
void openlogfile(const inputfilename& filename);

} // namespace torvik
