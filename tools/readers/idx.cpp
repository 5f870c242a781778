// The input file of the program itself.
#include "base/failure.h"
#include "formats/idxfile.h"
#include "readers/kinds.h"

#include <algorithm>
#include <cstddef>

namespace torvik::tools {

namespace {

std::optional<double> valueof(const idxfile& file, std::string_view name)
{
    std::optional<double> value;
    for (const keyword& one : file.keywords)
        if (one.name == name) value = numberin(one.values);
    return value;
}

} // namespace

bool looksidx(std::string_view start, const std::filesystem::path& path)
{
    if (path.extension() == ".idx") return true;
    constexpr std::string_view count = "_NumberOfReflections";
    return start.find(count) != std::string_view::npos;
}

measurement readidxmeasurement(const textfile& source, const readeroptions& options)
{
    const idxfile file = readidx(source);
    measurement measured;
    measured.kind = file.kind;
    for (std::size_t i = 0; i < file.reflections.size(); ++i)
        measured.spots.push_back(
            {file.reflections[i], {}, {}, "reflection " + std::to_string(i + 1)});
    measured.keywords = file.keywords;
    measured.comments = file.comments;
    if (file.kind != listkind::vectors)
        measured.wavelength =
            options.wavelength.value_or(valueof(file, "_Wavelength").value_or(defaultwavelength));
    if (file.kind == listkind::thetaphikappa)
        measured.kappaangle = options.kappaangle.value_or(
            valueof(file, "_AngleOfKappaAxis").value_or(defaultkappaangle));
    if (file.kind != listkind::vectors) // these are now of the measurement
        std::erase_if(measured.keywords, [](const keyword& one) {
            return one.name == "_Wavelength" || one.name == "_AngleOfKappaAxis";
        });
    measured.frame = file.kind == listkind::vectors
                         ? "The frame is that of " + source.name() + "."
                         : "The frame is that of the diffractometer with all circles at zero.";
    return measured;
}

} // namespace torvik::tools
