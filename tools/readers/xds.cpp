#include "readers/xds.h"

#include "base/failure.h"
#include "base/table.h"
#include "readers/rotation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

namespace torvik::tools {

namespace {

// The assignments of XDS.INP: NAME= VALUES, several on a line, comments behind an exclamation mark.
// Of equal names the last counts.
class assignments {
public:
    explicit assignments(const textfile& source) : source_(source)
    {
        for (std::size_t number = 1; number <= source.lines(); ++number) readline(number);
    }

    [[nodiscard]] bool has(const std::string& name) const
    {
        return all_.contains(name);
    }

    // Numbers behind a name: as many as asked for.
    [[nodiscard]] std::vector<double> numbers(const std::string& name, std::size_t count) const
    {
        const auto found = all_.find(name);
        if (found == all_.end())
            source_.fail(0, 0, "expected a line '" + name + "=', there is none");
        const auto& [line, column, values] = found->second;
        const std::string wanted = count == 1 ? "a number" : std::to_string(count) + " numbers";
        if (values.size() < count)
            source_.fail(line, column, "expected " + wanted + " behind " + name + "=");
        std::vector<double> result;
        for (std::size_t i = 0; i < count; ++i)
            result.push_back(source_.number(values[i], line, "a number behind " + name + "="));
        return result;
    }

    [[nodiscard]] double number(const std::string& name) const
    {
        return numbers(name, 1)[0];
    }

    [[nodiscard]] double number(const std::string& name, double otherwise) const
    {
        return has(name) ? number(name) : otherwise;
    }

    [[nodiscard]] double positive(const std::string& name) const
    {
        const double value = number(name);
        if (value <= 0.0) fail(name, "a positive number behind " + name + "=");
        return value;
    }

    // A direction, as a vector of length 1.
    [[nodiscard]] vector3 direction(const std::string& name) const
    {
        const std::vector<double> x = numbers(name, 3);
        const double length = std::hypot(x[0], x[1], x[2]);
        constexpr double least = 1e-6;
        if (!(length > least) || !std::isfinite(length))
            fail(name, "a direction behind " + name + "=");
        return vector3(x[0], x[1], x[2]) / length;
    }

    // Throws badfile for the place of a name.
    [[noreturn]] void fail(const std::string& name, const std::string& expected) const
    {
        const auto found = all_.find(name);
        if (found == all_.end()) source_.fail(0, 0, "expected " + expected);
        source_.fail(found->second.line, found->second.column, "expected " + expected);
    }

private:
    struct assignment {
        std::size_t line = 0;
        std::size_t column = 0; // of the name
        std::vector<item> values;
    };

    // The name before each sign of equality is the word before it; its values end before the next
    // name.
    void readline(std::size_t number)
    {
        std::string_view line = source_.line(number);
        line = line.substr(0, line.find('!'));
        assignment* last = nullptr;
        for (std::size_t from = 0; from < line.size();) {
            const std::size_t sign = std::min(line.find('=', from), line.size());
            std::vector<item> words = itemsof(line.substr(from, sign - from));
            for (item& word : words) word.column += from;
            item name;
            if (sign < line.size() && !words.empty()) {
                name = words.back();
                words.pop_back();
            }
            if (last != nullptr) last->values = std::move(words);
            if (sign == line.size()) break;
            last = &all_[std::string(name.text)];
            *last = {number, name.column, {}};
            from = sign + 1;
        }
    }

