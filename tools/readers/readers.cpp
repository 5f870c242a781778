#include "base/failure.h"
#include "base/reading.h"
#include "readers/dials.h"
#include "readers/foreign.h"
#include "readers/kinds.h"
#include "readers/reader.h"
#include "readers/xds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torvik::tools {

namespace {

constexpr std::size_t startlength = 65536; // of what a file is recognised by

using textreader = measurement (*)(const textfile&, const readeroptions&);

template <textreader read>
measurement fromfile(const std::filesystem::path& path, const readeroptions& options)
{
    return read(textfile::read(path), options);
}

std::string knownkinds()
{
    std::string names;
    for (const reader& one : readers())
        names += (names.empty() ? "" : ", ") + std::string(one.name);
    return names;
}

const reader& readernamed(std::string_view kind)
{
    for (const reader& one : readers())
        if (kind == one.name) return one;
    throw failure("There is no format '" + std::string(kind) + "'; there are " + knownkinds()
                  + ".");
}

// The one that recognises a file; null if none does. The last ones take nearly any numbers.
const reader* recognising(std::string_view start, const std::filesystem::path& path)
{
    for (const reader& one : readers()) {
        if (&one == &readernamed("angles"))
            if (const auto foreign = foreigncontent(start, path))
                throw failure(path.string() + " is " + *foreign + ".");
        if (one.recognises(start, path)) return &one;
    }
    return nullptr;
}

[[noreturn]] void failunknown(const std::filesystem::path& path)
{
    if (const auto foreign = foreignending(path))
        throw failure(path.string() + " is, by its name, " + *foreign + ".");
    throw failure(path.string() + " looks like none of the formats " + knownkinds()
                  + "; if it is one of them, name it with --format.");
}

measurement readrecognised(const std::filesystem::path& path, const readeroptions& options)
{
    const std::string start = bytesof(path, startlength);
    if (start.empty()) throw failure(path.string() + " is empty.");
    const reader* chosen = recognising(start, path);
    if (chosen == nullptr) failunknown(path);
    try {
        return chosen->read(path, options);
    } catch (const failure& why) {
        const auto foreign = foreignending(path);
        if (!foreign || chosen != &readernamed("text")) throw;
        throw failure(path.string() + " is, by its name, " + *foreign + "; as text: " + why.what());
    }
}

} // namespace

const std::vector<reader>& readers()
{
    static const std::vector<reader> all = {
        {"idx", "input file of Torvik", looksidx, fromfile<readidxmeasurement>},
        dialsreader,
        xdsreader,
        {"p4p", "SAINT's .p4p", looksp4p, fromfile<readp4p>},
        {"gve", "ImageD11's g-vectors, .gve", looksgve, fromfile<readgve>},
        {"integrate", "ISAW's .integrate", looksintegrate, fromfile<readpeaks>},
        {"peaks", "ISAW's .peaks", lookspeaks, fromfile<readpeaks>},
        {"angles", "theta or 2theta, omega, phi, chi or kappa in named columns", looksangles,
         fromfile<readangles>},
        {"text", "text or CSV: x y z, perhaps intensity and h k l", lookstext, fromfile<readtext>},
    };
    return all;
}

void keepnormalsofnarrow(measurement& measured, const std::vector<double>& angles)
{
    constexpr double narrow = 10.0; // degrees
    if (angles.empty()) return;
    const auto [least, most] = std::minmax_element(angles.begin(), angles.end());
    if (*most - *least <= narrow) return;
    for (spot& one : measured.spots) one.normal.reset();
}

std::vector<vector3> vectorsof(const measurement& measured)
{
    std::vector<vector3> vectors;
    vectors.reserve(measured.spots.size());
    for (const spot& one : measured.spots)
        vectors.push_back(vectorof(measured.kind, one.value,
                                   measured.wavelength.value_or(defaultwavelength),
                                   measured.kappaangle.value_or(defaultkappaangle)));
    return vectors;
}

void checkmeasurement(measurement& measured, const std::string& name)
{
    const std::vector<vector3> vectors = vectorsof(measured);
    std::vector<spot> kept;
    kept.reserve(vectors.size());
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const double length = vectors[i].length();
        if (!std::isfinite(length))
            throw failure(name + ", " + measured.spots[i].where
                          + ": the numbers of this reflection are too large.");
        if (length > 0.0) kept.push_back(std::move(measured.spots[i]));
    }
    const std::size_t dropped = vectors.size() - kept.size();
    if (kept.empty()) throw failure(name + " has no reflections.");
    if (dropped > 0)
        measured.notes.push_back(std::to_string(dropped)
                                 + (dropped == 1 ? " reflection of length 0 is left out."
                                                 : " reflections of length 0 are left out."));
    measured.spots = std::move(kept);
}

measurement readmeasurement(const std::filesystem::path& path, std::string_view kind,
                            const readeroptions& options)
{
    measurement measured =
        kind.empty() ? readrecognised(path, options) : readernamed(kind).read(path, options);
    checkmeasurement(measured, path.string());
    return measured;
}

} // namespace torvik::tools
