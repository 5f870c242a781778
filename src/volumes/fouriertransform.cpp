#include "volumes/fouriertransform.h"

#include "numeric/lanes.h"
#include "volumes/lanesines.h"

#include <cmath>
#include <cstddef>
#include <utility>

// Stockham's form: every pass reads one pair of arrays and writes the other, so that the numbers
// leave the last pass in order. A pass joins two levels: it takes four sequences into one.

namespace torvik {

namespace {

struct complexlanes {
    lanes re, im;
};

TORVIK_INLINED complexlanes times(const complexlanes& a, const complexlanes& b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

TORVIK_INLINED complexlanes from(const double* re, const double* im, std::size_t place)
{
    return {fourfrom(re + place), fourfrom(im + place)};
}

TORVIK_INLINED void put(double* re, double* im, std::size_t place, const complexlanes& x)
{
    putfour(re + place, x.re);
    putfour(im + place, x.im);
}

// The transform of length 4 of four numbers, the last three times their factors.
TORVIK_INLINED void fourpoints(complexlanes x[4], const complexlanes w[3])
{
    const complexlanes sum02 = {x[0].re + x[2].re, x[0].im + x[2].im};
    const complexlanes dif02 = {x[0].re - x[2].re, x[0].im - x[2].im};
    const complexlanes sum13 = {x[1].re + x[3].re, x[1].im + x[3].im};
    const complexlanes dif13 = {x[3].im - x[1].im, x[1].re - x[3].re}; // times i
    x[0] = {sum02.re + sum13.re, sum02.im + sum13.im};
    x[1] = times({dif02.re + dif13.re, dif02.im + dif13.im}, w[0]);
    x[2] = times({sum02.re - sum13.re, sum02.im - sum13.im}, w[1]);
    x[3] = times({dif02.re - dif13.re, dif02.im - dif13.im}, w[2]);
}

// Four numbers from places that are `step` apart.
TORVIK_INLINED lanes stepping(const double* place, std::size_t step)
{
    return lanes{place[0], place[step], place[2 * step], place[3 * step]};
}

// The first pass, in which neighbours belong to different factors.
TORVIK_INLINED void firstpass(const fouriertable& table, const double* xr, const double* xi,
                              double* yr, double* yi)
{
    const auto quarter = static_cast<std::size_t>(table.length / 4);
    const double* cosine = table.cosine.data();
    const double* sine = table.sine.data();
    for (std::size_t p = 0; p < quarter; p += 4) {
        complexlanes x[4];
        for (std::size_t r = 0; r < 4; ++r) x[r] = from(xr, xi, p + r * quarter);
        complexlanes w[3];
        for (std::size_t r = 1; r < 4; ++r)
            w[r - 1] = {stepping(cosine + r * p, r), stepping(sine + r * p, r)};
        fourpoints(x, w);
        for (std::size_t j = 0; j < 4; ++j)
            for (std::size_t r = 0; r < 4; ++r) {
                yr[4 * (p + j) + r] = x[r].re[j];
                yi[4 * (p + j) + r] = x[r].im[j];
            }
    }
}

// A later pass: `together` neighbours share their factors.
TORVIK_INLINED void laterpass(const fouriertable& table, std::size_t together, const double* xr,
                              const double* xi, double* yr, double* yi)
{
    const std::size_t quarter = static_cast<std::size_t>(table.length) / together / 4;
    for (std::size_t p = 0; p < quarter; ++p) {
        complexlanes w[3];
        for (std::size_t r = 1; r < 4; ++r) {
            const std::size_t place = r * p * together;
            w[r - 1] = {fourof(table.cosine[place]), fourof(table.sine[place])};
        }
        for (std::size_t q = 0; q < together; q += 4) {
            complexlanes x[4];
            for (std::size_t r = 0; r < 4; ++r)
                x[r] = from(xr, xi, q + together * (p + r * quarter));
            fourpoints(x, w);
            for (std::size_t r = 0; r < 4; ++r) put(yr, yi, q + together * (4 * p + r), x[r]);
        }
    }
}

// The pass that is left when the number of levels is odd.
TORVIK_INLINED void lastlevel(std::size_t half, const double* xr, const double* xi, double* yr,
                              double* yi)
{
    for (std::size_t q = 0; q < half; q += 4) {
        const complexlanes a = from(xr, xi, q);
        const complexlanes b = from(xr, xi, q + half);
        put(yr, yi, q, {a.re + b.re, a.im + b.im});
        put(yr, yi, q + half, {a.re - b.re, a.im - b.im});
    }
}

TORVIK_INLINED void transform(const fouriertable& table, double* re, double* im, double* workre,
                              double* workim)
{
    double* xr = re;
    double* xi = im;
    double* yr = workre;
    double* yi = workim;
    const auto exchange = [&] {
        std::swap(xr, yr);
        std::swap(xi, yi);
    };
    firstpass(table, xr, xi, yr, yi);
    exchange();
    const auto length = static_cast<std::size_t>(table.length);
    std::size_t together = 4;
    for (; 4 * together <= length; together *= 4) {
        laterpass(table, together, xr, xi, yr, yi);
        exchange();
    }
    if (together < length) {
        lastlevel(together, xr, xi, yr, yi);
        exchange();
    }
    for (std::size_t k = 0; xr != re && k < length; k += 4) put(re, im, k, from(xr, xi, k));
}

} // namespace

fouriertable newfouriertable(int length)
{
    const auto quarter = static_cast<std::size_t>(length / 4);
    fouriertable table = {length, std::vector<double>(3 * quarter),
                          std::vector<double>(3 * quarter)};
    const double step = 2.0 * truepi / length;
    for (std::size_t p = 0; p < quarter; p += lanecount) {
        const auto first = static_cast<double>(p);
        const lanes angle = lanes{first, first + 1.0, first + 2.0, first + 3.0} * fourof(step);
        const lanesines w = sinesof(angle);
        putfour(&table.cosine[p], w.cosine);
        putfour(&table.sine[p], w.sine);
    }
    // A quarter turn: (c, s) becomes (-s, c).
    for (std::size_t p = 0; p < 2 * quarter; ++p) {
        table.cosine[p + quarter] = -table.sine[p];
        table.sine[p + quarter] = table.cosine[p];
    }
    return table;
}

void fouriertransform_anywhere(const fouriertable& table, double* re, double* im, double* workre,
                               double* workim)
{
    transform(table, re, im, workre, workim);
}

TORVIK_AVX2 void fouriertransform_avx2(const fouriertable& table, double* re, double* im,
                                       double* workre, double* workim)
{
    transform(table, re, im, workre, workim);
}

void fouriertransform(const fouriertable& table, double* re, double* im, double* workre,
                      double* workim)
{
    if (hasavx2())
        fouriertransform_avx2(table, re, im, workre, workim);
    else
        fouriertransform_anywhere(table, re, im, workre, workim);
}

double fouriererror(int length)
{
    return 8.0 * std::log2(length) * 0x1p-53;
}

} // namespace torvik
