#include "fuzz/importing.h"

#include "base/failure.h"
#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "fuzz/documented.h"
#include "fuzz/latticefiles.h"
#include "readers/dials.h"
#include "readers/kinds.h"
#include "readers/reader.h"
#include "readers/xds.h"
#include "solver/lattice/invalid_input.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace torvik {

namespace {

using tools::measurement;
using tools::textfile;

measurement readtext(tools::measurement (*read)(const textfile&, const tools::readeroptions&),
                     std::string_view bytes)
{
    return read(textfile("a.txt", std::string(bytes)), {});
}

// The bytes of a file, and of a further one.
std::pair<std::string_view, std::string_view> twofiles(std::string_view bytes)
{
    const std::size_t end = bytes.find(nextfile);
    if (end == std::string_view::npos) return {bytes, {}};
    return {bytes.substr(0, end), bytes.substr(end + nextfile.size())};
}

measurement readxds(std::string_view bytes)
{
    const auto [spots, parameters] = twofiles(bytes);
    return tools::xdsmeasurement(textfile("a.xds", std::string(spots)),
                                 textfile("a.inp", std::string(parameters)), {});
}

measurement readdials(std::string_view bytes)
{
    const auto [reflections, experiments] = twofiles(bytes);
    const tools::reflectiontable table = tools::readreflectiontable("a.refl", reflections);
    if (experiments.empty()) return tools::dialsmeasurement("a.refl", table, nullptr, {});
    const auto used = tools::readexperiments(textfile("a.expt", std::string(experiments)));
    return tools::dialsmeasurement("a.refl", table, &used, {});
}

measurement readas(const std::string& format, std::string_view bytes)
{
    if (format == "idx") return readtext(tools::readidxmeasurement, bytes);
    if (format == "text") return readtext(tools::readtext, bytes);
    if (format == "angles") return readtext(tools::readangles, bytes);
    if (format == "p4p") return readtext(tools::readp4p, bytes);
    if (format == "gve") return readtext(tools::readgve, bytes);
    if (format == "peaks") return readtext(tools::readpeaks, bytes);
    if (format == "xds") return readxds(bytes);
    if (format == "dials") return readdials(bytes);
    throw misbehaviour("no such format: " + format);
}

void demandsentence(const std::string& text)
{
    demand(text.ends_with('.'), "a failure without a full stop");
    demand(text.starts_with("a.") || text.starts_with("The ") || text.starts_with("There "),
           "a failure that begins with no file");
    constexpr std::size_t longest = 600;
    demand(text.size() < longest, "a failure that is too long");
    demand(std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) >= ' '; }),
           "a failure with control characters");
}

void checkmeasured(const measurement& measured)
{
    demand(!measured.spots.empty(), "no reflections");
    for (const tools::vector3& one : tools::vectorsof(measured))
        demand(std::isfinite(one.length()) && one.length() > 0.0, "a vector without a length");
    for (const tools::spot& one : measured.spots)
        demand(!one.where.empty() && std::isfinite(one.intensity.value_or(0.0)), "a spot");
    demand(!measured.frame.empty(), "no frame");
    demand(measured.kind == tools::listkind::vectors || measured.wavelength, "no wavelength");
    demand(std::isfinite(measured.wavelength.value_or(1.0))
               && measured.wavelength.value_or(1.0) > 0.0,
           "the wavelength");
}

void readmeasurement(const std::string& format, std::string_view bytes)
{
    for (const tools::reader& one : tools::readers()) one.recognises(bytes, "a.txt");
    measurement measured = readas(format, bytes);
    tools::checkmeasurement(measured, "a.txt");
    checkmeasured(measured);
}

// Angles of many turns lose their digits, and are passed over; an arc sine near 1 loses half of them.
void demandsamevectors(const tools::idxfile& file)
{
    const std::vector<tools::vector3> vectors = tools::vectorsof(file);
    demand(recorded_reflections.numberofreflections == static_cast<int>(vectors.size()),
           "another number of reflections than the program's");
    constexpr double tolerance = 1e-6;
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        constexpr double turns = 1e4;
        const auto& value = file.reflections[i];
        if (file.kind != tools::listkind::vectors
            && std::any_of(value.begin(), value.end(),
                           [](double angle) { return std::fabs(angle) > turns; }))
            continue;
        const auto& theirs = recorded_reflections.reflections(static_cast<int>(i) + 1);
        const double length = recorded_reflections.reflectionmagnitudes(static_cast<int>(i) + 1);
        const double difference =
            (vectors[i] - tools::vector3(theirs(1), theirs(2), theirs(3))).length();
        const double longest =
            file.kind == tools::listkind::vectors ? length : 2.0 / otherglobalvariables.wavelength;
        demand(!(difference > tolerance * longest), "another vector than the program's");
    }
}

void compareinputfile(harness& program, std::string_view bytes)
{
    const bool taken = program.readonly(bytes) == "read";
    try {
        const tools::idxfile file = tools::readidx(textfile("a.idx", std::string(bytes)));
        demand(taken, "an input file is taken that the program refuses");
        demandsamevectors(file);
    } catch (const tools::failure& why) {
        demandsentence(why.what());
        const bool toolarge = std::string(why.what()).ends_with(" is too large.");
        demand(!taken || toolarge, "an input file is refused that the program takes");
    }
}

} // namespace

const std::vector<std::string>& fuzzedformats()
{
    static const std::vector<std::string> formats = {"idx", "text",  "angles", "p4p",
                                                     "gve", "peaks", "xds",    "dials"};
    return formats;
}

std::string importharness::import(const std::string& format, std::string_view bytes)
{
    if (format == "idx") compareinputfile(program_, bytes);
    const auto& others = fuzzedlatticefiles();
    const bool lattices = std::find(others.begin(), others.end(), format) != others.end();
    std::string outcome = lattices ? "lattices" : "measurement";
    try {
        if (lattices)
            readlatticefile(format, bytes);
        else
            readmeasurement(format, bytes);
    } catch (const tools::failure& why) {
        demandsentence(why.what());
        outcome = "refused";
    } catch (const solver::invalid_input& why) {
        demandsentence(why.what());
        outcome = "refused";
    }
    ++outcomes[outcome];
    return outcome;
}

} // namespace torvik
