// The fast procedures of the search and the store against the plain ones: the same bits.

#include "plain/plain.h"
#include "property/randomlattices.h"
#include "search/batchfitting.h"
#include "search/batchreduction.h"
#include "search/fitting.h"
#include "search/quality.h"
#include "search/reduction.h"
#include "search/scanning.h"
#include "search/searchdriver.h"
#include "search/tabulcos.h"
#include "store/savedbases.h"
#include "superlattices/hermite.h"
#include "support/cases.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "support/runs.h"

#include <limits>

namespace torvik {

namespace {

class FastSearch : public fresh {};

constexpr double infinite = std::numeric_limits<double>::infinity();
constexpr double notanumber = std::numeric_limits<double>::quiet_NaN();

// Reflections of a lattice: noise-free with whole vectors where ties abound, or with errors; some
// zero, some repeated or negated, some that do not belong to it.
void setrandomreflections(randomnumbers& random, int N)
{
    auto& recorded = recorded_reflections;
    const bool whole = random.whole(0, 3) == 0;
    const matrix3 R = whole ? identity() : randombasis(random);
    const double noise = random.whole(0, 1) * random.between(0.0, 0.05);
    const double wrong = random.whole(0, 1) * 0.3;
    for (int i = 1; i <= N; ++i) {
        vector3 h;
        for (double& element : h.element) element = random.whole(-4, 4);
        vector3 v = indicesunder(R, h);
        for (double& element : v.element) element += random.between(-noise, noise);
        if (random.between(0.0, 1.0) < wrong)
            for (double& element : v.element) element = random.between(-3.0, 3.0);
        const int odd = random.whole(0, 30);
        if (odd == 0) v = {};
        if (odd == 1 && i > 1) v = recorded.reflections(i - 1);
        if (odd == 2 && i > 1) {
            const vector3& last = recorded.reflections(i - 1);
            v = {{-last(1), -last(2), -last(3)}};
        }
        recorded.reflections(i) = v;
        recorded.reflectionmagnitudes(i) = vectormagnitude(v);
        recorded.list_of_trial_vectors(i) = i;
    }
    recorded.numberofreflections = N;
    recorded.number_of_trial_vectors = N;
}

// A basis near one of the lattice of the reflections, or any.
matrix3 startingbasis(randomnumbers& random, numbered<int, 3>& start)
{
    const int N = recorded_reflections.numberofreflections;
    for (int& i : start.element) i = random.whole(1, N);
    matrix3 R;
    for (int k = 1; k <= 3; ++k)
        for (int j = 1; j <= 3; ++j)
            R(k, j) = recorded_reflections.reflections(start(k))(j) / random.whole(1, 2);
    return random.whole(0, 4) == 0 ? randombasis(random) : R;
}

std::string storetext()
{
    const auto& store = modofsavedbases;
    std::string text = std::to_string(store.numberofsavedbases) + "\n";
    for (int k = 1; k <= store.numberofsavedbases; ++k) {
        const indexcounts& counts = store.iqualityofsavedbases(k);
        text += bitsof(store.savedbases(k)) + bitsof(store.aqualityofsavedbases(k))
                + std::to_string(counts.h) + " " + std::to_string(counts.H) + "\n";
    }
    return text;
}

// Both ways on the same reflections and parameters, the store empty before each.
template <class Fast, class Plain>
void expectsamestore(Fast fast, Plain plain)
{
    modofsavedbases.numberofsavedbases = 0;
    fast();
    const std::string found = storetext();
    modofsavedbases.numberofsavedbases = 0;
    plain();
    EXPECT_EQ(found, storetext());
}

TEST_F(FastSearch, GrowsAFitToTheSameBits)
{
    randomnumbers random(41);
    int refined = 0;
    for (int n = 1; n <= cases(4000, 400000); ++n) {
        setrandomreflections(random, random.whole(4, n % 10 == 0 ? 120 : 30));
        estimatedvolumes.currentlyinvestigatedvolume = std::pow(10.0, random.between(-3.0, 0.5));
        numbered<int, 3> start;
        const matrix3 R = startingbasis(random, start);
        matrix3 fast = R;
        matrix3 plain = R;
        int faststatus = 7;
        int plainstatus = 7;
        const int N = recorded_reflections.numberofreflections;
        sequentialfittingrlbasis(fast, N, recorded_reflections.reflections, start, faststatus);
        plain::sequentialfittingrlbasis(plain, N, recorded_reflections.reflections, start,
                                        plainstatus);
        ASSERT_EQ(bitsof(fast), bitsof(plain)) << n;
        ASSERT_EQ(faststatus, plainstatus) << n;
        refined += bitsof(fast) != bitsof(R) ? 1 : 0;
    }
    EXPECT_GT(refined, cases(1000, 100000));
}

TEST_F(FastSearch, GrowsAFitToTheSameBitsFromNumbersOfAnySize)
{
    // Indices beyond 2^31, where roundings saturate, and numbers that are not finite.
    randomnumbers random(42);
    const double odd[] = {0.0,   1e-300, 1e-12,    1e9,       2147483647.5, 1e17,
                          1e154, 1e308,  infinite, -infinite, notanumber,   0.5};
    for (int n = 1; n <= cases(2000, 100000); ++n) {
        setrandomreflections(random, random.whole(4, 20));
        estimatedvolumes.currentlyinvestigatedvolume = std::pow(10.0, random.between(-300.0, 10.0));
        numbered<int, 3> start;
        matrix3 R = startingbasis(random, start);
        const int N = recorded_reflections.numberofreflections;
        for (int k = random.whole(1, 3); k > 0; --k)
            recorded_reflections.reflections(random.whole(1, N))(random.whole(1, 3)) =
                odd[random.whole(0, 11)];
        if (random.whole(0, 1) == 0)
            R(random.whole(1, 3), random.whole(1, 3)) *= odd[random.whole(0, 11)];
        matrix3 fast = R;
        matrix3 plain = R;
        int faststatus = 7;
        int plainstatus = 7;
        sequentialfittingrlbasis(fast, N, recorded_reflections.reflections, start, faststatus);
        plain::sequentialfittingrlbasis(plain, N, recorded_reflections.reflections, start,
                                        plainstatus);
        ASSERT_EQ(bitsof(fast), bitsof(plain)) << n;
        ASSERT_EQ(faststatus, plainstatus) << n;
    }
}

TEST_F(FastSearch, GrowsFitsSideBySideToTheSameBits)
{
    randomnumbers random(49);
    int refined = 0;
    int failures = 0;
    for (int n = 1; n <= cases(120, 12000); ++n) {
        setrandomreflections(random, random.whole(4, n % 10 == 0 ? 120 : 30));
        const int N = recorded_reflections.numberofreflections;
        auto& parameters = otherglobalvariables;
        parameters.themaincriterion = n % 20 == 0 ? 0.45 : random.between(0.03, 0.3);
        if (n % 7 == 0) // indices about 2^31, some beyond
            recorded_reflections.reflections(random.whole(1, N))(1) = 1e9;
        const double V = std::pow(10.0, random.between(-3.0, 0.5));
        estimatedvolumes.currentlyinvestigatedvolume = V;
        std::vector<fitting> before(static_cast<std::size_t>(random.whole(0, 60)));
        for (fitting& fit : before) fit.R = startingbasis(random, fit.start);
        vectorcolumns columns;
        setcolumns(columns, N, recorded_reflections.reflections);
        for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
            std::vector<fitting> fits = before;
            sequentialfitsin(lanes, fits, columns, 0.5 * V, parameters.themaincriterion);
            for (std::size_t f = 0; f < fits.size(); ++f) {
                matrix3 plain = before[f].R;
                int status = 7;
                plain::sequentialfittingrlbasis(plain, N, recorded_reflections.reflections,
                                                before[f].start, status);
                ASSERT_EQ(bitsof(fits[f].R), bitsof(plain)) << n << " " << lanes << " " << f;
                ASSERT_EQ(fits[f].status, status) << n << " " << lanes << " " << f;
                refined += bitsof(plain) != bitsof(before[f].R) ? 1 : 0;
                failures += status;
                // With any threshold between those that the inversions met, all goes alike.
                const inversions& seen = fits[f].seen;
                EXPECT_TRUE(endalike(seen, 0.5 * V));
                estimatedvolumes.currentlyinvestigatedvolume =
                    random.whole(0, 1) == 0 && seen.smallestregular < 1e300
                        ? 2.0 * seen.smallestregular
                        : V * random.between(0.5, 2.0);
                if (endalike(seen, 0.5 * estimatedvolumes.currentlyinvestigatedvolume)) {
                    matrix3 again = before[f].R;
                    int statusagain = 7;
                    plain::sequentialfittingrlbasis(again, N, recorded_reflections.reflections,
                                                    before[f].start, statusagain);
                    ASSERT_EQ(bitsof(again), bitsof(plain)) << n << " " << f;
                    ASSERT_EQ(statusagain, status) << n << " " << f;
                }
                estimatedvolumes.currentlyinvestigatedvolume = V;
            }
        }
    }
    EXPECT_GT(refined, cases(1000, 100000));
    EXPECT_GT(failures, cases(100, 10000));
}

// Vectors that differ from others, or from their negatives, by less than single precision can tell, and
// one that is off by the tolerance but for as little.
TEST_F(FastSearch, GrowsFitsSideBySideToTheSameBitsWhereSinglePrecisionDoesNotTell)
{
    randomnumbers random(54);
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    int refined = 0;
    for (int n = 1; n <= cases(200, 20000); ++n) {
        const double criterion = random.between(0.05, 0.3);
        otherglobalvariables.themaincriterion = criterion;
        const bool atthetolerance = n % 3 == 0;
        const int N = atthetolerance ? 4 : random.whole(5, 40);
        const double part = std::pow(10.0, random.between(-13.0, -4.0));
        vectorlist V;
        for (int i = 1; i <= N; ++i)
            for (int j = 1; j <= 3; ++j) V(i)
        (j) = i <= 3                            ? (i == j ? 1.0 : 0.0)
              : i > 4 && random.whole(0, 2) > 0 ? V(i - 1)(j) + random.between(-part, part)
                                                : random.whole(-3, 3) + random.between(-0.12, 0.12);
        if (n % 2 == 0)
            for (int i = 5; i <= N; i += 2)
                for (double& element : V(i).element) element = -element;
        if (atthetolerance)
            V(N) = {{1.0 + 1.15 * criterion + random.between(-part, part), 0.0, 0.0}};
        vectorcolumns columns;
        setcolumns(columns, N, V);
        std::vector<fitting> before(20);
        for (fitting& fit : before) {
            fit.R =
                atthetolerance ? identity() : diagonal(random.between(0.9999, 1.0001), 1.0, 1.0);
            fit.start = {{1, 2, 3}};
        }
        for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
            std::vector<fitting> fits = before;
            sequentialfitsin(lanes, fits, columns, 0.5, criterion);
            for (std::size_t f = 0; f < fits.size(); ++f) {
                matrix3 plain = before[f].R;
                int status = 7;
                plain::sequentialfittingrlbasis(plain, N, V, before[f].start, status);
                ASSERT_EQ(bitsof(fits[f].R), bitsof(plain)) << n << " " << lanes << " " << f;
                ASSERT_EQ(fits[f].status, status) << n << " " << lanes << " " << f;
                refined += bitsof(plain) != bitsof(before[f].R) ? 1 : 0;
            }
        }
    }
    EXPECT_GT(refined, cases(1000, 100000));
}

