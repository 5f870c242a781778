#include "solver/evidence/sublattice_hits.h"

#include "solver/evidence/binomial.h"
#include "solver/lattice/relations.h"
#include "support/random_bases.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace torvik::solver {

namespace {

std::vector<miller_indices> random_indices(chance& random, int count, int largest)
{
    std::vector<miller_indices> indices;
    for (int i = 0; i < count; ++i)
        indices.push_back({random.whole(-largest, largest), random.whole(-largest, largest),
                           random.whole(-largest, largest)});
    return indices;
}

TEST(TheFastCount, EqualsThePlainOneForAllIndices)
{
    chance random(1);
    for (int n = 1; n <= 32; ++n) {
        const auto indices = random_indices(random, 30 + n, 1 << (n % 8));
        EXPECT_EQ(sublattice_hits(indices, n), plain_sublattice_hits(indices, n)) << n;
    }
}

TEST(TheFastCount, EqualsThePlainOneForMoreReflectionsThanFitInAByte)
{
    chance random(2);
    for (const int count : {255, 256, 511, 700}) {
        std::vector<miller_indices> indices = random_indices(random, count, 20);
        EXPECT_EQ(sublattice_hits(indices, 12), plain_sublattice_hits(indices, 12)) << count;
        indices.assign(static_cast<std::size_t>(count), {6, -12, 18}); // on many sublattices
        EXPECT_EQ(sublattice_hits(indices, 6), plain_sublattice_hits(indices, 6)) << count;
    }
}

TEST(TheFastCount, HoldsForLargeIndicesAndForNoReflections)
{
    chance random(3);
    const auto indices = random_indices(random, 40, 1000000);
    for (const int n : {2, 7, 16, 24})
        EXPECT_EQ(sublattice_hits(indices, n), plain_sublattice_hits(indices, n)) << n;
    EXPECT_EQ(sublattice_hits({}, 3), std::vector<int>(13, 0)); // 1 + 3 + 9 forms
}

TEST(ASublattice, HasTheMatrixOfItsPlaceAmongTheFinerForms)
{
    for (const int n : {1, 2, 6, 17, 24}) {
        const std::vector<matrix3> forms = finer_forms(n);
        ASSERT_EQ(sublattice_hits({}, n).size(), forms.size());
        for (std::size_t i = 0; i < forms.size(); ++i)
            EXPECT_TRUE(finer_form_at(n, i).approx(forms[i], 1e-15)) << n << " " << i;
    }
}

TEST(RandomIndices, HaveAsManyStrikingSublatticesAsAreExpectedAtMost)
{
    chance random(4);
    constexpr int lists = 200;
    std::size_t found = 0;
    for (int i = 0; i < lists; ++i)
        found += striking_sublattices(random_indices(random, 40, 12), 24, 1.0).size();
    // Sublattices overlap, so that the number varies more than that of independent events.
    EXPECT_LT(static_cast<double>(found), 1.5 * lists);
    EXPECT_GT(found, 0U);
}

TEST(ASublattice, WithHalfOfTheReflectionsIsTheMostStriking)
{
    chance random(5);
    for (const int n : {5, 10, 24}) {
        const std::vector<matrix3> forms = finer_forms(n);
        const std::size_t place =
            static_cast<std::size_t>(random.whole(0, static_cast<int>(forms.size()) - 1));
        std::vector<miller_indices> indices = random_indices(random, 20, 12);
        const matrix3 H = forms[place].inverse();
        for (int i = 0; i < 20; ++i) {
            const vector3 own(random.whole(-4, 4), random.whole(-4, 4), random.whole(-4, 4));
            indices.push_back(nearest_indices(H.multiply(own)));
        }
        const auto found = striking_sublattices(indices, 24, 0.01);
        ASSERT_FALSE(found.empty());
        EXPECT_TRUE(found.front().T.approx(forms[place], 1e-12)) << n;
        EXPECT_EQ(found.front().index, n);
        EXPECT_GE(found.front().hits, 20);
    }
}

TEST(TheLogarithmOfABinomialTail, IsThatOfTheTail)
{
    for (const double p : {0.04, 0.3, 0.5})
        for (const int hits : {1, 3, 12, 30})
            EXPECT_NEAR(log_binomial_tail(hits, 30, p), std::log(binomial_tail(hits, 30, p)), 1e-9)
                << p << " " << hits;
    // 0.1^1000 is too small for a double.
    EXPECT_NEAR(log_binomial_tail(1000, 1000, 0.1), 1000.0 * std::log(0.1), 1e-6);
    EXPECT_EQ(log_binomial_tail(0, 5, 0.5), 0.0);
    EXPECT_EQ(log_binomial_tail(6, 5, 0.5), -std::numeric_limits<double>::infinity());
}

} // namespace

} // namespace torvik::solver
