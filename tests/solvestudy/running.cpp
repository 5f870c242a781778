#include "running.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

namespace torvik::study {

namespace {

judgement judgement_of(const study_row& row, int number, const run_request& asked)
{
    try {
        const known_list list = row.made(seed_of(asked.seeds, row.name, number), number);
        return judged_run(list, asked.options);
    } catch (const std::exception& error) {
        judgement one;
        one.failed = true;
        one.failure = error.what();
        return one;
    }
}

} // namespace

std::vector<judgement> judgements_of(const study_row& row, const run_request& asked)
{
    const int lists = asked.lists > 0 ? asked.lists : row.lists;
    std::vector<judgement> all(static_cast<std::size_t>(lists));
    std::atomic<int> next = 0;
    const auto work = [&] {
        for (int i = next++; i < lists; i = next++)
            all[static_cast<std::size_t>(i)] = judgement_of(row, i, asked);
    };
    std::vector<std::jthread> workers;
    for (int i = 1; i < std::min(asked.threads, lists); ++i) workers.emplace_back(work);
    work();
    workers.clear();
    return all;
}

} // namespace torvik::study
