// Plain text and CSV: a vector in each row, perhaps an intensity and indices.
#include "base/failure.h"
#include "readers/columns.h"
#include "readers/kinds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torvik::tools {

namespace {

constexpr double widestangle = 180.0;

// The columns of what is wanted, from 0.
struct layout {
    std::array<std::size_t, 3> vector = {0, 1, 2};
    std::optional<std::size_t> intensity;
    std::optional<std::array<std::size_t, 3>> hkl;
};

std::optional<std::array<std::size_t, 3>> columnsnamed(const columntable& table,
                                                       const std::array<std::string_view, 3>& names)
{
    std::array<std::size_t, 3> columns = {};
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const auto found = table.column({names[i]});
        if (!found) return std::nullopt;
        columns[i] = *found;
    }
    return columns;
}

constexpr std::array<std::array<std::string_view, 3>, 10> vectornames = {{
    {"x", "y", "z"},
    {"qx", "qy", "qz"},
    {"gx", "gy", "gz"},
    {"kx", "ky", "kz"},
    {"sx", "sy", "sz"},
    {"rx", "ry", "rz"},
    {"xr", "yr", "zr"},
    {"x*", "y*", "z*"},
    {"xstar", "ystar", "zstar"},
    {"rlp_x", "rlp_y", "rlp_z"},
}};

std::optional<layout> namedlayout(const columntable& table)
{
    for (const auto& names : vectornames)
        if (const auto vector = columnsnamed(table, names)) {
            layout found;
            found.vector = *vector;
            found.intensity = table.column({"intensity", "int", "i", "counts"});
            found.hkl = columnsnamed(table, {"h", "k", "l"});
            return found;
        }
    return std::nullopt;
}

// Whether the first column counts the rows, from 0 or 1.
bool countsrows(const columntable& table)
{
    constexpr std::size_t enough = 3;
    if (table.rows().size() < enough || !table.allwhole(0)) return false;
    const double first = table.number(table.rows()[0], 0);
    if (first != 0.0 && first != 1.0) return false;
    for (std::size_t i = 0; i < table.rows().size(); ++i)
        if (table.number(table.rows()[i], 0) != first + static_cast<double>(i)) return false;
    return true;
}

// What the columns are when nobody names them: vector, intensity, its uncertainty; or the vector
// beside three indices.
layout guessedlayout(const columntable& table, std::vector<std::string>& notes)
{
    layout found;
    std::size_t start = 0;
    if (table.columns() > 3 && countsrows(table)) {
        notes.emplace_back("The first column counts the rows and is passed over.");
        start = 1;
    }
    const auto three = [&](std::size_t from) {
        return std::array<std::size_t, 3>{start + from, start + from + 1, start + from + 2};
    };
    const auto whole = [&](std::size_t from) {
        const auto columns = three(from);
        return std::all_of(columns.begin(), columns.end(),
                           [&](std::size_t one) { return table.allwhole(one); });
    };
    found.vector = three(0);
    switch (table.columns() - start) {
    case 3: break;
    case 4:
    case 5: // the fifth is the uncertainty of the fourth
        found.intensity = start + 3;
        notes.emplace_back("The column behind x, y and z is taken for the intensity.");
        break;
    case 6:
        if (whole(3) != whole(0)) {
            found.hkl = three(whole(0) ? 0 : 3);
            found.vector = three(whole(0) ? 3 : 0);
            break;
        }
        [[fallthrough]];
    default:
        table.source().fail(table.rows()[0].line, 0,
                            "what the " + std::to_string(table.columns())
                                + " columns are is not clear; name them in a first line, as in "
                                  "'x y z intensity'");
    }
    return found;
}

// "0,1,0,2,0,3" could be three numbers with decimal commas or six without.
void refusedoublecommas(const columntable& table)
{
    const auto& first = table.rows()[0];
    const std::string_view line = table.source().line(first.line);
    if (line.find(',') == std::string_view::npos || table.decimalcomma()) return;
    constexpr std::size_t six = 6;
    bool whole = table.columns() >= six && table.columns() % 2 == 0;
    for (std::size_t i = 0; i < table.columns() && whole; ++i) whole = table.allwhole(i);
    if (whole)
        table.source().fail(first.line, 0,
                            "expected decimal points: commas stand both between and within the "
                            "numbers, it seems");
}

std::optional<std::array<double, 6>> cellof(const columntable& table,
                                            std::vector<std::string>& notes)
{
    if (!table.cellrow()) return std::nullopt;
    std::array<double, 9> x = {};
    const auto& row = *table.cellrow();
    for (std::size_t i = 0; i < row.items.size(); ++i) x[i] = table.number(row, i);
    notes.push_back("Line " + std::to_string(row.line)
                    + " is taken for the cell, not for a reflection.");
    std::array<double, 6> cell = {};
    if (row.items.size() == cell.size()) {
        std::copy_n(x.begin(), cell.size(), cell.begin());
    } else {
        const std::array<vector3, 3> axes = {
            {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}, {x[6], x[7], x[8]}}};
        for (std::size_t i = 0; i < 3; ++i) {
            const vector3& second = axes[(i + 1) % 3];
            const vector3& third = axes[(i + 2) % 3];
            cell[i] = axes[i].length();
            cell[i + 3] =
                gemmi::deg(std::acos(second.dot(third) / second.length() / third.length()));
        }
    }
    const bool sensible =
        std::all_of(cell.begin(), cell.end(),
                    [](double value) { return std::isfinite(value) && value > 0.0; })
        && std::all_of(cell.begin() + 3, cell.end(),
                       [](double angle) { return angle < widestangle; });
    if (!sensible) table.source().fail(row.line, 0, "expected a cell, or as many numbers as below");
    return cell;
}

spot spotof(const columntable& table, const columntable::row& row, const layout& columns)
{
    spot one;
    for (std::size_t i = 0; i < 3; ++i) one.value[i] = table.number(row, columns.vector[i]);
    if (columns.intensity) one.intensity = table.number(row, *columns.intensity);
    if (columns.hkl) one.hkl = table.indices(row, *columns.hkl);
    one.where = "line " + std::to_string(row.line);
    return one;
}

} // namespace

bool lookstext(std::string_view start, const std::filesystem::path& path)
{
    (void)path;
    return lookstable(start) || namescolumns(start, {{"x", "y", "z"}});
}

measurement readtext(const textfile& source, const readeroptions& options)
{
    const columntable table(source);
    measurement measured;
    measured.wavelength = options.wavelength;
    measured.cell = cellof(table, measured.notes);
    if (table.columns() < 3)
        source.fail(table.rows()[0].line, 0, "expected three numbers, x, y and z");
    refusedoublecommas(table);
    std::optional<layout> columns = namedlayout(table);
    if (!columns && table.headline() > 0)
        source.fail(table.headline(), 0,
                    "expected the names x, y and z among those of the columns");
    if (!columns) columns = guessedlayout(table, measured.notes);
    for (const auto& row : table.rows()) measured.spots.push_back(spotof(table, row, *columns));
    measured.frame = "The frame is that of the vectors in " + source.name() + ".";
    return measured;
}

} // namespace torvik::tools
