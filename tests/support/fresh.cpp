#include "support/fresh.h"

namespace torvik {

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
