#include "support/fresh.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace torvik {

namespace {

const pid_t testprocess = getpid();

// The program stops with status 0, so a test that ran into a stop would seem to have passed. The
// children of tests may stop.
void refusestop()
{
    const bool child = getpid() != testprocess || testing::internal::InDeathTestChild();
    if (child || testing::UnitTest::GetInstance()->current_test_info() == nullptr) return;
    std::fputs("The program was stopped in the middle of a test.\n", stderr);
    std::_Exit(1);
}

[[maybe_unused]] const int refused = std::atexit(refusestop);

} // namespace

void resetgroups()
{
    recorded_reflections = {};
    otherglobalvariables = {};
    write_log_file = {};
    estimatedvolumes = {};
    testperiods.number_of_test_periods = 0;
    tabulcos = {};
    modofsavedbases = {};
    matricesforalternativebases = {};
}

void setreflections(std::initializer_list<vector3> vectors)
{
    auto& recorded = recorded_reflections;
    int i = 0;
    for (const vector3& v : vectors) {
        ++i;
        recorded.reflections(i) = v;
        recorded.reflectionmagnitudes(i) = vectormagnitude(v);
        recorded.list_of_trial_vectors(i) = i;
    }
    recorded.numberofreflections = i;
    recorded.number_of_trial_vectors = i;
}

} // namespace torvik
