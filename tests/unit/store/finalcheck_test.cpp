#include "store/finalcheck.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "search/fitting.h"
#include "store/savedbases.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "support/runs.h"
#include "text/units.h"

#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

class Sorting : public fresh {};
class FinalRefit : public fresh {};
class Duplicates : public fresh {};
class Removal : public fresh {};

const matrix3 identity = diagonal(1.0, 1.0, 1.0);
const double nan = std::numeric_limits<double>::quiet_NaN();

// A basis with a volume and a quality; its first count tells it apart.
void add(int tag, double volume, double quality)
{
    const int slot = ++modofsavedbases.numberofsavedbases;
    fillslot(slot, diagonal(volume, 1.0, 1.0), {tag, 10 * tag}, quality);
}

// Gives the tags in slot order.
std::vector<int> tags()
{
    std::vector<int> list;
    for (int k = 1; k <= modofsavedbases.numberofsavedbases; ++k)
        list.push_back(modofsavedbases.iqualityofsavedbases(k).h);
    return list;
}

std::vector<int> sorted(int mode)
{
    sortsavedbases3(mode);
    return tags();
}

using order = std::vector<int>;

TEST_F(Sorting, ByQualityPutsTheBestFirst)
{
    add(1, 5.0, 10.0);
    add(2, 4.0, 30.0);
    add(3, 3.0, 20.0);
    add(4, 2.0, 40.0);
    EXPECT_EQ(sorted(0), (order{4, 2, 3, 1}));
}

TEST_F(Sorting, ByQualityPutsTheSmallerCellFirstAmongEquals)
{
    add(1, 5.0, 10.0);
    add(2, 3.0, 10.0);
    add(3, 4.0, 10.0);
    add(4, 9.0, 11.0);
    EXPECT_EQ(sorted(0), (order{4, 2, 3, 1}));
}

TEST_F(Sorting, ByVolumePutsTheSmallestCellFirst)
{
    add(1, 5.0, 10.0);
    add(2, -4.0, 30.0); // a left-handed basis has a volume all the same
    add(3, 3.0, 20.0);
    add(4, 6.0, 40.0);
    EXPECT_EQ(sorted(1), (order{3, 2, 1, 4}));
    EXPECT_EQ(sorted(0), (order{4, 2, 3, 1}));
    EXPECT_EQ(sorted(-7), (order{3, 2, 1, 4})); // any mode but 0
}

TEST_F(Sorting, ByVolumePutsTheBetterFirstAmongEquals)
{
    add(1, 5.0, 10.0);
    add(2, 5.0, 30.0);
    add(3, 5.0, 20.0);
    add(4, 1.0, 1.0);
    EXPECT_EQ(sorted(1), (order{4, 2, 3, 1}));
}

TEST_F(Sorting, MovesABasisTogetherWithItsCountsAndItsQuality)
{
    add(1, 5.0, 10.0);
    add(2, 4.0, 30.0);
    sortsavedbases3(0);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(1)), bitsof(diagonal(4.0, 1.0, 1.0)));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{2, 20}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 30.0);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(2)), bitsof(diagonal(5.0, 1.0, 1.0)));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(2), (indexcounts{1, 10}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(2), 10.0);
}

TEST_F(Sorting, ReversesTwoEqualBasesAtEveryCall)
{
    add(1, 5.0, 10.0);
    add(2, 5.0, 10.0);
    EXPECT_EQ(sorted(0), (order{2, 1}));
    EXPECT_EQ(sorted(0), (order{1, 2}));
    EXPECT_EQ(sorted(1), (order{2, 1}));
    EXPECT_EQ(sorted(1), (order{1, 2}));
}

TEST_F(Sorting, ExchangesEqualBasesAtEveryComparison)
{
    // Three equal ones, by hand: 123, 213, 231 in the first round, 321 in the second.
    add(1, 5.0, 10.0);
    add(2, 5.0, 10.0);
    add(3, 5.0, 10.0);
    EXPECT_EQ(sorted(0), (order{3, 2, 1}));
    // With a better one, 3, among four, by hand: 2134, 2314, 2341 in the first round, 3241, 3421 in
    // the second; in the third nothing passes the better one.
    modofsavedbases.numberofsavedbases = 0;
    add(1, 5.0, 10.0);
    add(2, 5.0, 10.0);
    add(3, 5.0, 11.0);
    add(4, 5.0, 10.0);
    EXPECT_EQ(sorted(0), (order{3, 4, 2, 1}));
}