// Short vectors, indexed too low by nearly the tolerance, shrink the basis pass by pass, until the
// index of a long one goes beyond 2^31, where its rounding saturates.
TEST_F(FastSearch, GrowsFitsSideBySideToTheSameBitsWhileAnIndexComesToSaturate)
{
    randomnumbers random(50);
    otherglobalvariables.themaincriterion = 0.12; // 1.15 times that is 0.138
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    int saturated = 0;
    for (int n = 1; n <= cases(50, 5000); ++n) {
        vectorlist V;
        V(1) = {{0.5, 0.0, 0.0}};
        V(2) = {{0.0, 100.0, 0.0}};
        V(3) = {{0.0, 0.0, 100.0}};
        for (int i = 4; i <= 9; ++i) V(i) = {{0.5 * random.between(0.863, 0.9), 0.0, 0.0}};
        V(10) = {{0.5 * random.between(1.9e9, 1.97e9), 0.0, 0.0}};
        vectorcolumns columns;
        setcolumns(columns, 10, V);
        std::vector<fitting> before(10);
        for (fitting& fit : before) {
            fit.R = diagonal(0.5 * random.between(1.0, 1.001), 100.0, 100.0);
            fit.start = {{1, 2, 3}};
        }
        for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
            std::vector<fitting> fits = before;
            sequentialfitsin(lanes, fits, columns, 0.5, otherglobalvariables.themaincriterion);
            for (std::size_t f = 0; f < fits.size(); ++f) {
                matrix3 plain = before[f].R;
                int status = 7;
                plain::sequentialfittingrlbasis(plain, 10, V, before[f].start, status);
                ASSERT_EQ(bitsof(fits[f].R), bitsof(plain)) << n << " " << lanes << " " << f;
                ASSERT_EQ(fits[f].status, status) << n << " " << lanes << " " << f;
                saturated += V(10)(1) / plain(1, 1) > 0x1p31 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(saturated, cases(100, 10000));
}

// An index off by the tolerance itself is taken; a half, which only a tolerance of that size takes, is
// rounded away from zero.
TEST_F(FastSearch, GrowsFitsSideBySideToTheSameBitsAtTheToleranceAndFromHalves)
{
    ASSERT_EQ(1.15 * (0.125 / 1.15), 0.125);
    const double indices[][2] = {{0.125 / 1.15, 1.125}, {0.45, 0.5}, {0.45, 2.5}, {0.45, -4.5}};
    for (const auto& [criterion, index] : indices) {
        otherglobalvariables.themaincriterion = criterion;
        estimatedvolumes.currentlyinvestigatedvolume = 1.0;
        vectorlist V;
        V(1) = {{1.0, 0.0, 0.0}};
        V(2) = {{0.0, 1.0, 0.0}};
        V(3) = {{0.0, 0.0, 1.0}};
        V(4) = {{index, 0.0, 0.0}};
        vectorcolumns columns;
        setcolumns(columns, 4, V);
        fitting fit = {};
        fit.R = identity();
        fit.start = {{1, 2, 3}};
        matrix3 plain = fit.R;
        int status = 7;
        plain::sequentialfittingrlbasis(plain, 4, V, fit.start, status);
        EXPECT_NE(bitsof(plain), bitsof(fit.R)) << index;
        for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
            std::vector<fitting> fits(4, fit);
            sequentialfitsin(lanes, fits, columns, 0.5, criterion);
            for (const fitting& found : fits) EXPECT_EQ(bitsof(found.R), bitsof(plain)) << index;
        }
    }
}

TEST_F(FastSearch, CountsTheSameReflections)
{
    randomnumbers random(43);
    const double criteria[] = {0.03, 0.12, 0.25, 0.3, 0.5, 0.7};
    int counted = 0;
    for (int n = 1; n <= cases(4000, 400000); ++n) {
        setrandomreflections(random, random.whole(0, 50));
        otherglobalvariables.themaincriterion = criteria[random.whole(0, 5)];
        otherglobalvariables.maxallowedmillerindex = random.whole(1, 100);
        matrix3 D = random.whole(0, 1) == 0 ? identity() : inverseof(randombasis(random));
        // Halves and quarters of indices meet the limits exactly.
        if (random.whole(0, 2) == 0)
            for (int j = 1; j <= 3; ++j) D(1, j) = D(1, j) / (1 << random.whole(0, 6));
        if (random.whole(0, 9) == 0) D(2, 2) = random.whole(0, 1) == 0 ? 3e9 : notanumber;
        indexcounts fast;
        indexcounts plain;
        double fastquality = 0.0;
        double plainquality = 0.0;
        basisquality(D, fast, fastquality);
        plain::basisquality(D, plain, plainquality);
        ASSERT_EQ(fast, plain) << n;
        ASSERT_EQ(fastquality, plainquality) << n;
        counted += fast.H;
        vectorcolumns columns;
        setcolumns(columns, recorded_reflections.numberofreflections,
                   recorded_reflections.reflections);
        for (int lanes = 1; lanes <= bestlanes(); ++lanes)
            ASSERT_EQ(countindexedin(lanes, columns, D, otherglobalvariables.themaincriterion,
                                     otherglobalvariables.maxallowedmillerindex),
                      plain)
                << n << " " << lanes;
    }
    EXPECT_GT(counted, cases(4000, 400000));
}

// The whole indices of what counts loosely, and whether a component has one of 1 or -1.
TEST_F(FastSearch, RoundsTheSameIndices)
{
    randomnumbers random(53);
    int units = 0;
    int nounits = 0;
    for (int n = 1; n <= cases(2000, 200000); ++n) {
        setrandomreflections(random, random.whole(0, 30));
        const int N = recorded_reflections.numberofreflections;
        const double c = n % 9 == 0 ? 0.6 : random.between(0.03, 0.4);
        const int largest = random.whole(1, 6);
        matrix3 D = random.whole(0, 1) == 0 ? identity() : inverseof(randombasis(random));
        for (int j = 1; j <= 3; ++j) D(2, j) *= random.whole(1, 3);
        vectorcolumns columns;
        setcolumns(columns, N, recorded_reflections.reflections);
        for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
            wholeindices found;
            indexwholein(lanes, columns, D, c, largest, found);
            bool unit[3] = {};
            for (int i = 1; i <= N; ++i) {
                const vector3 x = transformed(D, recorded_reflections.reflections(i));
                const bool counted = largestindex(x) <= largest && reflexquality222(x) <= c;
                for (int j = 1; j <= 3; ++j) {
                    const int index = counted ? nint(x(j)) : 0;
                    ASSERT_EQ(found.h[j - 1][i - 1], index) << n << " " << lanes << " " << i;
                    unit[j - 1] = unit[j - 1] || std::abs(index) == 1;
                }
            }
            for (int j = 0; j < 3; ++j) {
                ASSERT_EQ(found.unit[j], unit[j]) << n << " " << lanes;
                ++(unit[j] ? units : nounits);
            }
        }
    }
    EXPECT_GT(units, cases(500, 50000));
    EXPECT_GT(nounits, cases(500, 50000));
}

