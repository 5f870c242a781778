#include "fuzz/latticefiles.h"

#include "base/failure.h"
#include "formats/lepage.h"
#include "formats/resultsfile.h"
#include "fuzz/documented.h"
#include "lattice/score.h"
#include "lattice/survey.h"
#include "simulation/ciffile.h"
#include "solver/lattice/invalid_input.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace torvik {

namespace {

using tools::matrix3;
using tools::textfile;

bool isfinite(const matrix3& T)
{
    return std::all_of(&T.a[0][0], &T.a[0][0] + 9, [](double x) { return std::isfinite(x); });
}

void check_cell(const tools::centred_cell& one)
{
    try {
        tools::check_cell(one.cell);
        tools::primitive_transformation(one.centring);
    } catch (const solver::invalid_input&) {
        throw misbehaviour("a cell that is none");
    }
}

void checksolution(const tools::solution& one)
{
    demand(isfinite(one.basis), "a basis that is not finite");
    demand(std::isfinite(one.quality) && std::isfinite(one.volume), "a solution's numbers");
    demand(std::all_of(one.cell.begin(), one.cell.end(), [](double x) { return std::isfinite(x); }),
           "a cell that is not finite");
    for (const tools::reflectionline& line : one.reflections)
        demand(std::isfinite(line.error) && std::isfinite(line.real[0])
                   && std::isfinite(line.real[1]) && std::isfinite(line.real[2]),
               "a reflection that is not finite");
}

void tryresults(const textfile& source)
{
    const tools::resultsfile results = tools::readresults(source);
    for (const tools::solution& one : results.byquality) checksolution(one);
    for (const tools::solution& one : results.byvolume) checksolution(one);
    demand(results.byquality.empty() || results.byvolume.empty()
               || results.byquality.size() == results.byvolume.size(),
           "lists of different lengths");
    for (const tools::relation& one : results.relations)
        demand(isfinite(one.T) && std::isfinite(one.ratio), "a relation that is not finite");
}

void trylepage(const textfile& source)
{
    const std::vector<tools::lepagejob> jobs = tools::readlepage(source);
    demand(!jobs.empty() && tools::islepage(source), "no jobs");
    for (const tools::lepagejob& job : jobs) {
        check_cell(job.cell);
        demand(job.metric.value_or(1.0) > 0.0 && std::isfinite(job.metric.value_or(1.0)),
               "a tolerance");
    }
}

std::vector<tools::knowncell> tryknown(const textfile& source)
{
    const std::vector<tools::knowncell> known = tools::readknowncells(source);
    demand(!known.empty(), "no cells");
    for (const tools::knowncell& one : known) {
        check_cell(one.cell);
        demand(!one.name.empty(), "a cell without a name");
    }
    return known;
}

void trytruth(const textfile& source)
{
    const tools::truth known = tools::readtruth(source);
    demand(known.bases.empty() != known.cells.empty(), "bases and cells, or neither");
    for (const tools::centred_cell& one : known.cells) check_cell(one);
    for (const matrix3& basis : known.bases)
        demand(isfinite(basis) && std::fabs(basis.determinant()) > 0.0, "a flat basis");
}

// The first of the cells against all of them.
void survey(const textfile& source)
{
    const std::vector<tools::knowncell> known = tryknown(source);
    const tools::givenlattices given = tools::latticesof({known.front().cell});
    const tools::latticesurvey made = tools::surveyof(given.list.front(), known, {});
    demand(std::isfinite(made.volume) && made.volume > 0.0, "a volume");
    demand(isfinite(made.niggliform.basis) && isfinite(made.delaunayform.basis), "a reduced form");
    demand(!made.bravais.empty(), "no lattice of Bravais");
    demand(!made.known.empty() && made.known.front().how == tools::kinship::same,
           "a cell that does not fit itself");
}

} // namespace

const std::vector<std::string>& fuzzedlatticefiles()
{
    static const std::vector<std::string> formats = {"results", "lepage", "known",
                                                     "truth",   "cif",    "survey"};
    return formats;
}

void readlatticefile(const std::string& format, std::string_view bytes)
{
    const textfile source("a.txt", std::string(bytes));
    if (format == "results")
        tryresults(source);
    else if (format == "lepage")
        trylepage(source);
    else if (format == "known")
        tryknown(source);
    else if (format == "truth")
        trytruth(source);
    else if (format == "cif")
        check_cell(tools::readcifcell(source));
    else if (format == "survey")
        survey(source);
    else
        throw misbehaviour("no such format: " + format);
}

} // namespace torvik
