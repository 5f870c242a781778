// torvik-tools cells: reduced cells, Bravais lattices and relations of solutions.

#include "base/failure.h"
#include "base/table.h"
#include "base/terminal.h"
#include "commands/command.h"
#include "lattice/notation.h"
#include "lattice/readcell.h"
#include "lattice/survey.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <optional>

namespace torvik::tools {

namespace {

using nlohmann::ordered_json;

struct cellsoptions {
    std::vector<std::string> input; // a file, or the items of cells
    std::string knownfile;
    std::optional<int> solution;
    surveyoptions survey;
    bool json = false;
};

struct page {
    givenlattices given;
    std::vector<knowncell> known;
    std::vector<latticesurvey> surveys; // of all, or of the one that is asked for
    std::vector<kinsmen> relations;
};

// ------------------------------------------------------------------------------ input

// Each argument with six numbers is a cell; arguments with less are joined to one.
std::vector<centred_cell> cellsfrom(const std::vector<std::string>& arguments)
{
    std::vector<centred_cell> cells;
    std::string joined;
    for (const std::string& one : arguments)
        if (itemsof(one, " \t,;").size() >= 6)
            cells.push_back(cellfrom(one));
        else
            joined += (joined.empty() ? "" : " ") + one;
    if (!joined.empty()) cells.push_back(cellfrom(joined));
    return cells;
}

givenlattices givenfrom(const std::vector<std::string>& arguments)
{
    std::error_code none;
    if (arguments.size() == 1 && std::filesystem::exists(arguments.front(), none))
        return latticesin(textfile::read(arguments.front()));
    try {
        return latticesof(cellsfrom(arguments));
    } catch (const failure& why) {
        if (arguments.size() > 1) throw;
        throw failure("There is no file " + arguments.front() + "; and as a cell: " + why.what());
    }
}

page pagefrom(const cellsoptions& options)
{
    page made;
    made.given = givenfrom(options.input);
    if (!options.knownfile.empty()) made.known = readknowncells(textfile::read(options.knownfile));
    const int count = static_cast<int>(made.given.list.size());
    if (options.solution && (*options.solution < 1 || *options.solution > count))
        throw failure("There is no solution " + std::to_string(*options.solution) + ": there are "
                      + std::to_string(count) + ".");
    for (const givenlattice& one : made.given.list)
        if (!options.solution || one.number == *options.solution)
            made.surveys.push_back(surveyof(one, made.known, options.survey));
    made.relations = kinshipsof(made.given, options.survey);
    return made;
}

// ------------------------------------------------------------------------------ text

const bravais_lattice& best(const latticesurvey& one)
{
    return one.bravais.front();
}

// "2 x 3": twice as large as number 3; "1/2 x 3": half of it; "= 3".
std::string multiple(kinship how, int index, const std::string& of)
{
    if (how == kinship::same) return "= " + of;
    return (how == kinship::super ? "" : "1/") + std::to_string(index) + " x " + of;
}

kinship reversed(kinship how)
{
    if (how == kinship::same) return how;
    return how == kinship::super ? kinship::sub : kinship::super;
}

// How a solution lies to another one, if they are related.
std::optional<std::string> relationto(const page& all, std::size_t one, std::size_t other)
{
    const std::string name = "nr " + std::to_string(all.given.list[other].number);
    for (const kinsmen& pair : all.relations) {
        if (pair.first == one && pair.second == other) return multiple(pair.how, pair.index, name);
        if (pair.second == one && pair.first == other)
            return multiple(reversed(pair.how), pair.index, name);
    }
    return std::nullopt;
}

// To the first of the smallest lattices that it is a multiple of, or that it is the same as and that
// stands before it.
std::string relationof(const page& all, std::size_t one)
{
    std::string text;
    int largest = 0;
    for (const kinsmen& pair : all.relations) {
        const bool same = pair.how == kinship::same && pair.second == one;
        const bool above = (pair.first == one && pair.how == kinship::super)
                           || (pair.second == one && pair.how == kinship::sub);
        if ((!same && !above) || pair.index <= largest) continue;
        largest = pair.index;
        text = *relationto(all, one, pair.first == one ? pair.second : pair.first);
    }
    return text;
}

std::string knowntext(const page& all, const latticesurvey& one)
{
    if (one.known.empty()) return "";
    const knownmatch& match = one.known.front();
    return multiple(match.how, match.index, all.known[match.known].name);
}

void printoverview(const page& all)
{
    const bool colourful = outputcolourful();
    const bool indexed = all.given.list.front().indexed.has_value();
    std::vector<column> columns = {{"nr"}};
    if (indexed) columns.push_back({"indexed"});
    for (const char* head : {"volume", "Niggli cell", "lattice", "obliquity", "relation"})
        columns.push_back({head, head[0] == 'v' || head[0] == 'o' ? align::right : align::left});
    if (!all.known.empty()) columns.push_back({"known cell", align::left});
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < all.surveys.size(); ++i) {
        const latticesurvey& one = all.surveys[i];
        std::vector<std::string> row = {std::to_string(one.given.number)};
        if (indexed) row.push_back(std::to_string(*one.given.indexed));
        row.insert(row.end(),
                   {fixed(one.volume, 1), celltext(cell_of(one.niggliform.basis), 2, 1),
                    best(one).symbol, fixed(best(one).obliquity, 2), relationof(all, i)});
        if (!all.known.empty()) row.push_back(knowntext(all, one));
        rows.push_back(row);
    }
    std::cout << bold(std::to_string(all.surveys.size())
                          + (all.given.oriented ? " solutions" : " cells")
                          + (all.given.source.empty() ? "" : " of " + all.given.source),
                      colourful)
              << "\n\n"
              << tableof(columns, rows) << "\n";
}

std::vector<std::string> latticerow(const bravais_lattice& lattice, const setting& one, bool first)
{
    std::vector<std::string> row = {lattice.accepted ? "" : "?"};
    row.push_back(first ? lattice.symbol : "or " + std::string(1, one.centring));
    row.push_back(first ? std::to_string(lattice.ways) : "");
    row.push_back(first ? fixed(lattice.obliquity, 2) : "");
    row.push_back(first ? fixed(100.0 * lattice.strain, 2) : "");
    for (std::size_t i = 0; i < 6; ++i) row.push_back(fixed(one.cell[i], i < 3 ? 3 : 2));
    row.push_back(axestext(one.T));
    return row;
}

void printlattices(const latticesurvey& one)
{
    std::vector<std::vector<std::string>> rows;
    for (const bravais_lattice& lattice : one.bravais)
        for (std::size_t i = 0; i < lattice.settings.size(); ++i)
            rows.push_back(latticerow(lattice, lattice.settings[i], i == 0));
    std::cout << tableof({{""},
                          {"lattice", align::left},
                          {"ways"},
                          {"obliquity"},
                          {"strain %"},
                          {"a"},
                          {"b"},
                          {"c"},
                          {"alpha"},
                          {"beta"},
                          {"gamma"},
                          {"axes", align::left}},
                         rows);
    const bool doubtful = std::any_of(one.bravais.begin(), one.bravais.end(),
                                      [](const bravais_lattice& each) { return !each.accepted; });
    if (doubtful)
        std::cout << "?: the obliquity is above " << fixed(one.tolerance, 2) << " degrees.\n";
}

void printrelations(const page& all, const latticesurvey& one)
{
    constexpr int most = 8;
    int count = 0;
    const auto self = static_cast<std::size_t>(one.given.number) - 1;
    for (std::size_t i = 0; i < all.given.list.size(); ++i) {
        const auto text = relationto(all, self, i);
        if (!text) continue;
        if (count == 0) std::cout << "\nRelations to other solutions: ";
        if (count < most) std::cout << (count > 0 ? "; " : "") << *text;
        ++count;
    }
    if (count > most) std::cout << "; and " << count - most << " more";
    if (count > 0) std::cout << ".\n";
}

void printknown(const page& all, const latticesurvey& one)
{
    if (all.known.empty()) return;
    if (one.known.empty()) std::cout << "\nNo known cell fits.\n";
    for (const knownmatch& match : one.known) {
        const bool super = match.how == kinship::super;
        std::cout << "\nKnown cell: "
                  << multiple(match.how, match.index, all.known[match.known].name) << ", misfit "
                  << fixed(100.0 * match.misfit, 2) << " %; "
                  << (super ? "these axes in the known ones: " : "the known axes in these: ")
                  << axestext(match.T) << "\n";
    }
}

void printdetails(const page& all, const latticesurvey& one)
{
    const auto line = [](const char* name, const cell_parameters& cell, const std::string& rest) {
        std::cout << name << celltext(cell, 4, 3) << rest << "\n";
    };
    const std::string title = all.given.oriented ? "Solution " + std::to_string(one.given.number)
                                                 : "Cell " + std::to_string(one.given.number);
    std::cout << bold(title, outputcolourful()) << ": primitive volume " << fixed(one.volume, 2)
              << "\n\n";
    line("  given     ", one.cell,
         one.given.centring == 'P' ? "" : " " + std::string(1, one.given.centring));
    line("  Niggli    ", cell_of(one.niggliform.basis), "   " + axestext(one.niggliform.T));
    line("  Delaunay  ", cell_of(one.delaunayform.basis), "   " + axestext(one.delaunayform.T));
    std::cout << "\n";
    printlattices(one);
    printrelations(all, one);
    printknown(all, one);
}

// ------------------------------------------------------------------------------ JSON

const char* nameofkin(kinship how)
{
    switch (how) {
    case kinship::same: return "same";
    case kinship::super: return "supercell";
    default: return "subcell";
    }
}

ordered_json rowsof(const matrix3& T)
{
    ordered_json rows = ordered_json::array();
    for (int i = 0; i < 3; ++i) rows.push_back({T[i][0], T[i][1], T[i][2]});
    return rows;
}

ordered_json formjson(const reduction& form)
{
    ordered_json made;
    made["cell"] = cell_of(form.basis);
    made["basis"] = rowsof(form.basis);
    made["matrix"] = rowsof(form.T);
    return made;
}

ordered_json latticejson(const bravais_lattice& lattice)
{
    ordered_json made;
    made["lattice"] = lattice.symbol;
    made["accepted"] = lattice.accepted;
    made["obliquity"] = lattice.obliquity;
    made["strain"] = lattice.strain;
    made["ways"] = lattice.ways;
    made["settings"] = ordered_json::array();
    for (const setting& one : lattice.settings) {
        ordered_json entry;
        entry["centring"] = std::string(1, one.centring);
        entry["cell"] = one.cell;
        entry["ideal_cell"] = one.ideal;
        entry["matrix"] = rowsof(one.T);
        made["settings"].push_back(entry);
    }
    return made;
}

ordered_json surveyjson(const page& all, const latticesurvey& one)
{
    ordered_json made;
    made["number"] = one.given.number;
    if (one.given.indexed) made["indexed"] = *one.given.indexed;
    made["cell"] = one.cell;
    made["centring"] = std::string(1, one.given.centring);
    made["primitive_volume"] = one.volume;
    made["niggli"] = formjson(one.niggliform);
    made["delaunay"] = formjson(one.delaunayform);
    made["obliquity_tolerance"] = one.tolerance;
    made["bravais"] = ordered_json::array();
    for (const bravais_lattice& lattice : one.bravais)
        made["bravais"].push_back(latticejson(lattice));
    if (all.known.empty()) return made;
    made["known"] = ordered_json::array();
    for (const knownmatch& match : one.known) {
        ordered_json entry;
        entry["name"] = all.known[match.known].name;
        entry["is"] = nameofkin(match.how);
        entry["index"] = match.index;
        entry["matrix"] = rowsof(match.T);
        entry["misfit"] = match.misfit;
        made["known"].push_back(entry);
    }
    return made;
}

void printjson(const page& all)
{
    ordered_json made;
    if (!all.given.source.empty()) made["source"] = all.given.source;
    made[all.given.oriented ? "solutions" : "cells"] = ordered_json::array();
    for (const latticesurvey& one : all.surveys)
        made[all.given.oriented ? "solutions" : "cells"].push_back(surveyjson(all, one));
    made["relations"] = ordered_json::array();
    for (const kinsmen& pair : all.relations) {
        ordered_json entry;
        entry["first"] = all.given.list[pair.first].number;
        entry["second"] = all.given.list[pair.second].number;
        entry["first_is"] = nameofkin(pair.how);
        entry["index"] = pair.index;
        entry["matrix"] = wholerows(pair.T);
        entry["misfit"] = pair.misfit;
        made["relations"].push_back(entry);
    }
    std::cout << made.dump(1) << "\n";
}

void run(const cellsoptions& options)
{
    const page all = pagefrom(options);
    if (options.json) {
        printjson(all);
        return;
    }
    if (all.surveys.empty()) {
        std::cout << "There is no solution.\n";
        return;
    }
    const bool several = all.surveys.size() > 1;
    if (several) printoverview(all);
    printdetails(all, all.surveys.front());
    if (several) std::cout << "\n--solution K shows another one like this, --json all of them.\n";
}

} // namespace

