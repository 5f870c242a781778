#include "readers/dials.h"

#include "base/failure.h"
#include "readers/rotation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <system_error>

namespace torvik::tools {

namespace {

std::string rowname(std::size_t i)
{
    return "row " + std::to_string(i + 1);
}

[[noreturn]] void failrow(const std::string& name, std::size_t i, const std::string& what)
{
    throw badfile(name + ", " + rowname(i), 0, 0, what);
}

bool allzero(const std::vector<vector3>& column)
{
    return std::all_of(column.begin(), column.end(),
                       [](const vector3& x) { return x.length_sq() == 0.0; });
}

// Where a spot that is seen on a sensor entered it: photons are stopped on their way through, on
// average after this length, so that spots of oblique beams are seen too far out.
double depthof(const detectorpanel& panel, double cosine)
{
    if (panel.attenuation <= 0.0 || panel.thickness <= 0.0 || cosine <= 0.0) return 0.0;
    const double through = panel.thickness / cosine;
    const double free = 1.0 / panel.attenuation;
    return free - (through + free) * std::exp(-through / free);
}

// The place of a spot in the laboratory, from pixels.
vector3 placeof(const detectorpanel& panel, const vector3& pixel)
{
    const vector3 seen = panel.origin + panel.fast * (pixel.x * panel.fastsize)
                         + panel.slow * (pixel.y * panel.slowsize);
    const vector3 beam = towards(seen);
    const vector3 normal = panel.fast.cross(panel.slow).normalized();
    const vector3 along = beam - normal * beam.dot(normal);
    return seen - along * depthof(panel, std::fabs(beam.dot(normal)));
}

// What a table is read with.
class geometry {
public:
    geometry(const std::string& name, const reflectiontable& table, const dialsinstrument& given,
             double wavelength)
        : name_(name), table_(table), given_(given), wavelength_(wavelength),
          metric_(!allzero(table.millimetres)), unset_(given.rotation.setting.transpose()),
          unfixed_(given.rotation.fixed.transpose())
    {
        if (!metric_ && table.pixels.empty() && table.rows > 0)
            throw badfile(name, 0, 0, "expected a column xyzobs.px.value, xyzobs.mm.value or rlp");
    }

    // A reflection vector, and the direction of its diffracted beam.
    struct diffracted {
        vector3 vector;
        vector3 direction;
    };

    [[nodiscard]] diffracted reflection(std::size_t i) const
    {
        const std::uint64_t number = table_.panel.empty() ? 0 : table_.panel[i];
        if (number >= given_.panels.size())
            failrow(name_, i,
                    "expected a panel of the .expt, found the number " + std::to_string(number));
        const detectorpanel& panel = given_.panels[static_cast<std::size_t>(number)];
        const vector3 place = metric_ ? panel.origin + panel.fast * table_.millimetres[i].x
                                            + panel.slow * table_.millimetres[i].y
                                      : placeof(panel, table_.pixels[i]);
        const vector3 seen = towards(place);
        return {turnedback((seen - given_.beam) / wavelength_, i), turnedback(seen, i)};
    }

private:
    [[nodiscard]] vector3 turnedback(const vector3& x, std::size_t i) const
    {
        return unfixed_.multiply(rotated(unset_.multiply(x), given_.rotation.axis, -angle(i)));
    }

    // Degrees.
    [[nodiscard]] double angle(std::size_t i) const
    {
        const rotationscan& rotation = given_.rotation;
        if (rotation.still) return 0.0;
        if (metric_) return gemmi::deg(table_.millimetres[i].z);
        return rotation.firstangle
               + rotation.framewidth * (table_.pixels[i].z - rotation.firstframe);
    }

