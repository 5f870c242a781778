#include "exports/input.h"

#include "base/failure.h"
#include "formats/idxfile.h"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace torvik::tools {

namespace {

// Whether the vectors are those of the results: their products with the basis are what is printed to
// two decimals. With indices up to 100, eight digits of a basis leave errors far below the margin.
bool belongs(const std::vector<vector3>& vectors, const solution& one)
{
    constexpr double margin = 0.0051;
    const auto fits = [&](const reflectionline& line) {
        const auto at = static_cast<std::size_t>(line.number - 1);
        if (at >= vectors.size()) return false;
        if (line.how == fit::none) return true;
        const vector3 real = one.basis.multiply(vectors[at]);
        return real.approx({line.real[0], line.real[1], line.real[2]}, margin);
    };
    return std::all_of(one.reflections.begin(), one.reflections.end(), fits);
}

std::optional<double> wavelengthof(const idxfile& file)
{
    for (const keyword& one : file.keywords)
        if (lowered(one.name) == "_wavelength") return numberin(trimmed(one.values));
    return std::nullopt;
}

void addinputfile(exportinput& input, const std::filesystem::path& path,
                  std::vector<std::string>& notes)
{
    std::error_code none;
    if (!std::filesystem::is_regular_file(path, none)) return;
    try {
        const idxfile file = readidx(textfile::read(path));
        const std::vector<vector3> vectors = vectorsof(file);
        const solution& one = solutionof(input.results, input.chosen);
        if (vectors.size() != one.reflections.size() || !belongs(vectors, one)) {
            notes.push_back(path.string() + " is not what the results are of: it is left out.");
            return;
        }
        input.vectors = vectors;
        input.wavelength = wavelengthof(file);
    } catch (const failure& why) {
        notes.push_back(path.string() + " is left out: " + why.what());
    }
}

} // namespace

exportinput readexportinput(const std::filesystem::path& path, int K,
                            std::vector<std::string>& notes)
{
    exportinput input;
    input.results = readresults(textfile::read(path));
    input.chosen = K;
    input.crystal = orientationof(solutionof(input.results, K));
    if (input.crystal.turned)
        notes.push_back("Solution " + std::to_string(K)
                        + " is left-handed: all three of its vectors are negated, and so are the "
                          "indices h k l.");
    addinputfile(input, path.parent_path() / std::filesystem::path(input.results.input).filename(),
                 notes);
    return input;
}

} // namespace torvik::tools
