#include "solving/solutionfile.h"

#include "base/table.h"
#include "base/terminal.h"
#include "solver/lattice/bravais.h"
#include "solver/lattice/relations.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>

namespace torvik::tools {

namespace {

using json = nlohmann::ordered_json;

// A cell that was fitted to spots of a detector is seldom better than this.
constexpr double obliquityaccepted = 0.5;

constexpr const char* cellnames[] = {"a", "b", "c", "alpha", "beta", "gamma"};

json jsonof(const vector3& x)
{
    return json::array({x.x, x.y, x.z});
}

json jsonof(const matrix3& A)
{
    return json::array({jsonof(A.row_copy(0)), jsonof(A.row_copy(1)), jsonof(A.row_copy(2))});
}

json jsonof(const uncertain_cell& cell)
{
    json values;
    json errors;
    for (std::size_t k = 0; k < 6; ++k) {
        values[cellnames[k]] = cell.cell[k];
        errors[cellnames[k]] = cell.error[k];
    }
    values["volume"] = cell.volume;
    errors["volume"] = cell.volume_error;
    values["uncertainty"] = errors;
    return values;
}

json candidate(const assessment& one)
{
    json entry;
    entry["basis"] = jsonof(one.basis);
    const cell_parameters cell = cell_of(one.basis);
    for (std::size_t k = 0; k < 6; ++k) entry["cell"][cellnames[k]] = cell[k];
    entry["volume"] = std::fabs(one.basis.determinant());
    entry["evidence"] = one.evidence;
    entry["indexed"] = one.indexed;
    entry["sigma"] = one.sigma;
    entry["wrong"] = one.outlier_fraction;
    if (one.known >= 0) entry["known"] = one.known;
    for (const matrix3& basis : one.further_crystals) entry["companions"].push_back(jsonof(basis));
    return entry;
}

// How likely each vector belongs to the crystal that takes it; for one that none takes, to the first.
std::vector<double> probabilities(const vectorlist& list, const crystals& all)
{
    std::vector<double> genuine(list.vectors.size(), 0.0);
    std::vector<std::size_t> left(genuine.size());
    for (std::size_t i = 0; i < left.size(); ++i) left[i] = i;
    int number = 0;
    for (const crystal& one : all.each) {
        ++number;
        const std::vector<double>& parts = one.found.lattices[0].inlier;
        for (std::size_t i = 0; i < left.size(); ++i)
            if (number == 1 || parts[i] > 0.5) genuine[left[i]] = parts[i];
        std::erase_if(left, [&](std::size_t i) {
            return all.latticeof[i] != 0 && all.latticeof[i] <= number;
        });
    }
    return genuine;
}

json reflections(const vectorlist& list, const crystals& all)
{
    const std::vector<double> genuine = probabilities(list, all);
    json entries = json::array();
    for (std::size_t i = 0; i < list.vectors.size(); ++i) {
        json entry;
        const vector3& q = list.vectors[i];
        entry["vector"] = jsonof(q);
        entry["hkl"] = nullptr;
        entry["genuine"] = genuine[i];
        entry["lattice"] = nullptr;
        entry["error"] = nullptr;
        if (all.latticeof[i] > 0) {
            const matrix3& basis =
                all.each[static_cast<std::size_t>(all.latticeof[i]) - 1].found.lattices[0].basis;
            const vector3 x = basis.multiply(q);
            const auto h = nearest_indices(x);
            entry["hkl"] = h;
            entry["lattice"] = all.latticeof[i];
            entry["error"] = (x - vector3(h[0], h[1], h[2])).length();
        }
        entries.push_back(entry);
    }
    return entries;
}

json jsonof(const misorientation& turn)
{
    json entry;
    entry["angle"] = turn.angle;
    entry["axis"] = jsonof(turn.axis);
    entry["row"] = nullptr;
    if (turn.direct) entry["row"] = *turn.direct;
    entry["twin"] = turn.twin;
    return entry;
}

std::string lineofcell(const uncertain_cell& cell)
{
    std::string text;
    for (std::size_t k = 0; k < 6; ++k)
        text += (k == 0 ? "" : "  ") + with_uncertainty(cell.cell[k], cell.error[k]);
    return text;
}

std::string lineof(const assessment& one)
{
    std::string text;
    for (const double value : cell_of(one.basis)) text += fixed(value, 2) + "  ";
    return text + "volume " + fixed(std::fabs(one.basis.determinant()), 1) + ", indexed "
           + std::to_string(one.indexed) + ", evidence " + fixed(one.evidence, 1)
           + (one.further_crystals.empty()
                  ? ""
                  : " of " + std::to_string(1 + one.further_crystals.size()) + " crystals");
}

std::string coloured(verdict how, bool colourful)
{
    if (how == verdict::solved) return green("Solved.", colourful);
    if (how == verdict::ambiguous) return yellow("Ambiguous.", colourful);
    return red("Refused.", colourful);
}

std::string relationtofirst(const assessment& best, const assessment& next)
{
    const matrix3& first = best.basis;
    const matrix3& other = next.basis;
    if (next.known >= 0 && next.known == best.known)
        if (const auto turn = misorientation_of(first, other)) return sentence_of(*turn);
    const auto related = relation_between(other, first, 0.2, 12);
    if (!related || related->how == kinship::same) return "not related to the first";
    return std::string(related->how == kinship::super ? "a superlattice" : "a sublattice")
           + "'s cell, of index " + std::to_string(related->index);
}

// The highest symmetry that the metric has, and its conventional cell.
std::string bravaisof(const matrix3& basis)
{
    const std::vector<bravais_lattice> possible = bravais_lattices(basis, obliquityaccepted);
    const bravais_lattice& highest = possible.front();
    std::string text = highest.symbol + " ";
    for (const double value : highest.settings.front().cell) text += " " + fixed(value, 2);
    return text + ", to " + fixed(highest.obliquity, 2) + " degrees";
}

std::string pageof(const crystal& one, int number, std::size_t measured, bool several)
{
    std::string page;
    if (several) page += "  Lattice " + std::to_string(number) + "\n";
    page += "  Cell      " + lineofcell(one.cell) + "\n";
    page += "  Lattice   " + bravaisof(one.found.lattices[0].basis) + "\n";
    page += "  Volume    " + with_uncertainty(one.cell.volume, one.cell.volume_error) + "\n";
    page += "  Indexed   " + std::to_string(one.members.size()) + " of " + std::to_string(measured)
            + ", to " + fixed(1000.0 * one.found.lattices[0].sigma, 2)
            + " thousandths of 1/angstrom\n";
    page += "  Evidence  e^" + fixed(one.found.lattices[0].evidence, 0) + " to 1 against chance";
    if (!one.found.lattices[0].further_crystals.empty()) page += ", of all its crystals";
    if (one.found.lattices.size() > 1)
        page += ", e^" + fixed(one.found.lattices[0].evidence - one.found.lattices[1].evidence, 1)
                + " to 1 against the next lattice";
    page += "\n";
    if (one.turn) page += "  Turn      " + sentence_of(*one.turn) + "\n";
    return page;
}

} // namespace

std::string wordfor(verdict how)
{
    switch (how) {
    case verdict::solved: return "solved";
    case verdict::ambiguous: return "ambiguous";
    default: return "refused";
    }
}

nlohmann::ordered_json solutionjson(const vectorlist& list, const crystals& all,
                                    const solutionorigin& origin)
{
    json file;
    file["program"] = "torvik-tools solve";
    file["version"] = TORVIK_VERSION;
    file["input"] = origin.input;
    file["frame"] = origin.frame;
    file["verdict"] = wordfor(all.first.how);
    file["reason"] = all.first.reason;
    file["interrupted"] = all.first.interrupted;
    file["remarks"] = all.remarks;
    file["runs"] = all.first.runs.size();
    if (all.first.given > 0) file["known"] = nullptr;
    file["cell"] = nullptr;
    file["basis"] = nullptr;
    file["lattices"] = json::array();
    for (const crystal& one : all.each) {
        json entry = candidate(one.found.lattices[0]);
        entry["verdict"] = wordfor(one.found.how);
        entry["cell"] = jsonof(one.cell);
        entry["indexed"] = one.members.size();
        entry["turn"] = nullptr;
        if (one.turn) entry["turn"] = jsonof(*one.turn);
        file["lattices"].push_back(entry);
    }
    if (!all.each.empty()) {
        file["cell"] = file["lattices"][0]["cell"];
        file["basis"] = file["lattices"][0]["basis"];
        if (all.first.given > 0) file["known"] = file["lattices"][0]["known"];
    }
    file["competing"] = all.first.competing;
    file["candidates"] = json::array();
    for (const assessment& one : all.first.lattices) file["candidates"].push_back(candidate(one));
    file["reflections"] = reflections(list, all);
    file["run"] = {{"idx", origin.idx}, {"res", origin.results}};
    return file;
}

std::string solutiontext(const vectorlist& list, const crystals& all, const solutionorigin& origin)
{
    return solutionjson(list, all, origin).dump(1, ' ', false, json::error_handler_t::replace)
           + "\n";
}

std::string screenful(const vectorlist& list, const crystals& all, bool colourful)
{
    std::string page = coloured(all.first.how, colourful) + " " + all.first.reason + "\n";
    if (all.first.interrupted)
        page += "The runs were ended before the answer was sure: this is the best so far.\n";
    int number = 0;
    for (const crystal& one : all.each)
        page += "\n" + pageof(one, ++number, list.vectors.size(), all.each.size() > 1);
    if (all.first.competing > 1) {
        page += "\n  Competing lattices\n";
        for (std::size_t i = 0; i < all.first.competing; ++i) {
            const assessment& one = all.first.lattices[i];
            page += "  " + std::to_string(i + 1) + "  " + lineof(one) + "\n";
            if (all.first.given > 1)
                page += "     known cell " + std::to_string(one.known + 1) + "\n";
            if (i > 0) page += "     " + relationtofirst(all.first.lattices[0], one) + "\n";
        }
    }
    if (all.first.how == verdict::refused && !all.first.lattices.empty())
        page +=
            "\n  The best of them, not to be trusted\n     " + lineof(all.first.lattices[0]) + "\n";
    if (!all.remarks.empty()) page += "\n";
    for (const std::string& remark : all.remarks) page += remark + "\n";
    return page;
}

} // namespace torvik::tools
