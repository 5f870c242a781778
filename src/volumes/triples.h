// The triple products of all reflections.
#pragma once

#include "driver/recorded_reflections.h"
#include "numeric/kernel.h"
#include "volumes/knatorx.h"

#include <cmath>

namespace torvik {

// Calls visit(t) for the absolute triple product t of every three reflections, an RS volume, in
// lexicographic order of their numbers.
//
// Given:     visit   takes a double; it must not use the enumerator of subsets
// Returned:  the number of triples; 0 with fewer than three reflections
template <class Visit>
int foreachtripleproduct(Visit visit)
{
    const auto& recorded = recorded_reflections;
    const auto& r = recorded.reflections;
    int n = 0;
    subset a;
    int first = 1;
    for (knatorx(first, recorded.numberofreflections, 3, a); first == 0;
         knatorx(first, recorded.numberofreflections, 3, a)) {
        visit(std::fabs(deter(rowsmatrix(r(a(1)), r(a(2)), r(a(3))))));
        ++n;
    }
    return n;
}

} // namespace torvik
