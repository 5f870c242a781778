#include "search/batchreduction.h"

#include "numeric/lanes.h"
#include "search/reduction.h"

#include <algorithm>
#include <cstdint>

namespace torvik {

namespace {

constexpr int mostpasses = 64;
constexpr double largestsquare = 1e200;

// The bases under reduction, as in reduction.cpp.
template <int width>
struct reducedlanes {
    using numbers = typename side<width>::numbers;
    using wholes = typename side<width>::wholes;

    numbers a[3], b[3], c[3]; // the vectors
    numbers A, B, C;          // their squared lengths
    numbers ab, bc, ac;       // their mixed products
    wholes active;            // mask: not yet reduced
    wholes alone;             // mask: to be reduced by itself
};

template <class Lanes>
TORVIK_INLINED Lanes dot(const Lanes (&x)[3], const Lanes (&y)[3])
{
    return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
}

template <int width>
TORVIK_INLINED void computeproducts(reducedlanes<width>& v)
{
    v.A = dot(v.a, v.a);
    v.B = dot(v.b, v.b);
    v.C = dot(v.c, v.c);
    v.ab = dot(v.a, v.b);
    v.bc = dot(v.b, v.c);
    v.ac = dot(v.a, v.c);
}

template <class Mask, class Lanes>
TORVIK_INLINED void exchange(const Mask& where, Lanes& x, Lanes& y)
{
    const Lanes former = x;
    x = chosen(where, y, x);
    y = chosen(where, former, y);
}

template <int width>
TORVIK_INLINED void exchangeab(const typename side<width>::wholes& where, reducedlanes<width>& v)
{
    for (int i = 0; i < 3; ++i) exchange(where, v.a[i], v.b[i]);
    exchange(where, v.A, v.B);
    exchange(where, v.bc, v.ac);
}

template <int width>
TORVIK_INLINED void exchangebc(const typename side<width>::wholes& where, reducedlanes<width>& v)
{
    for (int i = 0; i < 3; ++i) exchange(where, v.b[i], v.c[i]);
    exchange(where, v.B, v.C);
    exchange(where, v.ac, v.ab);
}

// A mask: where two numbers are equal, neither being NaN.
template <class Lanes>
TORVIK_INLINED auto maskequal(const Lanes& x, const Lanes& y)
{
    return ~(maskbelow(x, y) | maskbelow(y, x));
}

template <int width>
TORVIK_INLINED void order(reducedlanes<width>& v)
{
    exchangeab<width>(v.active & maskbelow(v.B, v.A), v);
    exchangebc<width>(v.active & maskbelow(v.C, v.B), v);
    exchangeab<width>(v.active & maskbelow(v.B, v.A), v);
    // Equal lengths are rare.
    if (unionof<width>(v.active & (maskequal(v.A, v.B) | maskequal(v.B, v.C))) == 0) return;
    exchangeab<width>(v.active & maskequal(v.A, v.B) & maskbelow(magnitude(v.ac), magnitude(v.bc)),
                      v);
    exchangebc<width>(v.active & maskequal(v.B, v.C) & maskbelow(magnitude(v.ab), magnitude(v.ac)),
                      v);
}

// Changes the sign where the mask is set. Not a lambda of the function below, for the reason of bitsas.
template <class Mask, class Lanes>
TORVIK_INLINED Lanes flipped(const Mask& where, const Lanes& x)
{
    return bitsas<Lanes>(bitsas<Mask>(x) ^ (where & signbit));
}

template <class Mask, class Lanes>
TORVIK_INLINED void negate(const Mask& where, Lanes (&x)[3], Lanes& first, Lanes& second)
{
    for (Lanes& component : x) component = flipped(where, component);
    first = flipped(where, first);
    second = flipped(where, second);
}

// Where both are negative, if positive is set; otherwise where both are 0 or more, but not both 0.
template <class Mask, class Lanes>
TORVIK_INLINED Mask tobenegated(const Mask& positive, const Lanes& p, const Lanes& q)
{
    const Lanes zero = {};
    const Mask negative = maskbelow(p, zero) & maskbelow(q, zero);
    const Mask notnegative = ~(maskbelow(p, zero) | maskbelow(q, zero));
    const Mask notzero = maskbelow(zero, p) | maskbelow(zero, q);
    return (positive & negative) | (~positive & notnegative & notzero);
}

template <int width>
TORVIK_INLINED void normalisesigns(reducedlanes<width>& v)
{
    using numbers = typename side<width>::numbers;
    const auto positive = maskbelow(numbers{}, (v.bc * v.ab) * v.ac);
    negate(v.active & tobenegated(positive, v.ab, v.bc), v.b, v.ab, v.bc);
    negate(v.active & tobenegated(positive, v.bc, v.ac), v.c, v.bc, v.ac);
    negate(v.active & tobenegated(positive, v.ac, v.ab), v.a, v.ac, v.ab);
}

// Where which step is to be taken.
template <int width>
struct steplanes {
    typename side<width>::wholes bc, ac, ab; // masks: from c or from b; at most one of them
};

template <int width>
TORVIK_INLINED steplanes<width> stepsof(const reducedlanes<width>& v)
{
    steplanes<width> step;
    step.bc = v.active & maskbelow(v.B, 2.0 * magnitude(v.bc));
    step.ac = v.active & maskbelow(v.A, 2.0 * magnitude(v.ac)) & ~step.bc;
    step.ab = v.active & maskbelow(v.A, 2.0 * magnitude(v.ab)) & ~step.bc & ~step.ac;
    return step;
}

// Subtracts a multiple of the first vector of a step from the second, which is the result.
template <int width>
TORVIK_INLINED void subtract(const steplanes<width>& step,
                             const typename side<width>::numbers& factor, reducedlanes<width>& v,
                             typename side<width>::numbers (&y)[3])
{
    for (int i = 0; i < 3; ++i) {
        const auto x = chosen(step.bc, v.b[i], v.a[i]);
        y[i] = chosen(step.ab, v.b[i], v.c[i]) - factor * x;
        v.b[i] = chosen(step.ab, y[i], v.b[i]);
        v.c[i] = chosen(step.bc | step.ac, y[i], v.c[i]);
    }
}

template <int width>
TORVIK_INLINED typename side<width>::numbers productof(const steplanes<width>& step,
                                                       const reducedlanes<width>& v)
{
    return chosen(step.bc, v.bc, chosen(step.ac, v.ac, v.ab));
}

// Stops the lanes that have to go by themselves.
template <int width>
TORVIK_INLINED void watchsize(reducedlanes<width>& v)
{
    using numbers = typename side<width>::numbers;
    v.alone |= v.active & ~maskbelow(v.A + v.B + v.C, numbers{} + largestsquare);
    v.active &= ~v.alone;
}

template <int width>
TORVIK_INLINED void simplepasses(reducedlanes<width>& v)
{
    using numbers = typename side<width>::numbers;
    watchsize<width>(v);
    order<width>(v);
    normalisesigns<width>(v);
    const steplanes<width> step = stepsof<width>(v);
    const numbers square = chosen(step.bc, v.B, v.A);
    numbers y[3];
    subtract<width>(step, nearestinteger(productof<width>(step, v) / square), v, y);
    const auto ofc = step.bc | step.ac;
    v.active = ofc | step.ab;
    v.C = chosen(ofc, dot(y, y), v.C);
    v.B = chosen(step.ab, dot(y, y), v.B);
    v.ac = chosen(ofc, dot(v.a, y), v.ac);
    v.ab = chosen(step.ab, dot(v.a, y), v.ab);
    v.bc = chosen(v.active, dot(v.b, v.c), v.bc);
}

// Takes the body diagonal's step in some lanes, where there is one. Gives the mask of those.
template <int width>
TORVIK_INLINED typename side<width>::wholes diagonalstep(const typename side<width>::wholes& where,
                                                         reducedlanes<width>& v)
{
    using numbers = typename side<width>::numbers;
    numbers d[3];
    numbers s = {};
    for (int i = 0; i < 3; ++i) {
        d[i] = v.a[i] + v.b[i];
        s = s + (2.0 * v.c[i] + d[i]) * d[i];
    }
    const auto shorter = where & maskbelow(s, numbers{});
    const numbers factor = withsign(numbers{} + 1.0, dot(d, v.c));
    for (int i = 0; i < 3; ++i) v.c[i] = chosen(shorter, v.c[i] - factor * d[i], v.c[i]);
    return shorter;
}

template <int width>
TORVIK_INLINED void buergerpasses(reducedlanes<width>& v)
{
    using numbers = typename side<width>::numbers;
    // What is reduced keeps its vectors, and needs its products no more.
    computeproducts<width>(v);
    watchsize<width>(v);
    order<width>(v);
    normalisesigns<width>(v);
    const steplanes<width> step = stepsof<width>(v);
    numbers y[3];
    subtract<width>(step, withsign(numbers{} + 1.0, productof<width>(step, v)), v, y);
    const auto stepped = step.bc | step.ac | step.ab;
    v.active = stepped | diagonalstep<width>(v.active & ~stepped, v);
}

// Which reduction.
struct simple {
    template <int width>
    TORVIK_INLINED static void reduce(reducedlanes<width>& v)
    {
        computeproducts<width>(v);
        for (int pass = 0; pass < mostpasses && unionof<width>(v.active) != 0; ++pass)
            simplepasses<width>(v);
    }
    static void reducealone(matrix3& M)
    {
        simplereduction(M);
    }
};

struct buerger {
    template <int width>
    TORVIK_INLINED static void reduce(reducedlanes<width>& v)
    {
        for (int pass = 0; pass < mostpasses && unionof<width>(v.active) != 0; ++pass)
            buergerpasses<width>(v);
    }
    static void reducealone(matrix3& M)
    {
        buergerreduction(M);
    }
};

// Reduces as many bases as there are lanes, or fewer.
template <class Kind, int width>
TORVIK_INLINED void reducelanes(matrix3* bases, int count)
{
    reducedlanes<width> v = {};
    for (int k = 0; k < width; ++k) {
        const matrix3& M = bases[std::min(k, count - 1)];
        for (int i = 0; i < 3; ++i) {
            v.a[i][k] = M.element[0][i];
            v.b[i][k] = M.element[1][i];
            v.c[i][k] = M.element[2][i];
        }
    }
    v.active = ~v.active;
    Kind::template reduce<width>(v);
    const auto again = v.alone | v.active;
    for (int k = 0; k < count; ++k) {
        if (again[k] != 0) {
            Kind::reducealone(bases[k]);
            continue;
        }
        for (int i = 0; i < 3; ++i) {
            bases[k].element[0][i] = v.a[i][k];
            bases[k].element[1][i] = v.b[i][k];
            bases[k].element[2][i] = v.c[i][k];
        }
    }
}

template <class Kind>
void reducelanes_anywhere(matrix3* bases, int count)
{
    reducelanes<Kind, 4>(bases, count);
}

template <class Kind>
TORVIK_AVX2 void reducelanes_avx2(matrix3* bases, int count)
{
    reducelanes<Kind, 4>(bases, count);
}

template <class Kind>
TORVIK_AVX512 void reducelanes_avx512(matrix3* bases, int count)
{
    reducelanes<Kind, 8>(bases, count);
}

template <class Kind>
void reductionsin(int whichlanes, std::vector<matrix3>& bases)
{
    const auto reduce = whichlanes == lanesofavx512 ? reducelanes_avx512<Kind>
                        : whichlanes == lanesofavx2 ? reducelanes_avx2<Kind>
                                                    : reducelanes_anywhere<Kind>;
    const int width = whichlanes == lanesofavx512 ? 8 : 4;
    const int count = static_cast<int>(bases.size());
    for (int i = 0; i < count; i += width) reduce(bases.data() + i, std::min(width, count - i));
}

} // namespace

void simplereductionsin(int whichlanes, std::vector<matrix3>& bases)
{
    reductionsin<simple>(whichlanes, bases);
}

void buergerreductionsin(int whichlanes, std::vector<matrix3>& bases)
{
    reductionsin<buerger>(whichlanes, bases);
}

void simplereductions(std::vector<matrix3>& bases)
{
    simplereductionsin(bestlanes(), bases);
}

void buergerreductions(std::vector<matrix3>& bases)
{
    buergerreductionsin(bestlanes(), bases);
}

} // namespace torvik
