// DIALS: the reflections of a .refl, with the instrument of its .expt.
#pragma once

#include "readers/experiments.h"
#include "readers/reader.h"
#include "readers/reflectiontable.h"

namespace torvik::tools {

// The .expt is the first of the further files that ends in .expt or .json; else the one beside that
// bears the name of the .refl, or that with "imported" for "strong". It is not needed if the table has
// reciprocal-lattice points.
extern const reader dialsreader;

// The reflections of a table, turned back to all rotations at zero. Where it has reciprocal-lattice
// points and no other wavelength is asked for, these are taken, and no instrument is needed. The
// names are for messages.
measurement dialsmeasurement(const std::string& name, const reflectiontable& table,
                             const dialsinstrument* given, const readeroptions& options);

} // namespace torvik::tools
