#include "volumes/periodograms.h"

#include "driver/read_idx_file.h"
#include "numeric/constants.h"
#include "numeric/lanes.h"
#include "plain/plain.h"
#include "property/randomlattices.h"
#include "support/cases.h"
#include "support/child.h"
#include "support/fresh.h"
#include "support/runs.h"
#include "text/units.h"
#include "volumes/nearsums.h"
#include "volumes/peaks.h"
#include "volumes/plainsums.h"
#include "volumes/printedtables.h"
#include "volumes/testvolumes.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace torvik {

namespace {

// What the reflections of a case are like.
enum class likeness { crystal, noisefree, nolattice, friedelmates, twice, withzeros, plane };
constexpr int likenesses = 7;

vector3 crystalvector(randomnumbers& random, const matrix3& M, double noise)
{
    const vector3 h = {{static_cast<double>(random.whole(-6, 6)),
                        static_cast<double>(random.whole(-6, 6)),
                        static_cast<double>(random.whole(-6, 6))}};
    vector3 v = transformed(M, h);
    for (int c = 1; c <= 3; ++c) v(c) += noise * random.between(-1.0, 1.0);
    return v;
}

void setreflection(int i, const vector3& v)
{
    recorded_reflections.reflections(i) = v;
    recorded_reflections.reflectionmagnitudes(i) = vectormagnitude(v);
}

void makereflections(randomnumbers& random, int N, likeness like)
{
    const matrix3 M = randombasis(random);
    const double noise = like == likeness::noisefree ? 0.0 : 0.01;
    recorded_reflections.numberofreflections = N;
    for (int i = 1; i <= N; ++i) {
        const vector3 before = recorded_reflections.reflections(std::max(1, i - 1));
        vector3 v = crystalvector(random, M, noise);
        if (like == likeness::nolattice)
            for (int c = 1; c <= 3; ++c) v(c) = random.between(-1.0, 1.0);
        if (like == likeness::friedelmates && i % 2 == 0)
            for (int c = 1; c <= 3; ++c) v(c) = -before(c);
        if (like == likeness::twice && i % 2 == 0) v = before;
        if (like == likeness::withzeros && i % 3 == 0) v = {{0.0, 0.0, 0.0}};
        if (like == likeness::plane) v(3) = 0.0;
        setreflection(i, v);
    }
}

// Makes reflections and test periods, up to about mostperiods of them.
void makecase(randomnumbers& random, int N, likeness like, int extent, int mostperiods)
{
    auto& parameters = otherglobalvariables;
    parameters.iextentofthesearch = extent;
    makereflections(random, N, like);
    const double Tmax = maxrlvolumeinperiodogram();
    const double q = 1.0 / (2 * extent + 2);
    parameters.limitsonvolumeofprimitivecell = true;
    parameters.minvolumeofprimitivecell = Tmax > 0.0 ? random.between(0.5, 5.0) / Tmax : 1.0;
    parameters.maxvolumeofprimitivecell =
        parameters.minvolumeofprimitivecell
        + (Tmax > 0.0 ? q * random.between(0.2, 1.0) * mostperiods / Tmax : 1.0);
    printedby([] { initializingvolumes2(); });
}

std::vector<double> volumes(void (*estimate)(const inputfilename&))
{
    estimatedvolumes = {};
    printedby([&] { estimate(makefilename("a.idx")); });
    const auto& found = estimatedvolumes;
    return {found.table_of_estimatedvolumes.element,
            found.table_of_estimatedvolumes.element + found.number_of_estimatedvolumes};
}

std::size_t numberofperiods()
{
    return static_cast<std::size_t>(testperiods.number_of_test_periods) + 1;
}

const double* periods()
{
    return testperiods.tableoftestperiods.element;
}

plain::periodogram plainvalues(int kind)
{
    plain::periodogram out(numberofperiods(), 0.0);
    plain::periodogram second(numberofperiods(), 0.0);
    if (kind == folding) plain::folding_periodogram(out);
    if (kind == rayleigh || kind == rayleighxscargle) plain::rayleigh_periodogram(out);
    if (kind == scargle) plain::scargle_periodogram(out);
    if (kind != rayleighxscargle) return out;
    plain::scargle_periodogram(second);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = out[i] * second[i];
    return out;
}

bool samebits(double x, double y)
{
    return x == y || (std::isnan(x) && std::isnan(y));
}

class FastPeriodograms : public fresh {};

// Small cases have the values of the plain sums throughout; large ones go by the bounds.
TEST_F(FastPeriodograms, GiveTheTestVolumesOfThePlainOnes)
{
    randomnumbers random(1);
    int withvolumes = 0;
    for (int number = 0; number < cases(300, 6000); ++number) {
        resetgroups();
        otherglobalvariables.itypeofperiodogram = random.whole(0, 4);
        const int N = random.whole(3, number % 20 == 0 ? 40 : 14);
        makecase(random, N, static_cast<likeness>(number % likenesses), random.whole(0, 5),
                 number % 3 == 0 ? 3000 : 600);
        const std::vector<double> expected = volumes(plain::estimate_true_rvolumes);
        EXPECT_EQ(volumes(estimate_true_rvolumes), expected) << number;
        withvolumes += expected.empty() ? 0 : 1;
    }
    EXPECT_GT(withvolumes, 200);
}

TEST_F(FastPeriodograms, GiveTheTestVolumesOfThePlainOnesForHundredsOfReflections)
{
    // From 67 reflections on the divisor wraps around: negative for 67, positive for 75 and 120.
    randomnumbers random(2);
    for (const int N : {66, 67, 75, 120}) {
        resetgroups();
        otherglobalvariables.itypeofperiodogram = rayleigh;
        makecase(random, N, likeness::crystal, 2, cases(60, 1500));
        EXPECT_EQ(volumes(estimate_true_rvolumes), volumes(plain::estimate_true_rvolumes)) << N;
    }
}

// How wide the bounds of a case are.
struct widths {
    double largest = 0.0; // of a value, as a share of the largest value
    int unbounded = 0;
    int periods = 0;
};

widths checkbounds(int kind, const std::string& name)
{
    periodogrambounds bounds;
    int status = failed;
    boundperiodogram(alltripleproducts(), kind, periods(), numberofperiods(), bounds, status);
    widths found;
    if (status == failed) return found;
    const plain::periodogram values = plainvalues(kind);
    double largest = 0.0;
    for (const double value : values) largest = std::max(largest, std::fabs(value));
    for (std::size_t i = 0; i < values.size(); ++i) {
        ++found.periods;
        if (!(bounds.most[i] < largestdouble)) {
            ++found.unbounded;
            continue;
        }
        EXPECT_LE(bounds.least[i], values[i]) << name << " " << i;
        EXPECT_GE(bounds.most[i], values[i]) << name << " " << i;
        found.largest = std::max(found.largest, (bounds.most[i] - bounds.least[i]) / largest);
    }
    return found;
}

TEST_F(FastPeriodograms, AreBoundsOnThePlainValues)
{
    randomnumbers random(3);
    int bounded = 0, unbounded = 0;
    for (int number = 0; number < cases(200, 4000); ++number) {
        resetgroups();
        const int kind = random.whole(folding, rayleighxscargle);
        const int N = random.whole(3, number % 10 == 0 ? 30 : 12);
        makecase(random, N, static_cast<likeness>(number % likenesses), random.whole(0, 5), 700);
        const widths found = checkbounds(kind, std::to_string(number));
        bounded += found.periods - found.unbounded;
        unbounded += found.unbounded;
    }
    EXPECT_GT(bounded, 20000);
    EXPECT_LT(unbounded, bounded / 2); // those of few triples, whose sums of squares can vanish
}

TEST_F(FastPeriodograms, AreNarrowBounds)
{
    // 1140 triples with phases up to 2 pi 2000 / 6, each off by 10 units of 2^-53: 2.3e-12 for a
    // term. Twice that on either side of a square, and as much again for the roundings of the sums.
    // The largest value is only a part of 1, and Scargle's terms are divided by half the number
    // of triples: a hundredth of a millionth is ample.
    randomnumbers random(4);
    for (int kind = rayleigh; kind <= rayleighxscargle; ++kind) {
        makecase(random, 20, likeness::crystal, 2, 2000);
        const widths found = checkbounds(kind, "narrow");
        EXPECT_GT(found.periods, 300);
        EXPECT_EQ(found.unbounded, 0);
        EXPECT_LT(found.largest, 1e-8);
        EXPECT_GT(found.largest, 1e-14); // they do claim something
    }
}

TEST_F(FastPeriodograms, AreBoundsOnFoldingOfSixDigits)
{
    // 2^-23 is cut off, and the step is rounded by 2^-33 for up to 128 periods: 2^-23 + 2^-24 in all,
    // as a share of a largest value that is above one half.
    randomnumbers random(4);
    makecase(random, 20, likeness::crystal, 0, 2000);
    const widths found = checkbounds(folding, "folding");
    EXPECT_GT(found.periods, 300);
    EXPECT_LT(found.largest, 2.0 * (0x1p-23 + 0x1p-24 + 0x1p-28));
    EXPECT_GT(found.largest, 0x1p-23);
}

TEST_F(FastPeriodograms, AreBoundsForPeriodsThatAreNotEvenlySpacedAsWell)
{
    randomnumbers random(5);
    for (const double departure : {1e-14, 1e-10, 1e-6, 1e-2}) {
        makecase(random, 12, likeness::crystal, 2, 600);
        for (std::size_t i = 0; i < numberofperiods(); ++i)
            testperiods.tableoftestperiods.element[i] *=
                1.0 + departure * random.between(-1.0, 1.0);
        for (int kind = folding; kind <= rayleighxscargle; ++kind)
            checkbounds(kind, std::to_string(departure));
    }
}

TEST_F(FastPeriodograms, AreBoundsInManyBlocks)
{
    // With 4 triples a block is 128 periods long.
    randomnumbers random(6);
    for (int kind = folding; kind <= rayleighxscargle; ++kind) {
        makecase(random, 5, likeness::nolattice, 1, 60000);
        EXPECT_GT(checkbounds(kind, "blocks").periods, 10000);
    }
}

TEST_F(FastPeriodograms, AreRefusedWhereNumbersAreOutOfRange)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}, {{1, 2, 3}}});
    periodogrambounds bounds;
    const auto status = [&](const std::vector<double>& P) {
        int result = -1;
        boundperiodogram(alltripleproducts(), rayleigh, P.data(), P.size(), bounds, result);
        return result;
    };
    int foldingstatus = done;
    EXPECT_EQ(status({0.5, 0.6}), done);
    EXPECT_EQ(status({0.5, std::nan("")}), failed);
    EXPECT_EQ(status({0.0, 0.5}), failed);
    EXPECT_EQ(status({0.5, std::numeric_limits<double>::infinity()}), failed);
    boundperiodogram(alltripleproducts(), folding, std::vector<double>{1e-9, 1.0}.data(), 2, bounds,
                     foldingstatus);
    EXPECT_EQ(foldingstatus, failed);        // the quotient 3e9 has more than 32 bits
    EXPECT_EQ(status({1e-20, 1.0}), failed); // places on the grid beyond 2^49
    setreflection(4, {{1.0, std::nan(""), 1.0}});
    EXPECT_EQ(status({0.5, 0.6}), failed);
    setreflection(4, {{1e300, 1.0, 1.0}});
    EXPECT_EQ(status({0.5, 0.6}), failed);
    recorded_reflections.numberofreflections = 2;
    EXPECT_EQ(status({0.5, 0.6}), failed); // no triples
}

