#include "volumes/knatorx.h"

#include "support/fresh.h"

#include <vector>

namespace torvik {

namespace {

class SubsetEnumerator : public fresh {};

using elements = std::vector<int>;
using enumerator = void (*)(int& first, int n, int k, subset& a);

// Gives all subsets as they come, each from a(1..k).
std::vector<elements> enumerated(enumerator next, int n, int k)
{
    std::vector<elements> subsets;
    subset a = {};
    int first = 1;
    for (next(first, n, k, a); first == 0; next(first, n, k, a))
        subsets.emplace_back(a.element, a.element + k);
    return subsets;
}

// The slow and obvious way: one loop for each element, from one above the element before.
void loops(int n, int k, elements& begun, std::vector<elements>& subsets)
{
    if (static_cast<int>(begun.size()) == k) {
        subsets.push_back(begun);
        return;
    }
    for (int i = begun.empty() ? 1 : begun.back() + 1; i <= n; ++i) {
        begun.push_back(i);
        loops(n, k, begun, subsets);
        begun.pop_back();
    }
}

std::vector<elements> nestedloops(int n, int k)
{
    elements begun;
    std::vector<elements> subsets;
    loops(n, k, begun, subsets);
    return subsets;
}

TEST_F(SubsetEnumerator, YieldsThePairsOfFourInLexicographicOrder)
{
    const std::vector<elements> pairs = {{1, 2}, {1, 3}, {1, 4}, {2, 3}, {2, 4}, {3, 4}};
    EXPECT_EQ(enumerated(knatorx, 4, 2), pairs);
}

TEST_F(SubsetEnumerator, ReturnsFirstEqualToOneAfterTheLastSubset)
{
    subset a = {};
    int first = 1;
    for (int i = 1; i <= 6; ++i) {
        knatorx(first, 4, 2, a);
        EXPECT_EQ(first, 0) << i;
    }
    knatorx(first, 4, 2, a);
    EXPECT_EQ(first, 1);
}

TEST_F(SubsetEnumerator, YieldsTheOnlySubsetWhenItTakesAll)
{
    for (int n = 1; n <= 5; ++n) {
        const std::vector<elements> subsets = enumerated(knatorx, n, n);
        ASSERT_EQ(subsets.size(), 1U) << n;
        for (int i = 1; i <= n; ++i) EXPECT_EQ(subsets[0][static_cast<std::size_t>(i - 1)], i);
    }
}

TEST_F(SubsetEnumerator, YieldsWhatNestedLoopsYield)
{
    for (int n = 0; n <= 8; ++n)
        for (int k = 1; k <= 4; ++k)
            EXPECT_EQ(enumerated(knatorx, n, k), nestedloops(n, k)) << n << " " << k;
}

TEST_F(SubsetEnumerator, YieldsNothingFromFewerElementsThanASubsetTakes)
{
    for (int k = 2; k <= 4; ++k) {
        for (int n = 0; n < k; ++n) {
            subset a = {};
            int first = 1;
            knatorx(first, n, k, a);
            EXPECT_EQ(first, 1) << n << " " << k;
        }
    }
}

TEST_F(SubsetEnumerator, YieldsEveryTripleOfThreeHundredOnce)
{
    subset a = {};
    int first = 1;
    long count = 0;
    int before1 = 0, before2 = 0, before3 = 0;
    bool increasing = true;
    for (knatorx(first, 300, 3, a); first == 0; knatorx(first, 300, 3, a)) {
        ++count;
        const bool later = a(1) > before1 || (a(1) == before1 && a(2) > before2)
                           || (a(1) == before1 && a(2) == before2 && a(3) > before3);
        increasing = increasing && later && a(1) < a(2) && a(2) < a(3) && a(3) <= 300;
        before1 = a(1), before2 = a(2), before3 = a(3);
    }
    EXPECT_TRUE(increasing);
    EXPECT_EQ(count, 4455100); // 300 299 298 / 6
}

TEST_F(SubsetEnumerator, StartSetsAllElementsToTheirNumbers)
{
    subset a = {};
    a.element[7] = -5;
    int first = 1;
    knatorx(first, 7, 2, a);
    for (int i = 1; i <= 7; ++i) EXPECT_EQ(a(i), i); // beyond the first k, too
    EXPECT_EQ(a(8), -5);                             // but not beyond n
}

TEST_F(SubsetEnumerator, AnyFirstButZeroBeginsAnew)
{
    subset a = {};
    int first = 1;
    knatorx(first, 5, 3, a);
    knatorx(first, 5, 3, a);
    knatorx(first, 5, 3, a); // {1, 2, 5}
    first = -3;
    knatorx(first, 5, 3, a);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(elements(a.element, a.element + 3), (elements{1, 2, 3}));
    knatorx(first, 5, 3, a);
    EXPECT_EQ(elements(a.element, a.element + 3), (elements{1, 2, 4}));
}

TEST_F(SubsetEnumerator, SecondEnumeratorYieldsTheSameSubsets)
{
    for (int n = 0; n <= 6; ++n)
        for (int k = 1; k <= 4; ++k)
            EXPECT_EQ(enumerated(knatory, n, k), nestedloops(n, k)) << n << " " << k;
}

TEST_F(SubsetEnumerator, SecondEnumeratorHasAPositionOfItsOwn)
{
    // Pairs and triples of six, interleaved call by call: neither disturbs the other.
    std::vector<elements> pairs, triples;
    subset a = {}, b = {};
    int firstpair = 1, firsttriple = 1;
    knatorx(firstpair, 6, 2, a);
    knatory(firsttriple, 6, 3, b);
    while (firstpair == 0 || firsttriple == 0) {
        if (firstpair == 0) {
            pairs.emplace_back(a.element, a.element + 2);
            knatorx(firstpair, 6, 2, a);
        }
        if (firsttriple == 0) {
            triples.emplace_back(b.element, b.element + 3);
            knatory(firsttriple, 6, 3, b);
        }
    }
    EXPECT_EQ(pairs, nestedloops(6, 2));
    EXPECT_EQ(triples, nestedloops(6, 3));
}

TEST_F(SubsetEnumerator, PositionIsSharedByAllArraysThatItIsCalledWith)
{
    // Two enumerations of the one enumerator must not be interleaved: the second start moves the
    // position to 3, so that advancing the pairs raises their third entry, and no pair comes.
    subset pair = {}, triple = {};
    int firstpair = 1, firsttriple = 1;
    knatorx(firstpair, 6, 2, pair);
    knatorx(firsttriple, 6, 3, triple);
    knatorx(firstpair, 6, 2, pair);
    EXPECT_EQ(pair(2), 2);
    EXPECT_EQ(pair(3), 4);
}

} // namespace

} // namespace torvik
