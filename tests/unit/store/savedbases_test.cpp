#include "store/savedbases.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "store/similarity.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "support/runs.h"
#include "text/units.h"

#include <cmath>
#include <limits>
#include <string>

namespace torvik {

namespace {

class Store : public fresh {};
class Similarity : public fresh {};
class WorstBasis : public fresh {};
class VolumeLimits : public fresh {};
class Divisibility : public fresh {};

void save(const matrix3& D, const indexcounts& counts, double quality)
{
    matrix3 basis = D;
    indexcounts copiedcounts = counts;
    double copiedquality = quality;
    savethebasis(basis, copiedcounts, copiedquality);
}

// Cells of volumes 1.1^k, k = 1, 2, ...: no two of them are similar.
matrix3 cell(int k)
{
    return diagonal(std::pow(1.1, k), 1.0, 1.0);
}

// Fills the store with n cells of the quality 10.
void fill(int n)
{
    for (int k = 1; k <= n; ++k) save(cell(k), {k, 2 * k}, 10.0);
}

TEST_F(Store, IsEmptyAtFirst)
{
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 0);
}

TEST_F(Store, KeepsABasisWithItsCountsAndItsQuality)
{
    const matrix3 D = {{{5.1, 0.3, -0.2}, {1.7, 6.4, 0.9}, {-0.8, 2.2, 9.3}}};
    save(D, {12, 34}, 27.4);
    ASSERT_EQ(modofsavedbases.numberofsavedbases, 1);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(1)), bitsof(D));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{12, 34}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 27.4);
}

TEST_F(Store, LogsWhereABasisWasSaved)
{
    EXPECT_EQ(loggedby([] {
                  save(cell(1), {15, 40}, 32.5);
              }),
              " --> Basis saved as no   1\n"
              "    15h and  40H vectors, quality :       32.500\n");
    EXPECT_EQ(loggedby([] {
                  save(cell(2), {999, 999}, 12345678.9);
              }),
              " --> Basis saved as no   2\n"
              "   999h and 999H vectors, quality : 12345678.900\n");
}

TEST_F(Store, LogsNothingWhenTheLogIsOff)
{
    write_log_file.log_file_number = logunit;
    EXPECT_EQ(writtenby(logunit,
                        [] {
                            fill(2);
                            save(cell(1), {1, 1}, 20.0);
                        }),
              "");
}

TEST_F(Store, HoldsOneHundredAndTwentyEightBasesHoweverManyAreRequested)
{
    modofsavedbases.maxnumberofsavedbases = 1;
    fill(127);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 127);
    save(cell(128), {1, 1}, 10.0);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 128);
    save(cell(129), {1, 1}, 11.0);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 128);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(1)), bitsof(cell(1)));
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(127)), bitsof(cell(127)));
}

TEST_F(Store, FullGivesUpItsWorstBasisForABetterOne)
{
    fill(128);
    modofsavedbases.aqualityofsavedbases(7) = 4.0;
    EXPECT_EQ(loggedby([] {
                  save(cell(200), {8, 9}, 9.0);
              }),
              " --> Basis saved as no   7\n"
              "     8h and   9H vectors, quality :        9.000\n");
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(7)), bitsof(cell(200)));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(7), (indexcounts{8, 9}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(7), 9.0);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 128);
}

TEST_F(Store, FullTakesABasisAsGoodAsItsWorst)
{
    fill(128);
    modofsavedbases.aqualityofsavedbases(7) = 4.0;
    save(cell(200), {8, 9}, 4.0);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(7)), bitsof(cell(200)));
}

TEST_F(Store, FullDropsABasisWorseThanItsWorstBeforeLookingForASimilarOne)
{
    fill(128);
    modofsavedbases.aqualityofsavedbases(7) = 4.0;
    EXPECT_EQ(loggedby([] {
                  save(cell(200), {8, 9}, 3.999);
                  save(cell(5), {8, 9}, 3.999); // slot 5 holds this very cell
              }),
              "");
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(7)), bitsof(cell(7)));
}

TEST_F(Store, FullReplacesASimilarBasisRatherThanItsWorst)
{
    fill(128);
    modofsavedbases.aqualityofsavedbases(7) = 4.0;
    save(cell(5), {99, 99}, 12.0);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(5), 12.0);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(7), 4.0);
}