TEST_F(FastSearch, ReducesToTheSameBits)
{
    randomnumbers random(44);
    for (int n = 1; n <= cases(4000, 400000); ++n) {
        matrix3 M;
        const int kind = random.whole(0, 3);
        const double unit = std::pow(10.0, random.between(-2.0, 2.0));
        for (auto& row : M.element)
            for (double& element : row)
                element = kind == 0   ? random.whole(-4, 4)
                          : kind == 1 ? random.whole(-4, 4) * unit
                                      : random.between(-1.0, 1.0) * unit;
        matrix3 fast = M;
        matrix3 plain = M;
        buergerreduction(fast);
        plain::buergerreduction(plain);
        ASSERT_EQ(bitsof(fast), bitsof(plain)) << n;
        fast = plain = M;
        simplereduction(fast);
        plain::simplereduction(plain);
        ASSERT_EQ(bitsof(fast), bitsof(plain)) << n;
    }
}

// Random bases, whole ones, multiples of 0.2 that go in circles, and numbers beyond what lanes take.
matrix3 basistobereduced(randomnumbers& random)
{
    const double odd[] = {0.0,   -0.0,  1e-300,   3e9,       1e99,
                          1e101, 1e160, infinite, -infinite, notanumber};
    const int kind = random.whole(0, 7);
    const double unit = kind == 0   ? 1.0
                        : kind == 1 ? 0.2
                                    : std::pow(10.0, random.between(-2.0, 2.0));
    matrix3 M;
    for (auto& row : M.element)
        for (double& element : row)
            element = unit * (kind <= 2 ? random.whole(-4, 4) : random.between(-1.0, 1.0));
    if (kind == 3) M = matrixproduct(randomunimodular(random, 20), M); // many passes
    if (kind == 4)
        M(random.whole(1, 3), random.whole(1, 3)) *= std::pow(10.0, random.between(0.0, 12.0));
    if (kind == 5 && random.whole(0, 7) == 0)
        M(random.whole(1, 3), random.whole(1, 3)) = odd[random.whole(0, 9)];
    return M;
}

