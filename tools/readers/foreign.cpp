#include "readers/foreign.h"

#include "base/textfile.h"

#include <algorithm>
#include <array>
#include <vector>

namespace torvik::tools {

namespace {

struct known {
    std::string_view mark; // what the content begins with, or the name ends in
    std::string_view what;
    std::string_view instead = {};
};

constexpr std::string_view unpack = "unpack it first";
constexpr std::string_view findspots = "import the list of spots that were found on it";
constexpr std::string_view byspots = "SPOT.XDS of the same folder is read";

using namespace std::string_view_literals;

constexpr std::array bycontent = {
    known{"\x1F\x8B", "compressed by gzip", unpack},
    known{"BZh", "compressed by bzip2", unpack},
    known{"\xFD"
          "7zXZ",
          "compressed by xz", unpack},
    known{"\x28\xB5\x2F\xFD", "compressed by zstd", unpack},
    known{"PK\x03\x04", "a zip archive", unpack},
    known{"\x89HDF\r\n", "an HDF5 file"},
    known{"###CBF", "an image, CBF", findspots},
    known{"II*\0"sv, "an image, TIFF", findspots},
    known{"MM\0*"sv, "an image, TIFF", findspots},
    known{"{\nHEADER_BYTES", "an image, SMV", findspots},
    known{"MTZ ", "an MTZ file: it has indices and intensities, but no positions"},
    known{"CrystFEL stream", "a stream of CrystFEL"},
    known{"!FORMAT=XDS_ASCII", "a list of integrated reflections of XDS", byspots},
    known{"!OUTPUT_FILE=INTEGRATE.HKL", "a list of integrated reflections of XDS", byspots},
    known{"XPARM.XDS", "the geometry that XDS has refined", byspots},
    known{"GXPARM.XDS", "the geometry that XDS has refined", byspots},
    known{"data_", "a CIF"},
};

// Names that a program gives, whatever is in the file.
constexpr std::array bywholename = {
    known{"xparm.xds", "the geometry that XDS has refined", byspots},
    known{"gxparm.xds", "the geometry that XDS has refined", byspots},
};

constexpr std::array byending = {
    known{".raw", "integrated intensities of SAINT, .raw", "its .p4p is read"},
    known{".spt", "a list of spots of MOSFLM, .spt"},
    known{".tabbin", "a binary table of peaks, .tabbin"},
    known{".pts", "a list of points, .pts"},
    known{".pickle", "a pickle of Python"},
    known{".pkl", "a pickle of Python"},
    known{".h5", "an HDF5 file"},
    known{".nxs", "an HDF5 file"},
    known{".mtz", "an MTZ file: it has indices and intensities, but no positions"},
    known{".hkl", "a list of indices and intensities, .hkl, without positions"},
};

std::string sentence(const known& one)
{
    std::string text = std::string(one.what) + ", which is not read";
    if (!one.instead.empty()) text += "; " + std::string(one.instead);
    return text;
}

// A pickle begins with its version, those of the oldest with the instructions themselves.
bool ispickle(std::string_view start)
{
    constexpr char newest = 5;
    const bool versioned =
        start.size() > 2 && start[0] == '\x80' && start[1] >= 2 && start[1] <= newest;
    return versioned || start.starts_with("ccopy_reg\n") || start.starts_with("(dp")
           || start.starts_with("(lp") || start.starts_with("cdials_array_family_flex_ext\n");
}

std::string picklesentence(std::string_view start)
{
    const bool table = start.find("dials_array_family_flex_ext") != std::string_view::npos;
    return sentence(
        {{},
         "a pickle of Python",
         table ? std::string_view("DIALS can write the same table as .refl") : std::string_view()});
}

bool arenumbers(const std::vector<item>& items)
{
    return std::all_of(items.begin(), items.end(),
                       [](const item& one) { return numberin(one.text).has_value(); });
}

// The head of MOSFLM's lists: the size of the image, of a pixel and more; two switches; the centre.
bool isspotlist(std::string_view start)
{
    constexpr std::array<std::size_t, 3> counts = {5, 2, 2};
    constexpr std::size_t whole = 2; // of the first and the second line
    for (std::size_t i = 0; i < counts.size(); ++i) {
        const std::size_t end = start.find('\n');
        if (end == std::string_view::npos) return false;
        const std::vector<item> items = itemsof(start.substr(0, end), " \t\r");
        if (items.size() != counts[i] || !arenumbers(items)) return false;
        for (std::size_t k = 0; k < whole && i < whole; ++k)
            if (!wholein(items[k].text)) return false;
        start.remove_prefix(end + 1);
    }
    return true;
}

} // namespace

std::optional<std::string> foreigncontent(std::string_view start, const std::filesystem::path& path)
{
    const std::string name = lowered(path.filename().string());
    for (const known& one : bywholename)
        if (name == one.mark) return sentence(one);
    if (ispickle(start)) return picklesentence(start);
    if (isspotlist(start)) return sentence({{}, "a list of spots of MOSFLM, .spt"});
    const std::string_view text =
        start.substr(std::min(start.find_first_not_of(" \t"), start.size()));
    for (const known& one : bycontent)
        if (start.starts_with(one.mark) || text.starts_with(one.mark)) return sentence(one);
    return std::nullopt;
}

std::optional<std::string> foreignending(const std::filesystem::path& path)
{
    const std::string ending = lowered(path.extension().string());
    for (const known& one : byending)
        if (ending == one.mark) return sentence(one);
    return std::nullopt;
}

} // namespace torvik::tools