// Takes the largest values away, one after the other, and counts the plain sums that it took.
int sumsneeded(periodogrambounds& bounds, const tripleproducts& products, int peaks)
{
    int sums = 0;
    const auto valueof = [&](int i) {
        ++sums;
        return periodogramvalue(products, i);
    };
    const plain::periodogram values = plainvalues(otherglobalvariables.itypeofperiodogram);
    std::vector<double> left(values);
    for (int k = 1; k <= peaks; ++k) {
        const int w = largestin(bounds, 0, testperiods.number_of_test_periods, valueof);
        const auto largest = std::max_element(left.begin(), left.end());
        EXPECT_EQ(w, *largest > 0.0 ? largest - left.begin() : -1);
        if (w < 0) break;
        setvalue(bounds, static_cast<std::size_t>(w), 0.0);
        *largest = 0.0;
    }
    return sums;
}

int sumsneeded(int kind, int peaks)
{
    otherglobalvariables.itypeofperiodogram = kind;
    const tripleproducts products = alltripleproducts();
    periodogrambounds bounds;
    int status = failed;
    boundperiodogram(products, kind, periods(), numberofperiods(), bounds, status);
    EXPECT_EQ(status, done);
    return sumsneeded(bounds, products, peaks);
}

TEST_F(FastPeriodograms, DecideBetweenDifferentValuesWithoutAnyPlainSum)
{
    randomnumbers random(7);
    makecase(random, 16, likeness::crystal, 2, 1500);
    EXPECT_EQ(sumsneeded(folding, 5), 0);
    EXPECT_EQ(sumsneeded(rayleigh, 10), 0);
    EXPECT_EQ(sumsneeded(scargle, 10), 0);
    EXPECT_EQ(sumsneeded(rayleighxscargle, 10), 0);
}