void expectsamereductions(const std::vector<matrix3>& bases)
{
    std::vector<matrix3> simple = bases;
    std::vector<matrix3> full = bases;
    for (matrix3& M : simple) plain::simplereduction(M);
    for (matrix3& M : full) plain::buergerreduction(M);
    for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
        std::vector<matrix3> simplyfast = bases;
        std::vector<matrix3> fullyfast = bases;
        simplereductionsin(lanes, simplyfast);
        buergerreductionsin(lanes, fullyfast);
        for (std::size_t b = 0; b < bases.size(); ++b) {
            ASSERT_EQ(bitsof(simplyfast[b]), bitsof(simple[b])) << lanes << " " << b;
            ASSERT_EQ(bitsof(fullyfast[b]), bitsof(full[b])) << lanes << " " << b;
        }
    }
}

TEST_F(FastSearch, ReducesSideBySideToTheSameBits)
{
    randomnumbers random(51);
    for (int n = 1; n <= cases(60, 6000); ++n) {
        SCOPED_TRACE(n);
        std::vector<matrix3> bases(static_cast<std::size_t>(random.whole(0, 40)));
        for (matrix3& M : bases) M = basistobereduced(random);
        expectsamereductions(bases);
    }
}

// Halves are rounded away from zero: 1.5, 2.5 and their negatives as quotients.
TEST_F(FastSearch, ReducesSideBySideByHalvesToTheSameBits)
{
    std::vector<matrix3> bases;
    for (int half = -9; half <= 9; ++half)
        bases.push_back({{{1.0, 0.0, 0.0}, {0.5 * half, 1.0, 0.0}, {0.5, 0.5 * half, 8.0}}});
    for (int lanes = 1; lanes <= bestlanes(); ++lanes) {
        std::vector<matrix3> simple = bases;
        simplereductionsin(lanes, simple);
        for (std::size_t b = 0; b < bases.size(); ++b) {
            matrix3 plain = bases[b];
            plain::simplereduction(plain);
            EXPECT_EQ(bitsof(simple[b]), bitsof(plain)) << lanes << " " << b;
        }
    }
}

