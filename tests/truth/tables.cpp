#include "truth/tables.h"

#include <cstdio>
#include <functional>
#include <map>

namespace torvik {

namespace {

struct tally {
    int crystals = 0;
    int first = 0;
    int listed = 0; // not counting the first
    double seconds = 0.0;

    void add(const outcome& result)
    {
        ++crystals;
        first += result.place == 1 ? 1 : 0;
        listed += result.place > 1 ? 1 : 0;
        seconds += result.seconds;
    }
    int missed() const
    {
        return crystals - first - listed;
    }
};

// A level of a factor: a text after a number by which the levels are sorted.
struct level {
    int order;
    std::string name;
    bool operator<(const level& other) const
    {
        return order != other.order ? order < other.order : name < other.name;
    }
};

struct factor {
    std::string name;
    std::function<level(const experiment&)> of;
};

std::string percent(double part)
{
    return std::to_string(nint(100.0 * part)) + " %";
}

std::string seconds(double s)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.2f s", s);
    return buffer;
}

int placeof(const latticetype& lattice)
{
    int n = 0;
    for (const latticetype& other : latticetypes) {
        if (std::string(other.system) == lattice.system && other.centring == lattice.centring)
            break;
        ++n;
    }
    return n;
}

const factor bynoise = {"noise", [](const experiment& e) {
                            return level{nint(1000 * e.noise), percent(e.noise)};
                        }};
const factor bywrong = {"wrong", [](const experiment& e) {
                            return level{nint(1000 * e.wrong), percent(e.wrong)};
                        }};
const factor bycount = {"N", [](const experiment& e) {
                            return level{e.reflections, std::to_string(e.reflections)};
                        }};
const factor byvolume = {"volume", [](const experiment& e) {
                             return level{nint(e.volume), std::to_string(nint(e.volume))};
                         }};
const factor bylattice = {
    "lattice", [](const experiment& e) {
        return level{placeof(e.lattice), std::string(e.lattice.system) + " " + e.lattice.centring};
    }};
const factor bykind = {"input", [](const experiment& e) {
                           const char* names[] = {"vectors", "Eulerian angles", "kappa angles"};
                           return level{static_cast<int>(e.kind), names[static_cast<int>(e.kind)]};
                       }};

std::string rowof(const std::string& name, const tally& t)
{
    const double n = t.crystals;
    return "| " + name + " | " + std::to_string(t.crystals) + " | " + std::to_string(t.first)
           + " | " + std::to_string(t.listed) + " | " + std::to_string(t.missed()) + " | "
           + percent(t.first / n) + " | " + percent((t.first + t.listed) / n) + " | "
           + seconds(t.seconds / n) + " |\n";
}

std::string tableby(const factor& f, const std::vector<trial>& trials)
{
    std::map<level, tally> tallies;
    for (const trial& one : trials) tallies[f.of(one.asked)].add(one.result);
    std::string text =
        "| " + f.name
        + " | crystals | first | listed | missed | first | first or listed | mean time |\n"
          "|---|---:|---:|---:|---:|---:|---:|---:|\n";
    for (const auto& [name, t] : tallies) text += rowof(name.name, t);
    return text + "\n";
}

std::string tableby(const factor& down, const factor& across, const std::vector<trial>& trials)
{
    std::map<level, std::map<level, tally>> tallies;
    for (const trial& one : trials)
        tallies[down.of(one.asked)][across.of(one.asked)].add(one.result);
    std::string text = "| " + down.name + " |";
    std::string rule = "|---|";
    for (const auto& [name, t] : tallies.begin()->second) {
        text += " " + across.name + " " + name.name + " |";
        rule += "---|";
    }
    text += "\n" + rule + "\n";
    for (const auto& [name, row] : tallies) {
        text += "| " + name.name + " |";
        for (const auto& [other, t] : row)
            text += " " + std::to_string(t.first) + " / " + std::to_string(t.listed) + " / "
                    + std::to_string(t.missed()) + ", " + seconds(t.seconds / t.crystals) + " |";
        text += "\n";
    }
    return text + "\n";
}

// What the first solution is, by the fate of the truth.
std::string tableoffirsts(const std::vector<trial>& trials)
{
    std::map<level, tally> tallies;
    for (const trial& one : trials) {
        const outcome& result = one.result;
        if (result.place == 1) continue;
        level what = {100, "a lattice that is neither"};
        if (result.solutions == 0)
            what = {101, "none: the list is empty"};
        else if (result.multiple > 1)
            what = {result.multiple, "a cell " + std::to_string(result.multiple)
                                         + " times as large that holds the true one"};
        tallies[what].add(result);
    }
    std::string text = "| the first solution is | truth listed | truth missed |\n|---|---:|---:|\n";
    for (const auto& [name, t] : tallies)
        text += "| " + name.name + " | " + std::to_string(t.listed) + " | "
                + std::to_string(t.missed()) + " |\n";
    return text;
}

} // namespace

std::string tablesof(const std::vector<trial>& trials)
{
    tally all;
    for (const trial& one : trials) all.add(one.result);
    std::string text =
        "| | crystals | first | listed | missed | first | first or listed | mean time |\n"
        "|---|---:|---:|---:|---:|---:|---:|---:|\n"
        + rowof("all", all) + "\n";
    for (const factor& f : {bynoise, bywrong, bycount, byvolume, bylattice, bykind})
        text += tableby(f, trials);
    text += "First / listed / missed, mean time:\n\n";
    text += tableby(bynoise, bywrong, trials);
    text += tableby(bycount, bywrong, trials);
    text += tableby(bycount, bynoise, trials);
    text += "Where the truth is not the first:\n\n";
    return text + tableoffirsts(trials);
}

} // namespace torvik