void addcells(CLI::App& program)
{
    auto [command, options] = newcommand<cellsoptions>(
        program, "cells",
        "Tells reduced cells, Bravais lattices and relations of solutions or cells.");
    command
        ->add_option("INPUT", options->input,
                     "Results file of Torvik, LePage.inp, or a cell: six numbers and perhaps a "
                     "letter of the centring (P A B C I F R); several cells each in quotes")
        ->required();
    command->add_option("--solution", options->solution, "Show this one alone, counted from 1");
    command->add_option("--known", options->knownfile,
                        "File of known cells to compare with: on each line six numbers, perhaps a "
                        "letter of the centring, perhaps a name");
    command
        ->add_option("--obliquity", options->survey.obliquity,
                     "Tolerance in degrees for the angle between a two-fold axis and the normal of "
                     "its plane (default: METR of LePage.inp, else 0.3)")
        ->check(CLI::Range(1e-6, 10.0));
    command
        ->add_option("--doubtful", options->survey.limit,
                     "Show lattices up to this obliquity, with a question mark")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 10.0));
    command
        ->add_option("--length", options->survey.tolerance.length,
                     "How far lengths of cells may differ that are compared, as a part of them")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 0.5));
    command
        ->add_option("--angle", options->survey.tolerance.angle,
                     "How far angles of cells may differ that are compared, in degrees")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 30.0));
    command
        ->add_option("--largest", options->survey.largest,
                     "Largest index of super- and subcells that are looked for")
        ->capture_default_str()
        ->check(CLI::Range(1, 16));
    command->add_flag("--json", options->json, "Print JSON");
    command->footer("Examples:\n"
                    "  $ Torvik 2_sucrose_euler.idx\n"
                    "  $ torvik-tools cells 2_sucrose_euler_idx.res\n"
                    "  $ torvik-tools cells 7.7585 8.705 10.8633 90 102.945 90\n"
                    "  $ torvik-tools cells 9.746 8.899 5.251 90 105.63 90 C --json");
    command->callback([options = options] { run(*options); });
}

} // namespace torvik::tools
