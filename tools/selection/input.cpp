#include "selection/input.h"

#include "base/failure.h"
#include "base/table.h"
#include "selection/keywords.h"
#include "selection/outlook.h"
#include "selection/repeats.h"
#include "selection/warnings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

namespace torvik::tools {

namespace {

constexpr std::size_t fewest = 4; // that the program takes

// Four digits, without an exponent where there need be none.
std::string shown(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.4g", value);
    if (std::string(text).find("e+") == std::string::npos) return text;
    const double power = std::pow(10.0, std::floor(std::log10(value)) - 3.0);
    return fixed(std::round(value / power) * power, 0);
}

std::string counted(std::size_t count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// The fewest decimals, within limits, that hold all values.
int decimalsfor(const measurement& measured, const std::vector<std::size_t>& positions)
{
    const bool vectors = measured.kind == listkind::vectors;
    int decimals = vectors ? 5 : 4;
    const int most = vectors ? 7 : 8;
    constexpr double exact = 1e-10;
    const auto holds = [&](std::size_t i) {
        const double scale = std::pow(10.0, decimals);
        const auto& value = measured.spots[i].value;
        return std::all_of(value.begin(), value.end(), [&](double x) {
            return std::fabs(x - std::round(x * scale) / scale) < exact;
        });
    };
    while (decimals < most && !std::all_of(positions.begin(), positions.end(), holds)) ++decimals;
    return decimals;
}

// A measurement and its vectors.
struct vectorlist {
    measurement measured;
    std::vector<vector3> vectors;
};

vectorlist listof(measurement measured)
{
    vectorlist list{std::move(measured), {}};
    list.vectors = vectorsof(list.measured);
    return list;
}

vectorlist merged(const vectorlist& list, const inputoptions& options,
                  std::vector<std::string>& told)
{
    const double tolerance = options.merge ? *options.merge : usualtolerance(list.vectors);
    vectorlist apart = listof(mergerepeats(list.measured, list.vectors, tolerance));
    if (apart.vectors.size() < list.vectors.size())
        told.push_back("Repeats within " + shown(tolerance)
                       + "/angstrom are one: " + counted(apart.vectors.size(), "reflection")
                       + " of " + counted(list.vectors.size(), "spot") + ".");
    return apart;
}

vectorlist inlimits(const vectorlist& list, const inputoptions& options,
                    std::vector<std::string>& told)
{
    vectorlist inside =
        listof(withinspacings(list.measured, list.vectors, options.dmin, options.dmax));
    if (options.dmin > 0.0 || std::isfinite(options.dmax))
        told.push_back("Spacings of " + shown(options.dmin) + " to " + shown(options.dmax)
                       + " angstroms: " + counted(inside.vectors.size(), "reflection") + ".");
    return inside;
}

std::string choicesentence(const inputresult& result, pick how)
{
    const std::size_t taken = result.positions.size();
    const std::size_t all = result.pool.spots.size();
    if (taken == all) return "All " + counted(all, "reflection") + ".";
    const pick meant = meantby(how, result.pool.spots);
    static const char* const ways[] = {"the strongest of the shorter half", "the strongest",
                                       "the shortest", "taken by chance",
                                       "spread over directions and lengths"};
    const bool beyond = meant == pick::usual && taken > (all + 1) / 2;
    return std::to_string(taken) + " of " + counted(all, "reflection") + ", "
           + (beyond ? "the shorter half and the strongest others"
                     : ways[static_cast<std::size_t>(meant)])
           + ".";
}

// Keywords of the measurement, with those that were asked for in their place.
std::vector<keyword> keywordsfor(const measurement& measured, const inputoptions& options)
{
    std::vector<keyword> keywords = measured.keywords;
    if (measured.kind != listkind::vectors) {
        if (!measured.wavelength)
            throw failure("The angles need a wavelength: --wavelength gives it, in angstroms.");
        setkeyword(keywords, {"_Wavelength", fixed(*measured.wavelength, 6)});
    }
    if (measured.kind == listkind::thetaphikappa && measured.kappaangle)
        setkeyword(keywords, {"_AngleOfKappaAxis", fixed(*measured.kappaangle, 4)});
    for (const keyword& one : options.keywords) setkeyword(keywords, one);
    checktogether(keywords);
    return keywords;
}

void uselimits(inputresult& result, const volumerange& range, const std::string& comment)
{
    setkeyword(result.file.keywords, checkedkeyword(rulenamed("MinMaxVolumeOfPrimitiveCell"),
                                                    {shown(range.least), shown(range.most)}));
    result.file.comments.push_back(comment);
}

// Nothing for volumes of the user and limits that stand in the keywords.
void setlimits(inputresult& result, const inputoptions& options)
{
    const runparameters parameters = parametersof(result.file.keywords);
    if (options.cellmax) {
        uselimits(result, rangeofcell(*options.cellmax, result.estimate),
                  "Limits on the volume for edges up to " + shown(*options.cellmax)
                      + " angstroms: it is at most their cube.");
        return;
    }
    if (parameters.limits || parameters.uservolumes || !result.estimate) return;
    if (options.otherwise == volumerule::program) return;
    uselimits(
        result,
        withintable(rangefrom(*result.estimate), largesttriple(result.vectors), parameters.extent),
        "Limits on the volume around that of the cell which neighbouring vectors span, "
            + shown(result.estimate->usual) + " cubic angstroms.");
}

std::vector<std::string> commentsfor(const measurement& measured, const std::string& origin)
{
    std::vector<std::string> comments = measured.comments;
    comments.push_back("From " + origin + ", by torvik-tools import.");
    comments.push_back(measured.frame);
    if (measured.kind == listkind::vectors)
        comments.emplace_back(
            "Reciprocal-lattice vectors in 1/angstrom, without a factor of 2 pi.");
    if (measured.cell) {
        std::string cell = "The file gives the cell";
        for (std::size_t i = 0; i < 6; ++i) cell += " " + fixed((*measured.cell)[i], i < 3 ? 4 : 3);
        comments.push_back(cell + ".");
    }
    for (const std::string& one : measured.notes) comments.push_back(one);
    return comments;
}

void takereflections(inputresult& result, const inputoptions& options,
                     const std::vector<vector3>& vectors)
{
    result.positions =
        pickspots(result.pool.spots, vectors, options.how, options.most, options.seed);
    if (result.positions.size() < fewest)
        throw failure("Only " + counted(result.positions.size(), "reflection")
                      + " can be taken; the program needs four at least.");
    result.choice = choicesentence(result, options.how);
    for (const std::size_t i : result.positions) {
        result.vectors.push_back(vectors[i]);
        result.file.reflections.push_back(result.pool.spots[i].value);
        result.file.remarks.push_back(result.pool.spots[i].where);
    }
    result.file.kind = result.pool.kind;
    result.decimals = decimalsfor(result.pool, result.positions);
}

std::vector<std::string> warningsfor(const inputresult& result)
{
    runsubject subject{result.vectors, parametersof(result.file.keywords), result.estimate,
                       static_cast<int>(result.pool.spots.size()),
                       result.pool.kind != listkind::vectors};
    if (!subject.parameters.wavelength) subject.parameters.wavelength = result.pool.wavelength;
    return warningsof(subject);
}

} // namespace

inputresult makeinput(const measurement& measured, const std::string& origin,
                      const inputoptions& options)
{
    inputresult result;
    std::vector<std::string> told = commentsfor(measured, origin);
    vectorlist list = merged(listof(rescaled(measured, options.unit)), options, told);
    result.estimate = estimatevolume(list.vectors);
    list = inlimits(list, options, told);
    result.pool = std::move(list.measured);
    takereflections(result, options, list.vectors);
    told.push_back(result.choice);
    result.file.comments = told;
    result.file.keywords = keywordsfor(measured, options);
    setlimits(result, options);
    result.warnings = warningsfor(result);
    return result;
}

measurement rescaled(const measurement& measured, double unit)
{
    measurement changed = measured;
    if (unit == 1.0) return changed;
    if (measured.kind != listkind::vectors)
        throw failure("The file has angles, which know no factor of 2 pi and no nanometres.");
    for (spot& one : changed.spots)
        for (double& x : one.value) x *= unit;
    return changed;
}

measurement withinspacings(const measurement& measured, const std::vector<vector3>& vectors,
                           double dmin, double dmax)
{
    measurement inside = measured;
    inside.spots.clear();
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        const double length = vectors[i].length();
        if (length > 0.0 && 1.0 / length >= dmin && 1.0 / length <= dmax)
            inside.spots.push_back(measured.spots[i]);
    }
    return inside;
}

volumerange rangeofcell(double L, const std::optional<volumeestimate>& estimate)
{
    const double most = L * L * L;
    const double least = most / 10.0;
    return {estimate ? std::fmin(least, rangefrom(*estimate).least) : most / 1000.0, most};
}

} // namespace torvik::tools
