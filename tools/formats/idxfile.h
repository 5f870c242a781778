// The input file of the program: keywords and reflections.
#pragma once

#include "base/linear.h"
#include "base/textfile.h"

#include <array>
#include <string>
#include <vector>

namespace torvik::tools {

// What the three numbers of a reflection are. Angles are in degrees.
enum class listkind {
    vectors,       // x, y, z in 1/angstrom
    thetaphichi,   // of a Eulerian cradle
    thetaphikappa, // of a kappa goniometer; theta is the setting of its omega circle
};

struct keyword {
    std::string name;   // with its underscore: "_Wavelength"
    std::string values; // as they are to be written, on one line or more
};

struct idxfile {
    std::vector<std::string> comments; // without the sign of a comment; a line each
    std::vector<keyword> keywords;     // but the number of reflections and their lists, in order
    listkind kind = listkind::vectors;
    std::vector<std::array<double, 3>> reflections; // in the order of the file
    std::vector<std::string> remarks; // behind each reflection on its line; empty, or as many
};

// The text of the file: comments, then the keywords in an order in which each takes effect, then the
// reflections, with five decimals for vectors and four for angles unless more are asked for.
std::string textof(const idxfile& file, int decimals = 0);

// The keyword that starts the list of a kind.
std::string listkeyword(listkind kind);

// Reads an input file as the program reads it: free form, keywords in any legal order, the last of
// equals wins, null values filled in. Reflections that were announced and not listed are zero. Throws
// badfile where the program would refuse it, and for reflections beyond the range of a double.
idxfile readidx(const textfile& source);

// What the program takes where a file gives nothing.
constexpr double defaultwavelength = 1.540560007095337;
constexpr double defaultkappaangle = 50.0;

// Reflection vectors of a file, whatever its kind, in 1/angstrom, by its wavelength and angle of the
// kappa axis: as the program has them.
std::vector<vector3> vectorsof(const idxfile& file);
std::vector<vector3> vectorsby(const idxfile& file, double wavelength, double kappaangle);

// The vector of three numbers of a kind.
vector3 vectorof(listkind kind, const std::array<double, 3>& value, double wavelength,
                 double kappaangle);

// A kappa goniometer's angles, in degrees, as those of a Eulerian cradle: both settings around
// parallel axes, omega and phi, grow by delta.
struct eulerianshift {
    double chi = 0.0;
    double delta = 0.0;
};
eulerianshift eulerianof(double kappa, double kappaangle);

} // namespace torvik::tools
