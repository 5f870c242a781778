#include "simulation/asked.h"

#include "base/failure.h"
#include "base/textfile.h"
#include "lattice/readcell.h"
#include "numeric/functions.h"
#include "simulation/ciffile.h"

#include <filesystem>
#include <numbers>
#include <system_error>

namespace torvik::tools {

namespace {

matrix3 turnabout(int axis, double degrees)
{
    const double angle = degrees * std::numbers::pi / 180.0;
    const double c = cosine(angle);
    const double s = sine(angle);
    const int j = (axis + 1) % 3;
    const int k = (axis + 2) % 3;
    matrix3 Q;
    Q[j][j] = Q[k][k] = c;
    Q[j][k] = -s;
    Q[k][j] = s;
    return Q;
}

// A few decimals do not make a rotation: the rows are set upright on each other.
matrix3 orthonormal(const matrix3& rows)
{
    const auto unit = [](const vector3& v) {
        const double length = v.length();
        return vector3{v.x / length, v.y / length, v.z / length};
    };
    const vector3 x = unit(row_of(rows, 0));
    const vector3 z = unit(x.cross(row_of(rows, 1)));
    return from_rows(x, z.cross(x), z);
}

} // namespace

centred_cell cellasked(const std::vector<std::string>& items)
{
    std::error_code none;
    if (items.size() == 1 && std::filesystem::exists(items.front(), none))
        return readcifcell(textfile::read(items.front()));
    std::string text;
    for (const std::string& one : items) text += (text.empty() ? "" : " ") + one;
    try {
        return cellfrom(text);
    } catch (const failure& why) {
        if (itemsof(text).size() > 1) throw;
        throw failure("There is no file " + text + "; and as a cell: " + why.what());
    }
}

int wrongasked(const std::string& text, int reflections)
{
    const bool percent = text.ends_with('%');
    const auto value = numberin(percent ? text.substr(0, text.size() - 1) : text);
    const bool part = percent || (value && *value < 1.0);
    if (!value || !(*value >= 0.0) || (!part && *value != std::round(*value)) || *value > 999.0)
        throw failure("'" + text
                      + "' is neither a number of wrong reflections nor a part of them, "
                        "as 0.25 or 25%.");
    if (!part) return static_cast<int>(*value);
    return static_cast<int>(std::lround((percent ? *value / 100.0 : *value) * reflections));
}

matrix3 rotationasked(const std::vector<double>& numbers)
{
    const auto& n = numbers;
    if (n.size() == 3)
        return turnabout(2, n[2]).multiply(turnabout(1, n[1])).multiply(turnabout(0, n[0]));
    if (n.size() != 9)
        throw failure("An orientation is three angles, or the nine elements of a rotation, not "
                      + std::to_string(n.size()) + " numbers.");
    const matrix3 Q(n[0], n[1], n[2], n[3], n[4], n[5], n[6], n[7], n[8]);
    constexpr double rounding = 0.01;
    if (!Q.multiply(Q.transpose()).approx(matrix3(), rounding) || Q.determinant() < 0.0)
        throw failure("The nine numbers of the orientation are no rotation.");
    return orthonormal(Q);
}

twinlaw twinasked(const std::string& text)
{
    const std::string expected =
        "'" + text
        + "' is no twin law: expected an angle and a direction, as in 180 [1 0 0], or the "
          "normal of planes, as in 180 (1 0 0).";
    const bool normal = text.find('(') != std::string::npos;
    const std::size_t open = text.find(normal ? '(' : '[');
    const std::size_t close = text.find(normal ? ')' : ']');
    if (open == std::string::npos || close == std::string::npos || close < open
        || !trimmed(text.substr(close + 1)).empty())
        throw failure(expected);
    const auto angle = numberin(trimmed(std::string_view(text).substr(0, open)));
    const auto items = itemsof(std::string_view(text).substr(open + 1, close - open - 1), " \t,");
    if (!angle || items.size() != 3) throw failure(expected);
    twinlaw law{*angle, {}, normal};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto index = numberin(items[i].text);
        if (!index || std::fabs(*index) > 1000.0) throw failure(expected);
        law.axis[i] = *index;
    }
    if (std::fabs(law.angle) > 360.0) throw failure(expected);
    return law;
}

} // namespace torvik::tools
