// Diffractometer angles to reciprocal-lattice vectors.
#pragma once

#include "numeric/arrays.h"

// Vectors are in the laboratory frame of the diffractometer with all circles at zero; their unit is
// the inverse of the wavelength's. The conversions use the single-precision angle factors of
// numeric/constants.h.
//
// Source: W. R. Busing & H. A. Levy, Acta Cryst. 22, 457 (1967), for the Eulerian cradle.

namespace torvik {

// Gives the reciprocal-lattice vector of a reflection measured on an Eulerian cradle.
//
// Given:               wavelength        any length unit, greater than 0
// Given and returned:  theta, phi, chi   degrees; radians on return, so pass scratch variables
// Returned:            vector            length 2 sin(theta) / wavelength
void duisenberg(double wavelength, double& theta, double& phi, double& chi, vector3& vector);

// Gives the reciprocal-lattice vector of a reflection measured on a kappa goniometer.
//
// Given:               wavelength          any length unit, greater than 0
//                      angleofkappaaxis    degrees
// Given and returned:  theta, phi, kappa   degrees; radians on return, so pass scratch variables
// Returned:            vector              length 2 sin(theta + delta) / wavelength
//
// Deliberate: the given theta is the omega angle of the goniometer; the conversion to Eulerian
// angles shifts it by delta like phi.
void rlvfromkappageometry(double wavelength, double angleofkappaaxis, double& theta, double& phi,
                          double& kappa, vector3& vector);

// Converts kappa-goniometer angles to Eulerian ones.
//
// Given:     first, second           the two angles that the conversion shifts, radians
//            kappa                   radians
//            alpha                   angle of the kappa axis, radians
// Returned:  first_out, second_out   the shifted angles, radians
//            chi_out                 Eulerian chi, radians
void kappa2euler(double first, double second, double kappa, double alpha, double& first_out,
                 double& second_out, double& chi_out);

// Converts Eulerian angles to kappa-goniometer ones: the inverse of kappa2euler.
//
// Given:     first, second           the two angles that the conversion shifts, radians
//            chi                     radians
//            alpha                   angle of the kappa axis, radians
// Returned:  first_out, second_out   the shifted angles, radians
//            kappa_out               radians
//
// A |chi| beyond twice alpha cannot be reached with the kappa axis: a message is printed and the
// program pauses; if the user resumes, the angles are not numbers.
//
// Deliberate: kept for completeness, though nobody calls it.
void euler2kappa(double first, double second, double chi, double alpha, double& first_out,
                 double& second_out, double& kappa_out);

} // namespace torvik
