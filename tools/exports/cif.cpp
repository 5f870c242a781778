// CIF: cell and orientation matrix.

#include "exports/exporter.h"

#include "base/table.h"

#include <gemmi/to_cif.hpp>

#include <sstream>

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
    return name.empty() ? "torvik" : name;
}

} // namespace

// _diffrn_orient_matrix_UB_ij is row i, column j of the matrix that makes the reflection vector, in
// 1/angstrom without 2 pi, of the column h k l.
std::string ciftext(const exportinput& input)
{
    namespace cif = gemmi::cif;
    cif::Document file;
    cif::Block& block = file.add_new_block(blockname(input.results.input));
    const auto set = [&](const std::string& tag, double value, int decimals) {
        block.set_pair(tag, fixed(value, decimals));
    };
    block.set_pair("_audit_creation_method", cif::quote("torvik-tools " TORVIK_VERSION));
    constexpr const char* names[] = {"length_a",    "length_b",   "length_c",
                                     "angle_alpha", "angle_beta", "angle_gamma"};
    for (std::size_t i = 0; i < 6; ++i)
        set(std::string("_cell_") + names[i], input.crystal.cell[i], i < 3 ? 5 : 4);
    set("_cell_volume", input.crystal.volume, 3);
    if (input.wavelength) set("_diffrn_radiation_wavelength", *input.wavelength, 5);
    block.set_pair("_diffrn_orient_matrix_type",
                   cif::quote("(x y z) = UB (h k l), a* b* c* in columns, 1/angstrom, no 2 pi"));
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            set("_diffrn_orient_matrix_UB_" + std::to_string(i + 1) + std::to_string(j + 1),
                input.crystal.UB[i][j], 9);
    std::ostringstream out;
    cif::write_cif_to_stream(out, file, cif::Style::Indent35);
    return out.str();
}

} // namespace torvik::tools
