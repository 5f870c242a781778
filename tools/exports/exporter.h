// Files that take a solution to other programs.
#pragma once

#include "base/linear.h"
#include "exports/orientation.h"
#include "formats/resultsfile.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torvik::tools {

// What a file is made of.
struct exportinput {
    resultsfile results;
    int chosen = 1; // number of the solution in the first list
    orientation crystal;
    std::optional<double>
        wavelength;               // angstroms, of the input file if it stands beside the results
    std::vector<vector3> vectors; // its reflections, if it does: as many as the results have
};

// A kind of file. Each writes a, b, c or a*, b*, c* in the frame of the reflection vectors, which is
// that of the program they came from; ISAW's matrices alone have other axes than its peaks.
struct exportformat {
    const char* name;        // of --to: "ubi"
    const char* extension;   // ".ubi"
    const char* description; // a line for the help
    std::string (*textof)(const exportinput& input);
};

// All kinds, in the order of the help.
const std::vector<exportformat>& exportformats();

// The kind of a name. Throws a failure with the known names if it is none.
const exportformat& exportformatof(std::string_view name);

std::string ubitext(const exportinput& input);
std::string rmattext(const exportinput& input);
std::string mattext(const exportinput& input);
std::string p4ptext(const exportinput& input);
std::string crystfeltext(const exportinput& input);
std::string expttext(const exportinput& input);
std::string ciftext(const exportinput& input);
std::string jsontext(const exportinput& input);

} // namespace torvik::tools
