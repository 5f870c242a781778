// Rows of lists, solved on several threads.
#pragma once

#include "judge.h"
#include "rows.h"

#include <vector>

namespace torvik::study {

struct run_request {
    seed_set seeds = seed_set::tuning;
    int lists = 0; // of each row; 0: as many as the row has by default
    int threads = 2;
    solver::options options;
};

// The judgements of a row's lists, in their order, whatever the number of threads.
std::vector<judgement> judgements_of(const study_row& row, const run_request& asked);

} // namespace torvik::study
