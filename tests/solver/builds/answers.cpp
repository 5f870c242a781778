// Prints a hash of the full answer to each of some thirty fixed lists. All builds, on all machines, must print the same.
#include "fixed_lists.h"

#include <cinttypes>
#include <cstdio>

int main()
{
    using namespace torvik::solver;
    constexpr const char* verdicts[] = {"solved", "ambiguous", "refused"};
    builds::bits_hash all;
    for (const builds::fixed_request& asked : builds::fixed_requests()) {
        const answer found = solve(builds::list_of(asked), builds::options_of(asked));
        builds::bits_hash of;
        of.add(found);
        all.add(of.value());
        std::printf("%016" PRIx64 " %-9s %s\n", of.value(),
                    verdicts[static_cast<std::size_t>(found.how)], asked.name);
    }
    std::printf("%016" PRIx64 " all\n", all.value());
    return 0;
}
