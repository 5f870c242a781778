// The search for the lattices that explain a list of reflections best.
#pragma once

#include "solver/candidates/direct_vectors.h"
#include "solver/evidence/quick_evidence.h"
#include "solver/numeric/random.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

namespace torvik::solver {

struct search_limits {
    double smallest_volume = 0.0; // of the primitive cell, angstroms cubed
    double largest_volume = std::numeric_limits<double>::infinity();
    double shortest_axis = 2.5; // angstroms
    std::uint64_t seed = 1;
    int rounds = 4;             // at most: each takes about four times as long as the one before
    double most_points = 2e7;   // of an enumeration: the larger ones are left out
    std::function<bool()> over; // whether to stop; asked at least every few milliseconds
};

// A lattice in the pool.
struct pool_entry {
    candidate_lattice lattice;   // its basis is reduced
    bool relatives_seen = false; // its relatives were looked at
    bool guided = false;         // it led the enumerations of guided anchors
};

// The lattices with the most evidence, each once, the best first.
class lattice_pool {
public:
    lattice_pool(const reflection_list& list, const search_limits& limits)
        : list_(list), limits_(limits)
    {
    }

    // Refines a lattice and takes it in, if it is not far behind the best.
    void offer(const matrix3& basis);

    // Looks at all sub- and superlattices of index 2, 3 and 5 of the best, and of what is found so.
    void look_at_relatives();

    [[nodiscard]] const std::vector<pool_entry>& entries() const
    {
        return entries_;
    }
    [[nodiscard]] std::vector<pool_entry>& entries()
    {
        return entries_;
    }
    [[nodiscard]] double best() const
    {
        return entries_.empty() ? -std::numeric_limits<double>::infinity()
                                : entries_[0].lattice.evidence;
    }
    // Less evidence than this has no place.
    [[nodiscard]] double least() const;

private:
    [[nodiscard]] bool allowed(const matrix3& basis) const;
    void refine(const matrix3& basis);
    [[nodiscard]] std::size_t place_of(const matrix3& basis) const;
    void insert(const candidate_lattice& one);

    const reflection_list& list_;
    const search_limits& limits_;
    std::vector<pool_entry> entries_;
};

// What a search found.
struct search_result {
    std::vector<candidate_lattice> lattices; // the best first
    bool clear = false;                      // it ended because the first one was beyond doubt
    bool interrupted = false;
    int rounds = 0;
};

// Whether lattices, the best first, are clear by other evidence than that of the search.
using second_opinion = std::function<bool(const std::vector<candidate_lattice>&)>;

// Searches direct space by rounds until one lattice is clear or the rounds are over.
//
// Given:  clear  asked before the long last round; may be empty
search_result search_lattices(const reflection_list& list, const search_limits& limits,
                              const second_opinion& clear = {});

} // namespace torvik::solver
