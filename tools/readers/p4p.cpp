// SAINT's .p4p: a reflection in each line that begins with REF.
#include "readers/kinds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torvik::tools {

namespace {

// The fixed columns of a reflection, first and last, from 1.
struct field {
    std::size_t first = 0;
    std::size_t last = 0;
};
constexpr std::array<field, 3> indexfields = {{{12, 15}, {16, 19}, {20, 23}}};
constexpr field intensityfield = {72, 79};
constexpr std::array<field, 3> vectorfields = {{{87, 96}, {97, 106}, {107, 116}}};
constexpr std::size_t trailing = 4; // numbers behind the vector, most often zeros

item fieldof(std::string_view line, const field& where)
{
    return columnsof(line, where.first, where.last);
}

bool isnumber(const item& one)
{
    const std::optional<double> value = numberin(one.text);
    return value && std::isfinite(*value);
}

// Numbers of a line: a sign behind a digit begins a new one, as columns that are full leave no blank.
std::vector<item> signedparts(std::string_view line)
{
    std::vector<item> parts;
    for (const item& one : itemsof(line)) {
        std::size_t start = 0;
        for (std::size_t i = 1; i <= one.text.size(); ++i) {
            const bool sign =
                i < one.text.size() && (one.text[i] == '-' || one.text[i] == '+')
                && (one.text[i - 1] == '.' || ('0' <= one.text[i - 1] && one.text[i - 1] <= '9'));
            if (!sign && i < one.text.size()) continue;
            parts.push_back({one.text.substr(start, i - start), one.column + start});
            start = i;
        }
    }
    return parts;
}

bool infixedcolumns(std::string_view line)
{
    const std::size_t end = vectorfields[2].last;
    const std::vector<item> behind =
        line.size() > end ? signedparts(line.substr(end)) : std::vector<item>{};
    const auto points = [&](const field& where) { // six decimals at the end of the field
        constexpr std::size_t decimals = 6;
        return line[where.last - decimals - 1] == '.';
    };
    return behind.size() == trailing && std::all_of(behind.begin(), behind.end(), isnumber)
           && std::all_of(vectorfields.begin(), vectorfields.end(), [&](const field& where) {
                  return isnumber(fieldof(line, where)) && points(where);
              });
}

std::optional<std::array<int, 3>> indicesof(const std::array<item, 3>& items)
{
    std::array<int, 3> hkl = {};
    for (std::size_t i = 0; i < 3; ++i) {
        const std::optional<int> index = wholein(items[i].text);
        if (!index) return std::nullopt;
        hkl[i] = *index;
    }
    if (hkl == std::array<int, 3>{0, 0, 0}) return std::nullopt; // not indexed
    return hkl;
}

// Other versions: the vector stands before the four last numbers.
spot looselyread(const textfile& source, std::size_t number, std::string_view line)
{
    const std::vector<item> parts = signedparts(line);
    const std::size_t wanted = 3 + trailing;
    if (parts.size() <= wanted)
        source.fail(number, 0,
                    "expected a reflection: a vector and four numbers at the end of the "
                    "line");
    spot one;
    const std::size_t start = parts.size() - wanted;
    for (std::size_t i = 0; i < wanted; ++i) {
        const double value = source.number(parts[start + i], number, "a number");
        if (i < 3) one.value[i] = value;
    }
    return one;
}

spot spotof(const textfile& source, std::size_t number)
{
    const std::string_view line = source.line(number);
    spot one;
    if (infixedcolumns(line)) {
        std::array<item, 3> indices;
        for (std::size_t i = 0; i < 3; ++i) {
            one.value[i] = source.number(fieldof(line, vectorfields[i]), number, "a number");
            indices[i] = fieldof(line, indexfields[i]);
        }
        one.hkl = indicesof(indices);
        const item intensity = fieldof(line, intensityfield);
        if (isnumber(intensity)) one.intensity = *numberin(intensity.text);
    } else {
        one = looselyread(source, number, line);
    }
    one.where = "line " + std::to_string(number);
    return one;
}

// The numbers behind the first word of a line, as far as there are any.
std::vector<double> numbersbehind(std::string_view line)
{
    std::vector<double> values;
    const std::vector<item> items = itemsof(line);
    for (std::size_t i = 1; i < items.size(); ++i)
        if (isnumber(items[i])) values.push_back(*numberin(items[i].text));
    return values;
}

} // namespace

bool looksp4p(std::string_view start, const std::filesystem::path& path)
{
    (void)path;
    if (start.find("\nREF05") != std::string_view::npos
        || start.find("\nREF1K") != std::string_view::npos || start.starts_with("REF05")
        || start.starts_with("REF1K"))
        return true;
    return start.starts_with("FILEID") && start.find("\nCELL") != std::string_view::npos;
}

measurement readp4p(const textfile& source, const readeroptions& options)
{
    measurement measured;
    for (std::size_t i = 1; i <= source.lines(); ++i) {
        const std::string_view line = source.line(i);
        if (line.starts_with("REF")) measured.spots.push_back(spotof(source, i));
        if (line.starts_with("CELL ")) {
            const std::vector<double> values = numbersbehind(line);
            std::array<double, 6> cell = {};
            if (values.size() < cell.size()) source.fail(i, 0, "expected six numbers of a cell");
            std::copy_n(values.begin(), cell.size(), cell.begin());
            if (cell[0] > 0.0) measured.cell = cell; // zeros stand for an unknown one
        }
        if (line.starts_with("SOURCE ")) {
            const std::vector<double> values = numbersbehind(line);
            if (!values.empty() && values[0] > 0.0) measured.wavelength = values[0];
        }
    }
    if (measured.spots.empty())
        source.fail(0, 0, "expected lines that begin with REF: the file has no reflections");
    if (options.wavelength) measured.wavelength = options.wavelength;
    measured.frame = "x, y, z are those of the SAINT file: fixed to the goniometer head, all "
                     "circles at zero.";
    return measured;
}

} // namespace torvik::tools
