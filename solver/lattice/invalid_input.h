// The error for input that the solver cannot work with.
#pragma once

#include <stdexcept>

namespace torvik::solver {

// The text is a sentence for the user.
struct invalid_input : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

} // namespace torvik::solver