TEST_F(Store, FullFindsItsWorstBasisAnewOnceThatHasBecomeBetter)
{
    fill(128);
    modofsavedbases.aqualityofsavedbases(7) = 4.0;
    modofsavedbases.aqualityofsavedbases(9) = 5.0;
    storeknowledge known = knowledgeofstore();
    offerbasis(cell(7), {8, 9}, 8.0, known); // slot 7 holds this very cell
    offerbasis(cell(200), {8, 9}, 6.0, known);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(7), 8.0);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(9)), bitsof(cell(200)));
}

TEST_F(Store, FullOfEqualBasesGivesUpItsLast)
{
    fill(128);
    save(cell(200), {8, 9}, 10.0);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(128)), bitsof(cell(200)));
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(1)), bitsof(cell(1)));
}

TEST_F(Similarity, OfEqualQualityReplacesTheSavedBasis)
{
    fill(4);
    const matrix3 D = {{{0.0, 1.0, 0.0}, {std::pow(1.1, 3), 0.0, 0.0}, {0.0, 0.0, -1.0}}};
    EXPECT_EQ(loggedby([&] {
                  save(D, {77, 78}, 10.0);
              }),
              "   Similar to solution   3\n"
              "     and replaced it\n");
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 4);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(3)), bitsof(D));
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(3), (indexcounts{77, 78}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(3), 10.0);
}

TEST_F(Similarity, OfHigherQualityReplacesTheSavedBasis)
{
    fill(4);
    EXPECT_EQ(itissimilartoalreadysaved(cell(2), {5, 6}, 10.5), 1);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(2), 10.5);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(2), (indexcounts{5, 6}));
}

TEST_F(Similarity, OfLowerQualityLeavesTheSavedBasis)
{
    fill(4);
    EXPECT_EQ(loggedby([] { save(cell(3), {77, 78}, 9.999); }), "   Similar to solution   3\n");
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 4);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(3), (indexcounts{3, 6}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(3), 10.0);
}

TEST_F(Similarity, IsNeverFoundInAnEmptyStore)
{
    EXPECT_EQ(itissimilartoalreadysaved(cell(1), {1, 1}, 1.0), 0);
    // What lies in a slot beyond the count does not matter.
    modofsavedbases.savedbases(1) = cell(1);
    EXPECT_EQ(itissimilartoalreadysaved(cell(1), {1, 1}, 1.0), 0);
}

TEST_F(Similarity, IsFoundInTheFirstOfSeveralSlots)
{
    fill(2);
    modofsavedbases.savedbases(1) = cell(2);
    EXPECT_EQ(loggedby([] {
                  itissimilartoalreadysaved(cell(2), {1, 1}, 1.0);
              }),
              "   Similar to solution   1\n");
}

TEST_F(Similarity, OfASingularBasisIsFoundNowhere)
{
    fill(2);
    EXPECT_EQ(itissimilartoalreadysaved(diagonal(1.0, 1.0, 0.0), {1, 1}, 99.0), 0);
}

const matrix3 triclinic = {{{5.1, 0.3, -0.2}, {1.7, 6.4, 0.9}, {-0.8, 2.2, 9.3}}};

// Says whether the basis T times the triclinic one is similar to it, when the one or the other is
// the one that is saved.
bool similarby(const matrix3& T)
{
    const matrix3 other = matrixproduct(T, triclinic);
    modofsavedbases.numberofsavedbases = 0;
    save(triclinic, {1, 1}, 5.0);
    const int thisway = itissimilartoalreadysaved(other, {1, 1}, 1.0);
    modofsavedbases.numberofsavedbases = 0;
    save(other, {1, 1}, 5.0);
    EXPECT_EQ(itissimilartoalreadysaved(triclinic, {1, 1}, 1.0), thisway);
    return thisway == 1;
}

