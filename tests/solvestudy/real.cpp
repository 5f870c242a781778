#include "real.h"

#include "base/textfile.h"
#include "readers/dials.h"
#include "readers/experiments.h"
#include "readers/reader.h"
#include "readers/reflectiontable.h"
#include "solver/lattice/relations.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <set>
#include <utility>

namespace torvik::study {

namespace {

namespace fs = std::filesystem;

struct real_file {
    const char* name;
    std::vector<const char*> others;
    std::optional<std::array<double, 2>> centre;
    std::optional<tools::centred_cell> cell; // none: as it is, it has no lattice that is right
    double length = 0.02;                    // by which an edge may differ from the cell
};

// The cells are published or follow from the indexed reflections of the same data set. SPOT.XDS has the
// coordinates of its centre exchanged in XDS.INP, the rotation axis of myd88 is 90 degrees off.
std::vector<real_file> real_files()
{
    const tools::centred_cell protein = {{42.45, 42.45, 39.80, 90.0, 90.0, 90.0}, 'P'};
    return {
        {"sucrose.p4p", {}, {}, {{{7.7133, 8.6559, 10.8082, 90.0, 102.963, 90.0}, 'P'}}},
        {"c15h8o4.p4p", {}, {}, {{{9.2063, 12.5548, 9.5319, 90.0, 99.005, 90.0}, 'P'}}},
        {"g3.gve", {}, {}, {{{4.157, 4.157, 4.157, 90.0, 90.0, 90.0}, 'P'}}},
        {"lysozyme_still.txt", {}, {}, {{{36.9, 78.95, 78.95, 90.0, 90.0, 90.0}, 'P'}}},
        {"quartz_strong.refl",
         {"quartz_imported.expt"},
         {},
         {{{4.91, 4.91, 5.40, 90.0, 90.0, 120.0}, 'P'}}},
        {"SPOT.XDS", {"XDS.INP"}, {{1235.3, 1279.1}}, protein},
        // The shift distorts the lattice as well: the edges come out up to 7 % short.
        {"SPOT.XDS", {"XDS.INP"}, {}, protein, 0.08},
        {"cunir_strong.refl",
         {"cunir_indexed.expt"},
         {},
         {{{96.4, 96.4, 96.4, 90.0, 90.0, 90.0}, 'P'}}},
        {"myd88_strong.refl", {"myd88_imported.expt"}, {}, {}},
    };
}

struct real_list {
    std::string name;
    solver::measurement measured;
};

real_list list_from(const std::string& name, const tools::measurement& read)
{
    real_list list;
    list.name = name;
    for (const vector3& v : tools::vectorsof(read))
        list.measured.vectors.push_back({v.x, v.y, v.z});
    const bool all = std::all_of(read.spots.begin(), read.spots.end(),
                                 [](const tools::spot& one) { return one.intensity.has_value(); });
    for (const tools::spot& one : read.spots)
        if (all) list.measured.intensities.push_back(*one.intensity);
    return list;
}

template <class item>
void keep(std::vector<item>& column, const std::vector<bool>& wanted)
{
    if (column.empty()) return;
    std::vector<item> kept;
    for (std::size_t i = 0; i < wanted.size(); ++i)
        if (wanted[i]) kept.push_back(column[i]);
    column = std::move(kept);
}

// The rows of one crystal of a table, as if it had no other.
tools::reflectiontable part_of(tools::reflectiontable table, const std::vector<int>& ids, int id)
{
    std::vector<bool> wanted;
    for (const int one : ids) wanted.push_back(one == id);
    keep(table.panel, wanted);
    keep(table.pixels, wanted);
    keep(table.millimetres, wanted);
    keep(table.rlp, wanted);
    keep(table.index, wanted);
    keep(table.intensity, wanted);
    table.rows = static_cast<std::size_t>(std::count(wanted.begin(), wanted.end(), true));
    table.experiment.clear();
    table.imageset.clear();
    return table;
}

// The column that tells the images of stills apart; empty if there is one image.
std::vector<int> ids_of(const tools::reflectiontable& table)
{
    for (const auto& column : {table.imageset, table.experiment})
        if (std::set<int>(column.begin(), column.end()).size() > 1) return column;
    return {};
}

std::vector<real_list> lists_of(const real_file& file, const fs::path& folder)
{
    const fs::path path = folder / file.name;
    tools::readeroptions options;
    for (const char* other : file.others) options.others.push_back(folder / other);
    options.centre = file.centre;
    const std::string name = file.name + std::string(file.centre ? ", centre corrected" : "");
    if (path.extension() == ".refl") {
        const auto table =
            tools::readreflectiontable(path.string(), tools::textfile::read(path).text());
        const std::vector<int> ids = ids_of(table);
        if (!ids.empty()) {
            const auto instrument =
                tools::readexperiments(tools::textfile::read(options.others.front()));
            std::vector<real_list> lists;
            for (const int id : std::set<int>(ids.begin(), ids.end()))
                lists.push_back(
                    list_from(name + ", image " + std::to_string(id),
                              tools::dialsmeasurement(path.string(), part_of(table, ids, id),
                                                      &instrument, options)));
            return lists;
        }
    }
    return {list_from(name, tools::readmeasurement(path, "", options))};
}

std::string text_on(const solver::lattice& one)
{
    const cell_parameters c = tools::cell_of(matrix_of(one.basis));
    char text[160];
    std::snprintf(text, sizeof text, "%.2f %.2f %.2f %.1f %.1f %.1f, E %.1f, %d indexed", c[0],
                  c[1], c[2], c[3], c[4], c[5], one.evidence, one.indexed);
    return text;
}

// How the cell of an answer compares.
std::string comparison(const solver::answer& found, const real_file& file)
{
    if (found.lattices.empty()) return "none";
    if (!file.cell) return "no lattice is right";
    const matrix3 known = tools::primitive_transformation(file.cell->centring)
                              .multiply(tools::basis_of(file.cell->cell));
    const auto match =
        tools::match_cells(matrix_of(found.lattices.front().basis), known, file.length);
    if (!match) return "another cell";
    if (match->index == 1) return "right";
    return (match->how == tools::kinship::super ? "supercell of index " : "subcell of index ")
           + std::to_string(match->index);
}

std::string line_on(const real_list& list, const real_file& file, const solver::options& options,
                    int& failures)
{
    const double start = thread_milliseconds();
    const solver::answer found = solver::solve(list.measured, options);
    const double end = thread_milliseconds();
    const char* verdicts[] = {"solved", "ambiguous", "refused"};
    const std::string how = comparison(found, file);
    if (found.how == solver::verdict::solved && how != "right") ++failures;
    char text[256];
    std::snprintf(text, sizeof text, "%-36s N %4zu  %-9s  %-22s %9.1f ms  %016llx  ",
                  list.name.c_str(), list.measured.vectors.size(),
                  verdicts[static_cast<int>(found.how)], how.c_str(), end - start,
                  static_cast<unsigned long long>(hash_of(found)));
    return text + (found.lattices.empty() ? found.reason : text_on(found.lattices.front()));
}

} // namespace

std::vector<std::string> lines_on_real(const fs::path& folder, const solver::options& options,
                                       int& failures)
{
    std::vector<std::string> lines;
    for (const real_file& file : real_files()) {
        if (!fs::exists(folder / file.name)) {
            lines.push_back(std::string(file.name) + ": not in the folder");
            continue;
        }
        try {
            for (const real_list& list : lists_of(file, folder))
                lines.push_back(line_on(list, file, options, failures));
        } catch (const std::exception& error) {
            ++failures;
            lines.push_back(std::string(file.name) + ": " + error.what());
        }
    }
    return lines;
}

} // namespace torvik::study
