#include "solver/lattice/text.h"

#include <array>
#include <charconv>

namespace torvik::solver {

std::string fixed(double value, int decimals)
{
    std::array<char, 400> text; // the largest double has 309 digits before the point
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value,
                                   std::chars_format::fixed, decimals);
    std::string shown(text.data(), end.ptr);
    if (shown.starts_with('-') && shown.find_first_of("123456789") == std::string::npos
        && shown.find_first_of("in") == std::string::npos)
        shown.erase(0, 1);
    return shown;
}

} // namespace torvik::solver
