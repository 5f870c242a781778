#include "simulation/goniometer.h"

#include "numeric/functions.h"

#include <numbers>

namespace torvik::tools {

namespace {

constexpr double radians = std::numbers::pi / 180.0;

} // namespace

std::array<double, 3> eulerianangles(const vector3& v, double wavelength)
{
    const double length = v.length();
    return {arcsine(wavelength * length / 2.0) / radians, arctangent(-v.x, v.y) / radians,
            arcsine(v.z / length) / radians};
}

std::array<double, 3> kappaangles(const vector3& v, double wavelength, double kappaaxis)
{
    const auto [theta, phi, chi] = eulerianangles(v, wavelength);
    const double d = -sine(chi * radians / 2.0);
    const double s = sine(kappaaxis * radians);
    const double r = std::sqrt(s * s - d * d);
    const double delta = arctangent(d * cosine(kappaaxis * radians), r) / radians;
    return {theta - delta, phi - delta, -2.0 * arctangent(d, r) / radians};
}

} // namespace torvik::tools