TEST_F(Similarity, HoldsBetweenBasesThatDifferByAUnimodularMatrix)
{
    EXPECT_TRUE(similarby(diagonal(1.0, 1.0, 1.0)));
    EXPECT_TRUE(similarby({{{0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, 1.0}}})); // exchange
    EXPECT_TRUE(similarby(diagonal(-1.0, 1.0, 1.0)));                              // sign
    EXPECT_TRUE(similarby({{{1.0, 0.0, 0.0}, {2.0, 1.0, 0.0}, {-1.0, 3.0, 1.0}}}));
}

TEST_F(Similarity, DoesNotHoldForABasisWithOneVectorDoubled)
{
    EXPECT_FALSE(similarby(diagonal(1.0, 2.0, 1.0)));
    EXPECT_FALSE(similarby(diagonal(1.0, 1.0, 3.0)));
}

TEST_F(Similarity, DoesNotHoldForACentredCell)
{
    EXPECT_FALSE(similarby({{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.5, 0.5, 0.5}}}));
}

TEST_F(Similarity, DoesNotHoldForUnrelatedBasesOfOneVolume)
{
    EXPECT_FALSE(similarby(diagonal(2.0, 0.5, 1.0)));
}

bool samecells(const matrix3& T)
{
    return samelattice(T, diagonal(1.0, 1.0, 1.0));
}

TEST_F(Similarity, AllowsTheVolumesToDifferByLessThanATwentieth)
{
    EXPECT_TRUE(samecells(diagonal(1.049, 1.0, 1.0)));
    EXPECT_FALSE(samecells(diagonal(1.05, 1.0, 1.0)));
    EXPECT_FALSE(samecells(diagonal(1.051, 1.0, 1.0)));
    EXPECT_TRUE(samecells(diagonal(0.951, 1.0, 1.0)));
    EXPECT_FALSE(samecells(diagonal(0.949, 1.0, 1.0)));
    EXPECT_TRUE(samecells(diagonal(-1.049, 1.0, 1.0)));
}

TEST_F(Similarity, AllowsLessThanThreeTwentiethsOfDeviationsInAll)
{
    // Off the diagonal on one side, so that the determinant is exactly 1.
    const auto sheared = [](double a, double b, double c) {
        return matrix3{{{1.0, a, b}, {0.0, 1.0, c}, {0.0, 0.0, 1.0}}};
    };
    EXPECT_TRUE(samecells(sheared(0.05, 0.05, 0.0499)));
    EXPECT_FALSE(samecells(sheared(0.05, 0.05, 0.05))); // the sum is the limit itself
    EXPECT_FALSE(samecells(sheared(0.05, -0.05, 0.0501)));
    EXPECT_TRUE(samecells(sheared(3.149, 0.0, 0.0)));
    EXPECT_TRUE(samecells(sheared(2.851, 0.0, 0.0)));
    EXPECT_FALSE(samecells(sheared(2.849, 0.0, 0.0)));
}

void setqualities(std::initializer_list<double> qualities)
{
    int k = 0;
    for (const double quality : qualities) modofsavedbases.aqualityofsavedbases(++k) = quality;
    modofsavedbases.numberofsavedbases = k;
}

int worst()
{
    indicatecurrentlyworstsavedbasis();
    return modofsavedbases.icurrentlyworstsavedbasis;
}

TEST_F(WorstBasis, IsTheLastOfEqualLowestQualities)
{
    setqualities({5.0, 2.0, 5.0, 3.0, 5.0, 6.0, 2.0, 4.0});
    EXPECT_EQ(worst(), 7);
}

TEST_F(WorstBasis, IsTheOneOfLowestQuality)
{
    setqualities({5.0, 3.0, 1.0, 4.0});
    EXPECT_EQ(worst(), 3);
    setqualities({5.0});
    EXPECT_EQ(worst(), 1);
}

TEST_F(WorstBasis, IsFoundAmongQualitiesAsLargeAsTheyCome)
{
    const double largest = std::numeric_limits<double>::max();
    setqualities({largest, largest});
    EXPECT_EQ(worst(), 2);
}

TEST_F(WorstBasis, IsFoundAmongInfiniteQualities)
{
    const double infinity = std::numeric_limits<double>::infinity(); // weights have no upper bound
    setqualities({infinity, infinity, infinity});
    EXPECT_EQ(worst(), 3);
    setqualities({infinity, 1.0, infinity});
    EXPECT_EQ(worst(), 2);
}

