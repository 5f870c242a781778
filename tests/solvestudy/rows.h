// The rows of the study: what lists each is made of.
#pragma once

#include "lists.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace torvik::study {

// Which seeds: limits and thresholds are chosen on `tuning` lists, results reported on `report` lists, and
// the tests use lists of their own. No seed belongs to two sets.
enum class seed_set { tuning, report, test };

// The seed of a row's list: the set in the two highest bits, a hash of the row's name below, the number of
// the list in the 16 lowest.
std::uint64_t seed_of(seed_set set, const std::string& row, int number);

// Volumes in the group `table`: log-uniform from 200 to 10000, or 250, 1500 and 6000 in turn.
enum class volume_choice { drawn, fixed };

struct study_row {
    std::string group;
    std::string name; // unique
    int lists = 30;   // by default
    std::function<known_list(std::uint64_t seed, int number)> made;
    bool lattice = true; // false: there is nothing to find
};

// The groups in their order: table, classes, large, shift, nolattice, wedges, cell, twins.
const std::vector<std::string>& group_names();

// All rows, in the order of the groups.
std::vector<study_row> all_rows(volume_choice volumes = volume_choice::drawn);

} // namespace torvik::study
