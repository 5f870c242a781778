// The outcome of many trials as tables of a Markdown document.
#pragma once

#include "truth/trials.h"

#include <string>
#include <vector>

namespace torvik {

// Gives the tables by one factor each, by the important pairs of factors, and of what stands first
// where the truth does not.
std::string tablesof(const std::vector<trial>& trials);

} // namespace torvik
