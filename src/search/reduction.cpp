#include "search/reduction.h"

#include "numeric/kernel.h"
#include "numeric/nint.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace torvik {

namespace {

constexpr int maxpasses = 100000;

// The reduction that first came to the guard says so, once in a run.
bool guardreported = false;

struct reducedbasis {
    vector3 a, b, c;   // the vectors
    double A, B, C;    // their squared lengths
    double ab, bc, ac; // their mixed products
};

void computeproducts(reducedbasis& v)
{
    v.A = dotproduct(v.a, v.a);
    v.B = dotproduct(v.b, v.b);
    v.C = dotproduct(v.c, v.c);
    v.ab = dotproduct(v.a, v.b);
    v.bc = dotproduct(v.b, v.c);
    v.ac = dotproduct(v.a, v.c);
}

reducedbasis vectorsof(const matrix3& M)
{
    return {rowof(M, 1), rowof(M, 2), rowof(M, 3), 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
}

void exchangeab(reducedbasis& v)
{
    yswitch(v.a, v.b, v.A, v.B, v.bc, v.ac);
}

void exchangebc(reducedbasis& v)
{
    yswitch(v.b, v.c, v.B, v.C, v.ac, v.ab);
}

// Puts the vectors in order of length; equal lengths by their mixed products. Deliberate: the tests
// for equality have no tolerance.
void order(reducedbasis& v)
{
    if (v.A > v.B) exchangeab(v);
    if (v.B > v.C) exchangebc(v);
    if (v.A > v.B) exchangeab(v);
    if (v.A == v.B && std::fabs(v.bc) > std::fabs(v.ac)) exchangeab(v);
    if (v.B == v.C && std::fabs(v.ac) > std::fabs(v.ab)) exchangebc(v);
}

// Negates a vector and the two mixed products that involve it.
void negate(vector3& x, double& first, double& second)
{
    x = {{-x(1), -x(2), -x(3)}};
    first = -first;
    second = -second;
}

// Changes signs so that the mixed products are all positive or none is.
void normalisesigns(reducedbasis& v)
{
    const double& ab = v.ab;
    const double& bc = v.bc;
    const double& ac = v.ac;
    if ((bc * ab) * ac > 0.0) {
        if (ab < 0.0 && bc < 0.0) negate(v.b, v.ab, v.bc);
        if (bc < 0.0 && ac < 0.0) negate(v.c, v.bc, v.ac);
        if (ac < 0.0 && ab < 0.0) negate(v.a, v.ac, v.ab);
        return;
    }
    if ((ab >= 0.0 && bc > 0.0) || (ab > 0.0 && bc >= 0.0)) negate(v.b, v.ab, v.bc);
    if ((bc >= 0.0 && ac > 0.0) || (bc > 0.0 && ac >= 0.0)) negate(v.c, v.bc, v.ac);
    if ((ac >= 0.0 && ab > 0.0) || (ac > 0.0 && ab >= 0.0)) negate(v.a, v.ac, v.ab);
}

vector3 sum(const vector3& x, const vector3& y)
{
    return {{x(1) + y(1), x(2) + y(2), x(3) + y(3)}};
}

void subtract(double factor, const vector3& x, vector3& y)
{
    for (int i = 1; i <= 3; ++i) y(i) = y(i) - factor * x(i);
}

// Deliberate: the sign of a negative zero is -1.
double signof(double t)
{
    return std::copysign(1.0, t);
}

// Takes the body diagonal's step if a + b + c is shorter than c. Gives false when it is not.
bool diagonalstep(reducedbasis& v)
{
    const vector3 d = sum(v.b, v.a);
    const vector3 e = sum(v.a, v.b);
    double s = 0.0;
    for (int i = 1; i <= 3; ++i) s += (2.0 * v.c(i) + e(i)) * d(i);
    if (!(s < 0.0)) return false; // so that a basis that is not finite is left at once
    subtract(signof(dotproduct(d, v.c)), d, v.c);
    return true;
}

// One pass of buergerreduction. Gives false when the basis is reduced.
bool buergerpass(reducedbasis& v)
{
    computeproducts(v);
    order(v);
    normalisesigns(v);
    if (2.0 * std::fabs(v.bc) > v.B) {
        buergerstep(v.b, v.c);
    } else if (2.0 * std::fabs(v.ac) > v.A) {
        buergerstep(v.a, v.c);
    } else if (2.0 * std::fabs(v.ab) > v.A) {
        buergerstep(v.a, v.b);
    } else {
        return diagonalstep(v);
    }
    return true;
}

// One pass of simplereduction. Gives false when the basis is reduced.
bool simplepass(reducedbasis& v)
{
    order(v);
    normalisesigns(v);
    if (2.0 * std::fabs(v.bc) > v.B) {
        lagrangegaussstep(v.b, v.c, v.bc, v.B);
    } else if (2.0 * std::fabs(v.ac) > v.A) {
        lagrangegaussstep(v.a, v.c, v.ac, v.A);
    } else if (2.0 * std::fabs(v.ab) > v.A) {
        lagrangegaussstep(v.a, v.b, v.ab, v.A);
        v.B = dotproduct(v.b, v.b);
        v.ab = dotproduct(v.a, v.b);
        v.bc = dotproduct(v.b, v.c);
        return true;
    } else {
        return false;
    }
    v.C = dotproduct(v.c, v.c);
    v.bc = dotproduct(v.b, v.c);
    v.ac = dotproduct(v.a, v.c);
    return true;
}

void reportguard()
{
    if (!guardreported)
        std::fputs("Note: a lattice reduction was ended after 100000 passes; "
                   "its basis stands as it is.\n",
                   stderr);
    guardreported = true;
}

// Says whether two bases are the same to the bit: then the passes that follow are the same, too.
bool samebits(const reducedbasis& v, const reducedbasis& w)
{
    using bits = std::array<std::uint64_t, sizeof(reducedbasis) / sizeof(std::uint64_t)>;
    return std::bit_cast<bits>(v) == std::bit_cast<bits>(w);
}

// Repeats a pass until it gives false, or to the guard. Where the passes go in a circle, all whole
// rounds up to the guard are left out: the end is the same. To see a circle, the basis is marked
// after 64, 128, 256, ... passes, and a return to the mark awaited.
template <class Pass>
void reduce(matrix3& M, reducedbasis& v, Pass pass)
{
    reducedbasis mark = v;
    int nextmark = 64;
    int marked = maxpasses;
    int count = 0;
    while (count < maxpasses && pass(v)) {
        ++count;
        if (count > marked && samebits(v, mark)) {
            count = maxpasses - (maxpasses - count) % (count - marked);
            marked = maxpasses;
            nextmark = maxpasses;
        } else if (count == nextmark) {
            mark = v;
            marked = count;
            nextmark = 2 * count;
        }
    }
    if (count == maxpasses) reportguard();
    M = rowsmatrix(v.a, v.b, v.c);
}

} // namespace

void buergerstep(const vector3& x, vector3& y)
{
    subtract(signof(dotproduct(x, y)), x, y);
}

void lagrangegaussstep(const vector3& x, vector3& y, double xy, double xx)
{
    subtract(nint(xy / xx), x, y);
}

void yswitch(vector3& u, vector3& v, double& p, double& q, double& r, double& t)
{
    std::swap(u, v);
    std::swap(p, q);
    std::swap(r, t);
}

void buergerreduction(matrix3& M)
{
    reducedbasis v = vectorsof(M);
    reduce(M, v, buergerpass);
}

void simplereduction(matrix3& M)
{
    reducedbasis v = vectorsof(M);
    computeproducts(v);
    reduce(M, v, simplepass);
}

} // namespace torvik
