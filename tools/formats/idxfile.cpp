#include "formats/idxfile.h"

#include "base/table.h"

#include <algorithm>
#include <cstddef>

namespace torvik::tools {

namespace {

// Wavelength and axis come before the angles, which are converted as they are read; the fraction
// comes behind the number of reflections, which sets it too.
constexpr std::string_view fraction = "_FractionOfSupportingReflections";

void appendkeyword(std::string& text, const keyword& one)
{
    text += one.name + "\n" + one.values + "\n";
}

std::string padded(const std::string& text, std::size_t width)
{
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

void appendreflections(std::string& text, const idxfile& file, int decimals)
{
    constexpr std::size_t width = 12;
    const std::size_t field = width + static_cast<std::size_t>(std::max(0, decimals - 5));
    for (std::size_t i = 0; i < file.reflections.size(); ++i) {
        std::string line;
        for (const double value : file.reflections[i]) {
            const std::string shown = fixed(value, decimals);
            line += shown.size() < field ? padded(shown, field) : " " + shown;
        }
        if (i < file.remarks.size() && !file.remarks[i].empty()) line += "    " + file.remarks[i];
        text += line + "\n";
    }
}

} // namespace

std::string listkeyword(listkind kind)
{
    switch (kind) {
    case listkind::thetaphichi: return "_ReflectionsThetaPhiChi";
    case listkind::thetaphikappa: return "_ReflectionsThetaPhiKappa";
    default: return "_Reflections";
    }
}

std::string textof(const idxfile& file, int decimals)
{
    if (decimals <= 0) decimals = file.kind == listkind::vectors ? 5 : 4;
    std::string text;
    for (const std::string& comment : file.comments)
        text += comment.empty() ? "#\n" : "# " + comment + "\n";
    for (const keyword& one : file.keywords)
        if (one.name != fraction) appendkeyword(text, one);
    text += "_NumberOfReflections\n" + std::to_string(file.reflections.size()) + "\n";
    for (const keyword& one : file.keywords)
        if (one.name == fraction) appendkeyword(text, one);
    text += listkeyword(file.kind) + "\n";
    appendreflections(text, file, decimals);
    return text;
}

} // namespace torvik::tools
