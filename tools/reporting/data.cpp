#include "reporting/report.h"

#include "base/failure.h"
#include "base/jsontext.h"
#include "base/process.h"
#include "base/terminal.h"
#include "base/textfile.h"
#include "base/writing.h"
#include "formats/idxfile.h"
#include "formats/resultsfile.h"
#include "reporting/periodogram.h"
#include "solver/lattice/bravais.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <optional>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr int largestofall = 100; // default of _MaxAllowedMillerIndex
constexpr double usualcriterion = 0.12;

json numbersof(const matrix3& m)
{
    json row = json::array();
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) row.push_back(m[i][j]);
    return row;
}

json numbersof(const std::vector<vector3>& vectors)
{
    json rows = json::array();
    for (const vector3& v : vectors) rows.push_back({v.x, v.y, v.z});
    return rows;
}

// The highest symmetry that the metric has within the usual tolerance, and its conventional cell.
json latticeof(const matrix3& basis)
{
    const bravais_lattice best = bravais_lattices(basis, usual_obliquity, usual_obliquity).front();
    return {{"symbol", best.symbol},
            {"cell", best.settings.front().cell},
            {"obliquity", best.obliquity}};
}

// Pairs [k, l, index]: the cell of solution k is `index` times that of l, whose lattice holds k's.
json relationsof(const std::vector<matrix3>& bases)
{
    json pairs = json::array();
    for (std::size_t i = 0; i < bases.size(); ++i)
        for (std::size_t j = i + 1; j < bases.size(); ++j) {
            const auto found = relation_between(bases[i], bases[j]);
            if (!found) continue;
            const bool larger = found->how == kinship::super;
            pairs.push_back({(larger ? i : j) + 1, (larger ? j : i) + 1, found->index});
        }
    return pairs;
}

json curveof(const periodogramdata& given, const std::string& note)
{
    constexpr std::size_t stretches = 3000; // more than a drawing has columns
    json volumes = json::array();
    for (const testvolume& one : given.volumes)
        volumes.push_back({one.volume, one.value ? json(*one.value) : json()});
    json curve = json::array();
    for (const auto& [volume, value] : thinned(given.curve, stretches))
        curve.push_back({volume, value});
    return {{"name", given.name},
            {"size", given.size},
            {"curve", std::move(curve)},
            {"volumes", std::move(volumes)},
            {"note", note}};
}

std::string wordsof(const periodogramdata& given, const std::string& source)
{
    return given.name + " of " + std::to_string(given.size) + " values, and the "
           + std::to_string(given.volumes.size()) + " volumes taken from it, " + source + ".";
}

// The parameters by which a search is made, but the limits of the volume: the head of a log is
// written before they are known.
std::vector<std::pair<std::string, std::string>>
comparable(const std::vector<std::pair<std::string, std::string>>& parameters)
{
    std::vector<std::pair<std::string, std::string>> kept;
    for (const auto& [name, value] : parameters)
        if (!name.starts_with("Min. volume") && !name.starts_with("Max. volume")
            && !name.starts_with("Number of solutions"))
            kept.emplace_back(name, value);
    return kept;
}

bool logbelongs(const loghead& head, const resultsfile& results)
{
    return head.input == results.input && head.started <= results.date + " " + results.time
           && comparable(head.parameters) == comparable(results.parameters);
}

// Runs the program on the input with so few supporting reflections that it ends when the test volumes
// are found; the periodogram is of all reflections, as before.
std::optional<logged> runforlog(const std::string& program, const std::string& input)
{
    const temporarydirectory folder;
    writewhole(folder.path() / "a.idx", input
                                            + "\n_CreateLogFile\n1\n_SaveLePage\n0\n"
                                              "_FractionOfSupportingReflections\n1e-7\n");
    constexpr double longest = 3600.0; // seconds
    const std::atomic<bool> never{false};
    try {
        if (runprocess(torvikprogram(program), {"a.idx"}, folder.path(), longest, never)
            != ending::finished)
            return std::nullopt;
    } catch (const failure&) { // it cannot be started
        return std::nullopt;
    }
    return readlog(folder.path() / "a_idx.log");
}

// Test volumes that the input gives: their count, then the volumes.
std::optional<periodogramdata> givenvolumes(const idxfile& input)
{
    for (const keyword& one : input.keywords) {
        if (one.name != "_UserProvidedTestVolumes") continue;
        periodogramdata given;
        given.name = "Test volumes of the input";
        const std::vector<item> items = itemsof(one.values, " \t\n,");
        for (std::size_t i = 1; i < items.size(); ++i)
            if (const auto volume = numberin(items[i].text))
                given.volumes.push_back({*volume, std::nullopt});
        return given;
    }
    return std::nullopt;
}

