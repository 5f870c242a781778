// The periodogram of a run, with the volumes that were tested: from a log.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace torvik::tools {

struct testvolume {
    double volume = 0.0;         // of the direct cell
    std::optional<double> value; // of the periodogram there; none if the volumes were given
};

struct periodogramdata {
    std::string name;                             // "Rayleigh periodogram"
    std::size_t size = 0;                         // values that were computed
    std::vector<std::pair<double, double>> curve; // volume of the direct cell and value
    std::vector<testvolume> volumes;              // in the order of the log
};

// What tells whether a log is that of a run whose results are known.
struct loghead {
    std::string input;   // name of the input
    std::string started; // date and time: "2026.11.21 08:47:21.693"
    std::vector<std::pair<std::string, std::string>> parameters;
};

struct logged {
    loghead head;
    periodogramdata periodogram; // empty if the volumes were given
};

// Reads a log up to the list of test volumes; the many lines behind it are left alone. Of a product of
// two periodograms the values are multiplied. Nothing if the file cannot be opened, or ends before.
std::optional<logged> readlog(const std::filesystem::path& path);

// Thins a curve for drawing: of as many stretches as asked for, the lowest and the highest point each.
std::vector<std::pair<double, double>> thinned(const std::vector<std::pair<double, double>>& curve,
                                               std::size_t stretches);

} // namespace torvik::tools
