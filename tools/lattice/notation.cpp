#include "lattice/notation.h"

#include "base/table.h"

namespace torvik::tools {

namespace {

// A whole number, a fraction by 2, 3, 4 or 6, or else three decimals.
std::string fraction(double x)
{
    constexpr double rounding = 1e-6;
    for (const int divisor : {1, 2, 3, 4, 6}) {
        const double whole = std::round(x * divisor);
        if (std::fabs(x * divisor - whole) > rounding) continue;
        return fixed(whole, 0) + (divisor > 1 ? "/" + std::to_string(divisor) : "");
    }
    return fixed(x, 3);
}

std::string sumofaxes(const vector3& row)
{
    std::string text;
    for (int i = 0; i < 3; ++i) {
        std::string factor = fraction(row.at(i));
        if (factor == "0") continue;
        const bool minus = factor.front() == '-';
        if (minus) factor.erase(0, 1);
        const std::string sign = minus ? "-" : (text.empty() ? "" : "+");
        text += sign + (factor == "1" ? "" : factor) + std::string(1, "abc"[i]);
    }
    return text.empty() ? "0" : text;
}

} // namespace

std::string celltext(const cell_parameters& cell, int lengthdecimals, int angledecimals)
{
    std::string text;
    for (std::size_t i = 0; i < 6; ++i)
        text += (i > 0 ? " " : "") + fixed(cell[i], i < 3 ? lengthdecimals : angledecimals);
    return text;
}

std::string rowstext(const matrix3& T)
{
    std::string text;
    for (int i = 0; i < 3; ++i) {
        if (i > 0) text += " |";
        for (int j = 0; j < 3; ++j) text += (i + j > 0 ? " " : "") + fraction(T[i][j]);
    }
    return text;
}

std::string axestext(const matrix3& T)
{
    return sumofaxes(row_of(T, 0)) + ", " + sumofaxes(row_of(T, 1)) + ", "
           + sumofaxes(row_of(T, 2));
}

std::array<std::array<int, 3>, 3> wholerows(const matrix3& T)
{
    return {nearest_indices(row_of(T, 0)), nearest_indices(row_of(T, 1)),
            nearest_indices(row_of(T, 2))};
}

} // namespace torvik::tools
