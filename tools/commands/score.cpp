// torvik-tools score: solutions held against what is known.

#include "lattice/score.h"

#include "base/failure.h"
#include "base/table.h"
#include "base/terminal.h"
#include "commands/command.h"
#include "lattice/notation.h"
#include "lattice/readcell.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <iostream>
#include <optional>

namespace torvik::tools {

namespace {

struct scoreoptions {
    std::string results;
    std::vector<std::string> known; // a file, or the items of a cell
    celltolerance tolerance;
    bool json = false;
    bool word = false;
};

struct scored {
    solution from;
    score result;
};

truth knownfrom(const scoreoptions& options)
{
    std::error_code none;
    if (options.known.size() == 1 && std::filesystem::exists(options.known.front(), none))
        return readtruth(textfile::read(options.known.front()));
    std::string text;
    for (const std::string& one : options.known) text += (text.empty() ? "" : " ") + one;
    try {
        return truthof(cellfrom(text));
    } catch (const failure& why) {
        if (options.known.size() > 1) throw;
        throw failure("There is no file " + text + "; and as a cell: " + why.what());
    }
}

std::string described(const score& one)
{
    const bool multiple = one.how == verdict::supercell || one.how == verdict::subcell;
    return nameof(one.how) + (multiple ? " of index " + std::to_string(one.index) : "");
}

std::string coloured(const score& one, const std::string& text, bool colourful)
{
    switch (one.how) {
    case verdict::right: return green(text, colourful);
    case verdict::wrong: return red(text, colourful);
    default: return yellow(text, colourful);
    }
}

std::string firstword(const std::vector<scored>& all)
{
    return all.empty() ? "none" : described(all.front().result);
}

std::optional<int> firstright(const std::vector<scored>& all)
{
    for (const scored& one : all)
        if (one.result.how == verdict::right) return one.from.number;
    return std::nullopt;
}

// Which way the matrix goes.
const char* waysof(const score& one)
{
    return one.how == verdict::supercell ? "solution = T truth" : "truth = T solution";
}

nlohmann::ordered_json jsonof(const scored& one)
{
    nlohmann::ordered_json entry;
    entry["number"] = one.from.number;
    entry["verdict"] = nameof(one.result.how);
    entry["index"] = nullptr;
    entry["cell"] = one.from.cell;
    entry["volume"] = one.from.volume;
    entry["indexed"] = one.from.h;
    if (one.result.how == verdict::wrong) return entry;
    entry["index"] = one.result.index;
    entry["lattice"] = one.result.lattice;
    entry["matrix"] = wholerows(one.result.T);
    entry["meaning"] = waysof(one.result);
    entry["misfit"] = one.result.misfit;
    return entry;
}

void printjson(const std::vector<scored>& all)
{
    nlohmann::ordered_json page;
    page["verdict"] = all.empty() ? "none" : nameof(all.front().result.how);
    page["index"] = nullptr;
    if (!all.empty() && all.front().result.how != verdict::wrong)
        page["index"] = all.front().result.index;
    const auto right = firstright(all);
    page["right"] = nullptr;
    if (right) page["right"] = *right;
    page["solutions"] = nlohmann::ordered_json::array();
    for (const scored& one : all) page["solutions"].push_back(jsonof(one));
    std::cout << page.dump(1) << "\n";
}

std::string sentence(const std::vector<scored>& all)
{
    if (all.empty()) return "There is no solution.";
    const auto right = firstright(all);
    if (right && *right == all.front().from.number) return "The first solution is right.";
    const std::string start = all.front().result.how == verdict::wrong
                                  ? "The first solution is wrong"
                                  : "The first solution is a " + described(all.front().result);
    return start
           + (right ? "; solution " + std::to_string(*right) + " is right." : "; none is right.");
}

void printtable(const std::vector<scored>& all)
{
    const bool colourful = outputcolourful();
    std::cout << (all.empty() ? red(sentence(all), colourful)
                              : coloured(all.front().result, sentence(all), colourful))
              << "\n";
    if (all.empty()) return;
    std::vector<std::vector<std::string>> rows;
    for (const scored& one : all) {
        const bool wrong = one.result.how == verdict::wrong;
        rows.push_back({std::to_string(one.from.number), std::to_string(one.from.h),
                        fixed(one.from.volume, 1), celltext(one.from.cell, 2, 1),
                        described(one.result), wrong ? "" : fixed(one.result.misfit, 3),
                        wrong ? "" : rowstext(one.result.T)});
    }
    std::cout << "\n"
              << tableof({{"nr"},
                          {"indexed"},
                          {"volume"},
                          {"cell", align::left},
                          {"is", align::left},
                          {"misfit"},
                          {"T", align::left}},
                         rows)
              << "\nThe rows of T: truth = T solution, but solution = T truth for supercells.\n";
}

void run(const scoreoptions& options)
{
    const truth known = knownfrom(options);
    const resultsfile results = readresults(textfile::read(options.results));
    std::vector<scored> all;
    for (const solution& one : results.solutions())
        all.push_back({one, scoreof(one.basis, known, options.tolerance)});
    if (options.word)
        std::cout << firstword(all) << "\n";
    else if (options.json)
        printjson(all);
    else
        printtable(all);
}

} // namespace

void addscore(CLI::App& program)
{
    auto [command, options] = newcommand<scoreoptions>(
        program, "score",
        "Holds solutions against what is known: right, a supercell, a subcell, or wrong.");
    command->add_option("RES", options->results, "Results file of Torvik")->required();
    command
        ->add_option("KNOWN", options->known,
                     "The truth file of a simulated measurement, NAME.truth.json; or a cell: six "
                     "numbers and perhaps a letter of the centring (P A B C I F R)")
        ->required();
    command
        ->add_option("--length", options->tolerance.length,
                     "How far lengths may be off a known cell, as a part of them")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 0.5));
    command
        ->add_option("--angle", options->tolerance.angle,
                     "How far angles may be off a known cell, in degrees")
        ->capture_default_str()
        ->check(CLI::Range(0.0, 30.0));
    auto* json = command->add_flag("--json", options->json, "Print JSON");
    command
        ->add_flag("--word", options->word,
                   "Print the verdict on the first solution alone: right, supercell of index N, "
                   "subcell of index N, wrong, or none")
        ->excludes(json);
    command->footer(
        "A truth file that has the lattice in the frame of the reflections is compared\n"
        "with its orientation, a cell without. Example:\n"
        "  $ Torvik 5_kyanite_difficult.idx\n"
        "  $ torvik-tools score 5_kyanite_difficult_idx.res "
        "5_kyanite_difficult.truth.json\n"
        "  $ torvik-tools score 5_kyanite_difficult_idx.res 7.13 7.85 5.57 90 101.1 "
        "106 --word");
    command->callback([options = options] { run(*options); });
}

} // namespace torvik::tools
