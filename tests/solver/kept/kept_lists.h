// Lists whose full answers are kept: those of the builds, and more that take other ways through the solver.
#pragma once

#include "torvik/solver.h"

#include <string>
#include <vector>

namespace torvik::solver {

struct kept_list {
    std::string name;
    measurement measured;
    options how;
};

std::vector<kept_list> kept_lists();

// The answer in one line: the name, what a reader may want to see, and a hash of all bits.
std::string line_of(const kept_list& asked);

} // namespace torvik::solver
