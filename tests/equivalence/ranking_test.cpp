#include "volumes/ranking.h"

#include "numeric/lanes.h"
#include "plain/plain.h"
#include "search/quality.h"
#include "support/cases.h"
#include "support/fresh.h"
#include "support/runs.h"
#include "text/units.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

// What one ranking leaves, and what it prints.
struct outcome {
    int count;
    std::vector<int> list;
    std::string log;

    bool operator==(const outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const outcome& o)
{
    out << o.count << ":";
    for (const int i : o.list) out << " " << i;
    return out;
}

class FastRanking : public fresh {
protected:
    FastRanking()
    {
        setcurve(-9);
    }

    static void setcurve(int type)
    {
        getavonmisestypefunction(type, tabulcos.vonmisesfunctinranking);
    }

    static void setvolume(double V)
    {
        estimatedvolumes.currentlyinvestigatedvolume = V;
    }

    static void setlist(const std::vector<vector3>& vectors)
    {
        auto& recorded = recorded_reflections;
        recorded.numberofreflections = static_cast<int>(vectors.size());
        for (int i = 1; i <= recorded.numberofreflections; ++i)
            recorded.reflections(i) = vectors[static_cast<std::size_t>(i) - 1];
    }

    // Begins with the full list, as the search does for every test value.
    template <class Rank>
    static outcome after(Rank rank)
    {
        auto& recorded = recorded_reflections;
        recorded.number_of_trial_vectors = recorded.numberofreflections;
        for (int i = 1; i <= recorded.numberofreflections; ++i)
            recorded.list_of_trial_vectors(i) = i;
        rank();
        const auto* const list = recorded.list_of_trial_vectors.element;
        return {recorded.number_of_trial_vectors,
                {list, list + std::max(recorded.number_of_trial_vectors, 0)},
                {}};
    }

    static outcome plainly(int nremove)
    {
        return after([&] { plain::rank_trial_vectors(nremove); });
    }

