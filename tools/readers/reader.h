// What the readers of foreign files have in common.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"
#include "formats/idxfile.h"

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torvik::tools {

// A measured reflection.
struct spot {
    std::array<double, 3> value = {};      // vector or angles, by the kind of the list
    std::optional<double> intensity;       // in the file's unit
    std::optional<std::array<int, 3>> hkl; // if the file gives indices: for checks alone
    std::string where;                     // "line 12", "row 3": for messages
    std::optional<int> image = {};         // its number; neighbours of a scan differ by 1
    // Of length 1, along the diffracted beam, in the frame of the vector: the normal of the Ewald sphere.
    std::optional<vector3> normal = {};
};

// What a file gives: in 1/angstrom without 2 pi, in a frame fixed to the crystal.
struct measurement {
    listkind kind = listkind::vectors;
    std::vector<spot> spots;
    std::optional<double> wavelength;          // angstroms; for angles it is needed
    std::optional<double> kappaangle;          // degrees
    std::optional<std::array<double, 6>> cell; // if the file gives one: for comments alone
    std::string frame;                         // a sentence: what x, y, z are
    std::vector<std::string> notes;            // sentences for the file's comments and the user
    std::vector<keyword> keywords;             // of an .idx file: kept, but for what is above
    std::vector<std::string> comments;         // of an .idx file: kept
};

// What is asked of a reader beyond the file.
struct readeroptions {
    std::vector<std::filesystem::path> others;   // further files: XDS.INP, imported.expt
    std::optional<std::array<double, 2>> centre; // ORGX, ORGY in pixels, in place of the file's
    std::optional<double> wavelength;
    std::optional<double> kappaangle;
};

// A kind of file. All readers throw badfile, with the line and column, and say what was expected.
struct reader {
    const char* name;        // of --format: "p4p"
    const char* description; // a line for the help
    // Says whether a text looks like this kind, by its content: the start of it is enough.
    bool (*recognises)(std::string_view start, const std::filesystem::path& path);
    measurement (*read)(const std::filesystem::path& path, const readeroptions& options);
};

// All kinds, in the order in which they are tried: the most particular first, plain text last.
const std::vector<reader>& readers();

// Reads a file of a kind, or, if the kind is empty, of the first one that recognises it. Throws a
// failure with the known kinds if none does. What it gives has at least one spot; all are vectors
// of a finite length above 0.
measurement readmeasurement(const std::filesystem::path& path, std::string_view kind,
                            const readeroptions& options);

// Leaves out spots of length 0, with a note. Throws a failure for one of infinite length, or if none
// is left.
void checkmeasurement(measurement& measured, const std::string& name);

// Vectors of the spots, whatever their kind.
std::vector<vector3> vectorsof(const measurement& measured);

} // namespace torvik::tools
