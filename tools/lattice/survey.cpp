#include "lattice/survey.h"

#include "base/failure.h"
#include "formats/lepage.h"
#include "solver/lattice/invalid_input.h"

#include <algorithm>
#include <string_view>

namespace torvik::tools {

namespace {

matrix3 primitivebasisof(const givenlattice& given)
{
    return primitive_transformation(given.centring).multiply(given.basis);
}

bool isresults(const textfile& source)
{
    constexpr std::size_t headlines = 8;
    for (std::size_t line = 1; line <= headlines; ++line)
        if (source.line(line).find(": Solutions for ") != std::string_view::npos) return true;
    return false;
}

givenlattices solutionsin(const textfile& source)
{
    givenlattices found{source.name(), true, {}};
    const resultsfile results = readresults(source);
    for (const solution& one : results.solutions())
        found.list.push_back({one.number, one.basis, 'P', one.h, std::nullopt});
    return found;
}

givenlattices jobsin(const textfile& source)
{
    givenlattices found{source.name(), false, {}};
    for (const lepagejob& job : readlepage(source))
        found.list.push_back({static_cast<int>(found.list.size()) + 1, basis_of(job.cell.cell),
                              job.cell.centring, std::nullopt, job.metric});
    return found;
}

// The known axes, or the given ones, from the primitive bases.
matrix3 betweenaxes(const cell_match& match, char given, char known)
{
    const matrix3 P = primitive_transformation(given);
    const matrix3 Q = primitive_transformation(known);
    if (match.how == kinship::super) return P.inverse().multiply(match.T).multiply(Q);
    return Q.inverse().multiply(match.T).multiply(P);
}

std::vector<knownmatch> matchesof(const givenlattice& given, const std::vector<knowncell>& known,
                                  const surveyoptions& options)
{
    std::vector<knownmatch> found;
    for (std::size_t i = 0; i < known.size(); ++i) {
        const centred_cell& cell = known[i].cell;
        const matrix3 E = primitive_transformation(cell.centring).multiply(basis_of(cell.cell));
        const auto match = match_cells(primitivebasisof(given), E, options.tolerance.length,
                                       options.tolerance.angle, options.largest);
        if (!match) continue;
        found.push_back({i, match->how, match->index,
                         betweenaxes(*match, given.centring, cell.centring), match->misfit});
    }
    std::stable_sort(found.begin(), found.end(), [](const knownmatch& a, const knownmatch& b) {
        return std::pair(a.index, a.misfit) < std::pair(b.index, b.misfit);
    });
    return found;
}

// Cells without orientation match as multiples do with the known ones.
std::optional<lattice_relation> relationof(const matrix3& D, const matrix3& E, bool oriented,
                                           const surveyoptions& options)
{
    constexpr double offwholes = 0.1;
    if (oriented) return relation_between(D, E, offwholes, options.largest);
    const auto match =
        match_cells(D, E, options.tolerance.length, options.tolerance.angle, options.largest);
    if (!match) return std::nullopt;
    const matrix3 T = match->how == kinship::same ? match->T.inverse() : match->T;
    return lattice_relation{match->how, match->index, T, match->misfit};
}

} // namespace

givenlattices latticesin(const textfile& source)
{
    if (isresults(source)) return solutionsin(source);
    if (!islepage(source)) source.fail(0, 0, "this is neither a results file nor a LePage.inp");
    return jobsin(source);
}

givenlattices latticesof(const std::vector<centred_cell>& cells)
{
    givenlattices found;
    for (const centred_cell& one : cells)
        found.list.push_back({static_cast<int>(found.list.size()) + 1, basis_of(one.cell),
                              one.centring, std::nullopt, std::nullopt});
    return found;
}

std::vector<knowncell> readknowncells(const textfile& source)
{
    constexpr std::string_view centrings = "PABCIFR";
    std::vector<knowncell> known;
    for (std::size_t line = 1; line <= source.lines(); ++line) {
        const std::string_view text = source.line(line).substr(0, source.line(line).find('#'));
        const std::vector<item> items = itemsof(text, " \t,;");
        if (items.empty()) continue;
        if (items.size() < 6)
            source.fail(line, 0, "expected six numbers: a, b, c, alpha, beta, gamma");
        knowncell one;
        for (std::size_t i = 0; i < 6; ++i)
            one.cell.cell[i] = source.number(items[i], line, "a length or an angle");
        std::size_t next = 6;
        if (items.size() > next && items[next].text.size() == 1
            && centrings.find(items[next].text[0]) != std::string_view::npos)
            one.cell.centring = items[next++].text[0];
        one.name = items.size() > next ? trimmed(text.substr(items[next].column - 1))
                                       : "line " + std::to_string(line);
        try {
            check_cell(one.cell.cell);
        } catch (const invalid_input& why) {
            std::string sentence = why.what();
            sentence.pop_back(); // its full stop
            source.fail(line, items[0].column, sentence);
        }
        known.push_back(one);
    }
    if (known.empty()) source.fail(0, 0, "there are no known cells in it");
    return known;
}

latticesurvey surveyof(const givenlattice& given, const std::vector<knowncell>& known,
                       const surveyoptions& options)
{
    const matrix3 P = primitive_transformation(given.centring);
    const matrix3 primitive = P.multiply(given.basis);
    latticesurvey made;
    made.given = given;
    made.cell = cell_of(given.basis);
    made.volume = std::fabs(primitive.determinant());
    made.niggliform = niggli(primitive);
    made.tolerance = options.obliquity.value_or(given.obliquity.value_or(usual_obliquity));
    // Measured right angles must not jump from one side of 90 degrees to the other.
    made.delaunayform = delaunay(primitive, std::sin(gemmi::rad(made.tolerance)));
    made.bravais = bravais_lattices(primitive, made.tolerance, options.limit);
    made.niggliform.T = made.niggliform.T.multiply(P);
    made.delaunayform.T = made.delaunayform.T.multiply(P);
    for (bravais_lattice& lattice : made.bravais)
        for (setting& one : lattice.settings) one.T = one.T.multiply(P);
    made.known = matchesof(given, known, options);
    return made;
}

std::vector<kinsmen> kinshipsof(const givenlattices& given, const surveyoptions& options)
{
    std::vector<kinsmen> found;
    for (std::size_t i = 0; i < given.list.size(); ++i)
        for (std::size_t j = i + 1; j < given.list.size(); ++j) {
            const matrix3 D = primitivebasisof(given.list[i]);
            const matrix3 E = primitivebasisof(given.list[j]);
            const auto related = relationof(D, E, given.oriented, options);
            if (related)
                found.push_back({i, j, related->how, related->index, related->T, related->misfit});
        }
    return found;
}

} // namespace torvik::tools
