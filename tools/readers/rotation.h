// Directions, and turning about them.
#pragma once

#include "base/linear.h"

#include <cmath>

namespace torvik::tools {

// The vector, turned by an angle in degrees about an axis of length 1, as a right-handed screw
// (Rodrigues, 1840).
inline vector3 rotated(const vector3& x, const vector3& axis, double degrees)
{
    const double angle = gemmi::rad(std::fmod(degrees, 360.0));
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return x * c + axis.cross(x) * s + axis * (axis.dot(x) * (1.0 - c));
}

// The way from the origin to a place: of length 1, or not a number for a place that is infinite.
inline vector3 towards(const vector3& place)
{
    const double length = std::hypot(place.x, place.y, place.z);
    return {place.x / length, place.y / length, place.z / length};
}

inline bool isfinite(const vector3& x)
{
    return std::isfinite(x.x) && std::isfinite(x.y) && std::isfinite(x.z);
}

} // namespace torvik::tools
