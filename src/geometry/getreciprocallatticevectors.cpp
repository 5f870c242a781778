#include "geometry/getreciprocallatticevectors.h"

#include "numeric/constants.h"
#include "text/pause.h"
#include "text/units.h"

#include <cmath>

namespace torvik {

void duisenberg(double wavelength, double& theta, double& phi, double& chi, vector3& vector)
{
    theta = theta * degreestoradians;
    phi = phi * degreestoradians;
    chi = chi * degreestoradians;
    const double r = 2.0 * std::sin(theta) / wavelength;
    vector(1) = -(std::sin(phi) * (std::cos(chi) * r));
    vector(2) = std::cos(phi) * (std::cos(chi) * r);
    vector(3) = std::sin(chi) * r;
}

void rlvfromkappageometry(double wavelength, double angleofkappaaxis, double& theta, double& phi,
                          double& kappa, vector3& vector)
{
    // 1.
    theta = theta * degreestoradians;
    phi = phi * degreestoradians;
    kappa = kappa * degreestoradians;
    const double alpha = angleofkappaaxis * degreestoradians;
    // 2. Deliberate: theta is shifted together with phi.
    double eulerphi = 0.0;
    double eulertheta = 0.0;
    double chi = 0.0;
    kappa2euler(phi, theta, kappa, alpha, eulerphi, eulertheta, chi);
    // 3., 4.
    eulerphi = eulerphi * radianstodegrees;
    eulertheta = eulertheta * radianstodegrees;
    chi = chi * radianstodegrees;
    duisenberg(wavelength, eulertheta, eulerphi, chi, vector);
}

void kappa2euler(double first, double second, double kappa, double alpha, double& first_out,
                 double& second_out, double& chi_out)
{
    const double s = std::sin(alpha);
    const double c = std::cos(alpha);
    const double d = std::sin(-kappa / 2.0) * s;
    if (std::fabs(d) > 1.0) { // cannot happen for finite angles: a product of two sines
        writefreeline(terminalunit, "ERROR : The angle of kappa axis incompatible with the data.");
        pauseprogram();
    }
    const double e = std::cos(kappa / 2.0) * s;
    chi_out = -2.0 * std::asin(d);
    const double delta = std::atan2(d * c, e);
    first_out = first + delta;
    second_out = second + delta;
}

void euler2kappa(double first, double second, double chi, double alpha, double& first_out,
                 double& second_out, double& kappa_out)
{
    const double s2 = std::sin(alpha) * std::sin(alpha);
    const double c = std::cos(alpha);
    const double d = -std::sin(chi / 2.0);
    if (d * d > s2) {
        writefreeline(terminalunit, "ERROR : |ChiE| is greater than 2 * Angle Of Kappa Axis");
        pauseprogram();
    }
    const double r = std::sqrt(s2 - d * d);
    kappa_out = -2.0 * std::atan2(d, r);
    const double delta = std::atan2(d * c, r);
    first_out = first - delta;
    second_out = second - delta;
}

} // namespace torvik
