// How fast the program is, against the plain procedures and by itself.
//
//   torvik_bench [--smoke | --all] [options of Google Benchmark, such as --benchmark_filter=REGEX]
//
// The stages and whole runs, fast and plain in turn, and how time and memory of the program grow.
// Prints Markdown tables; docs/performance.md explains them. Without an option the plain program's
// share takes about four minutes, with --all more than half an hour; --smoke only tries out that
// everything works. The exit status is 1 if any two results differ.

#include "runs.h"
#include "shares.h"
#include "stages.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace torvik {

namespace {

struct pairrow {
    stage what;
    comparison found;
    necessarywork work;
};

struct growthrow {
    std::string what;
    int N, extent, periods;
    measured found;
};

// What was found, to be printed when all is done.
struct findings {
    std::vector<pairrow> stages, runs;
    std::vector<growthrow> growth;
    bool same = true;
};

std::string text(const char* format, double x)
{
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, format, x);
    return buffer;
}

// Three digits are more than such times are worth.
std::string digits(double x)
{
    return text(x < 10.0 ? "%.2f" : x < 100.0 ? "%.1f" : "%.0f", x);
}

std::string timetext(double seconds)
{
    if (seconds >= 1.0) return digits(seconds) + " s";
    if (seconds >= 1e-3) return digits(1e3 * seconds) + " ms";
    return digits(1e6 * seconds) + " us";
}

std::string extenttext(int extent)
{
    return extent < 0 ? "" : std::to_string(extent);
}

std::string hashtext(std::uint64_t hash)
{
    char buffer[20];
    std::snprintf(buffer, sizeof buffer, "%08x", static_cast<unsigned>(hash ^ (hash >> 32)));
    return buffer;
}

void printpairs(std::ostream& out, const std::vector<pairrow>& rows)
{
    out << "| What | Reflections | Extent | Work | Plain | Torvik | Ratio | Pairs | Hash of both "
           "|\n"
           "|---|--:|--:|---|--:|--:|--:|--:|---|\n";
    for (const auto& [what, found, work] : rows)
        out << "| " << what.name << " | " << (what.N > 0 ? std::to_string(what.N) : "") << " | "
            << extenttext(what.extent) << " | " << what.size << " | " << timetext(found.plain)
            << " | " << timetext(found.fast) << " | " << digits(found.ratio) << " | " << found.pairs
            << " | " << (found.same ? hashtext(found.hash) : "**DIFFERENT**") << " |\n";
}

void printlimits(std::ostream& out, const std::vector<pairrow>& rows)
{
    const double arithmetic = arithmeticpeak();
    const double division = divisionpeak();
    out << "Peak of one core: " << digits(1e-9 * arithmetic)
        << " thousand million products and sums a second, " << digits(1e-9 * division)
        << " divisions.\n\n"
           "| What | Reflections | Counted | Million a second | Operations each | Share of the "
           "peak |\n"
           "|---|--:|---|--:|--:|--:|\n";
    for (const auto& [what, found, work] : rows) {
        if (work.count == 0.0) continue;
        const double rate = work.count / found.fast;
        const double share = rate * work.operations / (work.divisions ? division : arithmetic);
        out << "| " << what.name << " | " << what.N << " | " << work.what << " | "
            << digits(1e-6 * rate) << " | "
            << (work.divisions ? "1 division" : digits(work.operations)) << " | "
            << digits(100.0 * share) << " % |\n";
    }
}

void printgrowth(std::ostream& out, const std::vector<growthrow>& rows)
{
    out << "| Growing | Reflections | Extent | Test periods | Time | Memory |\n"
           "|---|--:|--:|--:|--:|--:|\n";
    for (const growthrow& row : rows)
        out << "| " << row.what << " | " << row.N << " | " << row.extent << " | " << row.periods
            << " | " << timetext(row.found.seconds) << " | "
            << text("%.0f MiB", static_cast<double>(row.found.kilobytes) / 1024.0) << " |\n";
}

void print(std::ostream& out, const findings& found)
{
    if (!found.runs.empty()) {
        out << "### Whole runs\n\n";
        printpairs(out, found.runs);
    }
    if (!found.stages.empty()) {
        out << "\n### Stages\n\n";
        printpairs(out, found.stages);
        out << "\n### Share of the physical limit\n\n";
        printlimits(out, found.stages);
    }
    if (!found.growth.empty()) {
        out << "\n### Growth\n\n";
        printgrowth(out, found.growth);
    }
}

// Registers a comparison; the framework shows how far it has come, and can be told to leave it out.
void registerpair(const std::string& group, const stage& what, int mostpairs, double seconds,
                  std::vector<pairrow>& rows, bool& same)
{
    const std::string name = group + "/" + what.name + "/N" + std::to_string(what.N) + "/extent"
                             + extenttext(what.extent);
    const auto compare = [=, &rows, &same](benchmark::State& state) {
        for ([[maybe_unused]] const auto once : state) {
            const comparison found = compared(what.plain, what.fast, mostpairs, seconds);
            state.SetIterationTime(found.fast);
            state.counters["ratio"] = found.ratio;
            rows.push_back({what, found, group == "stage" ? workof(what) : necessarywork{}});
            if (found.same) continue;
            same = false;
            state.SkipWithError("the results differ");
        }
    };
    benchmark::RegisterBenchmark(name.c_str(), compare)->Iterations(1)->UseManualTime();
}