TEST_F(WorstBasis, StaysWhatItWasInAnEmptyStore)
{
    modofsavedbases.icurrentlyworstsavedbasis = 5;
    EXPECT_EQ(worst(), 5);
}

// Reflections whose first index in the given cell is even; cell edges (2, 1, 1), true cell (1, 1, 1).
void setevenreflections()
{
    setreflections({{{1.0, 0.0, 0.0}},
                    {{2.0, 1.0, 0.0}},
                    {{-1.0, 2.0, 1.0}},
                    {{3.0, 1.0, 1.0}},
                    {{0.0, 1.0, 2.0}}});
}

void setlimits(double smallest, double largest)
{
    otherglobalvariables.limitsonvolumeofprimitivecell = true;
    otherglobalvariables.minvolumeofprimitivecell = smallest;
    otherglobalvariables.maxvolumeofprimitivecell = largest;
}

int savedwith(const matrix3& D)
{
    modofsavedbases.numberofsavedbases = 0;
    save(D, {1, 1}, 1.0);
    return modofsavedbases.numberofsavedbases;
}

TEST_F(VolumeLimits, AreIncludedThemselves)
{
    setlimits(8.0, 16.0);
    EXPECT_EQ(savedwith(diagonal(2.0, 2.0, 2.0)), 1);
    EXPECT_EQ(savedwith(diagonal(2.0, 2.0, -4.0)), 1); // the volume has no sign
    EXPECT_EQ(savedwith(diagonal(2.0, 2.0, 1.99)), 0);
    EXPECT_EQ(savedwith(diagonal(2.0, 2.0, 4.01)), 0);
}

TEST_F(VolumeLimits, DropABasisSilently)
{
    setlimits(8.0, 16.0);
    EXPECT_EQ(loggedby([] { save(diagonal(1.0, 1.0, 1.0), {1, 1}, 1.0); }), "");
}

TEST_F(VolumeLimits, SwitchedOffDoNotBound)
{
    // As with the automatic range, which is stored, but not switched on.
    otherglobalvariables.minvolumeofprimitivecell = 8.0;
    otherglobalvariables.maxvolumeofprimitivecell = 16.0;
    EXPECT_EQ(savedwith(diagonal(1.0, 1.0, 1.0)), 1);
    EXPECT_EQ(savedwith(diagonal(9.0, 9.0, 9.0)), 1);
}

TEST_F(VolumeLimits, SwitchedOffLeaveABasisUndivided)
{
    setevenreflections();
    otherglobalvariables.minvolumeofprimitivecell = 0.1;
    EXPECT_EQ(savedwith(diagonal(2.0, 1.0, 1.0)), 1);
    EXPECT_EQ(bitsof(modofsavedbases.savedbases(1)), bitsof(diagonal(2.0, 1.0, 1.0)));
}

TEST_F(VolumeLimits, SwitchedOnHaveABasisDividedReducedAndScoredAnew)
{
    setevenreflections();
    setlimits(0.6, 100.0);
    matrix3 D = diagonal(2.0, 1.0, 3.0); // the third index is 3 l
    indexcounts counts = {1, 2};
    double quality = 0.5;
    EXPECT_EQ(loggedby([&] { savethebasis(D, counts, quality); }),
              "   Indices in column 3 divided by 3\n"
              "   Indices in column 1 divided by 2\n"
              " --> Basis saved as no   1\n"
              "     5h and   5H vectors, quality :        5.000\n");
    EXPECT_EQ(difference(D, diagonal(1.0, 1.0, 1.0)), 0.0);
    EXPECT_EQ(counts, (indexcounts{5, 5}));
    EXPECT_EQ(quality, 0.3 * 5 + 0.7 * 5);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{5, 5}));
}

