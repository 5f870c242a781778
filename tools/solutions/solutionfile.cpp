#include "solutions/solutionfile.h"

#include "base/table.h"
#include "base/terminal.h"
#include "solver/lattice/bravais.h"
#include "solver/lattice/misorientation.h"
#include "solver/lattice/relations.h"
#include "solver/verdict/diagnosis.h"
#include "solver/verdict/uncertainty.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace torvik::tools {

namespace {

using json = nlohmann::ordered_json;

// A cell that was fitted to spots of a detector is seldom better than this.
constexpr double obliquity_accepted = 0.5;

constexpr const char* cell_names[] = {"a", "b", "c", "alpha", "beta", "gamma"};

json json_of(const vector3& x)
{
    return json::array({x.x, x.y, x.z});
}

json json_of(const uncertain_cell& cell)
{
    json values;
    json errors;
    for (std::size_t k = 0; k < 6; ++k) {
        values[cell_names[k]] = cell.cell[k];
        errors[cell_names[k]] = cell.error[k];
    }
    values["volume"] = cell.volume;
    errors["volume"] = cell.volume_error;
    values["uncertainty"] = errors;
    return values;
}

json shift_of(const solver::lattice& one)
{
    return is_shifted(one) ? json(one.shift) : json();
}

json json_of(const solver::lattice& one)
{
    json entry;
    entry["basis"] = one.basis;
    const cell_parameters cell = cell_of(direct_basis(one));
    for (std::size_t k = 0; k < 6; ++k) entry["cell"][cell_names[k]] = cell[k];
    entry["volume"] = std::fabs(direct_basis(one).determinant());
    entry["evidence"] = one.evidence;
    entry["indexed"] = one.indexed;
    entry["sigma"] = one.sigma;
    entry["wrong"] = one.outlier_fraction;
    entry["shift"] = shift_of(one);
    if (one.known >= 0) entry["known"] = one.known;
    if (!one.further.empty()) entry["companions"] = one.further;
    return entry;
}

json json_of(const misorientation& turn)
{
    json entry;
    entry["angle"] = turn.angle;
    entry["axis"] = json_of(turn.axis);
    entry["row"] = nullptr;
    if (turn.direct) entry["row"] = *turn.direct;
    entry["twin"] = turn.twin;
    return entry;
}

// Against the first lattice, if the cell is the same.
std::optional<misorientation> turn_of(const solver::answer& found, std::size_t number)
{
    if (number == 0) return std::nullopt;
    return misorientation_of(direct_basis(found.lattices[0]), direct_basis(found.lattices[number]));
}

std::ptrdiff_t members_of(const solver::answer& found, std::size_t number)
{
    const int lattice = static_cast<int>(number) + 1;
    return std::count_if(found.reflections.begin(), found.reflections.end(),
                         [&](const solver::assignment& one) { return one.lattice == lattice; });
}

json lattices_of(const solver::answer& found)
{
    json entries = json::array();
    for (std::size_t i = 0; i < found.lattices.size(); ++i) {
        json entry = json_of(found.lattices[i]);
        entry["cell"] = json_of(uncertainty_of(found.lattices[i]));
        entry["indexed"] = members_of(found, i);
        const auto turn = turn_of(found, i);
        entry["turn"] = turn ? json_of(*turn) : json();
        entries.push_back(entry);
    }
    return entries;
}

json reflections_of(const solved_measurement& solved)
{
    json entries = json::array();
    for (std::size_t i = 0; i < solved.measured.vectors.size(); ++i) {
        const solver::vec3& q = solved.measured.vectors[i];
        const solver::assignment& of = solved.found.reflections[i];
        json entry;
        entry["vector"] = q;
        entry["hkl"] = nullptr;
        entry["genuine"] = of.inlier;
        entry["lattice"] = nullptr;
        entry["error"] = nullptr;
        if (of.lattice > 0) {
            const auto& one = solved.found.lattices[static_cast<std::size_t>(of.lattice) - 1];
            const vector3 x = direct_basis(one).multiply(unshifted(q, one));
            entry["hkl"] = of.hkl;
            entry["lattice"] = of.lattice;
            entry["error"] = (x - vector3(of.hkl[0], of.hkl[1], of.hkl[2])).length();
        }
        entries.push_back(entry);
    }
    return entries;
}

std::string line_of(const uncertain_cell& cell)
{
    std::string text;
    for (std::size_t k = 0; k < 6; ++k)
        text += (k == 0 ? "" : "  ") + with_uncertainty(cell.cell[k], cell.error[k]);
    return text;
}

std::string line_of(const solver::lattice& one)
{
    std::string text;
    for (const double value : cell_of(direct_basis(one))) text += fixed(value, 2) + "  ";
    return text + "volume " + fixed(std::fabs(direct_basis(one).determinant()), 1) + ", indexed "
           + std::to_string(one.indexed) + ", evidence " + fixed(one.evidence, 1)
           + (one.further.empty() ? ""
                                  : " of " + std::to_string(1 + one.further.size()) + " crystals");
}

std::string coloured(solver::verdict how, bool colourful)
{
    if (how == verdict::solved) return green("Solved.", colourful);
    if (how == verdict::ambiguous) return yellow("Ambiguous.", colourful);
    return red("Refused.", colourful);
}

std::string relation_to_first(const solver::lattice& best, const solver::lattice& next)
{
    const matrix3 first = direct_basis(best);
    const matrix3 other = direct_basis(next);
    if (next.known >= 0 && next.known == best.known)
        if (const auto turn = misorientation_of(first, other)) return sentence_of(*turn);
    constexpr double tolerance = 0.2;
    constexpr int largest = 12;
    const auto related = relation_between(other, first, tolerance, largest);
    if (!related || related->how == kinship::same) return "not related to the first";
    return std::string(related->how == kinship::super ? "a superlattice" : "a sublattice")
           + "'s cell, of index " + std::to_string(related->index);
}

// The highest symmetry that the metric has, and its conventional cell.
std::string bravais_of(const matrix3& basis)
{
    const std::vector<bravais_lattice> possible = bravais_lattices(basis, obliquity_accepted);
    const bravais_lattice& highest = possible.front();
    std::string text = highest.symbol + " ";
    for (const double value : highest.settings.front().cell) text += " " + fixed(value, 2);
    return text + ", to " + fixed(highest.obliquity, 2) + " degrees";
}

std::string evidence_of(const solver::answer& found, std::size_t number)
{
    const solver::lattice& one = found.lattices[number];
    std::string text = "e^" + fixed(one.evidence, 0) + " to 1 against chance";
    if (!one.further.empty()) text += ", of all its crystals";
    if (number == 0 && found.candidates.size() > 1 && std::isfinite(found.lead))
        text += ", e^" + fixed(found.lead, 1) + " to 1 against all other lattices";
    return text;
}

std::string page_of(const solver::answer& found, std::size_t number)
{
    const solver::lattice& one = found.lattices[number];
    const uncertain_cell cell = uncertainty_of(one);
    std::string page;
    if (found.lattices.size() > 1) page += "  Lattice " + std::to_string(number + 1) + "\n";
    page += "  Cell      " + line_of(cell) + "\n";
    page += "  Lattice   " + bravais_of(direct_basis(one)) + "\n";
    page += "  Volume    " + with_uncertainty(cell.volume, cell.volume_error) + "\n";
    page += "  Indexed   " + std::to_string(members_of(found, number)) + " of "
            + std::to_string(found.reflections.size()) + ", to " + fixed(1000.0 * one.sigma, 2)
            + " thousandths of 1/angstrom\n";
    if (is_shifted(one))
        page += "  Shift     " + fixed(one.shift[0], 5) + "  " + fixed(one.shift[1], 5) + "  "
                + fixed(one.shift[2], 5) + " 1/angstrom, common to all vectors\n";
    page += "  Evidence  " + evidence_of(found, number) + "\n";
    if (const auto turn = turn_of(found, number))
        page += "  Turn      " + sentence_of(*turn) + "\n";
    return page;
}

std::string competitors_of(const solved_measurement& solved)
{
    const solver::answer& found = solved.found;
    std::string page = "\n  Competing lattices\n";
    for (std::size_t i = 0; i < found.competing; ++i) {
        const solver::lattice& one = found.candidates[i];
        page += "  " + std::to_string(i + 1) + "  " + line_of(one) + "\n";
        if (solved.options.known.size() > 1 && one.known >= 0)
            page += "     known cell " + std::to_string(one.known + 1) + "\n";
        if (i > 0) page += "     " + relation_to_first(found.candidates[0], one) + "\n";
    }
    return page;
}

} // namespace

