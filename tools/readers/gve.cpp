// ImageD11's g-vectors.
#include "readers/columns.h"
#include "readers/kinds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torvik::tools {

namespace {

constexpr std::string_view blanks = " \t";

// The names of columns in a line like "# xr yr zr xc yc ds phi omega"; none if it is another line.
std::vector<std::string> columnsnamedin(std::string_view line)
{
    line = trimmed(line);
    if (!line.starts_with('#')) return {};
    std::vector<std::string> names = namesin(line.substr(1), blanks);
    const auto has = [&](std::string_view name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    if ((has("xr") && has("yr") && has("zr")) || (has("gx") && has("gy") && has("gz")))
        return names;
    return {};
}

// What reads the rows of vectors.
class vectorreading {
public:
    vectorreading(const textfile& source, const std::vector<std::string>& names,
                  std::size_t headline)
        : source_(source), names_(names), headline_(headline)
    {
        constexpr std::array<const char*, 3> before = {"xr", "yr", "zr"};
        constexpr std::array<const char*, 3> now = {"gx", "gy", "gz"};
        const bool old = std::all_of(before.begin(), before.end(), [&](const char* name) {
            return column(name) < names_.size();
        });
        for (std::size_t i = 0; i < 3; ++i) vector_[i] = column(old ? before[i] : now[i]);
    }

    [[nodiscard]] spot read(std::size_t line)
    {
        const std::vector<item> items = itemsof(source_.line(line));
        if (items.size() != names_.size())
            source_.fail(line, 0,
                         "expected " + std::to_string(names_.size()) + " columns, as line "
                             + std::to_string(headline_) + " names, found "
                             + std::to_string(items.size()));
        spot one;
        double square = 0.0;
        for (std::size_t i = 0; i < 3; ++i) {
            one.value[i] = source_.number(items[vector_[i]], line, "a number");
            square += one.value[i] * one.value[i];
        }
        if (const std::size_t at = column("ds"); at < items.size()) {
            const double ds = source_.number(items[at], line, "a number");
            constexpr double tolerance = 0.01;
            if (std::fabs(std::sqrt(square) - ds) > tolerance * ds) ++disagreeing_;
        }
        for (const char* name : {"sum_intensity", "intensity"})
            if (const std::size_t at = column(name); at < items.size() && !one.intensity)
                one.intensity = source_.number(items[at], line, "an intensity");
        one.where = "line " + std::to_string(line);
        return one;
    }

    [[nodiscard]] std::size_t disagreeing() const
    {
        return disagreeing_;
    }

private:
    [[nodiscard]] std::size_t column(std::string_view name) const
    {
        return static_cast<std::size_t>(std::find(names_.begin(), names_.end(), name)
                                        - names_.begin());
    }

    const textfile& source_;
    std::vector<std::string> names_;
    std::size_t headline_;
    std::array<std::size_t, 3> vector_ = {};
    std::size_t disagreeing_ = 0; // rows whose vector has not the length of their ds
};

// "4.16 4.16 4.16 90 90 90 P"
std::optional<std::array<double, 6>> cellin(std::string_view line)
{
    const std::vector<item> items = itemsof(line);
    std::array<double, 6> cell = {};
    if (items.size() < cell.size()) return std::nullopt;
    for (std::size_t i = 0; i < cell.size(); ++i) {
        const std::optional<double> value = numberin(items[i].text);
        if (!value || !std::isfinite(*value) || *value <= 0.0) return std::nullopt;
        cell[i] = *value;
    }
    return cell;
}

std::optional<double> wavelengthin(std::string_view line)
{
    const std::vector<item> items = itemsof(line, "# \t=:");
    if (items.size() < 2 || lowered(items[0].text) != "wavelength") return std::nullopt;
    const std::optional<double> value = numberin(items[1].text);
    return value && std::isfinite(*value) && *value > 0.0 ? value : std::nullopt;
}

} // namespace

bool looksgve(std::string_view start, const std::filesystem::path& path)
{
    if (path.extension() == ".gve") return true;
    constexpr std::string_view spacings = "\n# ds h k l";
    return start.find(spacings) != std::string_view::npos;
}

measurement readgve(const textfile& source, const readeroptions& options)
{
    measurement measured;
    measured.cell = cellin(source.line(1));
    std::size_t headline = 1;
    std::vector<std::string> names;
    for (; headline <= source.lines(); ++headline) {
        names = columnsnamedin(source.line(headline));
        if (!names.empty()) break;
        if (const auto found = wavelengthin(source.line(headline))) measured.wavelength = found;
    }
    if (names.empty())
        source.fail(0, 0,
                    "expected a line like '# xr yr zr ...' or '# gx gy gz ...' before the "
                    "vectors");
    vectorreading rows(source, names, headline);
    for (std::size_t i = headline + 1; i <= source.lines(); ++i) {
        const std::string_view line = trimmed(source.line(i));
        if (!line.empty() && !line.starts_with('#')) measured.spots.push_back(rows.read(i));
    }
    if (measured.spots.empty()) source.fail(headline, 0, "expected vectors below this line");
    if (rows.disagreeing() > 0)
        measured.notes.push_back(std::to_string(rows.disagreeing())
                                 + (rows.disagreeing() == 1
                                        ? " of the vectors differs in length from its ds by more "
                                          "than 1 %."
                                        : " of the vectors differ in length from their ds by more "
                                          "than 1 %."));
    if (options.wavelength) measured.wavelength = options.wavelength;
    measured.frame = "x is along the beam and z along the axis of rotation, at omega 0.";
    return measured;
}

} // namespace torvik::tools
