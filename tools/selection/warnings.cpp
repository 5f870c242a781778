#include "selection/warnings.h"

#include "base/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace torvik::tools {

namespace {

double degrees(double angle)
{
    return angle * gemmi::pi() / 180.0;
}

// A volume or length with three digits.
std::string rounded(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.3g", value);
    if (std::string(text).find('e') == std::string::npos) return text;
    return std::fabs(value) >= 1.0 ? fixed(value, 0) : text;
}

std::vector<vector3> directionsof(const std::vector<vector3>& vectors)
{
    const double parallel = std::cos(degrees(2.0));
    std::vector<vector3> directions;
    for (const vector3& r : vectors) {
        const vector3 u = r.normalized();
        if (std::none_of(directions.begin(), directions.end(),
                         [&](const vector3& d) { return std::fabs(u.dot(d)) > parallel; }))
            directions.push_back(u);
    }
    return directions;
}

double longest(const std::vector<vector3>& vectors)
{
    double length = 0.0;
    for (const vector3& r : vectors) length = std::fmax(length, r.length());
    return length;
}

std::string unitsentence(const std::string& finding)
{
    return finding
           + " If the vectors have a factor of 2 pi, ask for --two-pi; if they are in inverse "
             "nanometres, for --inverse-nm.";
}

} // namespace

std::optional<std::string> fewdirections(const std::vector<vector3>& vectors)
{
    constexpr std::size_t enough = 6;
    const std::size_t count = directionsof(vectors).size();
    if (count >= enough) return std::nullopt;
    return "The reflections have only " + std::to_string(count)
           + (count == 1 ? " direction" : " directions")
           + ": a lattice through them can be chance.";
}

std::optional<std::string> flat(const std::vector<vector3>& vectors)
{
    gemmi::SMat33<double> scatter{0, 0, 0, 0, 0, 0};
    for (const vector3& r : vectors) {
        const vector3 u = r.normalized();
        scatter = scatter + gemmi::SMat33<double>{u.x * u.x, u.y * u.y, u.z * u.z,
                                                  u.x * u.y, u.x * u.z, u.y * u.z};
    }
    // The least eigenvalue is the sum of the squared sines of the angles to the best plane.
    const auto values = scatter.calculate_eigenvalues();
    const double least = *std::min_element(values.begin(), values.end());
    const double sine = std::sin(degrees(2.0));
    if (least > sine * sine * static_cast<double>(vectors.size())) return std::nullopt;
    return "All reflections lie in or near one plane, so they do not tell the third axis.";
}

std::optional<std::string> badcount(int reflections, int available, const runparameters& parameters)
{
    if (findspeaks(reflections, parameters)) return std::nullopt;
    return "With " + std::to_string(reflections)
           + " reflections the divisor of the periodogram is negative, and no volume will be "
             "tested. "
             "--max-reflections "
           + std::to_string(nearestgoodcount(reflections, available, parameters))
           + " is the nearest count that works; --TypeOfPeriodogram 1 works with any.";
}

std::optional<std::string> narrowrange(const volumerange& range, const volumeestimate& estimate)
{
    constexpr double scatter = 0.8; // of the estimate, by errors of the vectors
    if (range.most < scatter * estimate.low)
        return "Volumes up to " + rounded(range.most)
               + " cannot hold the cell: neighbouring vectors span one of " + rounded(estimate.low)
               + " cubic angstroms or a multiple of it.";
    if (range.least > rangefrom(estimate).most)
        return "Volumes from " + rounded(range.least)
               + " on seem too large: neighbouring vectors span a cell of "
               + rounded(estimate.usual) + " cubic angstroms.";
    return std::nullopt;
}

std::optional<std::string> cuttable(const volumerange& range, const std::vector<vector3>& vectors,
                                    const runparameters& parameters)
{
    const double T = largesttriple(vectors);
    if (periodsasked(range, T, parameters.extent) < mostperiods + 1.0) return std::nullopt;
    const double least = smallesttested(range, T, parameters.extent);
    const volumerange shorter = withintable(range, T, parameters.extent);
    return "The table of test periods is too short for volumes of " + rounded(range.least) + " to "
           + rounded(range.most) + ": those below " + rounded(least)
           + " will not be tested. --volume " + rounded(range.least) + " "
           + rounded(std::fmax(0.99 * shorter.most, 1.5 * range.least))
           + " fits, and so does a wider one with shorter vectors (--d-min, --pick shortest).";
}

std::optional<std::string> wrongunit(const runsubject& subject)
{
    if (subject.angles) return std::nullopt;
    constexpr double toolong = 4.0;
    constexpr double tooshort = 0.1;
    constexpr double toosmall = 8.0;
    constexpr double complete = 1.3;
    constexpr double scatter = 1.02;
    const double length = longest(subject.vectors);
    const auto& wavelength = subject.parameters.wavelength;
    if (wavelength && length > scatter * 2.0 / *wavelength)
        return unitsentence("The longest vector, " + rounded(length)
                            + ", is longer than 2/wavelength, which no reflection can be.");
    if (length > toolong)
        return unitsentence("The longest vector, " + rounded(length) + ", stands for a spacing of "
                            + rounded(1.0 / length) + " angstroms, less than can be measured.");
    if (length < tooshort)
        return "The longest vector, " + rounded(length) + ", stands for a spacing of "
               + rounded(1.0 / length)
               + " angstroms, more than nearly all crystals show: the vectors may be in another "
                 "unit.";
    const auto& estimate = subject.estimate;
    if (estimate && estimate->high < complete * estimate->low && estimate->usual < toosmall)
        return unitsentence("Neighbouring vectors span a cell of " + rounded(estimate->usual)
                            + " cubic angstroms, less than any crystal has.");
    return std::nullopt;
}

std::vector<std::string> warningsof(const runsubject& subject)
{
    const auto& parameters = subject.parameters;
    const volumerange range = rangeof(parameters, subject.vectors);
    const int count = static_cast<int>(subject.vectors.size());
    std::vector<std::string> warnings;
    const auto add = [&](const std::optional<std::string>& sentence) {
        if (sentence) warnings.push_back(*sentence);
    };
    add(wrongunit(subject));
    add(fewdirections(subject.vectors));
    const auto plane = flat(subject.vectors);
    add(plane);
    add(badcount(count, subject.available, parameters));
    if (parameters.uservolumes) return warnings;
    if (subject.estimate) add(narrowrange(range, *subject.estimate));
    if (!plane) add(cuttable(range, subject.vectors, parameters));
    return warnings;
}

} // namespace torvik::tools