// Vectors as good as perpendicular: the product of the first two of their scalar products is too
// small for a double, though the product of the last two, and of all three, is not. It counts as 0.
TEST_F(FastSearch, ReducesSideBySideByAProductThatUnderflowsToTheSameBits)
{
    std::vector<matrix3> bases;
    for (const double sign : {1.0, -1.0})
        for (int turn = 0; turn < 3; ++turn) {
            const matrix3 M = {
                {{1e60, 0.0, 0.0}, {sign * 1e-210, 2e60, 0.0}, {1e-10, sign * 1e-260, 4e60}}};
            matrix3 turned = {};
            for (int i = 1; i <= 3; ++i)
                for (int j = 1; j <= 3; ++j) turned((i + turn) % 3 + 1, j) = M(i, j);
            bases.push_back(turned);
        }
    expectsamereductions(bases);
}

// Of whole multiples of a decimal fraction many steps are equal choices but for roundings.
TEST_F(FastSearch, ReducesSideBySideMultiplesOfAFractionToTheSameBits)
{
    randomnumbers random(55);
    const double units[] = {0.1, 0.2, 0.3, 0.7};
    std::vector<matrix3> bases(static_cast<std::size_t>(cases(1000, 100000)));
    for (matrix3& M : bases) {
        const double unit = units[random.whole(0, 3)];
        for (auto& row : M.element)
            for (double& element : row) element = random.whole(-3, 3) * unit;
    }
    expectsamereductions(bases);
}

