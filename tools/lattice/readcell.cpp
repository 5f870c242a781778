#include "lattice/readcell.h"

#include "base/failure.h"
#include "base/textfile.h"
#include "solver/lattice/invalid_input.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace torvik::tools {

namespace {

constexpr std::array<const char*, 6> names = {"a", "b", "c", "alpha", "beta", "gamma"};

} // namespace

centred_cell cellfrom(const std::string& text)
{
    constexpr std::string_view centrings = "PABCIFR";
    centred_cell found;
    const std::vector<item> items = itemsof(text, " \t,;");
    if (items.size() < 6 || items.size() > 7)
        throw failure(
            "A cell is six numbers a, b, c, alpha, beta, gamma, and perhaps a letter of the "
            "centring; '"
            + text + "' has " + std::to_string(items.size()) + " items.");
    for (std::size_t i = 0; i < 6; ++i) {
        const std::optional<double> value = numberin(items[i].text);
        if (!value)
            throw failure("The cell '" + text + "' has '" + std::string(items[i].text)
                          + "' where a number is expected for " + names[i] + ".");
        found.cell[i] = *value;
    }
    if (items.size() == 7) {
        const std::string_view letter = items[6].text;
        if (letter.size() != 1 || centrings.find(letter[0]) == std::string_view::npos)
            throw failure("The centring '" + std::string(letter)
                          + "' is none of P, A, B, C, I, F and R.");
        found.centring = letter[0];
    }
    try {
        check_cell(found.cell);
    } catch (const invalid_input& why) {
        throw failure(why.what());
    }
    return found;
}

} // namespace torvik::tools
