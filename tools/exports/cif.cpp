// CIF: cell and orientation matrix.

#include "exports/exporter.h"

#include "base/table.h"

namespace torvik::tools {

namespace {

// The name of a data block: letters, digits and underscores.
std::string blockname(const std::string& input)
{
    std::string name = input.substr(0, input.rfind('.'));
    for (char& c : name) {
        const bool plain =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (!plain) c = '_';
    }
    constexpr std::size_t longest = 70; // a line of CIF 1.0 has 80 characters
    return name.empty() ? "torvik" : name.substr(0, longest);
}

// A name and its value, which stands in apostrophes if it has blanks.
std::string pair(const std::string& name, const std::string& value)
{
    constexpr std::size_t width = 34;
    const std::string blanks(name.size() < width ? width - name.size() : 1, ' ');
    const bool quoted = value.find(' ') != std::string::npos;
    return name + blanks + (quoted ? "'" + value + "'" : value) + "\n";
}

} // namespace

// _diffrn_orient_matrix_UB_ij is row i, column j of the matrix that makes the reflection vector, in
// 1/angstrom without 2 pi, of the column h k l.
std::string ciftext(const exportinput& input)
{
    constexpr const char* names[] = {"length_a",    "length_b",   "length_c",
                                     "angle_alpha", "angle_beta", "angle_gamma"};
    std::string text = "data_" + blockname(input.results.input) + "\n";
    text += pair("_audit_creation_method", "torvik-tools " TORVIK_VERSION);
    for (std::size_t i = 0; i < 6; ++i)
        text += pair(std::string("_cell_") + names[i], fixed(input.crystal.cell[i], i < 3 ? 5 : 4));
    text += pair("_cell_volume", fixed(input.crystal.volume, 3));
    if (input.wavelength) text += pair("_diffrn_radiation_wavelength", fixed(*input.wavelength, 5));
    text += "_diffrn_orient_matrix_type\n"
            ";\n"
            "The column h k l, multiplied by UB from the left, gives the column x y z in\n"
            "reciprocal angstroms, without a factor of 2 pi. The columns of UB are a*, b*, c*.\n"
            ";\n";
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            text +=
                pair("_diffrn_orient_matrix_UB_" + std::to_string(i + 1) + std::to_string(j + 1),
                     fixed(input.crystal.UB[i][j], 9));
    return text;
}

} // namespace torvik::tools