// A product of zero and an infinite number is no number, and neither positive nor negative.
TEST_F(FastSearch, ReducesSideBySideWhatIsNotFiniteToTheSameBits)
{
    randomnumbers random(56);
    const double odd[] = {infinite, -infinite, notanumber};
    std::vector<matrix3> bases(static_cast<std::size_t>(cases(60, 6000)));
    for (matrix3& M : bases) {
        for (auto& row : M.element)
            for (double& element : row) element = random.whole(-1, 2);
        M(random.whole(1, 3), random.whole(1, 3)) = odd[random.whole(0, 2)];
    }
    expectsamereductions(bases);
}

TEST_F(FastSearch, EndsReductionsThatGoInACircleAsTheGuardWould)
{
    // Multiples of 0.2 that are equal but for rounding change places for ever.
    randomnumbers random(45);
    int circles = 0;
    for (int n = 1; n <= cases(300, 20000); ++n) {
        matrix3 M;
        for (auto& row : M.element)
            for (double& element : row) element = random.whole(-4, 4) * 0.2;
        matrix3 fast = M;
        matrix3 plain = M;
        buergerreduction(fast);
        plain::buergerreduction(plain);
        ASSERT_EQ(bitsof(fast), bitsof(plain)) << n;
        matrix3 further = plain; // a reduced basis stays as it is; one of a circle goes on
        plain::buergerreduction(further);
        circles += bitsof(further) != bitsof(plain) ? 1 : 0;
    }
    EXPECT_GT(circles, 3);
}

// Bases of one lattice, its sublattices and superlattices, with errors.
matrix3 relatedbasis(randomnumbers& random, const matrix3& D)
{
    matrix3 U = randomunimodular(random, 6);
    const int what = random.whole(0, 5);
    for (int j = 1; j <= 3; ++j) {
        if (what == 0) U(1, j) *= random.whole(2, 5);
        if (what == 1) U(2, j) /= random.whole(2, 5);
    }
    const double error = random.whole(0, 2) * 0.01;
    for (auto& row : U.element)
        for (double& element : row) element += random.between(-error, error);
    return matrixproduct(U, D);
}

TEST_F(FastSearch, StoresTheSameBases)
{
    randomnumbers random(46);
    for (int n = 1; n <= cases(60, 6000); ++n) {
        setrandomreflections(random, random.whole(4, 20));
        const matrix3 D = inverseof(randombasis(random));
        auto& parameters = otherglobalvariables;
        parameters.limitsonvolumeofprimitivecell = random.whole(0, 1) == 0;
        parameters.minvolumeofprimitivecell = std::fabs(deter(D)) * 0.3;
        parameters.maxvolumeofprimitivecell = std::fabs(deter(D)) * 30.0;
        std::vector<matrix3> offers;
        for (int k = random.whole(1, 400); k > 0; --k)
            offers.push_back(random.whole(0, 3) == 0 ? inverseof(randombasis(random))
                                                     : relatedbasis(random, D));
        const auto offerall = [&](auto quality, auto save) {
            for (matrix3 offered : offers) {
                indexcounts counts;
                double q = 0.0;
                quality(offered, counts, q);
                save(offered, counts, q);
            }
        };
        expectsamestore(
            [&] {
                offerall([](auto&... a) { basisquality(a...); },
                         [](auto&... a) { savethebasis(a...); });
            },
            [&] {
                offerall([](auto&... a) { plain::basisquality(a...); },
                         [](auto&... a) { plain::savethebasis(a...); });
            });
    }
}

// A matrix whose deviations from the unit matrix add up to 0.15, or whose determinant is 1.05 or 0.95,
// but for some roundings.
matrix3 nearalimit(randomnumbers& random)
{
    matrix3 M = identity();
    if (random.whole(0, 1) == 0) {
        M(2, 2) += random.whole(0, 1) == 0 ? 0.05 : -0.05;
        M(3, 1) = random.whole(-2, 2);
    } else {
        double left = 0.15;
        const int rows = random.whole(2, 3);
        for (int i = 0; i < rows; ++i)
            for (double& element : M.element[i]) {
                const double part = left * random.between(0.0, 0.3);
                element += random.whole(0, 1) == 0 ? part : -part;
                left -= part;
            }
        M(rows, 1) += M(rows, 1) < 0.0 ? -left : left;
    }
    for (int k = random.whole(0, 3); k > 0; --k) {
        double& element = M(random.whole(1, 3), random.whole(1, 3));
        element = std::nextafter(element, random.whole(-9, 9));
    }
    return M;
}

soughtlattice soughtby(const matrix3& inverse)
{
    soughtlattice sought = {};
    sought.inverse = inverse;
    sought.regular = true;
    setfrominverse(sought);
    return sought;
}

