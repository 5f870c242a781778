// The verdict on the lattices that compete for a list of vectors.
#pragma once

#include "solver/evidence/free_lattice.h"
#include "torvik/solver.h"

#include <cstddef>
#include <string>
#include <vector>

namespace torvik::solver {

struct decision {
    verdict how = verdict::refused;
    std::string reason;
    std::vector<assessment> candidates; // the most evident first; other crystals last
    std::size_t competing = 0;          // how many of them cannot be told apart
    double lead = 0.0;                  // evidence of the first against the sum of the others, nats
    bool interrupted = false;
    bool on_rows = false; // the evidence is that of rows of equally spaced reflections
};

// Why there can be no answer at all, as a sentence; empty if there can.
std::string precondition_failed(const std::vector<vector3>& vectors);

// Decides between lattices. The posterior probability of each is proportional to e^E; the first one is the
// answer if it has the evidence, the lead on the sum of all others and the fraction of the reflections that
// thresholds.h asks for. Lattices of other crystals, which index what the first leaves, are no rivals.
//
// Given:  candidates   in any order
//         interrupted  whether the search was cut short: then nothing is `solved`
decision decide(const std::vector<vector3>& vectors, std::vector<assessment> candidates,
                bool interrupted);

} // namespace torvik::solver