// How much a run is asked for.
struct runsize {
    int N, extent;
    volumerange range = {};
};

std::string volumes(const volumerange& range)
{
    return text("volumes %.0f", range.smallest) + text(" to %.0f", range.largest);
}

void registerruns(const std::vector<runsize>& sizes, int mostpairs, double seconds, findings& found)
{
    for (const auto& [N, extent, range] : sizes) {
        const std::string idx = simulatedinput(N, extent, range);
        const stage what = {"whole run",
                            N,
                            extent,
                            volumes(range),
                            runof(TORVIK_PLAIN, idx),
                            runof(TORVIK_PROGRAM, idx)};
        registerpair("run", what, mostpairs, seconds, found.runs, found.same);
    }
}

void registergrowth(const std::string& growing, const std::vector<runsize>& sizes, findings& found)
{
    for (const auto& [N, extent, range] : sizes) {
        const std::string name = "growth/" + growing + "/N" + std::to_string(N) + "/extent"
                                 + std::to_string(extent) + text("/to%.0f", range.largest);
        const auto run = [=, &found](benchmark::State& state) {
            for ([[maybe_unused]] const auto once : state) {
                const std::string idx = simulatedinput(N, extent, range);
                const measured result = runof(TORVIK_PROGRAM, idx)();
                state.SetIterationTime(result.seconds);
                const int periods = printedbehind(TORVIK_PROGRAM, idx, "Number of test periods : ");
                found.growth.push_back({growing, N, extent, periods, result});
            }
        };
        benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(1)->UseManualTime();
    }
}

// Counts from 67 on are such that Rayleigh's divisor is positive: otherwise there are no test volumes.
// (Of 200 it is negative.)
void registerall(bool smoke, bool all, findings& found)
{
    const volumerange narrow = {140.0, 280.0};
    if (smoke) {
        registerruns({{6, 2, narrow}}, 1, 0.0, found);
        for (const stage& what : stagesfor({{8}, {8}, 0.002}))
            registerpair("stage", what, 1, 0.0, found.stages, found.same);
        registergrowth("reflections", {{6, 2, narrow}}, found);
        return;
    }
    std::vector<runsize> runs = {{20, 2}, {40, 2}, {20, 0}, {20, 1}, {20, 3, narrow}};
    benchmarksize size = {{20, 40, 100}, {20}, 2.0};
    if (all) {
        runs = {{20, 2}, {40, 2},         {66, 2},         {100, 2},        {40, 0},
                {40, 1}, {20, 3, narrow}, {20, 4, narrow}, {20, 5, narrow}, {202, 2, {180, 300}}};
        size = {{20, 40, 66, 100, 202}, {20, 40}, 20.0};
    }
    registerruns(runs, 5, all ? 60.0 : 30.0, found);
    for (const stage& what : stagesfor(size))
        registerpair("stage", what, 11, size.seconds, found.stages, found.same);

    std::vector<runsize> crystals = {{20, 2}, {40, 2}, {66, 2}, {100, 2}, {202, 2}};
    if (all) crystals.insert(crystals.end(), {{300, 2}, {700, 2}, {998, 2}});
    registergrowth("reflections", crystals, found);
    std::vector<runsize> ranges = {{40, 2, {100, 2e4}}, {40, 2, {100, 2e5}}, {40, 2, {100, 2e6}}};
    if (all) ranges.push_back({40, 2, {100, 2e7}});
    registergrowth("test periods", ranges, found);
    const volumerange around = {100.0, 400.0};
    registergrowth("extent",
                   {{20, 0, around},
                    {20, 1, around},
                    {20, 2, around},
                    {20, 3, around},
                    {20, 4, around},
                    {20, 5, around}},
                   found);
}

// Keeps the terminal for the tables: what the procedures print there goes nowhere.
std::FILE* taketerminal()
{
    std::FILE* terminal = fdopen(dup(STDOUT_FILENO), "w");
    if (std::freopen("/dev/null", "w", stdout) == nullptr) return nullptr;
    return terminal;
}

// Takes an option out of the arguments. Gives whether it was there.
bool taken(const std::string& option, int& count, char** arguments)
{
    char** end = arguments + count;
    char** kept = std::remove_if(arguments + 1, end, [&](char* a) { return a == option; });
    count = static_cast<int>(kept - arguments);
    return kept != end;
}

int work(int count, char** arguments)
{
    const bool smoke = taken("--smoke", count, arguments);
    const bool all = taken("--all", count, arguments);
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 2;
    std::FILE* terminal = taketerminal();
    if (terminal == nullptr) return 2;

    findings found;
    registerall(smoke, all, found);
    benchmark::ConsoleReporter progress(benchmark::ConsoleReporter::OO_None);
    progress.SetOutputStream(&std::cerr);
    progress.SetErrorStream(&std::cerr);
    benchmark::RunSpecifiedBenchmarks(&progress);

    std::ostringstream tables;
    print(tables, found);
    std::fputs(tables.str().c_str(), terminal);
    std::fclose(terminal);
    return found.same ? 0 : 1;
}

} // namespace

} // namespace torvik

int main(int count, char** arguments)
{
    return torvik::work(count, arguments);
}