TEST_F(FastSearch, FindsTheSameSlot)
{
    randomnumbers random(52);
    const double odd[] = {0.0, 1e-200, 1e30,  2147483647.0, 2147483647.125,
                          3e9, 1e60,   1e200, infinite,     notanumber};
    auto& store = modofsavedbases;
    int found = 0;
    int near = 0;
    for (int n = 1; n <= cases(4000, 400000); ++n) {
        const bool whole = random.whole(0, 1) == 0;
        const matrix3 D = whole ? identity() : inverseof(randombasis(random));
        store.numberofsavedbases = random.whole(0, maxsavedbases);
        for (int k = 1; k <= store.numberofsavedbases; ++k) {
            matrix3& M = store.savedbases(k);
            const int kind = random.whole(0, 9);
            M = kind == 0 ? matrixproduct(nearalimit(random), D) : inverseof(randombasis(random));
            if (kind == 1 && random.whole(0, 9) == 0) M = relatedbasis(random, D);
            if (kind == 2 && whole)
                M(random.whole(1, 3), random.whole(1, 3)) = odd[random.whole(0, 9)];
            if (kind == 3 && whole) {
                M = identity();
                M(3, 1) = odd[random.whole(0, 9)];
            }
        }
        storeknowledge known = knowledgeofstore();
        // Behind the last slot stands what was there before: a lattice that is looked for, too.
        for (int k = store.numberofsavedbases + 1; k <= maxsavedbases; ++k) {
            store.savedbases(k) = D;
            noteslot(known.slots, k);
        }
        matrix3 inverse = inverseof(D);
        if (random.whole(0, 99) == 0)
            inverse(random.whole(1, 3), random.whole(1, 3)) = odd[random.whole(0, 9)];
        const soughtlattice sought = soughtby(inverse);
        int expected = 0;
        for (int k = store.numberofsavedbases; k >= 1; --k)
            if (plain::samelattice(store.savedbases(k), inverse)) expected = k;
        for (int lanes = 1; lanes <= bestlanes(); ++lanes)
            ASSERT_EQ(firstsimilarslotin(lanes, known.slots, sought), expected)
                << n << " " << lanes;
        found += expected > 0 ? 1 : 0;
        near += expected > 1 ? 1 : 0;
    }
    EXPECT_GT(found, cases(1000, 100000));
    EXPECT_GT(near, cases(500, 50000));
}

// Whole numbers with ad - bc = 1, a and b of about the size given.
numbered<double, 4> largeunimodular(randomnumbers& random, double size)
{
    numbered<double, 4> U = {{1.0, 0.0, 0.0, 1.0}};
    while (std::fabs(U(1)) + std::fabs(U(2)) < size) {
        const int k = random.whole(0, 1) == 0 ? random.whole(1, 9) : -random.whole(1, 9);
        U = {{U(3) + k * U(1), U(4) + k * U(2), -U(1), -U(2)}};
    }
    return U;
}

// A lattice in terms of another one that it is at the limit of being the same as: by its volume, or by
// the sum of the deviations. Two of its vectors are long, which brings large roundings; the deviations
// stand where the determinant does not depend on them.
matrix3 farfromreduced(randomnumbers& random)
{
    const numbered<double, 4> U = largeunimodular(random, std::pow(10.0, random.between(0.0, 5.0)));
    const int along = random.whole(1, 3);
    const int first = along % 3 + 1;
    const int second = first % 3 + 1;
    const auto either = [&](double x) { return random.whole(0, 1) == 0 ? x : -x; };
    matrix3 T = {};
    T(first, first) = U(1);
    T(first, second) = U(2);
    T(second, first) = U(3);
    T(second, second) = U(4);
    T(first, along) = random.whole(-9, 9);
    T(second, along) = random.whole(-9, 9);
    const bool byvolume = random.whole(0, 1) == 0;
    T(along, along) = either(byvolume ? 1.0 + either(0.05) : 1.0);
    const double part = byvolume ? 0.0 : random.between(0.0, 0.15);
    T(first, along) += either(part);
    T(second, along) += byvolume ? 0.0 : either(0.15 - part);
    return T;
}

TEST_F(FastSearch, FindsTheSameSlotOfBasesFarFromReduced)
{
    randomnumbers random(53);
    auto& store = modofsavedbases;
    int found = 0;
    const int tries = cases(4000, 400000);
    for (int n = 1; n <= tries; ++n) {
        const matrix3 D = inverseof(randombasis(random));
        const matrix3 inverse = inverseof(D);
        store.numberofsavedbases = 40;
        int expected = 0;
        for (int k = 1; k <= store.numberofsavedbases; ++k) {
            matrix3& M = store.savedbases(k);
            M = k % 16 == 0 ? matrixproduct(farfromreduced(random), D)
                            : inverseof(randombasis(random));
            if (expected == 0 && plain::samelattice(M, inverse)) expected = k;
        }
        const storeknowledge known = knowledgeofstore();
        const soughtlattice sought = soughtby(inverse);
        for (int lanes = 1; lanes <= bestlanes(); ++lanes)
            ASSERT_EQ(firstsimilarslotin(lanes, known.slots, sought), expected)
                << n << " " << lanes;
        found += expected > 0 ? 1 : 0;
    }
    EXPECT_GT(found, tries / 2); // two slots are at a limit, on either side as roundings will
    EXPECT_LT(found, tries * 9 / 10);
}

