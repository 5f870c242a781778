// The angles at which a diffractometer finds a reflection.
#pragma once

#include "base/linear.h"

#include <array>

namespace torvik::tools {

// Angles of a reflection vector in degrees: theta, phi and chi of a Eulerian cradle, theta, phi and
// kappa of a kappa goniometer (theta of its omega circle, which the angle kappa shifts like phi).
// Not numbers for a vector that is longer than 2 / wavelength, or that kappa cannot reach: an axis at
// 45 degrees and more reaches all.
std::array<double, 3> eulerianangles(const vector3& v, double wavelength);
std::array<double, 3> kappaangles(const vector3& v, double wavelength, double kappaaxis);

} // namespace torvik::tools
