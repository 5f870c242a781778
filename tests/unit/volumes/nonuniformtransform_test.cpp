#include "volumes/nonuniformtransform.h"

#include "numeric/lanes.h"
#include "property/randomlattices.h"
#include "support/longdoubles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <vector>

namespace torvik {

namespace {

using complexnumber = std::complex<long double>;

constexpr long double pil = 3.14159265358979323846264L;

std::vector<double> randomvector(unsigned seed, int length, double low, double high)
{
    randomnumbers random(seed);
    std::vector<double> x;
    for (int l = 0; l < length; ++l) x.push_back(random.between(low, high));
    return x;
}

// The largest error of some X(k), as a share of the sum of all |x(l)|.
long double largesterror(int length)
{
    std::vector<double> re = randomvector(1, length, -1.0, 1.0);
    std::vector<double> im = randomvector(2, length, -1.0, 1.0);
    const std::vector<double> xr = re, xi = im;
    std::vector<double> workre(re), workim(im);
    fouriertransform(newfouriertable(length), re.data(), im.data(), workre.data(), workim.data());
    long double worst = 0.0L, sum = 0.0L;
    for (int k = 0; k < length; k += std::max(1, length / 64 - 1)) {
        complexnumber X = 0.0L;
        sum = 0.0L;
        for (int l = 0; l < length; ++l) {
            const auto at = static_cast<std::size_t>(l);
            const long double turns = static_cast<long double>((1LL * k * l) % length) / length;
            X += complexnumber(xr[at], xi[at]) * std::polar(1.0L, 2.0L * pil * turns);
            sum += std::hypot(xr[at], xi[at]);
        }
        const auto at = static_cast<std::size_t>(k);
        worst = std::max(worst, std::abs(complexnumber(re[at], im[at]) - X));
    }
    return worst / sum;
}

TEST(FourierTransform, AgreesWithItsDefinitionWithinItsBound)
{
    for (int length = 16; length <= 16384; length *= 2) {
        EXPECT_LT(largesterror(length), fouriererror(length)) << length;
        EXPECT_GT(largesterror(length), 1e-19L) << length; // the check does see roundings
    }
}

TEST(FourierTransform, OfOnePointIsAWave)
{
    constexpr int length = 32;
    std::vector<double> re(length, 0.0), im(length, 0.0), workre(length), workim(length);
    re[3] = 2.0;
    fouriertransform(newfouriertable(length), re.data(), im.data(), workre.data(), workim.data());
    for (int k = 0; k < length; ++k) {
        const auto at = static_cast<std::size_t>(k);
        const double turn = 2.0 * M_PI * 3.0 * k / length;
        EXPECT_NEAR(re[at], 2.0 * std::cos(turn), 1e-14);
        EXPECT_NEAR(im[at], 2.0 * std::sin(turn), 1e-14);
    }
}

TEST(FourierTransform, IsTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    for (int length = 16; length <= 8192; length *= 2) {
        std::vector<double> re = randomvector(3, length, -1.0, 1.0);
        std::vector<double> im = randomvector(4, length, -1.0, 1.0);
        std::vector<double> otherre(re), otherim(im), workre(re), workim(im);
        const fouriertable table = newfouriertable(length);
        fouriertransform_anywhere(table, re.data(), im.data(), workre.data(), workim.data());
        fouriertransform_avx2(table, otherre.data(), otherim.data(), workre.data(), workim.data());
        EXPECT_EQ(re, otherre) << length;
        EXPECT_EQ(im, otherim) << length;
    }
}

// A sum of waves, as asked for and as found.
struct comparison {
    long double worst = 0.0L; // the largest error, as a share of the bound
    long double error = 0.0L; // the largest error for one wave
};

comparison compared(const std::vector<double>& w, int points, double a, double b)
{
    wavegrid grid = newwavegrid(points);
    addwaves(grid, w.data(), static_cast<int>(w.size()), a, b);
    const double roundings = transformgrid(grid);
    comparison found;
    for (int k = -points / 4; k <= points / 4; k += std::max(1, points / 256)) {
        complexnumber F = 0.0L;
        long double bound = 0.0L;
        const fieldvalue field = fieldat(grid, k, roundings);
        for (const double frequency : w) {
            const long double y = static_cast<long double>(frequency) * a;
            const long double step = static_cast<long double>(frequency) * b * k * 2 * pil / points;
            F += std::polar(1.0L, y + step);
            // A unit for the rounding of w a and one for that of w b: a rounded product turns the wave.
            bound += field.waveerror + 0x1p-53L * (std::fabs(y) + std::fabs(step));
        }
        const long double error = std::abs(complexnumber(field.re, field.im) - F);
        found.worst = std::max(found.worst, error / bound);
        found.error = std::max(found.error, error / static_cast<long double>(w.size()));
    }
    return found;
}

TEST(NonuniformTransform, AgreesWithSumsOfWavesWithinItsBound)
{
    for (const int points : {256, 512, 4096})
        for (const int waves : {1, 2, 7, 300})
            for (const double cycles : {0.001, 0.17, 0.5, 1.0, -0.3}) {
                const std::vector<double> w =
                    randomvector(static_cast<unsigned>(waves), waves, 0.0, 6.0);
                const comparison found = compared(w, points, 777.0, cycles * points / 6.0);
                EXPECT_LT(found.worst, 1.0L) << points << " " << waves << " " << cycles;
                EXPECT_LT(found.error, 2e-12L) << points << " " << waves << " " << cycles;
            }
}

TEST(NonuniformTransform, TakesWavesAtGridPointsAndAtTheEndsOfTheCircle)
{
    if (!longdoublesarelonger()) GTEST_SKIP() << shortlongdoubles;
    for (const double w :
         {0.0, 0.5, 1.0, 2.0, 15.0, 16.0, 100.25, 255.0, 255.999, 256.0, 300.0, 1e6})
        EXPECT_LT(compared({w}, 256, 3.0, 1.0).worst, 1.0L) << w;
    EXPECT_LT(compared({1e-300, 1e-20}, 256, 3.0, 1.0).worst, 1.0L);
}

TEST(NonuniformTransform, TakesAnglesBeyondThoseOfTheQuickSines)
{
    EXPECT_LT(compared({1.0, 2.0, 3.0, 4.5, 5.5}, 256, 2e9, 7.0).worst, 1.0L);
}

// Here w a and w b are exact, so that the angles are those of the library's sines to the last digit.
TEST(NonuniformTransform, TakesTheSinesOfVeryLargeAnglesFromTheLibrary)
{
    const double w[] = {1.0, 3.0, 5.0, 6.0};
    wavegrid grid = newwavegrid(256);
    addwaves(grid, w, 4, 0x1p46, 1.0);
    const fieldvalue field = fieldat(grid, 0, transformgrid(grid));
    complexnumber F = 0.0L;
    for (const double frequency : w) F += std::polar(1.0L, 0x1p46L * frequency);
    EXPECT_LT(std::abs(complexnumber(field.re, field.im) - F), 4.0L * field.waveerror);
}

TEST(NonuniformTransform, OfManyWavesInOnePlaceHasAWiderBound)
{
    wavegrid grid = newwavegrid(256);
    const std::vector<double> same(1000, 1.5), apart = randomvector(5, 1000, 0.0, 256.0);
    addwaves(grid, same.data(), 1000, 0.0, 1.0);
    const double together = transformgrid(grid);
    cleargrid(grid);
    addwaves(grid, apart.data(), 1000, 0.0, 1.0);
    EXPECT_GT(together, 2.0 * transformgrid(grid));
    EXPECT_LT(compared(same, 256, 0.0, 1.0).worst, 1.0L);
}

TEST(NonuniformTransform, IsEmptyAgainOnceCleared)
{
    wavegrid grid = newwavegrid(256);
    const double w = 1.0;
    addwaves(grid, &w, 1, 1.0, 1.0);
    transformgrid(grid);
    cleargrid(grid);
    const double roundings = transformgrid(grid);
    for (int k = -64; k <= 64; ++k) {
        EXPECT_EQ(fieldat(grid, k, roundings).re, 0.0);
        EXPECT_EQ(fieldat(grid, k, roundings).im, 0.0);
    }
}

TEST(NonuniformTransform, SpreadsTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    for (const int waves : {1, 3, 4, 1001}) {
        const std::vector<double> w = randomvector(6, waves, 0.0, 6.0);
        wavegrid grid = newwavegrid(1024), other = newwavegrid(1024);
        addwaves_anywhere(grid, w.data(), waves, 123.0, 33.0);
        addwaves_avx2(other, w.data(), waves, 123.0, 33.0);
        EXPECT_EQ(grid.re, other.re);
        EXPECT_EQ(grid.im, other.im);
        EXPECT_EQ(grid.crowd, other.crowd);
    }
}

} // namespace

} // namespace torvik
