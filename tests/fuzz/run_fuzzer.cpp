// Whole runs under libFuzzer, from the bytes of an input file to its results.

#include "fuzz/counters.h"
#include "fuzz/harness.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t count, std::size_t most);

namespace {

struct summarizing {
    torvik::harness program;
    ~summarizing()
    {
        std::fputs(torvik::summaryof(program).c_str(), stderr);
    }
};

// Numbers with which a search gets into trouble, if there is trouble.
const char* const numbers[] = {"0",    "1",     "-1",    "2",      "3",     "4",      "5",
                               "0.5",  "-0.5",  "0.1",   "1e-3",   "1e-8",  "1e8",    "1e-160",
                               "1e99", "1e154", "1e308", "1e-308", "1e999", "-1e999", "5e-324",
                               "0.25", "0.333", "0.12",  "-0",     "90",    "180",    "1e16"};

struct stretch {
    std::size_t start, end;
};

// The stretches of a text that are made of the wanted characters.
template <class Wanted>
std::vector<stretch> stretches(const std::string& text, Wanted wanted)
{
    std::vector<stretch> found;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        while (i < text.size() && wanted(text[i])) ++i;
        if (i > start)
            found.push_back({start, i});
        else
            ++i;
    }
    return found;
}

// Changes a number or a line, so that the text stays one that can be read.
void changetext(std::string& text, std::minstd_rand& random)
{
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random()) % n; };
    if (below(5) > 0) {
        auto found = stretches(text, [](char c) { return c != ' ' && c != '\n' && c != ','; });
        std::erase_if(found, [&](const stretch& s) { // words
            return ('A' <= text[s.start] && text[s.start] <= 'z') || text[s.start] == '#';
        });
        if (found.empty()) return;
        const auto [start, end] = found[below(found.size())];
        std::string number = numbers[below(std::size(numbers))];
        if (below(3) > 0) { // near the old value, or that of another place
            const std::string before = text.substr(start, end - start);
            const bool whole = before.find('.') == std::string::npos;
            const double old = std::atof(before.c_str());
            const double step = static_cast<double>(below(2001)) / 1e3 - 1.0;
            const auto& other = found[below(found.size())];
            char near[40];
            std::snprintf(near, sizeof near, "%.6g",
                          whole ? old + static_cast<double>(below(3)) - 1.0
                                : old + step * 0.02 * old);
            number = below(2) == 0 ? near : text.substr(other.start, other.end - other.start);
        }
        text.replace(start, end - start, number);
        return;
    }
    const auto lines = stretches(text, [](char c) { return c != '\n'; });
    if (lines.size() < 2) return;
    const auto [start, end] = lines[below(lines.size())];
    const auto [otherstart, otherend] = lines[below(lines.size())];
    const std::string line = text.substr(start, end - start);
    switch (below(3)) {
    case 0: text.erase(start, end - start); break;
    case 1: text.insert(otherstart, line + "\n"); break;
    default: text.replace(otherstart, otherend - otherstart, line); break;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t count,
                                               std::size_t most, unsigned seed)
{
    std::minstd_rand random(seed);
    if (random() % 6 == 0) return LLVMFuzzerMutate(bytes, count, most);
    std::string text(reinterpret_cast<const char*>(bytes), count);
    for (std::size_t changes = 1 + random() % 4; changes > 0; --changes) changetext(text, random);
    text.resize(std::min(text.size(), most));
    std::copy(text.begin(), text.end(), bytes);
    return text.size();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    static summarizing fuzzed;
    static std::uint64_t number = 0;
    ++number;
    // Now and then a longer run, so that long periodograms come too, for which bounds are computed;
    // and so do the kept inputs, which are the first.
    const bool longer = number <= 1000 || number % 10 == 0;
    fuzzed.program.workadmitted = number % 10000 == 0 ? 1e6 : longer ? 1e5 : 2e3;
    try {
        const std::string outcome =
            fuzzed.program.wholerun({reinterpret_cast<const char*>(bytes), count});
        // What is refused while it is read is for the fuzzer of the reader: it is not kept here.
        if (outcome != "results" && outcome != "periodogram") forgetcoverage();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Misbehaviour: %s\n", error.what());
        std::abort();
    }
    return 0;
}
