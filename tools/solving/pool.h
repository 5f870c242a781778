// The lattices that compete for the measured vectors.
#pragma once

#include "base/linear.h"
#include "solver/evidence/free_lattice.h"

#include <cstddef>
#include <vector>

namespace torvik::tools {

// The best lattices of all runs, each once, the most evident first. All are refined on all vectors.
class pool {
public:
    explicit pool(const std::vector<vector3>& vectors) : vectors_(vectors) {}

    // Takes in the solutions of a run.
    void add(const std::vector<matrix3>& bases);

    // Looks from the best lattices to their relatives: all lattices of which they are a part of index
    // 2, 3 or 5, and those that are such a part of them. Goes on from what is better, until nothing is:
    // so a run that finds a part or a multiple of the lattice has found the lattice.
    void explore();

    [[nodiscard]] const std::vector<assessment>& lattices() const
    {
        return lattices_;
    }

    // The evidence of the best, minus infinity if there is none; and how far it is above the next.
    [[nodiscard]] double best() const;
    [[nodiscard]] double lead() const;

private:
    [[nodiscard]] double worthwhile() const;
    void insert(const assessment& one);

    const std::vector<vector3>& vectors_;
    std::vector<assessment> lattices_;
    std::vector<bool> explored_; // of each lattice
};

} // namespace torvik::tools
