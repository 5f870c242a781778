// Data group: whether and where the log is written.
#pragma once

#include "numeric/arrays.h"

// Written by fix_defaults, fix_parameter (the level) and openlogfile (the unit). Read by everyone
// who has something to log.

namespace torvik {

inline struct write_log_file_group {
    int log_file_level = 0;  // 0: no log; 1: log
    int log_file_number = 0; // unit of the open log; 0 before it is opened
} write_log_file;

// Says whether the log is written.
inline bool logging()
{
    return write_log_file.log_file_level > 0;
}

} // namespace torvik
