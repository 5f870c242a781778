#include "selection/outlook.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace torvik::tools {

namespace {

// The numbers of a keyword's values, as far as they are plain.
std::vector<double> numbersof(const std::string& values)
{
    std::vector<double> numbers;
    for (const item& one : itemsof(values, " \t,\r\n")) {
        const auto value = numberin(one.text);
        if (!value) break;
        numbers.push_back(*value);
    }
    return numbers;
}

double steps(int extent)
{
    return 2.0 * extent + 2.0;
}

} // namespace

runparameters parametersof(const std::vector<keyword>& keywords)
{
    runparameters parameters;
    for (const keyword& one : keywords) {
        const std::vector<double> values = numbersof(one.values);
        if (values.empty()) continue;
        if (one.name == "_ExtentOfTheSearch") parameters.extent = static_cast<int>(values[0]);
        if (one.name == "_TypeOfPeriodogram") parameters.periodogram = static_cast<int>(values[0]);
        if (one.name == "_UserProvidedTestVolumes") parameters.uservolumes = true;
        if (one.name == "_Wavelength") parameters.wavelength = values[0];
        if (one.name == "_MinMaxVolumeOfPrimitiveCell" && values.size() >= 2)
            parameters.limits = {values[0], values[1]};
    }
    return parameters;
}

double rayleighdivisor(int reflections)
{
    const auto n = static_cast<std::uint64_t>(std::max(reflections, 0));
    const auto triples = static_cast<std::uint32_t>(n < 3 ? 1 : n * (n - 1) * (n - 2) / 6);
    return static_cast<std::int32_t>(triples * triples);
}

bool findspeaks(int reflections, const runparameters& parameters)
{
    const int type = std::abs(parameters.periodogram);
    const bool divided = type == 2 || type == 4 || (type == 0 && parameters.extent > 0);
    return parameters.uservolumes || !divided || rayleighdivisor(reflections) > 0.0;
}

int nearestgoodcount(int reflections, int most, const runparameters& parameters)
{
    constexpr int fewest = 4;
    constexpr int largest = 999;
    const int end = std::clamp(most, fewest, largest);
    const int count = std::clamp(reflections, fewest, end);
    for (int step = 0; step < largest; ++step)
        for (const int near : {count - step, count + step})
            if (near >= fewest && near <= end && findspeaks(near, parameters)) return near;
    return fewest;
}

double largesttriple(const std::vector<vector3>& vectors)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        for (std::size_t j = i + 1; j < vectors.size(); ++j) {
            const vector3 normal = vectors[i].cross(vectors[j]);
            for (std::size_t k = j + 1; k < vectors.size(); ++k)
                largest = std::fmax(largest, std::fabs(normal.dot(vectors[k])));
        }
    return largest;
}

volumerange automaticrange(const std::vector<vector3>& vectors)
{
    double shortest = std::numeric_limits<double>::infinity();
    for (const vector3& r : vectors) shortest = std::fmin(shortest, r.length());
    const double cube = shortest * shortest * shortest;
    return {1.0 / cube, 10000.0 / cube};
}

volumerange rangeof(const runparameters& parameters, const std::vector<vector3>& vectors)
{
    return parameters.limits ? *parameters.limits : automaticrange(vectors);
}

double periodsasked(const volumerange& range, double T, int extent)
{
    return (range.most - range.least) * T * steps(extent);
}

double smallesttested(const volumerange& range, double T, int extent)
{
    if (periodsasked(range, T, extent) < mostperiods + 1.0) return range.least;
    return range.most - mostperiods / (T * steps(extent));
}

volumerange withintable(const volumerange& range, double T, int extent)
{
    constexpr double nearly = 0.999; // the file holds rounded vectors and volumes
    if (periodsasked(range, T, extent) < nearly * mostperiods) return range;
    const double held = range.least + nearly * mostperiods / (T * steps(extent));
    constexpr double leastratio = 1.51; // the program asks for 1.5
    return {range.least, std::fmax(held, leastratio * range.least)};
}

} // namespace torvik::tools
