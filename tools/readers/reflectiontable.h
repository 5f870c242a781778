// The tables in which DIALS keeps reflections: .refl.
#pragma once

#include "base/linear.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace torvik::tools {

// The columns that are of use here; a column that the file does not have is empty, else it has a value
// for every row.
struct reflectiontable {
    std::size_t rows = 0;
    std::vector<int> experiment;           // id; -1 for a reflection that no experiment has
    std::vector<int> imageset;             // imageset_id
    std::vector<std::uint64_t> panel;      // counts from 0
    std::vector<vector3> pixels;           // xyzobs.px.value: fast, slow, frame, from 0
    std::vector<vector3> millimetres;      // xyzobs.mm.value: fast, slow, angle in radians
    std::vector<vector3> rlp;              // reciprocal-lattice points, 1/angstrom
    std::vector<std::array<int, 3>> index; // miller_index
    std::vector<double> intensity;         // intensity.sum.value
};

// Whether bytes begin as such a table does.
bool looksreflectiontable(std::string_view start);

// Reads the bytes of a file: msgpack's array of a name, a version, and a map with the number of rows
// and the columns, each with its type and its values as they lie in memory, least byte first. Throws
// badfile.
reflectiontable readreflectiontable(const std::string& name, std::string_view bytes);

} // namespace torvik::tools
