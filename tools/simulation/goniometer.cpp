#include "simulation/goniometer.h"

#include <numbers>

namespace torvik::tools {

namespace {

constexpr double radians = std::numbers::pi / 180.0;

} // namespace

std::array<double, 3> eulerianangles(const vector3& v, double wavelength)
{
    const double length = v.length();
    return {std::asin(wavelength * length / 2.0) / radians, std::atan2(-v.x, v.y) / radians,
            std::asin(v.z / length) / radians};
}

std::array<double, 3> kappaangles(const vector3& v, double wavelength, double kappaaxis)
{
    const auto [theta, phi, chi] = eulerianangles(v, wavelength);
    const double d = -std::sin(chi * radians / 2.0);
    const double s = std::sin(kappaaxis * radians);
    const double r = std::sqrt(s * s - d * d);
    const double delta = std::atan2(d * std::cos(kappaaxis * radians), r) / radians;
    return {theta - delta, phi - delta, -2.0 * std::atan2(d, r) / radians};
}

} // namespace torvik::tools
