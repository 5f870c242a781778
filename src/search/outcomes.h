// What the bases of a triple come to, remembered for the next time that the triple turns up.
#pragma once

#include "search/sequentialfitting.h"
#include "store/modofsavedbases.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

// A triple of trial vectors and its index give the alternative bases, and each is refined against
// all reflections: the volume under test enters only through the thresholds of the inversions on
// the way. So what the bases come to is the same at every test value at which these inversions end
// alike, and neighbouring values, and volumes, bring up the same triples time and again.
// (With extents 0 and 1 the refinement sees the trial vectors only; then nothing is remembered.)

namespace torvik {

// A basis that indexes enough reflections to be offered to the store.
struct outcome {
    matrix3 D; // direct basis
    indexcounts counts;
    double quality;
};

// All outcomes of a triple, in the order of their offers.
struct tripleoutcomes {
    std::vector<outcome> offers;
    inversions half;      // by half the volume under test
    inversions hundredth; // by a hundredth of it
};

// What, beside the volume under test, outcomes depend on.
struct tripleofreflections {
    numbered<int, 3> reflections; // the numbers of the three
    int k;                        // the index
    numbered<int, 3> shortest;    // the reflections of the second refinement; 0 where there is none
};

// Keeps the outcomes of triples.
struct outcomememory {
    std::unordered_map<std::uint64_t, tripleoutcomes> triples;
    std::size_t size = 0; // offers and triples held
};

// Looks for the outcomes of a triple.
//
// Given:     memory   the outcomes so far
//            what     the triple
//            volume   the volume under test
// Returned:  the outcomes, or null if there are none that hold for this volume
tripleoutcomes* recall(outcomememory& memory, const tripleofreflections& what, double volume);

// Keeps the outcomes of a triple; they take the place of older ones. A full memory is emptied
// before.
void remember(outcomememory& memory, const tripleofreflections& what, tripleoutcomes&& outcomes);

} // namespace torvik
