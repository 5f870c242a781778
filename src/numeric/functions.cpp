#include "numeric/functions.h"

#include "numeric/unfused.h"

#include <cmath>

namespace torvik {

namespace {

// A number as the sum of two: the double nearest to it, and the rest.
struct twofold {
    double high, low;
};

// a + b without error, for |a| >= |b| (Dekker, 1971).
constexpr twofold orderedsum(double a, double b)
{
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

// a + b without error (Knuth, 1969).
constexpr twofold exactsum(double a, double b)
{
    const double sum = a + b;
    const double part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
}

// a * b without error (Dekker, 1971): each factor is split into two of 26 bits.
constexpr twofold exactproduct(double a, double b)
{
    constexpr double splitter = 0x1p27 + 1.0;
    const double ca = splitter * a;
    const double cb = splitter * b;
    const double a1 = ca - (ca - a);
    const double b1 = cb - (cb - b);
    const double a2 = a - a1;
    const double b2 = b - b1;
    const double product = a * b;
    return {product, ((a1 * b1 - product) + a1 * b2 + a2 * b1) + a2 * b2};
}

constexpr twofold operator-(const twofold& a)
{
    return {-a.high, -a.low};
}

constexpr twofold operator+(const twofold& a, const twofold& b)
{
    const twofold high = exactsum(a.high, b.high);
    return orderedsum(high.high, high.low + (a.low + b.low));
}

constexpr twofold operator*(const twofold& a, const twofold& b)
{
    const twofold product = exactproduct(a.high, b.high);
    return orderedsum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

// a / b for whole b below 2^53.
constexpr twofold quotient(const twofold& a, double b)
{
    const double first = a.high / b;
    const twofold rest = a + -exactproduct(first, b);
    return orderedsum(first, rest.high / b);
}

// The square root.
twofold rootof(const twofold& a)
{
    const double root = std::sqrt(a.high);
    const twofold rest = a + -exactproduct(root, root);
    return orderedsum(root, rest.high / (2.0 * root));
}

// 1/0!, 1/1!, ... A power series is summed from its end: the terms that are below 2^-53 of the first
// as doubles, those before twofold.
constexpr int factorials = 28;
struct inversefactorials {
    twofold of[factorials + 1];
};

constexpr inversefactorials makeinversefactorials()
{
    inversefactorials made = {};
    made.of[0] = {1.0, 0.0};
    for (int n = 1; n <= factorials; ++n) made.of[n] = quotient(made.of[n - 1], n);
    return made;
}

constexpr inversefactorials inversefactorial = makeinversefactorials();

// The sum of z^j / (first + step j)!, for first + step j up to `last`, doubles from `tail` on.
twofold seriesof(const twofold& z, int first, int step, int tail, int last)
{
    double small = 0.0;
    for (int n = last; n >= tail; n -= step) small = small * z.high + inversefactorial.of[n].high;
    twofold sum = {small, 0.0};
    for (int n = tail - step; n >= first; n -= step) sum = sum * z + inversefactorial.of[n];
    return sum;
}

// x less k times a constant that is given as a sum of three doubles.
twofold reduced(double x, double k, const double (&constant)[3])
{
    const twofold first = exactproduct(k, constant[0]);
    const twofold second = exactproduct(k, constant[1]);
    const double rest = x - first.high; // without error: they are nearly equal
    const twofold lessfirst = exactsum(rest, -first.low);
    const twofold lesssecond = exactsum(lessfirst.high, -second.high);
    const double low = lessfirst.low - (second.low + k * constant[2]);
    return orderedsum(lesssecond.high, lesssecond.low + low);
}

// The nearest whole number: adding 1.5 times 2^52 leaves no place for a fraction.
double wholenearest(double x)
{
    constexpr double shift = 0x1.8p52;
    return (x + shift) - shift;
}

constexpr double halfpi[3] = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54, -0x1.f1976b7ed8fbcp-110};
constexpr double logarithmof2[3] = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56,
                                    0x1.7b57a079a1934p-111};
constexpr double largestangle = 0x1p45;
constexpr double tinyangle = 1e-8; // below, the sine is nearest to the angle, and the cosine to 1

// An angle less a multiple of a quarter turn, at most an eighth, and the quarters taken off.
struct reducedangle {
    twofold rest;
    long long quarters;
};

reducedangle reducedangleof(double x)
{
    const double k = wholenearest(x / halfpi[0]);
    return {reduced(x, k, halfpi), static_cast<long long>(k)};
}

// How far the series of a sine and a cosine go: the exponents from which on the terms are doubles,
// and the last.
struct seriesends {
    int sinetail, sinelast, cosinetail, cosinelast;
};

constexpr seriesends quickseries = {5, 19, 6, 20};  // off by less than 2^-58
constexpr seriesends fullseries = {17, 27, 18, 28}; // r^17/17! and r^18/18! are below 2^-53

// The sine of an angle with some quarter turns added.
twofold sineof(const twofold& r, long long quarters, const seriesends& ends = fullseries)
{
    const twofold z = -(r * r);
    const twofold value = (quarters & 1) == 0 ? r * seriesof(z, 1, 2, ends.sinetail, ends.sinelast)
                                              : seriesof(z, 0, 2, ends.cosinetail, ends.cosinelast);
    return (quarters & 2) == 0 ? value : -value;
}

// The same, rounded. Mostly the quick series tells which double is nearest.
double roundedsineof(const twofold& r, long long quarters)
{
    const twofold quick = sineof(r, quarters, quickseries);
    const double error = 0x1p-58 * quick.high;
    const double nearest = quick.high + (quick.low + error);
    if (nearest == quick.high + (quick.low - error)) return nearest;
    return sineof(r, quarters).high;
}

twofold sineof(double x)
{
    const reducedangle angle = reducedangleof(x);
    return sineof(angle.rest, angle.quarters);
}

twofold cosineof(double x)
{
    const reducedangle angle = reducedangleof(x);
    return sineof(angle.rest, angle.quarters + 1);
}

// e^x for |x| up to 600, as a number and the power of 2 to be multiplied with.
twofold exponentialof(double x, int& power)
{
    const double k = wholenearest(x / logarithmof2[0]);
    power = static_cast<int>(k);
    return seriesof(reduced(x, k, logarithmof2), 0, 1, 15, 26); // r^15/15! is below 2^-53
}

bool moderate(double x)
{
    return std::fabs(x) >= 1e-100 && std::fabs(x) <= 1e100;
}

// The angle of the point (x, y). The library's answer is off by a few units in the last place at
// most. The point is turned back by that angle; the angle that is left is so small that its tangent
// takes its place.
double angleof(const twofold& y, const twofold& x)
{
    const double angle = std::atan2(y.high, x.high);
    if (!moderate(x.high) || !moderate(y.high) || std::fabs(angle) < tinyangle) return angle;
    const twofold s = sineof(angle);
    const twofold c = cosineof(angle);
    const twofold across = y * c + -(x * s);
    const twofold along = x * c + y * s;
    return angle + across.high / along.high;
}

// The other side of a right triangle of hypotenuse 1.
twofold otherside(double x)
{
    return rootof(exactsum(1.0, -x) * exactsum(1.0, x));
}

bool insideunit(double x)
{
    return std::fabs(x) >= tinyangle && std::fabs(x) < 1.0;
}

} // namespace

double sine(double x)
{
    if (std::fabs(x) < tinyangle) return x;
    if (!(std::fabs(x) <= largestangle)) return std::sin(x);
    const reducedangle angle = reducedangleof(x);
    return roundedsineof(angle.rest, angle.quarters);
}

double cosine(double x)
{
    if (std::fabs(x) < tinyangle) return 1.0;
    if (!(std::fabs(x) <= largestangle)) return std::cos(x);
    const reducedangle angle = reducedangleof(x);
    return roundedsineof(angle.rest, angle.quarters + 1);
}

double arcsine(double x)
{
    return insideunit(x) ? angleof({x, 0.0}, otherside(x)) : std::asin(x);
}

double arccosine(double x)
{
    return insideunit(x) ? angleof(otherside(x), {x, 0.0}) : std::acos(x);
}

double arctangent(double y, double x)
{
    return angleof({y, 0.0}, {x, 0.0});
}

double exponential(double x)
{
    if (!(std::fabs(x) <= 600.0)) return std::exp(x);
    int power = 0;
    const twofold value = exponentialof(x, power);
    return std::ldexp(value.high, power);
}

// As for the angle: what is left of x when it is divided by e to the library's answer is nearly 1.
double logarithm(double x)
{
    const double answer = std::log(x);
    if (!(x >= 1e-250 && x <= 1e250)) return answer;
    int power = 0;
    const twofold value = exponentialof(-answer, power);
    const twofold rest = twofold{std::ldexp(x, power), 0.0} * value + twofold{-1.0, 0.0};
    return answer + (rest.high - 0.5 * rest.high * rest.high);
}

} // namespace torvik