TEST_F(FastSearch, FindsTheSameSolutions)
{
    getlowindexsuperlattices();
    randomnumbers random(47);
    int solutions = 0;
    int full = 0;
    for (int n = 1; n <= cases(60, 3000); ++n) {
        auto& parameters = otherglobalvariables;
        parameters.iextentofthesearch = n % 12 < 8 ? n % 3 : n % 6;
        const int extent = parameters.iextentofthesearch;
        setrandomreflections(random, random.whole(4, extent > 2 ? 7 : 14));
        parameters.fractionofsupportingreflections = random.between(0.3, 1.0);
        parameters.limitsonvolumeofprimitivecell = random.whole(0, 1) == 0;
        parameters.minvolumeofprimitivecell = 0.3;
        parameters.maxvolumeofprimitivecell = 30.0;
        int& volumes = estimatedvolumes.number_of_estimatedvolumes;
        volumes = extent > 3 ? 1 : random.whole(1, 4);
        for (int t = 1; t <= volumes; ++t)
            estimatedvolumes.table_of_estimatedvolumes(t) =
                random.whole(0, 1) == 0 ? 1.0 : random.between(0.1, 3.0);
        estimatedvolumes.table_of_estimatedvolumes(1) = 1.0;
        std::string fastterminal;
        std::string plainterminal;
        expectsamestore([&] { fastterminal = printedby(getthebasis); },
                        [&] { plainterminal = printedby(plain::getthebasis); });
        EXPECT_EQ(fastterminal, plainterminal);
        solutions += modofsavedbases.numberofsavedbases;
        full += modofsavedbases.numberofsavedbases == maxsavedbases ? 1 : 0;
    }
    EXPECT_GT(solutions, cases(300, 15000));
    EXPECT_GT(full, 0); // then what is too weak is dropped
}

// Vectors come and go from one test value to the next, as the ranking has it; so do the three shortest
// of them, and with them what a triple comes to.
TEST_F(FastSearch, FindsTheSameSolutionsWhereTheShortestTrialVectorsChange)
{
    getlowindexsuperlattices();
    getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
    randomnumbers random(54);
    int solutions = 0;
    for (int n = 1; n <= cases(15, 3000); ++n) {
        auto& parameters = otherglobalvariables;
        parameters.iextentofthesearch = n % 3 + 3;
        parameters.fractionofsupportingreflections = 0.6;
        setrandomreflections(random, random.whole(7, 8));
        estimatedvolumes.number_of_estimatedvolumes = 1;
        estimatedvolumes.table_of_estimatedvolumes(1) = random.between(0.3, 1.2);
        expectsamestore([] { printedby(getthebasis); }, [] { printedby(plain::getthebasis); });
        solutions += modofsavedbases.numberofsavedbases;
    }
    EXPECT_GT(solutions, cases(100, 30000));
}

TEST_F(FastSearch, WritesTheSameLog)
{
    getlowindexsuperlattices();
    randomnumbers random(48);
    int passed = 0;
    int saved = 0;
    int divided = 0;
    for (int n = 1; n <= cases(32, 800); ++n) {
        setrandomreflections(random, random.whole(4, 9));
        auto& parameters = otherglobalvariables;
        parameters.iextentofthesearch = n % 4;
        parameters.limitsonvolumeofprimitivecell = n % 8 < 6;
        parameters.minvolumeofprimitivecell = 0.3;
        parameters.maxvolumeofprimitivecell = 30.0;
        estimatedvolumes.number_of_estimatedvolumes = 2;
        estimatedvolumes.table_of_estimatedvolumes(1) = 1.0;
        estimatedvolumes.table_of_estimatedvolumes(2) = 0.5;
        std::string fast;
        std::string plain;
        const auto quietly = [](auto procedure) { return [=] { printedby(procedure); }; };
        expectsamestore([&] { fast = loggedby(quietly(getthebasis)); },
                        [&] { plain = loggedby(quietly(plain::getthebasis)); });
        EXPECT_EQ(fast, plain);
        passed += fast.find("Altarnative") != std::string::npos ? 1 : 0;
        saved += fast.find("Basis saved") != std::string::npos ? 1 : 0;
        divided += fast.find("divided by") != std::string::npos ? 1 : 0;
    }
    EXPECT_GT(passed, 3);
    EXPECT_GT(saved, 3);
    EXPECT_GT(divided, 0);
}

} // namespace

} // namespace torvik