TEST_F(FastPeriodograms, LeaveTiesToThePlainSumsAndTheFirstOfThemWins)
{
    // The same period at three places: equal values, which no bounds can tell apart.
    randomnumbers random(8);
    makecase(random, 12, likeness::crystal, 2, 400);
    ASSERT_GT(numberofperiods(), 90U);
    for (std::size_t i = 0; i < numberofperiods(); ++i)
        testperiods.tableoftestperiods.element[i] = 0.25;
    testperiods.number_of_test_periods = 20;
    EXPECT_EQ(sumsneeded(rayleigh, 5), 21); // each once, and then all are known
    EXPECT_EQ(sumsneeded(folding, 5), 21);
}

TEST_F(FastPeriodograms, LeaveValuesThatDifferByARoundingToThePlainSums)
{
    // Periods a few units of the last place apart: the values differ by less than the bounds.
    randomnumbers random(9);
    makecase(random, 12, likeness::crystal, 2, 400);
    double P = 0.0137;
    for (int i = 0; i <= 40; ++i) {
        testperiods.tableoftestperiods(i) = P;
        P = std::nextafter(P, 1.0);
    }
    testperiods.number_of_test_periods = 40;
    EXPECT_EQ(sumsneeded(rayleigh, 41), 41);
    EXPECT_EQ(sumsneeded(rayleighxscargle, 41), 41);
}

