// torvik_solvestudy: how often the solver is right, wrong or refuses, and how long it takes.
//
//   torvik_solvestudy [GROUP ...] [options]
//
//   GROUP              table, classes, large, shift, nolattice, wedges, cell, twins; all of these if none
//                      is given; or real, which needs --data
//   --lists N          lists of each row; each row has a default
//   --seeds SET        tuning (default) or report: disjoint sets of lists
//   --threads N        2 by default; the answers do not depend on it
//   --volumes KIND     of the group table: drawn (default), 200 to 10000, or fixed, 250, 1500 and 6000
//   --budget MS        of each list, 60000 by default; lists that reach it are counted as interrupted
//   --only TEXT        only rows whose names contain it
//   --details          a line for each list that is not right
//   --show NUMBER      prints the vectors of that list of the first row, and solves nothing
//   --data FOLDER      of the files of the group real
//   --markdown         tables for a document
//
// Columns: lists; right (solved, a true lattice), with 95 % confidence limits, and wrong (solved, another
// lattice), with the upper limit; ambiguous, and how many of these have a true lattice among those that
// compete; refused; "best" is how often the best lattice is a true one, whatever the verdict. Lists whose
// inliers do not span the lattice ("undet.") count in none of these; they have a column for what they were
// solved as: the true lattice, the one that the inliers span, or another. "error" is the median of the
// cell's error over that of least squares with all true indices. Times are processor times of a list.

#include "details.h"
#include "real.h"
#include "running.h"
#include "tally.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

using namespace torvik::study;

struct command {
    std::vector<std::string> groups;
    run_request run;
    volume_choice volumes = volume_choice::drawn;
    std::string only;
    std::string data;
    bool details = false;
    bool markdown = false;
    int show = -1;
};

int whole(const std::string& text, int least)
{
    int number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end || number < least) throw std::invalid_argument(text);
    return number;
}

// One of two words; the second means true.
bool second_of(const std::string& word, const char* first, const char* second)
{
    if (word != first && word != second) throw std::invalid_argument(word);
    return word == second;
}

void take_group(command& asked, const std::string& word)
{
    const auto& names = group_names();
    if (word != "real" && std::find(names.begin(), names.end(), word) == names.end())
        throw std::invalid_argument(word);
    asked.groups.push_back(word);
}

// Takes an option with a value.
void take_option(command& asked, const std::string& option, const std::string& value)
{
    if (option == "--lists")
        asked.run.lists = whole(value, 1);
    else if (option == "--threads")
        asked.run.threads = whole(value, 1);
    else if (option == "--budget")
        asked.run.options.budget = std::chrono::milliseconds(whole(value, 1));
    else if (option == "--show")
        asked.show = whole(value, 0);
    else if (option == "--seeds")
        asked.run.seeds =
            second_of(value, "tuning", "report") ? seed_set::report : seed_set::tuning;
    else if (option == "--volumes")
        asked.volumes =
            second_of(value, "drawn", "fixed") ? volume_choice::fixed : volume_choice::drawn;
    else if (option == "--only")
        asked.only = value;
    else if (option == "--data")
        asked.data = value;
    else
        throw std::invalid_argument(option);
}

command command_from(const std::vector<std::string>& words)
{
    command asked;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (words[i] == "--markdown")
            asked.markdown = true;
        else if (words[i] == "--details")
            asked.details = true;
        else if (!words[i].starts_with("--"))
            take_group(asked, words[i]);
        else if (i + 1 < words.size())
            take_option(asked, words[i], words[i + 1]), ++i;
        else
            throw std::invalid_argument(words[i]);
    }
    if (asked.groups.empty()) asked.groups = group_names();
    return asked;
}

// The lists of a row that are not right, each solved once more.
void print_details(const study_row& row, const std::vector<judgement>& judgements,
                   const command& asked)
{
    for (std::size_t i = 0; i < judgements.size(); ++i) {
        const judgement& one = judgements[i];
        if (one.how == (row.lattice ? outcome::right : outcome::refused) && !one.failed) continue;
        const auto number = static_cast<int>(i);
        const auto seed = seed_of(asked.run.seeds, row.name, number);
        std::printf("  list %d, seed %llu: ", number, static_cast<unsigned long long>(seed));
        if (one.failed) std::printf("FAILED: %s; ", one.failure.c_str());
        try {
            const known_list list = row.made(seed, number);
            torvik::solver::options options = asked.run.options;
            options.known = list.cells;
            std::puts(line_on(list, torvik::solver::solve(list.measured, options)).c_str());
        } catch (const std::exception& error) {
            std::puts(error.what());
        }
    }
}

