#include "property/randomlattices.h"
#include "support/fresh.h"
#include "volumes/knatorx.h"

#include <vector>

namespace torvik {

namespace {

using subsets = std::vector<std::vector<int>>;
using enumerator = void (*)(int&, int, int, subset&);

class Enumerator : public fresh {
protected:
    static subsets enumerated(enumerator next, int n, int k)
    {
        subsets found;
        static subset a;
        int first = 1;
        for (next(first, n, k, a); first == 0; next(first, n, k, a)) {
            found.emplace_back();
            for (int i = 1; i <= k; ++i) found.back().push_back(a(i));
        }
        return found;
    }
};

TEST_F(Enumerator, EqualsNestedLoops)
{
    for (int n = 0; n <= 20; ++n) {
        subsets ones, pairs, triples, fours;
        for (int i = 1; i <= n; ++i) {
            ones.push_back({i});
            for (int j = i + 1; j <= n; ++j) {
                pairs.push_back({i, j});
                for (int k = j + 1; k <= n; ++k) {
                    triples.push_back({i, j, k});
                    for (int l = k + 1; l <= n; ++l) fours.push_back({i, j, k, l});
                }
            }
        }
        for (const enumerator next : {knatorx, knatory}) {
            EXPECT_EQ(enumerated(next, n, 1), ones) << n;
            EXPECT_EQ(enumerated(next, n, 2), pairs) << n;
            EXPECT_EQ(enumerated(next, n, 3), triples) << n;
            EXPECT_EQ(enumerated(next, n, 4), fours) << n;
        }
    }
}

TEST_F(Enumerator, YieldsAsManyTriplesAsThereAre)
{
    // n (n - 1) (n - 2) / 6, up to the largest number of reflections whose triples are quick to
    // count.
    for (const int n : {3, 40, 66, 67, 100, 200}) {
        static subset a;
        int first = 1;
        int count = 0;
        for (knatorx(first, n, 3, a); first == 0; knatorx(first, n, 3, a)) ++count;
        EXPECT_EQ(count, n * (n - 1) * (n - 2) / 6);
    }
}

TEST_F(Enumerator, BeginsAnewWhereverItWasLeft)
{
    randomnumbers random(31);
    static subset a;
    for (int m = 0; m < 200; ++m) {
        const int n = random.whole(1, 12);
        const int k = random.whole(1, n);
        int first = 1;
        for (int calls = random.whole(1, 30); calls > 0; --calls) {
            knatorx(first, n, k, a);
            if (first == 1) break;
        }
        ASSERT_EQ(enumerated(knatorx, 5, 3).size(), 10U) << "after " << k << " of " << n;
    }
}

TEST_F(Enumerator, AndItsTwinDoNotDisturbEachOther)
{
    static subset a, b;
    int firsta = 1;
    int firstb = 1;
    subsets ofa;
    for (knatorx(firsta, 6, 3, a); firsta == 0; knatorx(firsta, 6, 3, a)) {
        ofa.push_back({a(1), a(2), a(3)});
        knatory(firstb, 9, 2, b);
    }
    EXPECT_EQ(ofa, enumerated(knatory, 6, 3));
}

} // namespace

} // namespace torvik