std::string word_for(solver::verdict how)
{
    switch (how) {
    case verdict::solved: return "solved";
    case verdict::ambiguous: return "ambiguous";
    default: return "refused";
    }
}

nlohmann::ordered_json solution_json(const solved_measurement& solved)
{
    const solver::answer& found = solved.found;
    const bool known = !solved.options.known.empty();
    json file;
    file["program"] = "torvik-tools solve";
    file["version"] = TORVIK_VERSION;
    file["input"] = solved.input;
    file["frame"] = solved.frame;
    file["verdict"] = word_for(found.how);
    file["reason"] = found.reason;
    file["interrupted"] = found.interrupted;
    file["remarks"] = found.remarks;
    if (known) {
        file["known"] = nullptr;
        file["tolerance"] = solved.options.known_tolerance;
    }
    file["cell"] = nullptr;
    file["basis"] = nullptr;
    file["shift"] = nullptr;
    file["lead"] = found.lead; // infinite without a rival: null
    file["lattices"] = lattices_of(found);
    if (!found.lattices.empty()) {
        const json first = file["lattices"][0];
        for (const char* key : {"cell", "basis", "shift"}) file[key] = first[key];
        if (known && first.contains("known")) file["known"] = first["known"];
    }
    file["competing"] = found.competing;
    file["candidates"] = json::array();
    for (const solver::lattice& one : found.candidates) file["candidates"].push_back(json_of(one));
    file["reflections"] = reflections_of(solved);
    file["run"] = nullptr;
    if (solved.run) file["run"] = {{"idx", solved.run->idx}, {"res", solved.run->results}};
    return file;
}

std::string solution_text(const solved_measurement& solved)
{
    return solution_json(solved).dump(1, ' ', false, json::error_handler_t::replace) + "\n";
}

std::string screenful(const solved_measurement& solved, bool colourful)
{
    const solver::answer& found = solved.found;
    std::string page = coloured(found.how, colourful) + " " + found.reason + "\n";
    for (std::size_t i = 0; i < found.lattices.size(); ++i) page += "\n" + page_of(found, i);
    if (!found.lattices.empty() && found.competing > 1) page += competitors_of(solved);
    if (found.how == verdict::refused && !found.candidates.empty())
        page +=
            "\n  The best of them, not to be trusted\n     " + line_of(found.candidates[0]) + "\n";
    if (!found.remarks.empty()) page += "\n";
    for (const std::string& remark : found.remarks) page += remark + "\n";
    return page;
}

} // namespace torvik::tools