TEST_F(FastPeriodograms, LeaveASumOfSquaresThatVanishesToThePlainSums)
{
    // One triple: its sine or its cosine is the whole sum of squares, and its offset takes away the
    // one or the other.
    setreflections({{{1.7, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}});
    testperiods.number_of_test_periods = 99;
    for (int i = 0; i <= 99; ++i) testperiods.tableoftestperiods(i) = 0.02 / (1.0 - i / 120.0);
    otherglobalvariables.itypeofperiodogram = scargle;
    const tripleproducts products = alltripleproducts();
    periodogrambounds bounds;
    int status = failed;
    boundperiodogram(products, scargle, periods(), numberofperiods(), bounds, status);
    ASSERT_EQ(status, done);
    int sums = 0;
    const int w = largestin(bounds, 0, 99, [&](int i) {
        ++sums;
        return periodogramvalue(products, i);
    });
    EXPECT_EQ(sums, 100);
    // Not a number is no peak, as in the plain program; the first of the largest numbers is one.
    const plain::periodogram values = plainvalues(scargle);
    int expected = -1;
    for (int i = 0; i <= 99; ++i) {
        const double value = values[static_cast<std::size_t>(i)];
        if (std::isnan(value)) continue;
        if (expected < 0 || value > values[static_cast<std::size_t>(expected)]) expected = i;
    }
    EXPECT_EQ(w, expected);
}

TEST_F(FastPeriodograms, ValuesForOnePeriodAreThoseOfThePlainPeriodogram)
{
    randomnumbers random(10);
    for (int number = 0; number < 12; ++number) {
        makecase(random, 11, static_cast<likeness>(number % likenesses), number % 6, 40);
        for (int kind = folding; kind <= rayleighxscargle; ++kind) {
            otherglobalvariables.itypeofperiodogram = kind;
            const plain::periodogram values = plainvalues(kind);
            const tripleproducts products = alltripleproducts();
            for (std::size_t i = 0; i < values.size(); ++i)
                EXPECT_TRUE(samebits(periodogramvalue(products, static_cast<int>(i)), values[i]))
                    << number << " " << kind << " " << i;
        }
    }
}

TEST_F(FastPeriodograms, PlainSumsOfAllPeriodsAreThoseOfThePlainPeriodogram)
{
    randomnumbers random(11);
    for (int number = 0; number < 30; ++number) {
        makecase(random, random.whole(3, 16), static_cast<likeness>(number % likenesses),
                 number % 6, 300);
        const auto same = [&](void (*fast)(periodogram&), int kind) {
            periodogram out(numberofperiods(), -1.0);
            fast(out);
            const plain::periodogram values = plainvalues(kind);
            for (std::size_t i = 0; i < values.size(); ++i)
                EXPECT_TRUE(samebits(out[i], values[i])) << number << " " << kind << " " << i;
        };
        same(folding_periodogram, folding);
        same(rayleigh_periodogram, rayleigh);
        same(scargle_periodogram, scargle);
    }
}

// What an estimation logs.
std::string logged(void (*estimate)(const inputfilename&))
{
    write_log_file = {1, logunit};
    return writtenby(logunit, [&] { volumes(estimate); });
}

class PrintedPeriodograms : public fresh {};

TEST_F(PrintedPeriodograms, HaveTheDigitsOfThePlainOnes)
{
    randomnumbers random(12);
    for (int number = 0; number < cases(40, 800); ++number) {
        resetgroups();
        otherglobalvariables.itypeofperiodogram = number % 4 + 1;
        makecase(random, random.whole(12, 22), static_cast<likeness>(number / 4 % likenesses),
                 random.whole(0, 5), 600);
        const std::string expected = logged(plain::estimate_true_rvolumes);
        EXPECT_TRUE(logged(estimate_true_rvolumes) == expected) << number;
    }
}

periodogramtable tableof(int kind)
{
    periodogramtable table;
    int status = failed;
    computetable(alltripleproducts(), kind, periods(), numberofperiods(), table, status);
    EXPECT_EQ(status, done);
    return table;
}

TEST_F(PrintedPeriodograms, AreMostlySettledByTheirBounds)
{
    randomnumbers random(13);
    makecase(random, 20, likeness::crystal, 2, 3000);
    const auto rows = static_cast<int>(numberofperiods());
    ASSERT_GT(rows, 500);
    // The bounds are 1e-9 of a typical value and less (AreNarrowBounds), and six to eight digits
    // are printed: one row in ten at most has a digit that they leave open.
    const periodogramtable table = tableof(rayleigh);
    EXPECT_LT(table.nearrows, rows / 10);
    EXPECT_LE(table.plainrows, table.nearrows);
    EXPECT_LT(tableof(scargle).plainrows, rows / 4);
}

TEST_F(PrintedPeriodograms, OfALongTableTakeNarrowerSums)
{
    // With phases of a hundred million cycles the first bounds are a few thousandths wide and settle
    // nothing. The second sums have the bits of the phases and settle all but a few rows.
    randomnumbers random(14);
    makecase(random, 20, likeness::crystal, 2, 300);
    for (std::size_t i = 0; i < numberofperiods(); ++i)
        testperiods.tableoftestperiods.element[i] *= 1e-5;
    const auto rows = static_cast<int>(numberofperiods());
    const periodogramtable table = tableof(rayleigh);
    EXPECT_GT(table.nearrows, rows / 2);
    EXPECT_LT(table.plainrows, rows / 10);
    otherglobalvariables.itypeofperiodogram = rayleigh;
    const std::string expected = logged(plain::estimate_true_rvolumes);
    EXPECT_TRUE(logged(estimate_true_rvolumes) == expected);
}

TEST_F(PrintedPeriodograms, LeaveSignsAndTheEndsOfTheRangeToThePlainSums)
{
    // Whole multiples of every period, but for a part in 10^17: the angle is 0.0 or -0.0. Halves of
    // odd multiples: it is 180.0 or -180.0. Only the plain sums know.
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}, {{5, 3, 7}}});
    testperiods.number_of_test_periods = 1;
    for (const double P : {1.0, 2.0}) {
        testperiods.tableoftestperiods(0) = testperiods.tableoftestperiods(1) =
            P * pisingle / 3.14159265358979323846;
        const periodogramtable table = tableof(rayleigh);
        EXPECT_EQ(table.plainrows, 2);
        periodogram S(2), C(2), out(2);
        rayleighsums(alltripleproducts(), periods(), 2, out.data(), S.data(), C.data());
        EXPECT_EQ(table.angle.least[0], printedphase(S[0], C[0]));
        EXPECT_EQ(table.angle.most[1], printedphase(S[1], C[1]));
        EXPECT_EQ(table.value.least[0], out[0]);
    }
}