TEST_F(Sorting, LeavesNotANumberKeysInTheirPlaces)
{
    add(1, 5.0, 10.0);
    add(2, 5.0, nan);
    add(3, 5.0, 30.0);
    EXPECT_EQ(sorted(0), (order{1, 2, 3}));
    modofsavedbases.numberofsavedbases = 0;
    add(1, 5.0, 10.0);
    add(2, nan, 20.0);
    add(3, 1.0, 30.0);
    EXPECT_EQ(sorted(1), (order{1, 2, 3}));
}

TEST_F(Sorting, OfAnEmptyStoreWritesItsLogLine)
{
    EXPECT_EQ(loggedby([] { sortsavedbases3(0); }), " Sorting solutions by quality\n");
    EXPECT_EQ(loggedby([] { sortsavedbases3(1); }), " Sorting solutions by volume\n");
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 0);
}

TEST_F(Sorting, OfOneBasisWritesItsLogLineAndLeavesIt)
{
    add(1, 5.0, 10.0);
    EXPECT_EQ(loggedby([] { sortsavedbases3(2); }), " Sorting solutions by volume\n");
    EXPECT_EQ(tags(), (order{1}));
}

TEST_F(Sorting, WritesNoLogLineWhenTheLogIsOff)
{
    write_log_file.log_file_number = logunit;
    EXPECT_EQ(writtenby(logunit, [] { sortsavedbases3(0); }), "");
}

// Four reflections off by four times the error of the first edge, and two that are not.
void setfaraway()
{
    setreflections({{{4.0, 0.0, 0.0}},
                    {{-4.0, 0.0, 0.0}},
                    {{4.0, 1.0, 0.0}},
                    {{4.0, 0.0, 1.0}},
                    {{0.0, 1.0, 0.0}},
                    {{0.0, 0.0, 1.0}}});
}

// The quality of a basis that indexes all of these closely.
const double allsix = 0.3 * 6 + 0.7 * 6;

// Sorts a store of one basis and gives what has become of the basis.
matrix3 refitted(const matrix3& D, double quality)
{
    modofsavedbases.numberofsavedbases = 1;
    fillslot(1, D, {1, 1}, quality);
    sortsavedbases3(0);
    return modofsavedbases.savedbases(1);
}

TEST_F(FinalRefit, ReachesReflectionsWithinTwiceTheCriterion)
{
    // The criterion is 0.12. Four reflections are 4 * 0.0575 = 0.23 off; the refit needs five.
    setfaraway();
    EXPECT_LT(difference(refitted(diagonal(1.0575, 1.0, 1.0), 1.4), identity), 1e-14);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{6, 6}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), allsix);
}

TEST_F(FinalRefit, GoesDownToAQuarterOfTheCriterion)
{
    // Under an axis of 1.0055, the reflections 1 to 5 along x are 0.0275 off at most, within a
    // quarter of the criterion, 0.03. Four others are 6 - 0.05: with them any fit gives an axis
    // near 1.01, which indexes nothing more. Without them it is 1, and three far ones, at 45, which
    // are 0.2475 off at first, are indexed.
    const double off = 5.95 / 1.0055;
    setreflections({{{1.0, 0.0, 0.0}},
                    {{2.0, 0.0, 0.0}},
                    {{3.0, 0.0, 0.0}},
                    {{4.0, 0.0, 0.0}},
                    {{5.0, 0.0, 0.0}},
                    {{0.0, 1.0, 0.0}},
                    {{0.0, 0.0, 1.0}},
                    {{off, 0.0, 0.0}},
                    {{off, 0.0, 0.0}},
                    {{off, 0.0, 0.0}},
                    {{off, 0.0, 0.0}},
                    {{45.0, 0.0, 0.0}},
                    {{45.0, 0.0, 0.0}},
                    {{45.0, 0.0, 0.0}}});
    // Eleven reflections within half the criterion at first.
    EXPECT_LT(difference(refitted(diagonal(1.0055, 1.0, 1.0), 0.3 * 11 + 0.7 * 11), identity),
              1e-14);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{10, 14}));
}

TEST_F(FinalRefit, DoesNotReachFartherThanTwiceTheCriterion)
{
    setfaraway(); // 4 * 0.0625 = 0.25 off
    const matrix3 D = diagonal(1.0625, 1.0, 1.0);
    EXPECT_EQ(bitsof(refitted(D, 1.4)), bitsof(D));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{1, 1}));
}

