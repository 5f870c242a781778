#include "truth/crystals.h"

#include "simulation/goniometer.h"

#include <array>
#include <cstdio>

namespace torvik {

namespace {

constexpr double wavelength = 0.71073; // molybdenum K alpha; reaches d spacings of 0.36
constexpr double kappaaxis = 50.0;

tools::vector3 ofthetools(const vector3& v)
{
    return {v(1), v(2), v(3)};
}

vector3 intypes(const std::array<double, 3>& angles)
{
    return {{angles[0], angles[1], angles[2]}};
}

std::string text(const char* format, double x)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, format, x);
    return buffer;
}

std::string line(const char* format, const vector3& v)
{
    return text(format, v(1)) + " " + text(format, v(2)) + " " + text(format, v(3)) + "\n";
}

} // namespace

vector3 intypes(const tools::vector3& v)
{
    return {{v.x, v.y, v.z}};
}

matrix3 intypes(const tools::matrix3& D)
{
    matrix3 same = {};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) same(i, j) = D[i - 1][j - 1];
    return same;
}

sample samplefor(const experiment& asked, randomnumbers& random)
{
    tools::simulationrequest request;
    request.system = asked.lattice.system;
    request.centring = asked.lattice.centring;
    request.volume = asked.volume;
    request.reflections = asked.reflections;
    request.noise = asked.noise;
    request.wrong = nint(asked.wrong * asked.reflections);
    const tools::simulated made = tools::simulate(request, random);

    sample result;
    result.conventional = intypes(made.truth().conventional);
    result.truth = intypes(made.truth().primitive);
    result.shortest = made.shortest;
    for (const tools::simulatedreflection& one : made.reflections) {
        result.reflections.push_back(intypes(one.measured));
        result.genuine.push_back(one.genuine());
    }
    result.smallestvolume = made.smallestvolume;
    result.largestvolume = made.largestvolume;
    return result;
}

vector3 eulerianangles(const vector3& v, double lambda)
{
    return intypes(tools::eulerianangles(ofthetools(v), lambda));
}

vector3 kappaangles(const vector3& v, double lambda, double axis)
{
    return intypes(tools::kappaangles(ofthetools(v), lambda, axis));
}

std::string inputfor(const experiment& asked, const sample& made, int extent)
{
    std::string input = std::string("# ") + asked.lattice.system + " " + asked.lattice.centring
                        + ", primitive volume " + text("%.1f", asked.volume) + ", noise "
                        + text("%.3f", asked.noise) + ", wrong " + text("%.2f", asked.wrong)
                        + "; the direct basis:\n";
    for (int i = 1; i <= 3; ++i) input += "# " + line("%11.6f", rowof(made.truth, i));
    input += "_ExtentOfTheSearch\n" + std::to_string(extent) + "\n";
    input += "_MinMaxVolumeOfPrimitiveCell\n" + text("%.1f", made.smallestvolume) + " "
             + text("%.1f", made.largestvolume) + "\n";
    if (asked.kind != inputkind::vectors)
        input += "_Wavelength\n" + text("%.5f", wavelength) + "\n";
    if (asked.kind == inputkind::thetaphikappa)
        input += "_AngleOfKappaAxis\n" + text("%.1f", kappaaxis) + "\n";
    input += "_NumberOfReflections\n" + std::to_string(made.reflections.size()) + "\n";
    if (asked.kind == inputkind::vectors) input += "_Reflections\n";
    if (asked.kind == inputkind::thetaphichi) input += "_ReflectionsThetaPhiChi\n";
    if (asked.kind == inputkind::thetaphikappa) input += "_ReflectionsThetaPhiKappa\n";
    for (const vector3& v : made.reflections) {
        if (asked.kind == inputkind::vectors) input += line("%10.6f", v);
        if (asked.kind == inputkind::thetaphichi)
            input += line("%10.4f", eulerianangles(v, wavelength));
        if (asked.kind == inputkind::thetaphikappa)
            input += line("%10.4f", kappaangles(v, wavelength, kappaaxis));
    }
    return input;
}

} // namespace torvik