TEST_F(PrintedPeriodograms, NearSumsAreWithinTheirBoundOfThePlainSums)
{
    randomnumbers random(15);
    for (int number = 0; number < 40; ++number) {
        makecase(random, random.whole(4, 24), static_cast<likeness>(number % 5), 2, 300);
        const tripleproducts products = alltripleproducts();
        const double Tmax = products.largest;
        const double P[] = {0.7 * Tmax, 0.01 * Tmax, 3e-4 * Tmax, 1e-6 * Tmax};
        nearsum sums[4];
        int status = failed;
        nearrayleighsums(products, P, sums, status);
        ASSERT_EQ(status, done);
        periodogram S(4), C(4), out(4);
        rayleighsums(products, P, 4, out.data(), S.data(), C.data());
        for (std::size_t j = 0; j < 4; ++j) {
            const double distance = std::hypot(S[j] - sums[j].S, C[j] - sums[j].C);
            EXPECT_LE(distance, sums[j].bound) << number << " " << j;
            EXPECT_LT(sums[j].bound, 1e-15 * products.number * products.number) << number;
        }
    }
}

TEST_F(PrintedPeriodograms, NearSumsRefusePhasesBeyondTheirRange)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}});
    const double near[] = {1.0, 1.0, 1.0, 2e-7}, far[] = {1.0, 1.0, 1.0, 1e-7}; // 2 pi / P: 2^25
    nearsum sums[4];
    int status = failed;
    nearrayleighsums(alltripleproducts(), near, sums, status);
    EXPECT_EQ(status, done);
    nearrayleighsums(alltripleproducts(), far, sums, status);
    EXPECT_EQ(status, failed);
}

