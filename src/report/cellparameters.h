// Lengths, angles and volume of the cell of a direct basis, as the reports print them.
#pragma once

#include "numeric/kernel.h"

namespace torvik {

struct cellparameters {
    vector3 length; // |a|, |b|, |c|, in the unit of the basis
    vector3 angle;  // alpha, beta, gamma, degrees
};

// Gives the cell parameters of a direct basis.
//
// Given:     D   rows a, b, c
cellparameters cellofbasis(const matrix3& D);

} // namespace torvik
