#include "exports/orientation.h"

#include "base/failure.h"

#include <cmath>
#include <string>

namespace torvik::tools {

orientation orientationof(const solution& chosen)
{
    const double signedvolume = chosen.basis.determinant();
    constexpr double leastvolume = 1e-6; // cubic angstroms; the basis is printed to 1e-8 angstroms
    if (!std::isfinite(signedvolume) || std::fabs(signedvolume) < leastvolume)
        throw failure("Solution " + std::to_string(chosen.number) + " has no volume.");
    orientation one;
    one.turned = signedvolume < 0.0;
    one.basis = one.turned ? scaled(chosen.basis, -1.0) : chosen.basis;
    one.UB = one.basis.inverse();
    one.cell = cell_of(one.basis);
    one.volume = std::fabs(signedvolume);
    return one;
}

} // namespace torvik::tools
