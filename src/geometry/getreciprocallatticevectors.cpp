#include "geometry/getreciprocallatticevectors.h"

#include "numeric/constants.h"
#include "numeric/functions.h"
#include "text/pause.h"
#include "text/units.h"

#include <cmath>

namespace torvik {

void duisenberg(double wavelength, double& theta, double& phi, double& chi, vector3& vector)
{
    theta = theta * degreestoradians;
    phi = phi * degreestoradians;
    chi = chi * degreestoradians;
    const double r = 2.0 * sine(theta) / wavelength;
    vector(1) = -(sine(phi) * (cosine(chi) * r));
    vector(2) = cosine(phi) * (cosine(chi) * r);
    vector(3) = sine(chi) * r;
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
    const double s = sine(alpha);
    const double c = cosine(alpha);
    const double d = sine(-kappa / 2.0) * s;
    if (std::fabs(d) > 1.0) { // cannot happen for finite angles: a product of two sines
        writefreeline(terminalunit, "ERROR : The angle of kappa axis incompatible with the data.");
        pauseprogram();
    }
    const double e = cosine(kappa / 2.0) * s;
    chi_out = -2.0 * arcsine(d);
    const double delta = arctangent(d * c, e);
    first_out = first + delta;
    second_out = second + delta;
}

void euler2kappa(double first, double second, double chi, double alpha, double& first_out,
                 double& second_out, double& kappa_out)
{
    const double s2 = sine(alpha) * sine(alpha);
    const double c = cosine(alpha);
    const double d = -sine(chi / 2.0);
    if (d * d > s2) {
        writefreeline(terminalunit, "ERROR : |ChiE| is greater than 2 * Angle Of Kappa Axis");
        pauseprogram();
    }
    const double r = std::sqrt(s2 - d * d);
    kappa_out = -2.0 * arctangent(d, r);
    const double delta = arctangent(d * c, r);
    first_out = first - delta;
    second_out = second - delta;
}

} // namespace torvik
