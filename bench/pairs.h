// Times of two procedures that do the same, and the proof that they do.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Other work on the machine, and its changing clock, make times drift by tens of per cent. The two
// are therefore run in turn, and the ratio is taken within each pair: of these ratios the median is
// reported. Times are processor times. Both give a hash of what they computed; hashes that differ
// are an error, and the benchmark fails.

namespace torvik {

// Processor time of this process, in seconds.
double processortime();

// A hash of bytes, to be continued: FNV-1a, 64 bits.
constexpr std::uint64_t emptyhash = 14695981039346656037U;
std::uint64_t hashed(const void* bytes, std::size_t count, std::uint64_t hash = emptyhash);

template <class number>
std::uint64_t hashed(const std::vector<number>& numbers, std::uint64_t hash = emptyhash)
{
    return hashed(numbers.data(), numbers.size() * sizeof(number), hash);
}

// What one of the two took and gave.
struct measured {
    double seconds;
    std::uint64_t hash;
    long kilobytes = 0; // the most memory that it held, of a process of its own
};

using action = std::function<measured()>;

// Times an act. What makes its input ready and what hashes its output is not timed.
action timed(std::function<void()> before, std::function<void()> act,
             std::function<std::uint64_t()> hash);

struct comparison {
    double plain = 0.0, fast = 0.0; // seconds, medians
    double ratio = 0.0;             // median of the pairs
    int pairs = 0;
    std::uint64_t hash = 0;
    bool same = true; // all hashes were equal
    long plainkilobytes = 0, fastkilobytes = 0;
};

// Runs pairs: one at least, then up to `most` until `seconds` are over.
comparison compared(const action& plain, const action& fast, int most, double seconds);

double median(std::vector<double> numbers);

} // namespace torvik