TEST_F(PrintedPeriodograms, NearSumsAreTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    randomnumbers random(16);
    makecase(random, 12, likeness::crystal, 2, 300);
    const tripleproducts products = alltripleproducts();
    const double P[] = {0.7, 0.01, 3e-4, 1e-6};
    runningsums sums = {}, others = {};
    addnearsums_anywhere(products.kept.data(), products.number, P, sums);
    addnearsums_avx2(products.kept.data(), products.number, P, others);
    for (int j = 0; j < lanecount; ++j) {
        EXPECT_EQ(sums.S[j], others.S[j]);
        EXPECT_EQ(sums.C[j], others.C[j]);
        EXPECT_EQ(sums.wayofS[j], others.wayofS[j]);
        EXPECT_EQ(sums.wayofC[j], others.wayofC[j]);
    }
}

// What an estimation that ends the run leaves in the periodogram file.
std::string filed(void (*estimate)(const inputfilename&))
{
    const temporaryfolder folder;
    const std::string name = folder.file("a.idx");
    inchild([&] { estimate(makefilename(name)); });
    return readfile(folder.file("a_periodogram.res"));
}

// With phases a thousand times as long the bounds are so much wider: many rows, of which both kinds
// print alike at the two ends of their bounds, leave a digit of the product open.
TEST_F(PrintedPeriodograms, OfTwoKindsInAFileHaveTheDigitsOfThePlainProducts)
{
    randomnumbers random(18);
    makecase(random, 16, likeness::crystal, 2, 800);
    for (std::size_t i = 0; i < numberofperiods(); ++i)
        testperiods.tableoftestperiods.element[i] *= 1e-3;
    periodogrambounds product = tableof(rayleigh).value;
    multiply(product, tableof(scargle).value);
    int open = 0;
    for (std::size_t i = 0; i < numberofperiods(); ++i) open += printsalike(product, i) ? 0 : 1;
    EXPECT_GT(open, 20);
    otherglobalvariables.itypeofperiodogram = -rayleighxscargle;
    const std::string expected = filed(plain::estimate_true_rvolumes);
    EXPECT_EQ(linesof(expected).size(), numberofperiods() + 3);
    EXPECT_TRUE(filed(estimate_true_rvolumes) == expected);
}

