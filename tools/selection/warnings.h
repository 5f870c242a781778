// What will make a run fail, told before it.
#pragma once

#include "base/linear.h"
#include "selection/estimate.h"
#include "selection/outlook.h"

#include <optional>
#include <string>
#include <vector>

namespace torvik::tools {

// What is told of the reflections that go into an input file.
struct runsubject {
    std::vector<vector3> vectors;           // of these reflections, in 1/angstrom
    runparameters parameters;               // of the file
    std::optional<volumeestimate> estimate; // from all that were measured, before any were left out
    int available = 0;                      // reflections that could have been taken
    bool angles = false;                    // their lengths are right by themselves
};

// Sentences, none if nothing stands against the run. Each of these gives the sentence or nothing.
std::vector<std::string> warningsof(const runsubject& subject);

// Fewer than six directions, r and -r being one and 2 degrees apart at least. Any three give a
// lattice; it takes three more to tell a right one from the many that are tried: each is indexed by
// chance with a probability of (2 * 0.12)^3, or 1.4 %, so three with 3 in a million.
std::optional<std::string> fewdirections(const std::vector<vector3>& vectors);

// All within some 2 degrees of one plane: the third axis rests on the errors alone.
std::optional<std::string> flat(const std::vector<vector3>& vectors);

// A count of reflections with which no peak is found; `available` are there to choose from.
std::optional<std::string> badcount(int reflections, int available,
                                    const runparameters& parameters);

// A range of volumes that ends below the cell that neighbouring vectors span, or begins above thirty
// times that.
std::optional<std::string> narrowrange(const volumerange& range, const volumeestimate& estimate);

// A range for which the table of test periods is too short.
std::optional<std::string> cuttable(const volumerange& range, const std::vector<vector3>& vectors,
                                    const runparameters& parameters);

// Vectors too long or too short for 1/angstrom without 2 pi:
// - longer than 2/wavelength, which no reflection is, where the wavelength is known;
// - longer than 4/angstrom: spacings below 0.25 angstroms are beyond the radiations in use (Ag K-alpha
//   ends at 0.28);
// - cells below 8 cubic angstroms, where neighbourhoods agree so well (quartiles within 1.3) that they
//   are complete: no crystal has less (that of diamond has 11, of beryllium 16);
// - all shorter than 0.1/angstrom: such a crystal shows nothing closer than 10 angstroms.
std::optional<std::string> wrongunit(const runsubject& subject);

} // namespace torvik::tools
