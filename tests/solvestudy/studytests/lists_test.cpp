#include "drawing.h"
#include "lists.h"
#include "rows.h"

#include "base/linear.h"
#include "solver/lattice/relations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace torvik::study {

namespace {

vector3 measured(const known_list& list, std::size_t i)
{
    const auto& [x, y, z] = list.measured.vectors[i];
    return {x, y, z};
}

// Largest distance of an inlier's indices, by the true basis and without the shift, from the true ones.
double largest_error(const known_list& list)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < list.crystals.size(); ++i) {
        if (list.crystals[i] == 0) continue;
        const matrix3& basis = list.lattices[static_cast<std::size_t>(list.crystals[i] - 1)];
        const vector3 off =
            basis.multiply(measured(list, i) - list.shift) - vector3(list.indices[i]);
        largest = std::max({largest, std::fabs(off.x), std::fabs(off.y), std::fabs(off.z)});
    }
    return largest;
}

long inliers(const known_list& list)
{
    return std::count_if(list.crystals.begin(), list.crystals.end(), [](int c) { return c > 0; });
}

TEST(Lists, WithoutErrorsHaveWholeIndicesByTheTruth)
{
    lattice_request asked;
    asked.noise = 0.0;
    asked.wrong = 0.2;
    asked.shift = 0.2;
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        const known_list list = lattice_list(asked, seed);
        EXPECT_EQ(list.measured.vectors.size(), 40U);
        EXPECT_EQ(inliers(list), 32);
        EXPECT_LT(largest_error(list), 1e-9);
    }
}

TEST(Lists, HaveErrorsOfTheSizeAskedFor)
{
    lattice_request asked;
    asked.reflections = 300;
    asked.noise = 0.02;
    asked.smallest_volume = 1000.0;
    double squares = 0.0;
    int count = 0;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const known_list list = lattice_list(asked, seed);
        const matrix3 R = tools::reciprocalof(list.lattices.front());
        for (std::size_t i = 0; i < list.crystals.size(); ++i, ++count)
            squares += (measured(list, i) - tools::vectorof(list.indices[i], R)).length_sq()
                       / (list.noise * list.noise);
    }
    // Three components; the standard error of the mean of 18000 squares is 1 %.
    EXPECT_NEAR(squares / (3.0 * count), 1.0, 0.05);
}

TEST(Lists, AreTheSameForTheSameSeedAndDifferForAnother)
{
    for (const study_row& row : all_rows()) {
        const auto vectors = [&](std::uint64_t seed) { return row.made(seed, 0).measured.vectors; };
        const auto seed = seed_of(seed_set::test, row.name, 0);
        EXPECT_EQ(vectors(seed), vectors(seed)) << row.name;
        EXPECT_NE(vectors(seed), vectors(seed + 1)) << row.name;
    }
}

TEST(Lists, OfSuperstructuresLackNothingButTheOddOrdersInTheSubcell)
{
    lattice_request asked;
    asked.reflections = 80;
    asked.noise = 0.0;
    asked.odd = 0.15;
    const auto subcells = tools::finer_forms(2);
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const known_list list = lattice_list(asked, seed);
        EXPECT_EQ(list.span, 1);
        long most = 0; // reflections that one of the subcells takes
        for (const matrix3& form : subcells) {
            const matrix3 subcell = form.multiply(list.lattices.front());
            long taken = 0;
            for (std::size_t i = 0; i < 80; ++i)
                taken += tools::off_whole(subcell.multiply(measured(list, i))) < 1e-6 ? 1 : 0;
            most = std::max(most, taken);
        }
        EXPECT_EQ(most, 68); // 85 % of 80
    }
}

TEST(Lists, OfStillsLieOnTheEwaldSphereAndTheirPointsOffItByTheWidth)
{
    exposure_request asked;
    asked.wedge = 0.0;
    asked.width = 0.003;
    asked.noise = 0.0;
    asked.geometry = true;
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const known_list list = exposure_list(asked, seed);
        double farthest = 0.0;
        for (std::size_t i = 0; i < list.crystals.size(); ++i) {
            const vector3 q = measured(list, i);
            const auto& [x, y, z] = list.measured.normals[i];
            const vector3 n = {x, y, z};
            EXPECT_NEAR(n.length(), 1.0, 1e-12);
            // s0 = s - q, along z.
            const double radius = (q.length_sq() / (2.0 * q.dot(n)));
            EXPECT_LT((radius * n - q - vector3(0.0, 0.0, radius)).length(), 1e-9);
            if (list.crystals[i] == 0) continue;
            const vector3 g =
                tools::vectorof(list.indices[i], tools::reciprocalof(list.lattices.front()));
            farthest = std::max(farthest, (q - g).length());
        }
        EXPECT_LE(farthest, 1.0001 * asked.width);
        EXPECT_GT(farthest, 0.5 * asked.width);
    }
}

