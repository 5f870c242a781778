#include "volumes/triples.h"

#include "support/fresh.h"
#include "volumes/plainsums.h"

#include <random>
#include <vector>

namespace torvik {

namespace {

class TripleProducts : public fresh {
protected:
    static void setrandom(int N)
    {
        std::mt19937 random(static_cast<unsigned>(N));
        recorded_reflections.numberofreflections = N;
        for (int i = 1; i <= N; ++i)
            for (int c = 1; c <= 3; ++c)
                recorded_reflections.reflections(i)(c) =
                    static_cast<double>(random() % 20000) / 10000.0 - 1.0;
    }

    static std::vector<double> onebyone()
    {
        std::vector<double> t;
        foreachtripleproduct([&](double product) { t.push_back(product); });
        return t;
    }

    static std::vector<double> inbatches(const tripleproducts& products)
    {
        std::vector<double> t;
        foreachbatch(products, [&](const double* batch, int count) {
            EXPECT_LE(count, triplesatonce);
            t.insert(t.end(), batch, batch + count);
        });
        return t;
    }
};

TEST_F(TripleProducts, InBatchesAreThoseOneByOneToTheBit)
{
    for (const int N : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 30, 31, 32, 33, 67}) {
        setrandom(N);
        const std::vector<double> expected = onebyone();
        tripleproducts products = alltripleproducts();
        EXPECT_EQ(products.number, static_cast<int>(expected.size())) << N;
        EXPECT_EQ(products.kept, expected) << N;
        EXPECT_EQ(inbatches(products), expected) << N;
        products.kept.clear(); // as if there were too many to be kept
        EXPECT_EQ(inbatches(products), expected) << N;
    }
}

TEST_F(TripleProducts, LargestIsFoundAmongAll)
{
    setrandom(20);
    const std::vector<double> all = onebyone();
    EXPECT_EQ(alltripleproducts().largest, *std::max_element(all.begin(), all.end()));
    setrandom(2);
    EXPECT_EQ(alltripleproducts().largest, 0.0);
}

TEST_F(TripleProducts, OfThreeHundredReflectionsAreNotKept)
{
    setrandom(294); // 294 293 292 / 6 = 4192244, below 2^22 = 4194304
    EXPECT_EQ(alltripleproducts().kept.size(), 4192244U);
    setrandom(295); // 4235315
    const tripleproducts products = alltripleproducts();
    EXPECT_EQ(products.number, 4235315);
    EXPECT_TRUE(products.kept.empty());
}

TEST_F(TripleProducts, AreTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    setrandom(50);
    triplewalk walk = beginwalk(), other = beginwalk();
    std::vector<double> t(triplesatonce + 3), u(triplesatonce + 3);
    int count = 0;
    do {
        count = nextbatch_anywhere(walk, t.data());
        EXPECT_EQ(nextbatch_avx2(other, u.data()), count);
        for (int e = 0; e < count; ++e)
            EXPECT_EQ(t[static_cast<std::size_t>(e)], u[static_cast<std::size_t>(e)]);
    } while (count > 0);
}

TEST_F(TripleProducts, AreFoldedTheSameWithAndWithoutAvx2)
{
    if (!hasavx2()) GTEST_SKIP() << "this processor has no AVX2";
    setrandom(20);
    const tripleproducts products = alltripleproducts();
    std::vector<double> P, out(periodsatonce, 0.0), other(periodsatonce, 0.0);
    for (std::size_t i = 0; i < periodsatonce; ++i)
        P.push_back(0.01 + 0.0013 * static_cast<double>(i));
    addfoldings_anywhere(products.kept.data(), products.number, P.data(), out.data());
    addfoldings_avx2(products.kept.data(), products.number, P.data(), other.data());
    EXPECT_EQ(out, other);
}

} // namespace

} // namespace torvik
