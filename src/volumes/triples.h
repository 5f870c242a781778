// The triple products of all reflections.
#pragma once

#include "driver/recorded_reflections.h"
#include "numeric/kernel.h"
#include "numeric/lanes.h"
#include "volumes/knatorx.h"

#include <algorithm>
#include <cmath>
#include <vector>

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

// The same triple products, many at a time. All are kept if there are few enough; otherwise they
// are computed anew each time that they are gone through, and memory stays bounded.
struct tripleproducts {
    int number;               // of triples
    double largest;           // 0 without triples
    std::vector<double> kept; // all of them, in order, or none
};

constexpr int mostkepttriples = 1 << 22; // 32 MiB; from 295 reflections on there are more
constexpr int triplesatonce = 4096;

// Computes the triple products of the recorded reflections.
tripleproducts alltripleproducts();

// A walk through the triple products in lexicographic order.
struct triplewalk {
    int reflections;
    int i, j, k; // the next three
    // The coordinates of reflection k at k - 1, so that those of four neighbours are read at once.
    double x[maxreflections + lanecount], y[maxreflections + lanecount],
        z[maxreflections + lanecount];
};

// Begins a walk.
triplewalk beginwalk();

// Goes on with a walk for up to triplesatonce triple products.
//
// Given and returned:  walk
// Returned:            t   the triple products; room for triplesatonce and three more
//                      the function gives how many, 0 at the end
//
// Three reflections are the rows of a determinant, which is computed for four of the third rows at
// once, with the operations of `deter` in their order: the bits are the same.
int nextbatch(triplewalk& walk, double* t);

// The same for any processor, and for one with AVX2.
int nextbatch_anywhere(triplewalk& walk, double* t);
int nextbatch_avx2(triplewalk& walk, double* t);

// Calls visit(t, count) for batches of triple products, in order.
template <class Visit>
void foreachbatch(const tripleproducts& products, Visit visit)
{
    const auto kept = static_cast<int>(products.kept.size());
    for (int first = 0; first < kept; first += triplesatonce)
        visit(products.kept.data() + first, std::min(triplesatonce, kept - first));
    if (kept == products.number) return;
    std::vector<double> t(triplesatonce + 3);
    triplewalk walk = beginwalk();
    for (int count = nextbatch(walk, t.data()); count > 0; count = nextbatch(walk, t.data()))
        visit(t.data(), count);
}

} // namespace torvik