    const std::string& name_;
    const reflectiontable& table_;
    const dialsinstrument& given_;
    double wavelength_;
    bool metric_;
    matrix3 unset_;
    matrix3 unfixed_;
};

// Whether a reflection was measured with the instrument of the first experiment. Those that no
// experiment indexes tell by their images.
bool ofthefirst(const reflectiontable& table, const dialsinstrument* given, std::size_t i)
{
    const int experiment = table.experiment.empty() ? 0 : table.experiment[i];
    if (experiment < 0)
        return given == nullptr || table.imageset.empty() || given->imageset < 0
               || table.imageset[i] == given->imageset;
    if (given == nullptr) return experiment == 0;
    const auto at = static_cast<std::size_t>(experiment);
    return experiment == 0 || (at < given->sharing.size() && given->sharing[at]);
}

// Images of different sets have numbers that are far apart.
std::optional<int> imageof(const reflectiontable& table, std::size_t i)
{
    constexpr double apart = 1e5;
    constexpr double most = 1e9;
    const std::vector<int>& set = table.imageset.empty() ? table.experiment : table.imageset;
    if (table.pixels.empty()) return std::nullopt;
    const double number = std::floor(table.pixels[i].z) + 1.0
                          + apart * (set.empty() ? 0.0 : static_cast<double>(set[i]));
    if (!(std::fabs(number) < most)) return std::nullopt;
    return static_cast<int>(number);
}

spot spotof(const reflectiontable& table, std::size_t i, const vector3& r)
{
    spot one;
    one.value = {r.x, r.y, r.z};
    one.where = rowname(i);
    one.image = imageof(table, i);
    if (!table.intensity.empty() && std::isfinite(table.intensity[i]))
        one.intensity = table.intensity[i];
    if (!table.index.empty() && table.index[i] != std::array<int, 3>{}) one.hkl = table.index[i];
    return one;
}

std::filesystem::path experimentsbeside(const std::filesystem::path& path,
                                        const readeroptions& options)
{
    namespace fs = std::filesystem;
    for (const fs::path& other : options.others) {
        const std::string extension = lowered(other.extension().string());
        if (extension == ".expt" || extension == ".json") return other;
    }
    std::error_code none;
    fs::path beside = path;
    beside.replace_extension(".expt");
    if (fs::exists(beside, none)) return beside;
    constexpr std::string_view found = "strong";
    std::string stem = path.stem().string();
    if (!stem.ends_with(found)) return {};
    stem.replace(stem.size() - found.size(), found.size(), "imported");
    beside = path.parent_path() / (stem + ".expt");
    return fs::exists(beside, none) ? beside : fs::path();
}

bool recognisesdials(std::string_view start, const std::filesystem::path& /*path*/)
{
    return looksreflectiontable(start);
}

measurement readdials(const std::filesystem::path& path, const readeroptions& options)
{
    const std::string name = path.string();
    const textfile source = textfile::read(path);
    const reflectiontable table = readreflectiontable(name, source.text());
    const std::filesystem::path experiments = experimentsbeside(path, options);
    if (experiments.empty()) return dialsmeasurement(name, table, nullptr, options);
    const dialsinstrument given = readexperiments(textfile::read(experiments));
    return dialsmeasurement(name, table, &given, options);
}

} // namespace

const reader dialsreader = {"dials", "DIALS's strong.refl or indexed.refl, with its .expt",
                            recognisesdials, readdials};

measurement dialsmeasurement(const std::string& name, const reflectiontable& table,
                             const dialsinstrument* given, const readeroptions& options)
{
    if (options.centre)
        throw failure("The centre of " + name
                      + " follows from the detector in its .expt: no other can be given.");
    const bool points = !allzero(table.rlp) && !options.wavelength;
    if (!points && given == nullptr)
        throw failure("The geometry of " + name + " is missing: name its .expt file.");
    measurement measured;
    measured.frame = "x, y and z are DIALS's laboratory axes, with all rotations at 0 degrees.";
    if (given != nullptr) measured.wavelength = given->wavelength;
    if (options.wavelength) measured.wavelength = options.wavelength;
    if (!points && !measured.wavelength)
        throw failure("The .expt of " + name + " has no wavelength: give one.");
    std::optional<geometry> used;
    if (!points) used.emplace(name, table, *given, *measured.wavelength);
    std::size_t others = 0;
    for (std::size_t i = 0; i < table.rows; ++i) {
        if (!ofthefirst(table, given, i)) {
            ++others;
            continue;
        }
        if (points) {
            const vector3& r = table.rlp[i];
            if (!isfinite(r)) failrow(name, i, "expected a spot on the detector");
            // One of length 0 was not taken to reciprocal space.
            if (r.length_sq() > 0.0) measured.spots.push_back(spotof(table, i, r));
            continue;
        }
        const auto [r, direction] = used->reflection(i);
        if (!isfinite(r)) failrow(name, i, "expected a spot on the detector");
        measured.spots.push_back(spotof(table, i, r));
        measured.spots.back().normal = direction;
    }
    if (others > 0)
        measured.notes.push_back(std::to_string(others)
                                 + (others == 1 ? " reflection" : " reflections")
                                 + " of other experiments than the first left out.");
    if (!points && given->rotation.still)
        measured.notes.emplace_back("The .expt has no scan: the crystal stands still.");
    if (measured.spots.empty()) throw badfile(name, 0, 0, "expected reflections, there are none");
    return measured;
}

} // namespace torvik::tools
