#include "formats/idxfile.h"

#include "base/failure.h"
#include "base/table.h"

#include <algorithm>
#include <cmath>
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
        if (i < file.remarks.size() && !file.remarks[i].empty())
            line += "    " + online(file.remarks[i]);
        text += line + "\n";
    }
}

// The program's: of a pi in single precision.
constexpr double degreestoradians = 0.017453293005625408;

// The number that a keyword gives, the last of equals, or a default.
double settingof(const idxfile& file, std::string_view name, double standard)
{
    double value = standard;
    for (const keyword& one : file.keywords)
        if (one.name == name) value = numberin(trimmed(one.values)).value_or(value);
    return value;
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
        text += comment.empty() ? "#\n" : "# " + online(comment) + "\n";
    for (const keyword& one : file.keywords)
        if (one.name != fraction) appendkeyword(text, one);
    text += "_NumberOfReflections\n" + std::to_string(file.reflections.size()) + "\n";
    for (const keyword& one : file.keywords)
        if (one.name == fraction) appendkeyword(text, one);
    text += listkeyword(file.kind) + "\n";
    appendreflections(text, file, decimals);
    return text;
}

eulerianshift eulerianof(double kappa, double kappaangle)
{
    const double half = kappa * degreestoradians / 2.0;
    const double alpha = kappaangle * degreestoradians;
    const double d = -std::sin(half) * std::sin(alpha);
    const double e = std::cos(half) * std::sin(alpha);
    return {-2.0 * std::asin(d) / degreestoradians,
            std::atan2(d * std::cos(alpha), e) / degreestoradians};
}

vector3 vectorof(listkind kind, const std::array<double, 3>& value, double wavelength,
                 double kappaangle)
{
    if (kind == listkind::vectors) return {value[0], value[1], value[2]};
    auto [theta, phi, chi] = value;
    if (kind == listkind::thetaphikappa) {
        const eulerianshift shift = eulerianof(chi, kappaangle);
        theta += shift.delta;
        phi += shift.delta;
        chi = shift.chi;
    }
    theta *= degreestoradians;
    phi *= degreestoradians;
    chi *= degreestoradians;
    const double r = 2.0 * std::sin(theta) / wavelength;
    const double level = r * std::cos(chi);
    return {-level * std::sin(phi), level * std::cos(phi), r * std::sin(chi)};
}

std::vector<vector3> vectorsof(const idxfile& file)
{
    return vectorsby(file, settingof(file, "_Wavelength", defaultwavelength),
                     settingof(file, "_AngleOfKappaAxis", defaultkappaangle));
}

std::vector<vector3> vectorsby(const idxfile& file, double wavelength, double kappaangle)
{
    std::vector<vector3> vectors;
    vectors.reserve(file.reflections.size());
    for (const auto& value : file.reflections)
        vectors.push_back(vectorof(file.kind, value, wavelength, kappaangle));
    return vectors;
}

} // namespace torvik::tools