TEST_F(VolumeLimits, HaveADividedBasisReduced)
{
    // The first index is 2 h + 4 k. Divided by 2, the first vector is (1, 2, 0); the reduction takes
    // the second off it twice.
    setevenreflections();
    setlimits(0.6, 100.0);
    EXPECT_EQ(savedwith({{{2.0, 4.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}}), 1);
    const matrix3& D = modofsavedbases.savedbases(1);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(vectormagnitude(rowof(D, i)), 1.0);
}

TEST_F(VolumeLimits, KeepCountsAndQualityOfABasisThatNeedsNoDivision)
{
    setevenreflections();
    setlimits(0.1, 100.0);
    matrix3 D = diagonal(1.0, 1.0, 1.0);
    indexcounts counts = {1, 2}; // not what a count would give
    double quality = 0.5;
    savethebasis(D, counts, quality);
    EXPECT_EQ(counts, (indexcounts{1, 2}));
    EXPECT_EQ(quality, 0.5);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{1, 2}));
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 0.5);
}

TEST_F(VolumeLimits, AllowADivisionOnlyIfHalfTheVolumeIsAboveTheSmallest)
{
    setevenreflections();
    setlimits(1.0, 100.0);
    savedwith(diagonal(2.0, 1.0, 1.0)); // 2 / 2 is the limit, not above it
    EXPECT_EQ(modofsavedbases.savedbases(1)(1, 1), 2.0);
    setlimits(0.999, 100.0);
    savedwith(diagonal(2.0, 1.0, 1.0));
    EXPECT_EQ(std::fabs(deter(modofsavedbases.savedbases(1))), 1.0);
}

struct division {
    matrix3 D;
    double volume;
    int changed;
    std::string log;
};

division dividedby(const matrix3& D, double smallest)
{
    otherglobalvariables.minvolumeofprimitivecell = smallest;
    division result = {D, std::fabs(deter(D)), -1, ""};
    result.log = loggedby([&] { checkindexdivisibility(result.D, result.volume, result.changed); });
    return result;
}

TEST_F(Divisibility, IsRemovedFromEachVectorForItself)
{
    // Edges 5, 4 and 3 over a true cell of edge 1.
    setevenreflections();
    const division result = dividedby(diagonal(5.0, 4.0, 3.0), 0.1);
    EXPECT_EQ(result.changed, 1);
    EXPECT_EQ(difference(result.D, diagonal(1.0, 1.0, 1.0)), 0.0);
    EXPECT_EQ(result.volume, 1.0);
    EXPECT_EQ(result.log, "   Indices in column 1 divided by 5\n"
                          "   Indices in column 2 divided by 4\n"
                          "   Indices in column 3 divided by 3\n");
}

TEST_F(Divisibility, ByNineIsRemovedOnlyOnceByThree)
{
    setevenreflections();
    const division result = dividedby(diagonal(9.0, 1.0, 1.0), 0.01);
    EXPECT_EQ(difference(result.D, diagonal(3.0, 1.0, 1.0)), 0.0);
    EXPECT_EQ(result.volume, 3.0);
    EXPECT_EQ(result.log, "   Indices in column 1 divided by 3\n");
}

TEST_F(Divisibility, ByFourIsRemovedAtOnce)
{
    setevenreflections();
    EXPECT_EQ(dividedby(diagonal(1.0, 4.0, 1.0), 0.01).log,
              "   Indices in column 2 divided by 4\n");
}

TEST_F(Divisibility, ByEightIsRemovedByFourAndThenByTwo)
{
    setevenreflections();
    const division result = dividedby(diagonal(1.0, 1.0, 8.0), 0.01);
    EXPECT_EQ(result.log, "   Indices in column 3 divided by 4\n"
                          "   Indices in column 3 divided by 2\n");
    EXPECT_EQ(difference(result.D, diagonal(1.0, 1.0, 1.0)), 0.0);
}

TEST_F(Divisibility, DividesAllComponentsOfAVectorAndNoOther)
{
    setevenreflections();
    const matrix3 D = {{{1.0, 0.0, 0.0}, {2.0, 2.0, 4.0}, {0.0, 1.0, 1.0}}};
    // The second index 2 h + 2 k + 4 l is even, the others are not always.
    const division result = dividedby(D, 0.1);
    EXPECT_EQ(result.log, "   Indices in column 2 divided by 2\n");
    EXPECT_EQ(difference(result.D, {{{1.0, 0.0, 0.0}, {1.0, 1.0, 2.0}, {0.0, 1.0, 1.0}}}), 0.0);
}

