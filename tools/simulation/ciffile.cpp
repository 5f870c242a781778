#include "simulation/ciffile.h"

#include "base/failure.h"
#include "solver/lattice/invalid_input.h"

#include <gemmi/cif.hpp>
#include <gemmi/numb.hpp>
#include <gemmi/symmetry.hpp>

#include <cstdio>
#include <optional>
#include <string>

namespace torvik::tools {

namespace {

namespace cif = gemmi::cif;

constexpr const char* edges[] = {"_cell_length_a",    "_cell_length_b",   "_cell_length_c",
                                 "_cell_angle_alpha", "_cell_angle_beta", "_cell_angle_gamma"};

// Older names, newer ones, and those with a point of the macromolecular dictionary.
constexpr const char* names[] = {"_space_group_name_H-M_alt", "_symmetry_space_group_name_H-M",
                                 "_space_group.name_H-M_alt", "_symmetry.space_group_name_H-M",
                                 "_space_group_IT_number",    "_symmetry_Int_Tables_number",
                                 "_space_group.IT_number",    "_symmetry.Int_Tables_number"};
constexpr const char* operations[] = {"_space_group_symop_operation_xyz",
                                      "_symmetry_equiv_pos_as_xyz",
                                      "_space_group_symop.operation_xyz"};

// "NAME:3:1: what" as the parser has it, or "NAME:3:1(40): what".
[[noreturn]] void refuse(const textfile& source, const std::string& message)
{
    const std::string start = source.name() + ":";
    const bool placed = message.compare(0, start.size(), start) == 0;
    const std::string place = placed ? message.substr(source.name().size()) : "";
    unsigned long line = 0;
    unsigned long column = 0;
    if (std::sscanf(place.c_str(), ":%lu:%lu", &line, &column) != 2) source.fail(0, 0, message);
    const std::size_t colon = place.find(": ");
    source.fail(line, column, "this is no CIF: " + place.substr(colon + 2));
}

cif::Document parsed(const textfile& source)
{
    try {
        return cif::read_memory(source.text().data(), source.text().size(), source.name().c_str());
    } catch (const std::exception& why) {
        refuse(source, why.what());
    }
}

// A tag of small structures, or the same with a point: "_cell.length_a".
std::optional<std::string> valueof(const cif::Block& block, std::string tag)
{
    const std::string* value = block.find_value(tag);
    if (value == nullptr && tag.compare(0, 6, "_cell_") == 0) {
        tag[5] = '.';
        value = block.find_value(tag);
    }
    if (value == nullptr || cif::is_null(*value)) return std::nullopt;
    return cif::as_string(*value);
}

cell_parameters cellof(const textfile& source, const cif::Block& block)
{
    cell_parameters cell = {};
    for (std::size_t i = 0; i < cell.size(); ++i) {
        const auto value = valueof(block, edges[i]);
        if (!value) source.fail(0, 0, std::string("there is no value for ") + edges[i]);
        cell[i] = cif::as_number(*value); // "7.713(5)" is 7.713
        if (!std::isfinite(cell[i]))
            source.fail(0, 0,
                        std::string("expected a number for ") + edges[i] + ", found '" + *value
                            + "'");
    }
    try {
        check_cell(cell);
    } catch (const invalid_input& why) {
        throw failure(source.name() + ": " + why.what());
    }
    return cell;
}

std::optional<char> centringbyname(const cif::Block& block, const cell_parameters& cell)
{
    for (const char* tag : names) {
        const auto name = valueof(block, tag);
        if (!name) continue;
        const gemmi::SpaceGroup* group = gemmi::find_spacegroup_by_name(*name, cell[3], cell[5]);
        if (group == nullptr) continue;
        if (group->hm[0] == 'R' && cell[5] < 1.125 * cell[3]) return 'P'; // rhombohedral axes
        return group->hm[0];
    }
    return std::nullopt;
}

std::optional<char> centringbyoperations(cif::Block& block)
{
    for (const char* tag : operations) {
        gemmi::GroupOps group;
        try {
            for (const std::string& triplet : block.find_values(tag))
                group.sym_ops.push_back(gemmi::parse_triplet(cif::as_string(triplet)));
        } catch (const std::exception&) {
            continue;
        }
        if (group.sym_ops.empty()) continue;
        const gemmi::GroupOps sorted = gemmi::split_centering_vectors(group.sym_ops);
        return sorted.find_centering();
    }
    return std::nullopt;
}

} // namespace

centred_cell readcifcell(const textfile& source)
{
    cif::Document document = parsed(source);
    for (cif::Block& block : document.blocks) {
        if (!valueof(block, edges[0])) continue;
        centred_cell found{cellof(source, block), 'P'};
        auto centring = centringbyname(block, found.cell);
        if (!centring) centring = centringbyoperations(block);
        if (!centring)
            source.fail(0, 0, "it names no known space group, and lists no symmetry operations");
        if (std::string_view("PABCIFR").find(*centring) == std::string_view::npos)
            source.fail(0, 0, "its centring is none of P, A, B, C, I, F and R (obverse)");
        found.centring = *centring;
        return found;
    }
    source.fail(0, 0, "there is no cell: expected _cell_length_a");
}

} // namespace torvik::tools
