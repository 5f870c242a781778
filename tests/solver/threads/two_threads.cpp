// Two threads solve at once: for ThreadSanitizer, which ends a program with a data race by an error.
//
//   two_threads        solves the same lists in both threads, and compares the answers
//   two_threads race   makes a data race, to see that it is found
#include "solver/builds/fixed_lists.h"

#include <cstdio>
#include <cstring>
#include <thread>

namespace {

using namespace torvik::solver;

using hashes = std::vector<std::uint64_t>;

// Those that are solved quickly, and take different ways: the sanitizer makes all some ten times slower.
std::vector<builds::fixed_request> quick_requests()
{
    std::vector<builds::fixed_request> chosen;
    for (const builds::fixed_request& asked : builds::fixed_requests())
        for (const char* name : {"twenty", "forty with outliers", "cubic", "sixty-five", "shifted",
                                 "six hundred", "known", "two lattices"})
            if (std::strcmp(asked.name, name) == 0) chosen.push_back(asked);
    return chosen;
}

hashes solved(const std::vector<builds::fixed_request>& requests)
{
    hashes all;
    for (const builds::fixed_request& asked : requests) {
        builds::bits_hash of;
        of.add(solve(builds::list_of(asked), builds::options_of(asked)));
        all.push_back(of.value());
    }
    return all;
}

int race()
{
    int counted = 0;
    const auto count = [&] {
        for (int i = 0; i < 100000; ++i) ++counted;
    };
    std::thread one(count);
    std::thread other(count);
    one.join();
    other.join();
    return counted == 0 ? 1 : 0;
}

} // namespace

int main(int count, char** arguments)
{
    if (count == 2 && std::strcmp(arguments[1], "race") == 0) return race();
    const auto requests = quick_requests();
    hashes first;
    hashes second;
    std::thread one([&] { first = solved(requests); });
    std::thread other([&] { second = solved(requests); });
    one.join();
    other.join();
    std::printf("%zu lists, %s\n", requests.size(),
                first == second ? "the same answers" : "different answers");
    return first == second && requests.size() == 8 ? 0 : 1;
}
