#include "volumes/triples.h"

#include "volumes/lanesines.h"

namespace torvik {

namespace {

// The products of reflections i and j with `count` third ones from k on.
TORVIK_INLINED void row(const triplewalk& walk, int count, double* t)
{
    const int i = walk.i - 1;
    const int j = walk.j - 1;
    const lanes a1 = fourof(walk.x[i]);
    const lanes a2 = fourof(walk.y[i]);
    const lanes a3 = fourof(walk.z[i]);
    const lanes b1 = fourof(walk.x[j]);
    const lanes b2 = fourof(walk.y[j]);
    const lanes b3 = fourof(walk.z[j]);
    for (int k = 0; k < count; k += lanecount) {
        const lanes c1 = fourfrom(walk.x + walk.k - 1 + k);
        const lanes c2 = fourfrom(walk.y + walk.k - 1 + k);
        const lanes c3 = fourfrom(walk.z + walk.k - 1 + k);
        putfour(t + k, magnitude(a1 * (b2 * c3 - b3 * c2) + a2 * (b3 * c1 - b1 * c3)
                                 + a3 * (b1 * c2 - b2 * c1)));
    }
}

// Goes behind the last third reflection that was taken.
TORVIK_INLINED void advance(triplewalk& walk, int count)
{
    walk.k += count;
    if (walk.k <= walk.reflections) return;
    ++walk.j;
    if (walk.j >= walk.reflections) {
        ++walk.i;
        walk.j = walk.i + 1;
    }
    walk.k = walk.j + 1;
}

TORVIK_INLINED int batch(triplewalk& walk, double* t)
{
    const int N = walk.reflections;
    int taken = 0;
    while (taken < triplesatonce && walk.k <= N) {
        const int count = std::min(triplesatonce - taken, N - walk.k + 1);
        row(walk, count, t + taken);
        taken += count;
        advance(walk, count);
    }
    return taken;
}

int numberoftriples(int N)
{
    return N < 3 ? 0 : static_cast<int>(static_cast<long long>(N) * (N - 1) * (N - 2) / 6);
}

} // namespace

triplewalk beginwalk()
{
    triplewalk walk = {};
    walk.reflections = recorded_reflections.numberofreflections;
    walk.i = 1;
    walk.j = 2;
    walk.k = 3;
    for (int k = 1; k <= walk.reflections; ++k) {
        const vector3& r = recorded_reflections.reflections(k);
        walk.x[k - 1] = r(1);
        walk.y[k - 1] = r(2);
        walk.z[k - 1] = r(3);
    }
    return walk;
}

int nextbatch_anywhere(triplewalk& walk, double* t)
{
    return batch(walk, t);
}

TORVIK_AVX2 int nextbatch_avx2(triplewalk& walk, double* t)
{
    return batch(walk, t);
}

int nextbatch(triplewalk& walk, double* t)
{
    return hasavx2() ? nextbatch_avx2(walk, t) : nextbatch_anywhere(walk, t);
}

tripleproducts alltripleproducts()
{
    tripleproducts products = {numberoftriples(recorded_reflections.numberofreflections), 0.0, {}};
    const bool few = products.number <= mostkepttriples;
    if (few) products.kept.reserve(static_cast<std::size_t>(products.number));
    std::vector<double> t(triplesatonce + 3);
    triplewalk walk = beginwalk();
    for (int count = nextbatch(walk, t.data()); count > 0; count = nextbatch(walk, t.data())) {
        // Deliberate: a product that is not a number is not the largest.
        for (int e = 0; e < count; ++e)
            if (t[static_cast<std::size_t>(e)] > products.largest)
                products.largest = t[static_cast<std::size_t>(e)];
        if (few) products.kept.insert(products.kept.end(), t.begin(), t.begin() + count);
    }
    return products;
}

} // namespace torvik
