// Tables for people.
#pragma once

#include "solver/lattice/text.h"

#include <string>
#include <vector>

namespace torvik::tools {

enum class align { left, right };

struct column {
    std::string head;
    align where = align::right;
};

// Lays out rows of cells under their heads, two blanks between columns, no blanks at the ends of
// lines. Widths count characters of UTF-8.
std::string tableof(const std::vector<column>& columns,
                    const std::vector<std::vector<std::string>>& rows);

using solver::fixed;

} // namespace torvik::tools
