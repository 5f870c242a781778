#include "search/outcomes.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <utility>

namespace torvik {

namespace {

// Triples are remembered with some offers, told apart by the qualities that they are given.
class Outcomes : public fresh {
protected:
    outcomememory memory;
    const tripleofreflections triple = {{{3, 7, 999}}, 4, {{1, 2, 3}}};

    static tripleoutcomes offering(double quality, std::size_t offers = 1)
    {
        tripleoutcomes outcomes;
        outcomes.offers.resize(offers, outcome{{}, {}, quality});
        return outcomes;
    }

    // The quality of the offers recalled; 0 without an answer.
    double recalledquality(const tripleofreflections& what, double volume = 100.0)
    {
        const tripleoutcomes* recalled = recall(memory, what, volume);
        return recalled == nullptr ? 0.0 : recalled->offers.at(0).quality;
    }
};

TEST_F(Outcomes, AreRecalledForTheSameTripleOnly)
{
    EXPECT_EQ(recall(memory, triple, 100.0), nullptr);
    remember(memory, triple, offering(0.5));
    EXPECT_EQ(recalledquality(triple), 0.5);
    for (int i = 1; i <= 3; ++i) {
        tripleofreflections other = triple;
        other.reflections(i) -= 1;
        EXPECT_EQ(recalledquality(other), 0.0) << "reflection " << i;
        other = triple;
        other.shortest(i) += 1;
        EXPECT_EQ(recalledquality(other), 0.0) << "shortest " << i;
    }
    tripleofreflections other = triple;
    other.k = 5;
    EXPECT_EQ(recalledquality(other), 0.0);
}

TEST_F(Outcomes, OfAllIndicesAndOfWideSearchesStandSideBySide)
{
    for (int k = 1; k <= 16; ++k) remember(memory, {triple.reflections, k, {}}, offering(k));
    remember(memory, {triple.reflections, 16, triple.shortest}, offering(17.0));
    for (int k = 1; k <= 16; ++k)
        EXPECT_EQ(recalledquality({triple.reflections, k, {}}), static_cast<double>(k));
    EXPECT_EQ(recalledquality({triple.reflections, 16, triple.shortest}), 17.0);
}

// An inversion succeeds if the determinant is not below the threshold, here half the volume.
TEST_F(Outcomes, AreNotRecalledWhereAnInversionByHalfTheVolumeWouldEndOtherwise)
{
    tripleoutcomes outcomes = offering(0.5);
    outcomes.half = {60.0, 40.0};
    remember(memory, triple, std::move(outcomes));
    EXPECT_EQ(recalledquality(triple, 100.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 81.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 79.0), 0.0);
    EXPECT_EQ(recalledquality(triple, 119.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 121.0), 0.0);
}

TEST_F(Outcomes, AreNotRecalledWhereAnInversionByAHundredthOfTheVolumeWouldEndOtherwise)
{
    tripleoutcomes outcomes = offering(0.5);
    outcomes.hundredth = {1.2, 0.8};
    remember(memory, triple, std::move(outcomes));
    EXPECT_EQ(recalledquality(triple, 100.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 81.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 79.0), 0.0);
    EXPECT_EQ(recalledquality(triple, 119.0), 0.5);
    EXPECT_EQ(recalledquality(triple, 121.0), 0.0);
}

TEST_F(Outcomes, TakeThePlaceOfOlderOnes)
{
    remember(memory, triple, offering(0.5, 3));
    EXPECT_EQ(memory.size, 4U);
    remember(memory, triple, offering(0.7, 2));
    EXPECT_EQ(memory.size, 3U);
    EXPECT_EQ(recalledquality(triple), 0.7);
}

TEST_F(Outcomes, ThatFillTheMemoryEmptyItBefore)
{
    constexpr std::size_t room = 1'000'000;
    constexpr std::size_t large = 10'000; // offers of a triple, many more than there are
    tripleofreflections other = triple;
    for (std::size_t n = 1; n * (large + 1) <= room; ++n) {
        other.reflections(1) = static_cast<int>(n) + 100;
        remember(memory, other, offering(0.5, large));
        EXPECT_EQ(memory.size, n * (large + 1));
    }
    EXPECT_EQ(memory.triples.size(), 99U);
    remember(memory, triple, offering(0.7, large));
    EXPECT_EQ(memory.triples.size(), 1U);
    EXPECT_EQ(memory.size, large + 1);
    EXPECT_EQ(recalledquality(triple), 0.7);
}

} // namespace

} // namespace torvik
