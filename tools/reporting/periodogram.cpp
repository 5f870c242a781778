#include "reporting/periodogram.h"

#include "base/textfile.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string_view>

namespace torvik::tools {

namespace {

// Reads a log line by line, since it may be long.
class logreader {
public:
    explicit logreader(const std::filesystem::path& path) : stream_(path) {}

    std::optional<logged> read()
    {
        if (!readhead()) return std::nullopt;
        if (given()) return log_;
        while (next()) {
            const std::string_view text = trimmed(line_);
            if (text.ends_with(" periodogram :") && !text.starts_with("Searching for peaks"))
                readtable();
            else if (text == "The final list of test volumes :")
                return readvolumes() ? std::optional(log_) : std::nullopt;
        }
        return std::nullopt;
    }

private:
    bool next()
    {
        return static_cast<bool>(std::getline(stream_, line_));
    }

    // "Report created by ...", "for NAME", then the date and the parameters.
    bool readhead()
    {
        while (next()) {
            const std::string_view text = trimmed(line_);
            if (text.starts_with("for ")) log_.head.input = text.substr(4);
            if (text.starts_with("Date :"))
                readdate(text);
            else if (const std::size_t colon = text.rfind(" :"); colon != std::string_view::npos)
                log_.head.parameters.emplace_back(trimmed(text.substr(0, colon)),
                                                  trimmed(text.substr(colon + 2)));
            if (text.starts_with("Method of sorting")) return true;
        }
        return false;
    }

    void readdate(std::string_view text)
    {
        const std::vector<item> items = itemsof(text);
        constexpr std::size_t words = 6; // Date : 2026.11.21 Time : 08:47:21.693
        if (items.size() == words)
            log_.head.started = std::string(items[2].text) + " " + std::string(items[5].text);
    }

    [[nodiscard]] bool given() const
    {
        const auto& known = log_.head.parameters;
        return std::any_of(known.begin(), known.end(), [](const auto& one) {
            return one.first == "User provided volumes" && one.second == "T";
        });
    }

    // The rows of numbers below a heading: their first `count` columns.
    std::vector<std::vector<double>> rows(std::size_t count)
    {
        std::vector<std::vector<double>> found;
        while (next()) {
            const std::vector<item> items = itemsof(line_);
            std::vector<double> row;
            for (std::size_t i = 0; i < items.size() && i < count; ++i)
                row.push_back(numberin(items[i].text).value_or(std::nan("")));
            if (row.size() < count) break;
            found.push_back(std::move(row));
        }
        return found;
    }

    //       RS volume      DS volume      Periodogram   Phase [deg]
    void readtable()
    {
        periodogramdata& all = log_.periodogram;
        const std::string_view heading = trimmed(line_);
        const std::string name(heading.substr(0, heading.size() - 2));
        next();
        const auto table = rows(3);
        const bool second = table.size() == all.curve.size() && !table.empty();
        all.name = second ? "Rayleigh x Scargle periodogram" : name;
        if (!second) all.curve.clear();
        for (std::size_t i = 0; i < table.size(); ++i) {
            if (second)
                all.curve[i].second *= table[i][2];
            else
                all.curve.emplace_back(table[i][1], table[i][2]);
        }
        all.size = all.curve.size();
    }

    //    No      RS volume      DS volume
    bool readvolumes()
    {
        next();
        for (const std::vector<double>& row : rows(3))
            log_.periodogram.volumes.push_back({row[2], valueat(row[2])});
        return !line_.empty(); // else the file ends within the list
    }

    [[nodiscard]] std::optional<double> valueat(double volume) const
    {
        const auto& curve = log_.periodogram.curve;
        const auto nearest =
            std::min_element(curve.begin(), curve.end(), [&](const auto& u, const auto& v) {
                return std::fabs(u.first - volume) < std::fabs(v.first - volume);
            });
        return nearest == curve.end() ? std::nullopt : std::optional(nearest->second);
    }

    std::ifstream stream_;
    std::string line_;
    logged log_;
};

} // namespace

std::optional<logged> readlog(const std::filesystem::path& path)
{
    std::error_code none;
    if (!std::filesystem::is_regular_file(path, none)) return std::nullopt;
    return logreader(path).read();
}

std::vector<std::pair<double, double>> thinned(const std::vector<std::pair<double, double>>& curve,
                                               std::size_t stretches)
{
    if (curve.size() <= 2 * stretches) return curve;
    std::vector<std::pair<double, double>> kept;
    const auto byvalue = [](const auto& u, const auto& v) { return u.second < v.second; };
    for (std::size_t i = 0; i < stretches; ++i) {
        const auto from = curve.begin() + static_cast<std::ptrdiff_t>(i * curve.size() / stretches);
        const auto to =
            curve.begin() + static_cast<std::ptrdiff_t>((i + 1) * curve.size() / stretches);
        auto [low, high] = std::minmax_element(from, to, byvalue);
        if (high < low) std::swap(low, high);
        kept.push_back(*low);
        if (low != high) kept.push_back(*high);
    }
    return kept;
}

} // namespace torvik::tools
