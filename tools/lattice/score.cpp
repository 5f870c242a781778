#include "lattice/score.h"

#include "base/failure.h"
#include "base/jsontext.h"
#include "solver/lattice/invalid_input.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace torvik::tools {

namespace {

using nlohmann::json;

bool isrow(const json& value, std::size_t count)
{
    return value.is_array() && value.size() == count
           && std::all_of(value.begin(), value.end(),
                          [](const json& one) { return one.is_number(); });
}

matrix3 basisfrom(const textfile& source, const json& rows)
{
    if (!rows.is_array() || rows.size() != 3
        || !std::all_of(rows.begin(), rows.end(), [](const json& row) { return isrow(row, 3); }))
        source.fail(0, 0, "\"direct_basis_rows\" must be three rows of three numbers");
    matrix3 basis;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            basis[i][j] =
                rows.at(static_cast<std::size_t>(i)).at(static_cast<std::size_t>(j)).get<double>();
    if (!(std::fabs(basis.determinant()) > 0.0))
        source.fail(0, 0, "the rows of \"direct_basis_rows\" lie in a plane");
    return basis;
}

centred_cell cellfrom(const textfile& source, const json& object)
{
    constexpr const char* key = "conventional_cell";
    if (!object.contains(key) || !isrow(object.at(key), 6))
        source.fail(0, 0,
                    R"(expected "direct_basis_rows", or "conventional_cell" with six numbers)");
    centred_cell found;
    for (std::size_t i = 0; i < 6; ++i) found.cell[i] = object.at(key).at(i).get<double>();
    const json letter = object.value("centring", json("P"));
    if (!letter.is_string() || letter.get<std::string>().size() != 1)
        source.fail(0, 0, "\"centring\" must be a letter");
    found.centring = letter.get<std::string>().front();
    try {
        check_cell(found.cell);
        primitive_transformation(found.centring);
    } catch (const invalid_input& why) {
        throw failure(source.name() + ": " + why.what());
    }
    return found;
}

void takelattice(const textfile& source, const json& object, truth& known)
{
    if (!object.is_object()) source.fail(0, 0, "expected a JSON object with the known lattice");
    if (object.contains("direct_basis_rows"))
        known.bases.push_back(basisfrom(source, object.at("direct_basis_rows")));
    else
        known.cells.push_back(cellfrom(source, object));
}

// In the order of what is better.
bool better(const score& one, const score& other)
{
    if ((one.how == verdict::wrong) != (other.how == verdict::wrong))
        return other.how == verdict::wrong;
    return one.index < other.index;
}

verdict verdictof(kinship how)
{
    switch (how) {
    case kinship::same: return verdict::right;
    case kinship::super: return verdict::supercell;
    default: return verdict::subcell;
    }
}

score againstbasis(const matrix3& solution, const matrix3& known)
{
    const auto related = relation_between(solution, known);
    if (!related) return {};
    score found{verdictof(related->how), related->index, related->T, related->misfit};
    if (related->how != kinship::same) return found;
    found.T = related->T.inverse(); // of the truth to the solution until here
    for (auto& row : found.T.a)
        for (double& x : row) x = std::round(x) + 0.0;
    return found;
}

score againstcell(const matrix3& solution, const centred_cell& known,
                  const celltolerance& tolerance)
{
    const matrix3 basis = primitive_transformation(known.centring).multiply(basis_of(known.cell));
    const auto match = match_cells(solution, basis, tolerance.length, tolerance.angle);
    if (!match) return {};
    return {verdictof(match->how), match->index, match->T, match->misfit};
}

void takebetter(score& best, score found, std::size_t lattice)
{
    if (found.how == verdict::wrong || !better(found, best)) return;
    best = found;
    best.lattice = lattice;
}

} // namespace

truth readtruth(const textfile& source)
{
    const json document = jsonin(source);
    truth known;
    if (document.is_object() && document.contains("lattices") && document.at("lattices").is_array()
        && !document.at("lattices").empty())
        for (const json& one : document.at("lattices")) takelattice(source, one, known);
    else
        takelattice(source, document, known);
    if (!known.bases.empty() && !known.cells.empty())
        source.fail(0, 0, "all lattices need \"direct_basis_rows\", or none");
    return known;
}

truth truthof(const centred_cell& cell)
{
    return {{}, {cell}};
}

std::string nameof(verdict one)
{
    switch (one) {
    case verdict::right: return "right";
    case verdict::supercell: return "supercell";
    case verdict::subcell: return "subcell";
    default: return "wrong";
    }
}

score scoreof(const matrix3& solution, const truth& known, const celltolerance& tolerance)
{
    score best;
    std::size_t lattice = 0;
    for (const matrix3& basis : known.bases)
        takebetter(best, againstbasis(solution, basis), ++lattice);
    for (const centred_cell& cell : known.cells)
        takebetter(best, againstcell(solution, cell, tolerance), ++lattice);
    return best;
}

} // namespace torvik::tools
