#include "base/failure.h"
#include "readers/dials.h"
#include "readers/kinds.h"
#include "readers/reader.h"
#include "readers/xds.h"

#include <cmath>
#include <cstddef>
#include <fstream>

namespace torvik::tools {

namespace {

constexpr std::size_t startlength = 65536; // of what a file is recognised by

using textreader = measurement (*)(const textfile&, const readeroptions&);

template <textreader read>
measurement fromfile(const std::filesystem::path& path, const readeroptions& options)
{
    return read(textfile::read(path), options);
}

std::string startof(const std::filesystem::path& path)
{
    std::error_code none;
    if (std::filesystem::is_directory(path, none))
        throw failure(path.string() + " is a folder, not a file.");
    std::ifstream in(path, std::ios::binary);
    if (!in) throw failure("Cannot open " + path.string() + ".");
    std::string start(startlength, '\0');
    in.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(in.gcount()));
    return start;
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

const reader& readerfor(const std::filesystem::path& path)
{
    const std::string start = startof(path);
    if (start.empty()) throw failure(path.string() + " is empty.");
    for (const reader& one : readers())
        if (one.recognises(start, path)) return one;
    throw failure(path.string() + " looks like none of the formats " + knownkinds()
                  + "; if it is one of them, name it with --format.");
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
    const reader& chosen = kind.empty() ? readerfor(path) : readernamed(kind);
    measurement measured = chosen.read(path, options);
    checkmeasurement(measured, path.string());
    return measured;
}

} // namespace torvik::tools