TEST(Lists, OfWedgesAreExactButForTheirNoise)
{
    exposure_request asked;
    asked.wedge = 5.0;
    asked.noise = 0.0;
    asked.geometry = true;
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        const known_list list = exposure_list(asked, seed);
        EXPECT_LT(largest_error(list), 1e-6);
        EXPECT_GE(inliers(list), 10);
        const auto& images = list.measured.images;
        EXPECT_GE(*std::min_element(images.begin(), images.end()), 0);
        EXPECT_LT(*std::max_element(images.begin(), images.end()), 10); // of half a degree
    }
}

TEST(Span, IsTheIndexOfWhatVectorsGenerate)
{
    EXPECT_EQ(span_of({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}).index, 1);
    EXPECT_EQ(span_of({{2, 0, 0}, {0, 1, 0}, {0, 0, 1}}).index, 2);
    EXPECT_EQ(span_of({{1, 1, 0}, {1, -1, 0}, {0, 1, 1}, {0, 1, -1}}).index, 2); // all of F
    EXPECT_EQ(span_of({{3, 0, 0}, {0, 5, 0}, {0, 0, 7}, {1, 1, 1}}).index, 1 * 1 * 1);
    EXPECT_EQ(span_of({{1, 2, 3}, {2, 4, 6}, {1, 0, 0}}).index, 0);
}

TEST(Span, AgreesWithTheDeterminants)
{
    randomnumbers random(3);
    int parts = 0;
    for (int n = 0; n < 2000; ++n) {
        std::vector<millerindices> indices(static_cast<std::size_t>(random.whole(3, 6)));
        for (millerindices& hkl : indices)
            for (int& index : hkl) index = random.whole(-4, 4);
        const bool whole = span_of(indices).index == 1;
        EXPECT_EQ(whole, tools::spanall(indices));
        parts += whole ? 0 : 1;
    }
    EXPECT_GT(parts, 100);
    EXPECT_LT(parts, 1900);
}

TEST(Span, OfAnUndeterminedListIsTheLatticeThatTakesAllInliers)
{
    int undetermined = 0;
    for (std::uint64_t seed = 1; seed <= 500; ++seed) {
        lattice_request asked;
        asked.reflections = 5;
        asked.noise = 0.0;
        const known_list list = lattice_list(asked, seed);
        if (!list.spanned) continue;
        ++undetermined;
        for (std::size_t i = 0; i < list.crystals.size(); ++i)
            EXPECT_LT(tools::off_whole(list.spanned->multiply(measured(list, i))), 1e-6);
        const auto relation = tools::relation_between(list.lattices.front(), *list.spanned, 1e-6,
                                                      static_cast<int>(list.span));
        ASSERT_TRUE(relation);
        EXPECT_EQ(relation->index, list.span); // the true cell is so many times as large
    }
    EXPECT_GT(undetermined, 5);
}

TEST(Rows, HaveNamesOfTheirOwnAndEnoughLists)
{
    std::set<std::string> names;
    int lists = 0;
    for (const study_row& row : all_rows()) {
        EXPECT_TRUE(names.insert(row.name).second) << row.name;
        lists += row.lists;
    }
    EXPECT_GE(lists, 3000);
}

TEST(Rows, ShareNoSeedBetweenOrWithinTheSets)
{
    std::set<std::uint64_t> seeds;
    std::size_t count = 0;
    for (const study_row& row : all_rows())
        for (const seed_set set : {seed_set::tuning, seed_set::report, seed_set::test})
            for (int i = 0; i < 20; ++i, ++count) seeds.insert(seed_of(set, row.name, i));
    EXPECT_EQ(seeds.size(), count);
}

} // namespace

} // namespace torvik::study