// Adds the periodogram, or a sentence that says why there is none.
void addperiodogram(json& data, const fs::path& log, const resultsfile* results,
                    const textfile& source, const reportoptions& options)
{
    if (const auto given = givenvolumes(readidx(source))) {
        data["periodogram"] =
            curveof(*given, "The volumes were given in the input: no periodogram was made.");
        return;
    }
    auto found = readlog(log);
    const bool belongs = found && results != nullptr && logbelongs(found->head, *results);
    if (!belongs) found = runforlog(options.program, source.text());
    if (!found || found->periodogram.curve.empty()) {
        data["noperiodogram"] = "The periodogram could not be made: Torvik was not found, or did "
                                "not run to its end. It writes one with _CreateLogFile 1.";
        note(data["noperiodogram"].get<std::string>());
        return;
    }
    const std::string where =
        belongs ? "from " + log.filename().string() : "from a run made for this page";
    data["periodogram"] = curveof(found->periodogram, wordsof(found->periodogram, where));
}

// Throws a failure unless the indices of the results are those of the vectors of the input.
void checktogether(const solution& one, const std::vector<vector3>& vectors, const fs::path& input,
                   const fs::path& file)
{
    const auto fail = [&](const std::string& why) {
        throw failure(input.filename().string() + " is not the input of " + file.filename().string()
                      + ": " + why + ". --input names the right one.");
    };
    if (one.reflections.size() != vectors.size())
        fail("the results have " + std::to_string(one.reflections.size())
             + " reflections, and it has " + std::to_string(vectors.size()));
    constexpr double rounding = 0.0051; // of two decimals
    for (const reflectionline& line : one.reflections) {
        if (line.how == fit::none) continue;
        const vector3 real =
            one.basis.multiply(vectors.at(static_cast<std::size_t>(line.number) - 1));
        const double off = std::fmax(
            std::fabs(real.x - line.real[0]),
            std::fmax(std::fabs(real.y - line.real[1]), std::fabs(real.z - line.real[2])));
        if (off > rounding)
            fail("reflection " + std::to_string(line.number) + " has other indices in solution "
                 + std::to_string(one.number));
    }
}

json solutionsof(const resultsfile& results)
{
    json list = json::array();
    for (const solution& one : results.solutions()) {
        std::string fits;
        for (const reflectionline& line : one.reflections)
            fits += line.how == fit::strict ? 'H' : line.how == fit::loose ? 'h' : '.';
        list.push_back({{"number", one.number},
                        {"basis", numbersof(one.basis)},
                        {"cell", one.cell},
                        {"volume", one.volume},
                        {"h", one.h},
                        {"H", one.H},
                        {"quality", one.quality},
                        {"lattice", latticeof(one.basis)},
                        {"fits", fits}});
    }
    return list;
}

int largestindexof(const resultsfile& results)
{
    for (const auto& [name, value] : results.parameters)
        if (name == "Max. allowed Miller index") return wholein(value).value_or(largestofall);
    return largestofall;
}

// NAME_idx.res of NAME.idx.
fs::path besides(const fs::path& results, const std::string& ending)
{
    const std::string name = results.filename().string();
    constexpr std::string_view usual = "_idx.res";
    if (!name.ends_with(usual))
        throw failure("The input of " + name
                      + " is not known: a results file is called NAME_idx.res. --input names it.");
    return results.parent_path() / (name.substr(0, name.size() - usual.size()) + ending);
}

json dataofresults(const reportoptions& options)
{
    const resultsfile results = readresults(textfile::read(options.file));
    const fs::path input = options.input.empty() ? besides(options.file, ".idx") : options.input;
    std::error_code none;
    if (!fs::exists(input, none))
        throw failure("The reflections stand in the input, but there is no " + input.string()
                      + ": --input names it.");
    const textfile source = textfile::read(input);
    const std::vector<vector3> vectors = vectorsof(readidx(source));
    std::vector<matrix3> bases;
    for (const solution& one : results.solutions()) {
        checktogether(one, vectors, input, options.file);
        bases.push_back(one.basis);
    }
    json data = {{"tools", TORVIK_VERSION},
                 {"program", results.program},
                 {"input", results.input},
                 {"source", options.file.filename().string()},
                 {"date", results.date + " " + results.time},
                 {"parameters", results.parameters},
                 {"criterion", results.criterion},
                 {"largestindex", largestindexof(results)},
                 {"vectors", numbersof(vectors)},
                 {"solutions", solutionsof(results)},
                 {"relations", relationsof(bases)}};
    const fs::path log = input.parent_path() / (input.stem().string() + "_idx.log");
    addperiodogram(data, log, &results, source, options);
    return data;
}

// ------------------------------------------------------------------ NAME.solution.json

matrix3 basisin(const json& rows)
{
    const auto row = [&](std::size_t i) {
        return vector3{rows.at(i).at(0).get<double>(), rows.at(i).at(1).get<double>(),
                       rows.at(i).at(2).get<double>()};
    };
    return from_rows(row(0), row(1), row(2));
}

// The common shift of the vectors that was found with the answer.
vector3 shiftin(const json& given)
{
    const json shift = given.value("shift", json());
    if (shift.is_null()) return {};
    return {shift.at(0).get<double>(), shift.at(1).get<double>(), shift.at(2).get<double>()};
}