TEST_F(FinalRefit, OfOnlyEqualQualityDoesNotReplaceTheBasis)
{
    setfaraway();
    const matrix3 D = diagonal(1.001, 1.0, 1.0); // indexes all six as it is
    EXPECT_EQ(bitsof(refitted(D, allsix)), bitsof(D));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{1, 1}));
    EXPECT_LT(difference(refitted(D, 5.9), identity), 1e-14);
}

TEST_F(FinalRefit, HappensAtEveryCallAndInBothModes)
{
    setfaraway();
    add(1, 1.0575, 1.0);
    sortsavedbases3(1);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), allsix);
    fillslot(1, diagonal(1.0575, 1.0, 1.0), {1, 1}, 1.0);
    sortsavedbases3(0);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), allsix);
}

TEST_F(FinalRefit, PrecedesTheSorting)
{
    // The second basis is the worse one, until it is refitted.
    setfaraway();
    add(1, 100.3, 5.0);
    add(2, 1.0575, 1.0);
    EXPECT_EQ(sorted(0).back(), 1);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), allsix);
}

// The refit of all slots from its definition, the eight tolerances written out.
void refitbydefinition(bool widestfirst)
{
    auto& store = modofsavedbases;
    const double c = otherglobalvariables.themaincriterion;
    const double tolerances[] = {8 * c / 4.0, 7 * c / 4.0, 6 * c / 4.0, 5 * c / 4.0,
                                 4 * c / 4.0, 3 * c / 4.0, 2 * c / 4.0, c / 4.0};
    for (int n = 1; n <= store.numberofsavedbases; ++n)
        for (int i = 0; i < 8; ++i) {
            matrix3 D = store.savedbases(n);
            int status = -1;
            fittingabovethreshold(tolerances[widestfirst ? i : 7 - i], D, status);
            if (status != done) continue;
            indexcounts counts;
            double q = 0.0;
            basisquality(D, counts, q);
            if (!(q > store.aqualityofsavedbases(n))) continue;
            store.savedbases(n) = D;
            store.iqualityofsavedbases(n) = counts;
            store.aqualityofsavedbases(n) = q;
        }
}

TEST_F(FinalRefit, EqualsItsDefinitionBitForBit)
{
    std::mt19937 random(271828);
    const auto unit = [&] { return static_cast<double>(random()) / 4294967296.0; };
    int refittedslots = 0;
    int orderedslots = 0;
    for (int trial = 1; trial <= 100; ++trial) {
        auto& recorded = recorded_reflections;
        recorded.numberofreflections = 24;
        for (int n = 1; n <= 24; ++n)
            for (int j = 1; j <= 3; ++j)
                recorded.reflections(n)(j) =
                    std::round(10.0 * unit() - 5.0) + (n % 6 == 0 ? unit() : 0.1 * (unit() - 0.5));
        matrix3 D = identity;
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) D(i, j) += 0.08 * (unit() - 0.5);
        indexcounts counts;
        double quality = 0.0;
        basisquality(D, counts, quality);
        const auto bitsafter = [&](const std::function<void()>& action) {
            modofsavedbases.numberofsavedbases = 1;
            fillslot(1, D, counts, quality);
            action();
            return bitsof(modofsavedbases.savedbases(1))
                   + bitsof(modofsavedbases.aqualityofsavedbases(1));
        };
        const std::string after = bitsafter([] { sortsavedbases3(0); });
        ASSERT_EQ(after, bitsafter([] { refitbydefinition(true); })) << trial;
        if (after != bitsof(D) + bitsof(quality)) ++refittedslots;
        if (after != bitsafter([] { refitbydefinition(false); })) ++orderedslots;
    }
    EXPECT_GT(refittedslots, 10);
    EXPECT_GT(orderedslots, 0); // from the narrowest to the widest would be different
}

// Fills the store with bases of falling quality.
void setbases(std::initializer_list<matrix3> bases)
{
    modofsavedbases.numberofsavedbases = 0;
    for (const matrix3& D : bases) {
        const int slot = ++modofsavedbases.numberofsavedbases;
        fillslot(slot, D, {slot, slot}, 100.0 - slot);
    }
}

order leftof(std::initializer_list<matrix3> bases)
{
    setbases(bases);
    finalcheckofsimilarity();
    return tags();
}

const matrix3 triclinic = {{{5.1, 0.3, -0.2}, {1.7, 6.4, 0.9}, {-0.8, 2.2, 9.3}}};

// Gives the triclinic basis changed by a matrix.
matrix3 changedby(const matrix3& T)
{
    return matrixproduct(T, triclinic);
}