std::vector<study_row> rows_of(const command& asked)
{
    std::vector<study_row> wanted;
    for (const study_row& row : all_rows(asked.volumes))
        if (std::find(asked.groups.begin(), asked.groups.end(), row.group) != asked.groups.end()
            && row.name.find(asked.only) != std::string::npos)
            wanted.push_back(row);
    return wanted;
}

void print_heading(const command& asked)
{
    std::printf("Seeds: %s lists; volumes of the table: %s; threads: %d; budget: %lld ms.\n\n",
                asked.run.seeds == seed_set::tuning ? "tuning" : "report",
                asked.volumes == volume_choice::fixed ? "250, 1500, 6000" : "200 to 10000",
                asked.run.threads, static_cast<long long>(asked.run.options.budget.count()));
}

struct totals {
    tally lattices;
    tally chance; // lists without a lattice
};

void print_group(const std::string& group, const std::vector<study_row>& rows, const command& asked,
                 totals& all)
{
    std::printf("%s%s\n\n%s\n", asked.markdown ? "### " : "", group.c_str(),
                head_line(asked.markdown).c_str());
    tally sums;
    for (const study_row& row : rows) {
        if (row.group != group) continue;
        const auto judgements = judgements_of(row, asked.run);
        tally of_row;
        for (const judgement& one : judgements) of_row.add(one);
        std::puts(row_line(row.name, of_row, asked.markdown).c_str());
        if (asked.details) print_details(row, judgements, asked);
        std::fflush(stdout);
        sums.add(of_row);
        (row.lattice ? all.lattices : all.chance).add(of_row);
    }
    std::printf("%s\n\n", row_line("all of " + group, sums, asked.markdown).c_str());
}

void print_totals(const totals& all, bool markdown)
{
    std::printf("%sTotals\n\n%s\n", markdown ? "### " : "", head_line(markdown).c_str());
    tally both;
    both.add(all.lattices);
    both.add(all.chance);
    if (all.lattices.lists > 0)
        std::puts(row_line("lists of a lattice", all.lattices, markdown).c_str());
    if (all.chance.lists > 0)
        std::puts(row_line("lists without a lattice", all.chance, markdown).c_str());
    std::printf("\nLists: %d; solved wrong: %d; interrupted: %d; failed: %d; hash of all answers: "
                "%016llx\n",
                both.lists, both.wrong, both.interrupted, both.failed,
                static_cast<unsigned long long>(both.hash.value()));
}

int study(const command& asked)
{
    const std::vector<study_row> rows = rows_of(asked);
    if (asked.show >= 0) {
        if (rows.empty()) throw std::runtime_error("no row has this name");
        const study_row& row = rows.front();
        const auto seed = seed_of(asked.run.seeds, row.name, asked.show);
        std::fputs(text_of(row.made(seed, asked.show)).c_str(), stdout);
        return 0;
    }
    print_heading(asked);
    totals all;
    for (const std::string& group : group_names())
        if (std::any_of(rows.begin(), rows.end(),
                        [&](const study_row& row) { return row.group == group; }))
            print_group(group, rows, asked, all);
    if (!rows.empty()) print_totals(all, asked.markdown);
    int failures = all.lattices.failed + all.chance.failed;
    if (std::find(asked.groups.begin(), asked.groups.end(), "real") != asked.groups.end()) {
        if (asked.data.empty()) throw std::runtime_error("the group real needs --data FOLDER");
        std::puts("\nReal measurements\n");
        for (const std::string& line : lines_on_real(asked.data, asked.run.options, failures))
            std::puts(line.c_str());
    }
    return failures > 0 ? 1 : 0;
}

} // namespace

int main(int argc, char** argv)
{
    command asked;
    try {
        asked = command_from(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::cerr << "torvik_solvestudy does not understand " << error.what()
                  << "; the head of its source has the options.\n";
        return 2;
    }
    try {
        return study(asked);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