    const textfile& source_;
    std::map<std::string, assignment> all_;
};

// How XDS has the instrument: the laboratory frame is that of the axes in XDS.INP, lengths are in
// millimetres, pixels count from the one whose centre is at 1.
struct instrument {
    vector3 ex, ey, ez; // of the detector; ez is its normal
    double qx = 0.0, qy = 0.0;
    double orgx = 0.0, orgy = 0.0;
    double distance = 0.0; // along ez; negative if ez points to the source
    vector3 beam, axis;    // of length 1
    double wavelength = 0.0;
    double startangle = 0.0, startframe = 1.0, range = 0.0; // degrees
};

instrument instrumentof(const assignments& given, const readeroptions& options)
{
    if (given.has("SEGMENT")) given.fail("SEGMENT", "a detector of one plane, found a SEGMENT=");
    instrument one;
    one.ex = given.direction("DIRECTION_OF_DETECTOR_X-AXIS");
    one.ey = given.direction("DIRECTION_OF_DETECTOR_Y-AXIS");
    const vector3 normal = one.ex.cross(one.ey);
    constexpr double nearlyparallel = 0.5; // sine of the angle between the axes
    if (normal.length() < nearlyparallel)
        given.fail("DIRECTION_OF_DETECTOR_Y-AXIS", "an axis at right angles to the other behind "
                                                   "DIRECTION_OF_DETECTOR_Y-AXIS=");
    one.ez = normal.normalized();
    one.qx = given.positive("QX");
    one.qy = given.positive("QY");
    one.orgx = options.centre ? (*options.centre)[0] : given.number("ORGX");
    one.orgy = options.centre ? (*options.centre)[1] : given.number("ORGY");
    one.distance = given.number("DETECTOR_DISTANCE");
    if (one.distance == 0.0)
        given.fail("DETECTOR_DISTANCE", "a distance other than zero behind DETECTOR_DISTANCE=");
    one.beam = given.has("INCIDENT_BEAM_DIRECTION") ? given.direction("INCIDENT_BEAM_DIRECTION")
                                                    : vector3(0.0, 0.0, 1.0);
    one.axis = given.direction("ROTATION_AXIS");
    one.wavelength = options.wavelength ? *options.wavelength : given.positive("X-RAY_WAVELENGTH");
    one.range = given.number("OSCILLATION_RANGE");
    one.startangle = given.number("STARTING_ANGLE", 0.0);
    one.startframe = given.number("STARTING_FRAME", given.number("DATA_RANGE", 1.0));
    return one;
}

// A reflection vector, and the direction of its diffracted beam.
struct diffracted {
    vector3 vector;
    vector3 direction;
};

// The diffracted beam less the incident one, turned back about the spindle. The z of a spot counts
// frames, with 0 at the start of the first: the spindle is at its starting angle when z is one less
// than the number of the starting frame.
diffracted reflectionof(const instrument& given, double x, double y, double z)
{
    const vector3 place = given.ex * (given.qx * (x - given.orgx))
                          + given.ey * (given.qy * (y - given.orgy)) + given.ez * given.distance;
    const vector3 seen = towards(place);
    const double angle = given.startangle + given.range * (z - (given.startframe - 1.0));
    return {rotated((seen - given.beam) / given.wavelength, given.axis, -angle),
            rotated(seen, given.axis, -angle)};
}

// x, y, z, intensity; in some versions the number of a segment; then h k l if the spots were
// indexed, which are zero for those that were not.
spot spotof(const textfile& source, std::size_t line, const std::vector<item>& items,
            const instrument& given)
{
    constexpr std::size_t bare = 4;
    constexpr std::size_t indices = 3;
    const std::size_t count = items.size();
    if (count < bare || count == bare + 2 || count > bare + 1 + indices)
        source.fail(line, 0,
                    "expected x, y, z and the intensity of a spot, and perhaps h, k and l, found "
                        + std::to_string(count) + " numbers");
    std::array<double, bare> x = {};
    for (std::size_t i = 0; i < bare; ++i)
        x[i] = source.number(items[i], line, "x, y, z or the intensity of a spot");
    spot one;
    const auto [r, direction] = reflectionof(given, x[0], x[1], x[2]);
    if (!isfinite(r)) source.fail(line, 0, "expected a spot on the detector");
    one.value = {r.x, r.y, r.z};
    one.normal = direction;
    one.intensity = x[3];
    constexpr double most = 1e9;
    if (std::fabs(x[2]) < most) one.image = static_cast<int>(std::floor(x[2])) + 1;
    one.where = "line " + std::to_string(line);
    if (count >= bare + indices) {
        std::array<int, 3> hkl = {};
        for (std::size_t i = 0; i < indices; ++i)
            hkl[i] = source.whole(items[count - indices + i], line, "an index");
        if (hkl != std::array<int, 3>{}) one.hkl = hkl;
    }
    return one;
}

void addcell(measurement& measured, const assignments& given)
{
    if (!given.has("UNIT_CELL_CONSTANTS") || given.number("SPACE_GROUP_NUMBER", 0.0) == 0.0) return;
    const std::vector<double> x = given.numbers("UNIT_CELL_CONSTANTS", 6);
    measured.cell = {x[0], x[1], x[2], x[3], x[4], x[5]};
}

void addcentre(measurement& measured, const instrument& used, const assignments& given)
{
    if (!given.has("ORGX") || !given.has("ORGY")) return;
    measured.notes.push_back("The centre is at " + fixed(used.orgx, 2) + ", " + fixed(used.orgy, 2)
                             + " pixels, in place of " + fixed(given.number("ORGX"), 2) + ", "
                             + fixed(given.number("ORGY"), 2) + ".");
}

bool endsin(const std::filesystem::path& path, std::string_view extension)
{
    return lowered(path.extension().string()) == extension;
}

bool recognisesxds(std::string_view start, const std::filesystem::path& path)
{
    if (!endsin(path, ".xds") || lowered(path.stem().string()).ends_with("xparm")) return false;
    const std::string_view line = start.substr(0, start.find_first_of("\r\n"));
    const std::vector<item> items = itemsof(line);
    constexpr std::size_t least = 4;
    if (items.size() < least) return false;
    return std::all_of(items.begin(), items.end(),
                       [](const item& one) { return numberin(one.text).has_value(); });
}

measurement readxds(const std::filesystem::path& path, const readeroptions& options)
{
    std::filesystem::path parameters = path.parent_path() / "XDS.INP";
    for (const std::filesystem::path& other : options.others)
        if (endsin(other, ".inp")) {
            parameters = other;
            break;
        }
    std::error_code none;
    if (!std::filesystem::exists(parameters, none))
        throw failure("The geometry of " + path.string() + " is missing: there is no "
                      + parameters.string() + ".");
    return xdsmeasurement(textfile::read(path), textfile::read(parameters), options);
}

} // namespace

const reader xdsreader = {"xds", "XDS's SPOT.XDS, with XDS.INP", recognisesxds, readxds};

measurement xdsmeasurement(const textfile& spots, const textfile& parameters,
                           const readeroptions& options)
{
    const assignments given(parameters);
    const instrument used = instrumentof(given, options);
    measurement measured;
    measured.wavelength = used.wavelength;
    measured.frame = "x, y and z are the axes of XDS.INP, with the spindle at 0 degrees.";
    addcell(measured, given);
    if (options.centre) addcentre(measured, used, given);
    constexpr std::size_t most = 5'000'000; // of which a gigabyte of memory is made
    for (std::size_t line = 1; line <= spots.lines(); ++line) {
        const std::vector<item> items = itemsof(spots.line(line));
        if (items.empty() || items[0].text.starts_with('!')) continue;
        if (measured.spots.size() == most)
            spots.fail(line, 0, "there are more than 5 million spots");
        measured.spots.push_back(spotof(spots, line, items, used));
    }
    if (measured.spots.empty()) spots.fail(0, 0, "expected spots, there are none");
    return measured;
}

} // namespace torvik::tools