TEST_F(Duplicates, AreNotLookedForInAnEmptyStoreOrAmongOneBasis)
{
    EXPECT_EQ(leftof({}), (order{}));
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 0);
    EXPECT_EQ(leftof({triclinic}), (order{1}));
}

TEST_F(Duplicates, WithTheirRowsPermutedAreRemoved)
{
    EXPECT_EQ(leftof({triclinic, changedby({{{0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}, {1.0, 0.0, 0.0}}})}),
              (order{1}));
}

TEST_F(Duplicates, WithARowReplacedByASumAreRemoved)
{
    EXPECT_EQ(leftof({triclinic, changedby({{{1.0, 1.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}})}),
              (order{1}));
}

TEST_F(Duplicates, DoNotIncludeSublattices)
{
    EXPECT_EQ(leftof({triclinic, changedby(diagonal(1.0, 2.0, 1.0))}), (order{1, 2}));
    EXPECT_EQ(
        leftof({changedby({{{1.0, 1.0, 0.0}, {-1.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}}), triclinic}),
        (order{1, 2}));
}

TEST_F(Duplicates, DoNotIncludeACellATwentiethLarger)
{
    EXPECT_EQ(leftof({identity, diagonal(1.05, 1.0, 1.0)}), (order{1, 2}));
    EXPECT_EQ(leftof({identity, diagonal(1.049, 1.0, 1.0)}), (order{1}));
}

TEST_F(Duplicates, OfThreeSimilarBasesLeaveTheFirst)
{
    EXPECT_EQ(leftof({triclinic, changedby(diagonal(-1.0, 1.0, 1.0)),
                      changedby({{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {1.0, 0.0, 1.0}}})}),
              (order{1}));
}

TEST_F(Duplicates, LeaveTheOthersInTheirOrder)
{
    const matrix3 a = diagonal(3.0, 4.0, 5.0);
    const matrix3 b = diagonal(3.0, 4.0, 7.0);
    const matrix3 c = diagonal(3.0, 4.0, 11.0);
    EXPECT_EQ(leftof({a, b, a, c, b, a, c}), (order{1, 2, 4}));
}

TEST_F(Duplicates, GoWhateverTheirQuality)
{
    setbases({triclinic, triclinic});
    modofsavedbases.aqualityofsavedbases(2) = 1000.0;
    finalcheckofsimilarity();
    EXPECT_EQ(tags(), (order{1}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 99.0);
}

TEST_F(Duplicates, AreFoundAgainFromTheStartAfterARemoval)
{
    // 1 and 2 are 4 % apart, as are 2 and 3, but not 1 and 3. The second goes with the first, so
    // the third stays: similarity to a removed basis does not matter.
    EXPECT_EQ(leftof({identity, diagonal(1.04, 1.0, 1.0), diagonal(1.08, 1.0, 1.0)}),
              (order{1, 3}));
}

TEST_F(Duplicates, AreJudgedByTheLastInverseWhereABasisIsSingular)
{
    // The third is removed as a repetition of the second. Then the first, which has no inverse, is
    // judged by the inverse of the second, to which the second itself is similar.
    const matrix3 a = diagonal(3.0, 4.0, 5.0);
    EXPECT_EQ(leftof({diagonal(1.0, 1.0, 0.0), a, a}), (order{1}));
    // Before any inversion there is none to judge by.
    EXPECT_EQ(leftof({diagonal(1.0, 1.0, 0.0), a}), (order{1, 2}));
}

TEST_F(Removal, ClosesTheGap)
{
    add(1, 5.0, 10.0);
    add(2, 6.0, 20.0);
    add(3, 7.0, 30.0);
    eliminatebasis(2);
    EXPECT_EQ(tags(), (order{1, 3}));
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(2)), bitsof(diagonal(7.0, 1.0, 1.0)));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(2), (indexcounts{3, 30}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(2), 30.0);
    // The last slot keeps what it held, out of use.
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(3), 30.0);
}

TEST_F(Removal, OfTheFirstMovesAllOthers)
{
    for (int k = 1; k <= 5; ++k) add(k, k, k);
    eliminatebasis(1);
    EXPECT_EQ(tags(), (order{2, 3, 4, 5}));
}

TEST_F(Removal, OfTheLastOrBeyondMovesNothingAndLowersTheCount)
{
    for (int k = 1; k <= 5; ++k) add(k, k, k);
    eliminatebasis(5);
    EXPECT_EQ(tags(), (order{1, 2, 3, 4}));
    eliminatebasis(128);
    EXPECT_EQ(tags(), (order{1, 2, 3}));
}

} // namespace

} // namespace torvik
