// XDS: the spots of SPOT.XDS, with the geometry of XDS.INP.
#pragma once

#include "readers/reader.h"

namespace torvik::tools {

// XDS.INP is the first of the further files that ends in .inp, else the one in the folder of the spots.
// A centre given takes the place of ORGX and ORGY.
extern const reader xdsreader;

// What the two texts give. Throws badfile for the one that is wrong.
measurement xdsmeasurement(const textfile& spots, const textfile& parameters,
                           const readeroptions& options);

} // namespace torvik::tools
