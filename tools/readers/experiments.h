// The instrument as DIALS describes it: .expt.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"

#include <optional>
#include <vector>

namespace torvik::tools {

// A plane of the detector, in millimetres; its place in the laboratory, whatever it hangs on.
struct detectorpanel {
    vector3 origin; // the corner of the first pixel
    vector3 fast;
    vector3 slow;
    double fastsize = 0.0; // of a pixel
    double slowsize = 0.0;
    double attenuation =
        0.0;                // of the sensor, per millimetre; 0 if a spot lies where its beam enters
    double thickness = 0.0; // of the sensor
};

// R(angle) takes the crystal to where it is at an angle: setting * turn about the axis * fixed.
struct rotationscan {
    matrix3 fixed;
    matrix3 setting;
    vector3 axis;            // of length 1
    double firstframe = 0.0; // the number at which the frames of the table begin
    double firstangle = 0.0; // degrees, at its start
    double framewidth = 0.0; // degrees
    bool still = true;       // there is no scan: the angle is zero
};

struct dialsinstrument {
    vector3 beam; // the way that it travels, of length 1
    std::optional<double> wavelength;
    std::vector<detectorpanel> panels;
    rotationscan rotation;
    std::vector<bool> sharing; // for each experiment, whether this is its instrument as well
    int imageset = -1;         // of the first experiment
};

// Reads the instrument of the first experiment. Throws badfile.
dialsinstrument readexperiments(const textfile& source);

} // namespace torvik::tools
