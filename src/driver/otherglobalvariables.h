// Data group: the run parameters.
#pragma once

#include "numeric/arrays.h"

// Written by fix_defaults and fix_parameter while the input is read; initializingvolumes2 stores
// the volume range if it has to determine it. Read by everyone.

namespace torvik {

inline struct otherglobalvariables_group {
    // Wavelength of the radiation, greater than 0; its length unit is free and carries over to the
    // cell. Deliberate: a single-precision 1.54056 (copper K alpha 1, angstrom), widened.
    double wavelength = 1.540560007095337;

    // Angle between the kappa axis and the omega axis of a kappa goniometer, degrees.
    double angleofkappaaxis = 50.0;

    // Choice of periodogram, -4..4: see computeperiodogram.
    int itypeofperiodogram = 0;

    // Largest Miller index accepted, 4..100.
    int maxallowedmillerindex = 100;

    // True once the user gave volume limits.
    bool limitsonvolumeofprimitivecell = false;

    // Limits on the volume of the primitive direct cell. The defaults, the epsilon and the largest
    // number of single precision, stand for no limit.
    double minvolumeofprimitivecell = 1.1920928955078125e-07;
    double maxvolumeofprimitivecell = 3.4028234663852886e+38;

    // True when the test volumes were given in the input.
    bool userprovidedvolumes = false;

    // Fraction of the reflections that must support a solution, 1e-7..1.
    double fractionofsupportingreflections = 0.5;

    // Extent of the basis search, 0..5.
    int iextentofthesearch = 2;

    // Largest deviation of a Miller index from an integer, 0.03..0.3.
    double themaincriterion = 0.12;

    // Order of the results file: 0 quality, 1 volume, 2 both, 3 both and relationships.
    int sortsolutionsbyqualityvsvolume = 0;

    // 0: no LePage.inp; 1..128: write it with at most that many solutions.
    int isave_lepage = 0;
} otherglobalvariables;

} // namespace torvik