TEST_F(Divisibility, IsNotRemovedWhereTheCellWouldFallBelowTheSmallest)
{
    setevenreflections();
    // 5 / 5 = 1 is below 1.5, so no division by 5.
    const division result = dividedby(diagonal(5.0, 1.0, 1.0), 1.5);
    EXPECT_EQ(result.changed, 0);
    EXPECT_EQ(result.volume, 5.0);
    EXPECT_EQ(bitsof(result.D), bitsof(diagonal(5.0, 1.0, 1.0)));
    EXPECT_EQ(result.log, "");
    // A cell that falls just to the limit is allowed.
    EXPECT_EQ(dividedby(diagonal(5.0, 1.0, 1.0), 1.0).volume, 1.0);
}

TEST_F(Divisibility, EndsForADivisorOnceAFurtherDivisionWouldBeTooMuch)
{
    // 9 / 3 = 3; another 3 / 3 = 1 would be below 2, so the second vector keeps its factor.
    setevenreflections();
    const division result = dividedby(diagonal(3.0, 3.0, 1.0), 2.0);
    EXPECT_EQ(result.log, "   Indices in column 1 divided by 3\n");
    EXPECT_EQ(difference(result.D, diagonal(1.0, 3.0, 1.0)), 0.0);
}

TEST_F(Divisibility, CountsOnlyReflectionsIndexedWithinTheCriterion)
{
    // An odd index 0.13 off has no say, one exactly 0.125 off has.
    otherglobalvariables.themaincriterion = 0.125;
    setreflections({{{2.0, 1.0, 1.0}}, {{4.0, 1.0, 1.0}}, {{1.13, 1.0, 1.0}}});
    EXPECT_EQ(dividedby(diagonal(1.0, 1.0, 1.0), 0.01).log,
              "   Indices in column 1 divided by 2\n");
    setreflections({{{2.0, 1.0, 1.0}}, {{4.0, 1.0, 1.0}}, {{1.125, 1.0, 1.0}}});
    EXPECT_EQ(dividedby(diagonal(1.0, 1.0, 1.0), 0.01).changed, 0);
}

TEST_F(Divisibility, DoesNotCountReflectionsWithAnIndexBeyondTheLargest)
{
    setreflections({{{2.0, 1.0, 1.0}}, {{4.0, 1.0, 1.0}}, {{1.0, 101.0, 1.0}}});
    EXPECT_EQ(dividedby(diagonal(1.0, 1.0, 1.0), 0.01).log,
              "   Indices in column 1 divided by 2\n");
    setreflections({{{2.0, 1.0, 1.0}}, {{4.0, 1.0, 1.0}}, {{1.0, 100.0, 1.0}}});
    EXPECT_EQ(dividedby(diagonal(1.0, 1.0, 1.0), 0.01).changed, 0);
}

TEST_F(Divisibility, HoldsForAnIndexThatIsAlwaysZero)
{
    // Zero is divisible by everything: the third vector is divided by 5, 4, 3 and 2.
    setreflections({{{1.0, 0.0, 0.0}}, {{0.0, 1.0, 0.0}}});
    const division result = dividedby(diagonal(1.0, 1.0, 120.0), 0.5);
    EXPECT_EQ(result.log, "   Indices in column 3 divided by 5\n"
                          "   Indices in column 3 divided by 4\n"
                          "   Indices in column 3 divided by 3\n"
                          "   Indices in column 3 divided by 2\n");
    EXPECT_EQ(result.volume, 1.0);
}

TEST_F(Divisibility, HoldsForAllVectorsWhenNothingIsIndexed)
{
    // An empty table is divisible by everything: each vector by 5, 4, 3 and 2, 120 in all.
    const division result = dividedby(diagonal(30.0, 30.0, 30.0), 1e-3);
    EXPECT_LT(difference(result.D, diagonal(0.25, 0.25, 0.25)), 1e-15);
}

TEST_F(Divisibility, AbsentChangesNothing)
{
    setevenreflections();
    const division result = dividedby(diagonal(1.0, 1.0, 1.0), 0.01);
    EXPECT_EQ(result.changed, 0);
    EXPECT_EQ(result.volume, 1.0);
    EXPECT_EQ(result.log, "");
}

} // namespace

} // namespace torvik