    static outcome fast(int nremove, rankingdecisions* decisions = nullptr)
    {
        rankingdecisions taken;
        const outcome result = after([&] { taken = dropworstvectors(nremove); });
        if (decisions != nullptr) {
            decisions->halfways += taken.halfways;
            decisions->neartie += taken.neartie;
        }
        return result;
    }
};

using randoms = std::mt19937_64;

double uniform(randoms& random, double low, double high)
{
    return low + (high - low) * std::ldexp(static_cast<double>(random() >> 11), -53);
}

int oneof(randoms& random, int low, int high)
{
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
}

vector3 anyvector(randoms& random, double size)
{
    const double x = uniform(random, -size, size), y = uniform(random, -size, size);
    return {{x, y, uniform(random, -size, size)}};
}

std::vector<vector3> anyvectors(randoms& random, int n)
{
    std::vector<vector3> vectors;
    for (int i = 0; i < n; ++i) vectors.push_back(anyvector(random, 1.0));
    return vectors;
}

// Points of a lattice with the given basis in its rows, with indices up to a bound.
std::vector<vector3> latticepoints(randoms& random, int n, const matrix3& basis, int bound)
{
    std::vector<vector3> vectors;
    for (int i = 0; i < n; ++i) {
        vector3 r = {{0.0, 0.0, 0.0}};
        for (int b = 1; b <= 3; ++b) {
            const int h = oneof(random, -bound, bound);
            for (int c = 1; c <= 3; ++c) r(c) += h * basis(b, c);
        }
        vectors.push_back(r);
    }
    return vectors;
}

matrix3 anybasis(randoms& random)
{
    const vector3 a = anyvector(random, 1.0), b = anyvector(random, 1.0);
    return rowsmatrix(a, b, anyvector(random, 1.0));
}

// Makes some of the vectors copies, negatives, multiples of others, or zero.
void addrelations(randoms& random, std::vector<vector3>& vectors)
{
    const int n = static_cast<int>(vectors.size());
    for (auto& v : vectors) {
        const vector3 other = vectors[static_cast<std::size_t>(oneof(random, 0, n - 1))];
        double factor = 0.0;
        switch (oneof(random, 0, 9)) {
        case 0: factor = 1.0; break;
        case 1:
        case 2: factor = -1.0; break;
        case 3: factor = 2.0; break;
        case 4: factor = 0.0; break;
        default: continue;
        }
        v = {{factor * other(1), factor * other(2), factor * other(3)}};
    }
}

int anycurve(randoms& random)
{
    const int type = oneof(random, -9, 1);
    return type == 1 ? 10 : type;
}

TEST_F(FastRanking, DropsTheSameVectorsAmongAnyReflections)
{
    randoms random(401);
    for (int c = 0; c < cases(2500, 40000); ++c) {
        const int n = oneof(random, 3, c % 10 == 0 ? 40 : 14);
        setlist(anyvectors(random, n));
        setcurve(anycurve(random));
        setvolume(std::exp(uniform(random, -9.0, 1.0)));
        const int nremove = oneof(random, 0, n);
        ASSERT_EQ(fast(nremove), plainly(nremove)) << "case " << c;
    }
}

TEST_F(FastRanking, DropsTheSameVectorsAmongRelatedReflections)
{
    randoms random(402);
    rankingdecisions decisions;
    for (int c = 0; c < cases(2000, 30000); ++c) {
        const int n = oneof(random, 3, c % 10 == 0 ? 36 : 14);
        std::vector<vector3> vectors = anyvectors(random, n);
        addrelations(random, vectors);
        setlist(vectors);
        setcurve(anycurve(random));
        setvolume(std::exp(uniform(random, -6.0, 1.0)));
        const int nremove = oneof(random, 1, n);
        ASSERT_EQ(fast(nremove, &decisions), plainly(nremove)) << "case " << c;
    }
    EXPECT_GT(decisions.neartie, 0);
}

TEST_F(FastRanking, DropsTheSameVectorsOfLatticesWhoseProductsAreWholeMultiples)
{
    randoms random(403);
    rankingdecisions decisions;
    for (int c = 0; c < cases(1500, 20000); ++c) {
        const int n = oneof(random, 4, c % 10 == 0 ? 36 : 14);
        const matrix3 basis = anybasis(random);
        std::vector<vector3> vectors = latticepoints(random, n, basis, oneof(random, 1, 6));
        if (c % 3 == 0) addrelations(random, vectors);
        setlist(vectors);
        setcurve(anycurve(random));
        // A multiple or a part of the lattice's own volume: the phases are few, and tie.
        setvolume(std::fabs(deter(basis)) * oneof(random, 1, 4) / oneof(random, 1, 4));
        const int nremove = oneof(random, 1, n);
        ASSERT_EQ(fast(nremove, &decisions), plainly(nremove)) << "case " << c;
    }
    EXPECT_GT(decisions.neartie, 0);
}

TEST_F(FastRanking, DropsTheSameVectorsWhereProductsLieHalfWayBetweenTwoSteps)
{
    // With V = 511 triple products / (k + 1/2), the products of a lattice are whole multiples of a
    // half step, but for roundings that differ from order to order.
    randoms random(404);
    rankingdecisions decisions;
    for (int c = 0; c < cases(1500, 20000); ++c) {
        const int n = oneof(random, 4, c % 10 == 0 ? 36 : 14);
        const matrix3 basis = anybasis(random);
        setlist(latticepoints(random, n, basis, oneof(random, 1, 4)));
        setcurve(anycurve(random));
        const double halfway = std::floor(
            std::exp2(c % 2 == 0 ? uniform(random, 0.0, 11.0) : uniform(random, 26.0, 36.0)));
        setvolume(511.0 * std::fabs(deter(basis)) / (halfway + 0.5));
        const int nremove = oneof(random, 1, n);
        ASSERT_EQ(fast(nremove, &decisions), plainly(nremove)) << "case " << c;
    }
    EXPECT_GT(decisions.halfways, 10000);
}

TEST_F(FastRanking, DropsTheSameVectorsAmongManyReflections)
{
    randoms random(405);
    for (int c = 0; c < cases(6, 60); ++c) {
        const int n = oneof(random, 60, 120);
        const matrix3 basis = anybasis(random);
        std::vector<vector3> vectors =
            c % 2 == 0 ? anyvectors(random, n) : latticepoints(random, n, basis, 5);
        if (c % 3 == 0) addrelations(random, vectors);
        setlist(vectors);
        setcurve(anycurve(random));
        setvolume(c % 2 == 0 ? std::exp(uniform(random, -9.0, 1.0)) : std::fabs(deter(basis)));
        const int nremove = c % 3 == 2 ? n / 2 : 2;
        ASSERT_EQ(fast(nremove), plainly(nremove)) << "case " << c;
    }
}

TEST_F(FastRanking, DropsTheSameVectorAmongMoreReflectionsThanATableOfPhasesHolds)
{
    randoms random(406);
    for (const int n : {200, cases(303, 999)}) {
        setlist(anyvectors(random, n));
        setvolume(0.01);
        ASSERT_EQ(fast(1), plainly(1)) << n;
    }
}

TEST_F(FastRanking, DropsTheSameVectorsAmongNumbersOfAnySize)
{
    const double strange[] = {0.0,
                              -0.0,
                              1e-320,
                              1e-200,
                              1e-160,
                              1e-100,
                              1e-30,
                              1e5,
                              1e9,
                              1e12,
                              1e30,
                              1e100,
                              1e160,
                              1e300,
                              std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};
    randoms random(407);
    const auto any = [&] { return strange[oneof(random, 0, 15)]; };
    for (int c = 0; c < cases(3000, 40000); ++c) {
        const int n = oneof(random, 3, 11);
        std::vector<vector3> vectors = anyvectors(random, n);
        const double size = oneof(random, 0, 1) == 0 ? 1.0 : any();
        for (auto& v : vectors)
            for (int i = 1; i <= 3; ++i) v(i) *= oneof(random, 0, 60) == 0 ? any() : size;
        setlist(vectors);
        setcurve(anycurve(random));
        setvolume(oneof(random, 0, 1) == 0 ? std::fabs(any())
                                           : std::pow(10.0, uniform(random, -30, 30)));
        const int nremove = oneof(random, 1, n);
        ASSERT_EQ(fast(nremove), plainly(nremove)) << "case " << c;
    }
}

TEST_F(FastRanking, DropsTheSameVectorsForEverySizeOfProductsOverTheVolume)
{
    // The phases lose bits as the products grow, down to where every one is evaluated by itself.
    randoms random(408);
    for (int c = 0; c < cases(1500, 20000); ++c) {
        const int n = oneof(random, 4, 14);
        const matrix3 basis = anybasis(random);
        setlist(c % 2 == 0 ? anyvectors(random, n) : latticepoints(random, n, basis, 4));
        setvolume(std::fabs(deter(basis)) / std::pow(10.0, uniform(random, 0.0, 16.0)));
        const int nremove = oneof(random, 1, n - 3);
        ASSERT_EQ(fast(nremove), plainly(nremove)) << "case " << c;
    }
}

TEST_F(FastRanking, DropsTheSameVectorsForCurvesOfAnyKind)
{
    randoms random(409);
    auto& curve = tabulcos.vonmisesfunctinranking;
    for (int c = 0; c < cases(1000, 10000); ++c) {
        const int n = oneof(random, 4, 12);
        setlist(anyvectors(random, n));
        setvolume(0.05);
        const int kind = oneof(random, 0, 5);
        for (int i = 0; i < curvepoints; ++i) {
            const double size = std::pow(10.0, uniform(random, -20.0, 0.0));
            curve(i) = kind == 0   ? 0.0
                       : kind == 1 ? uniform(random, -1.0, 1.0)
                       : kind == 2 ? size
                       : kind == 3 ? size * 1e-300
                       : kind == 4 ? oneof(random, 0, 1)
                                   : size * 1e300;
        }
        if (oneof(random, 0, 9) == 0) curve(oneof(random, 0, 511)) = std::nan("");
        const int nremove = oneof(random, 1, n);
        ASSERT_EQ(fast(nremove), plainly(nremove)) << "case " << c << " kind " << kind;
    }
}

TEST_F(FastRanking, LeavesAsStrangeACountWhenToldToDropMoreThanThereAre)
{
    randoms random(410);
    for (const int n : {0, 1, 2, 3, 4, 9}) {
        setlist(anyvectors(random, n));
        setvolume(0.05);
        for (int nremove = 0; nremove <= n + 3; ++nremove)
            EXPECT_EQ(fast(nremove), plainly(nremove)) << n << " " << nremove;
    }
}

TEST_F(FastRanking, GoesOnFromAListThatWasShortenedBefore)
{
    randoms random(411);
    for (int c = 0; c < 100; ++c) {
        setlist(anyvectors(random, 12));
        setvolume(0.05);
        const outcome once = after([] {
            plain::rank_trial_vectors(3);
            plain::rank_trial_vectors(4);
        });
        EXPECT_EQ(after([] {
                      rank_trial_vectors(3);
                      rank_trial_vectors(4);
                  }),
                  once)
            << c;
    }
}

TEST_F(FastRanking, LogsTheSameLines)
{
    randoms random(412);
    write_log_file = {1, logunit};
    for (int c = 0; c < 20; ++c) {
        const int n = oneof(random, 3, 20);
        setlist(anyvectors(random, n));
        setvolume(0.05);
        const int nremove = oneof(random, -1, n);
        const std::string expected = writtenby(logunit, [&] { plainly(nremove); });
        EXPECT_EQ(writtenby(logunit, [&] { after([&] { rank_trial_vectors(nremove); }); }),
                  expected);
    }
}

} // namespace

} // namespace torvik
