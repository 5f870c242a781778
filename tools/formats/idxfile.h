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
// equals wins. Throws badfile where the program would refuse it.
idxfile readidx(const textfile& source);

// Reflection vectors of a file, whatever its kind, in 1/angstrom, by its wavelength and angle of the
// kappa axis.
std::vector<vector3> vectorsof(const idxfile& file);

} // namespace torvik::tools