// Input for a run that writes the periodogram file, of vectors with noise.
std::string fileinput(int type, int logged)
{
    randomnumbers random(17);
    const matrix3 M = randombasis(random);
    std::string text = "periodograms\n_NumberOfReflections\n16\n_Reflections\n";
    for (int i = 1; i <= 16; ++i) {
        const vector3 v = crystalvector(random, M, 0.002);
        text += F(14, 8, v(1)) + F(14, 8, v(2)) + F(14, 8, v(3)) + "\n";
    }
    text += "_MinMaxVolumeOfPrimitiveCell\n1.0 4.0\n";
    text += "_TypeOfPeriodogram\n" + std::to_string(type) + "\n";
    text += "_CreateLogFile\n" + std::to_string(logged) + "\n";
    return text;
}

TEST_F(PrintedPeriodograms, InFilesHaveTheDigitsOfThePlainOnes)
{
    for (int type = -4; type <= -1; ++type)
        for (const int log : {0, 1}) {
            runsetting setting;
            setting.arguments = {"a.idx"};
            setting.files = {{"a.idx", fileinput(type, log)}};
            const runresult fast = runtorvik(setting);
            setting.program = TORVIK_PLAIN;
            const runresult plain = runtorvik(setting);
            ASSERT_TRUE(plain.files.contains("a_periodogram.res")) << plain.output;
            EXPECT_GT(linesof(plain.files.at("a_periodogram.res")).size(), 500U);
            EXPECT_EQ(plain.files.size(), log == 1 ? 2U : 1U);
            EXPECT_EQ(fast.files.size(), plain.files.size());
            for (const auto& [name, content] : plain.files)
                EXPECT_TRUE(masked(fast.files.at(name)) == masked(content)) << type << " " << name;
            EXPECT_EQ(masked(fast.output), masked(plain.output));
        }
}

} // namespace

} // namespace torvik