json candidate(std::size_t number, const json& given, const std::vector<vector3>& vectors)
{
    const matrix3 basis = basisin(given.at("basis"));
    const auto inside = [&](const vector3& v) {
        return off_whole(basis.multiply(v)) < usualcriterion;
    };
    return {{"number", number},
            {"basis", numbersof(basis)},
            {"cell", cell_of(basis)},
            {"volume", std::fabs(basis.determinant())},
            {"lattice", latticeof(basis)},
            {"indexed", std::count_if(vectors.begin(), vectors.end(), inside)},
            {"evidence", given.value("evidence", json())}};
}

bool same(const json& u, const json& v)
{
    return same_lattice(basisin(u), basisin(v));
}

// The answer, then the other candidates.
void addcandidates(json& data, const json& given, const std::vector<vector3>& vectors)
{
    json list = json::array();
    const json none = json::array();
    const json& candidates = given.contains("candidates") ? given["candidates"] : none;
    const bool answered = given.contains("basis") && given["basis"].is_array();
    if (answered) {
        json answer = given;
        for (const json& one : candidates)
            if (same(one.at("basis"), given["basis"]))
                answer["evidence"] = one.value("evidence", json());
        list.push_back(candidate(1, answer, vectors));
    }
    for (const json& one : candidates)
        if (!answered || !same(one.at("basis"), given["basis"]))
            list.push_back(candidate(list.size() + 1, one, vectors));
    std::vector<matrix3> bases;
    for (const json& one : list) {
        const auto& m = one["basis"];
        bases.push_back(from_rows({m[0], m[1], m[2]}, {m[3], m[4], m[5]}, {m[6], m[7], m[8]}));
    }
    data["relations"] = relationsof(bases);
    data["solutions"] = std::move(list);
}

// The file of the run that a solution names, if it does: it is beside the solution, and nowhere else.
fs::path fileofrun(const json& given, const char* key, const textfile& source,
                   const reportoptions& options)
{
    const json run = given.value("run", json());
    if (!run.contains(key) || !run[key].is_string()) return {};
    const fs::path name = run[key].get<std::string>();
    if (name.empty() || name != name.filename() || name == "." || name == "..")
        source.fail(0, 0,
                    "expected the name of a file beside it in '" + std::string(key)
                        + "' of its run, found '" + name.string() + "'");
    return options.file.parent_path() / name;
}

void addrun(json& data, const json& given, const textfile& source, const reportoptions& options)
{
    std::error_code none;
    const fs::path res = fileofrun(given, "res", source, options);
    if (!res.empty() && fs::exists(res, none)) {
        const resultsfile results = readresults(textfile::read(res));
        data["parameters"] = results.parameters;
        data["date"] = results.date + " " + results.time;
        data["largestindex"] = largestindexof(results);
    }
    const fs::path beside = fileofrun(given, "idx", source, options);
    const fs::path idx = options.input.empty() ? beside : options.input;
    if (idx.empty() || !fs::exists(idx, none)) {
        data["noperiodogram"] = "There is no run of Torvik beside, which solve --results makes: no "
                                "periodogram is shown.";
        return;
    }
    addperiodogram(data, {}, nullptr, textfile::read(idx), options);
}

json dataofsolution(const reportoptions& options)
{
    const textfile source = textfile::read(options.file);
    constexpr std::size_t most = 100'000'000; // a reflection has twenty
    const json given = jsonin(source, most);
    if (!given.is_object() || !given.contains("reflections"))
        source.fail(0, 0, "expected the JSON of a solution, with its reflections");
    try {
        const vector3 shift = shiftin(given);
        std::vector<vector3> vectors;
        json genuine = json::array();
        json lattices = json::array();
        for (const json& one : given["reflections"]) {
            const json& v = one.at("vector");
            vectors.emplace_back(v.at(0).get<double>(), v.at(1).get<double>(),
                                 v.at(2).get<double>());
            vectors.back() -= shift;
            genuine.push_back(one.value("genuine", json()));
            const json lattice = one.value("lattice", json());
            lattices.push_back(lattice.is_number() ? lattice : json(0));
        }
        json data = {{"tools", TORVIK_VERSION},
                     {"program", given.value("program", "Torvik")},
                     {"input", fs::path(given.value("input", "")).filename().string()},
                     {"source", options.file.filename().string()},
                     {"date", ""},
                     {"verdict", given.value("verdict", "")},
                     {"parameters", json::array()},
                     {"criterion", usualcriterion},
                     {"largestindex", largestofall},
                     {"vectors", numbersof(vectors)},
                     {"genuine", std::move(genuine)},
                     {"lattices", std::move(lattices)}};
        if (given.contains("reason") && given["reason"].is_string())
            data["reason"] = given["reason"];
        addcandidates(data, given, vectors);
        addrun(data, given, source, options);
        return data;
    } catch (const json::exception& why) {
        source.fail(0, 0, std::string("expected the JSON of a solution: ") + why.what());
    }
}

} // namespace

std::string reportdata(const reportoptions& options)
{
    const bool solved = options.file.extension() == ".json";
    return (solved ? dataofsolution(options) : dataofresults(options))
        .dump(-1, ' ', false, json::error_handler_t::replace);
}

} // namespace torvik::tools
