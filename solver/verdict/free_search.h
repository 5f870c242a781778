// The lattices that explain measured vectors best, without prior knowledge of the cell.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "solver/verdict/search.h"

#include <vector>

namespace torvik::solver {

// A lattice refined on all vectors; its evidence includes what superstructures (occupation.h) and symmetric metrics
// (metric_symmetry.h) add.
assessment assess_with_priors(const std::vector<vector3>& vectors, const matrix3& start);

// The most evident first; equals keep their order.
void sort_by_evidence(std::vector<assessment>& lattices);

struct free_search_result {
    std::vector<assessment>
        lattices; // refined on all vectors, with their exact evidence; the best first
    bool interrupted = false;
    int rounds = 0;
};

// Searches, and computes the exact evidence of what may compete for the first place, each lattice once. More
// than some hundred vectors are searched by a sample; what is found so is refined on all of them.
free_search_result find_lattices(const std::vector<vector3>& vectors, const search_limits& limits);

} // namespace torvik::solver
