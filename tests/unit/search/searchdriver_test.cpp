#include "search/searchdriver.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "search/quality.h"
#include "search/reduction.h"
#include "superlattices/hermite.h"
#include "support/fresh.h"
#include "support/matrices.h"
#include "support/runs.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"

#include <functional>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

// With the tables of the alternative bases and the ranking curve, as a run has them.
class searchtest : public fresh {
protected:
    searchtest()
    {
        getlowindexsuperlattices();
        getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
    }
};

class Search : public searchtest {};
class Triples : public searchtest {};
class Bar : public searchtest {};

const vector3 x = {{1.0, 0.0, 0.0}};
const vector3 y = {{0.0, 1.0, 0.0}};
const vector3 z = {{0.0, 0.0, 1.0}};

// Gives what the whole search writes to the log.
std::string loggedbysearch()
{
    return loggedby([] { printedby(getthebasis); });
}

std::vector<std::string> linesbeginning(const std::string& text, const std::string& beginning)
{
    std::vector<std::string> lines;
    for (const std::string& line : linesof(text))
        if (line.starts_with(beginning)) lines.push_back(line);
    return lines;
}

void settestvolumes(std::initializer_list<double> volumes)
{
    int t = 0;
    for (const double T : volumes) estimatedvolumes.table_of_estimatedvolumes(++t) = T;
    estimatedvolumes.number_of_estimatedvolumes = t;
}

void settriallist(std::initializer_list<int> reflections)
{
    int i = 0;
    for (const int reflection : reflections)
        recorded_reflections.list_of_trial_vectors(++i) = reflection;
    recorded_reflections.number_of_trial_vectors = i;
}

TEST_F(Search, WithoutTestVolumesPrintsTheirNumberAndTheClosingText)
{
    EXPECT_EQ(printedby(getthebasis),
              " Number of volumes to be tested :                            0\n"
              "+ Progress : \n");
}

TEST_F(Search, OverwritesItsProgressAtEveryTestVolume)
{
    settestvolumes({0.001, 0.002});
    EXPECT_EQ(printedby(getthebasis),
              " Number of volumes to be tested :                            2\n"
              "\r Progress :                                1 -->     2  "
              "\r Progress :                                2 -->     2  "
              "+ Progress : \n");
}

TEST_F(Search, LogsATestVolumeWithItsStepsAndItsTestValues)
{
    // Extent 0: seven values of V = 0.001 (1 + 0.0015 j), j = -3..3. No reflection, so nothing but
    // the headings: 1/0.9955 = 1.0045203, 1/0.997 = 1.0030090, 1/0.9985 = 1.0015023,
    // 1/1.0015 = 0.9985022, 1/1.003 = 0.9970090, 1/1.0045 = 0.9955202.
    otherglobalvariables.iextentofthesearch = 0;
    settestvolumes({0.001});
    const std::string list = " - - - - - - - - - - - - - - - - - - - - - - - -\n"
                             " List of prominent reflections :\n"
                             "\n";
    const std::string value = " === === === === === === === === === === === ===\n";
    EXPECT_EQ(loggedbysearch(), " ======================================================\n"
                                "  Testing near volume    1 :        1000.000\n"
                                " ------------------------------------------------------\n"
                                "   7 steps in the range :       1004.520        995.520\n"
                                "\n" + value
                                    + " Test volume   1 :        1004.520\n" + list + value
                                    + " Test volume   2 :        1003.009\n" + list + value
                                    + " Test volume   3 :        1001.502\n" + list + value
                                    + " Test volume   4 :        1000.000\n" + list + value
                                    + " Test volume   5 :         998.502\n" + list + value
                                    + " Test volume   6 :         997.009\n" + list + value
                                    + " Test volume   7 :         995.520\n" + list);
}

TEST_F(Search, LogsNothingWhenTheLogIsOff)
{
    settestvolumes({0.001});
    write_log_file.log_file_number = logunit;
    EXPECT_EQ(writtenby(logunit, [] { printedby(getthebasis); }), "");
}

TEST_F(Search, TriesMoreValuesOfAWiderBandWithALargerExtent)
{
    // n = nint(width / step) steps to each side; the ends of the band as direct volumes of
    // 1000 / (1 -+ width).
    const struct {
        int values;
        const char* range;
    } expected[] = {
        {7, "       1004.520        995.520"},   {11, "       1006.036        994.036"},
        {21, "       1009.082        991.080"},  {51, "       1015.228        985.222"},
        {121, "       1024.590        976.562"}, {201, "       1030.928        970.874"}};
    settestvolumes({0.001});
    for (int extent = 0; extent <= 5; ++extent) {
        otherglobalvariables.iextentofthesearch = extent;
        const std::string log = loggedbysearch();
        const auto [values, range] = expected[extent];
        const std::string count = std::to_string(values);
        const std::string padded = std::string(3 - count.size(), ' ') + count;
        EXPECT_EQ(linesof(log)[3], " " + padded + " steps in the range :" + range);
        const auto tested = linesbeginning(log, " Test volume ");
        ASSERT_EQ(tested.size(), static_cast<std::size_t>(values));
        EXPECT_EQ(tested.back().substr(0, 16), " Test volume " + padded);
    }
}

TEST_F(Search, OfExtentTwoRunsFromNinePartsInAThousandBelowToAsMuchAbove)
{
    settestvolumes({0.001});
    const auto tested = linesbeginning(loggedbysearch(), " Test volume ");
    ASSERT_EQ(tested.size(), 21U);
    EXPECT_EQ(tested[0], " Test volume   1 :        1009.082");
    EXPECT_EQ(tested[10], " Test volume  11 :        1000.000");
    EXPECT_EQ(tested[20], " Test volume  21 :         991.080");
}

TEST_F(Search, LeavesTheLastTestValueAsTheVolumeUnderTest)
{
    settestvolumes({0.002, 0.001});
    printedby(getthebasis);
    EXPECT_EQ(estimatedvolumes.currentlyinvestigatedvolume, 0.001 * (1.0 + 10 * 0.0009));
}

// Gives the numbers of trial vectors listed at each test value.
std::vector<int> listlengths(const std::string& log)
{
    std::vector<int> lengths;
    bool inlist = false;
    for (const std::string& line : linesof(log)) {
        if (line.empty()) inlist = false;
        if (inlist) ++lengths.back();
        if (line != " List of prominent reflections :") continue;
        inlist = true;
        lengths.push_back(0);
    }
    return lengths;
}

// Six vectors of a plane: every triple product is 0, so that no triple passes.
void setplane()
{
    setreflections(
        {x, y, {{1.0, 1.0, 0.0}}, {{2.0, 1.0, 0.0}}, {{1.0, 2.0, 0.0}}, {{3.0, 1.0, 0.0}}});
}

TEST_F(Search, BeginsEveryTestValueWithTheFullTrialList)
{
    setplane();
    otherglobalvariables.iextentofthesearch = 0;
    otherglobalvariables.fractionofsupportingreflections = 0.7; // nint(1.8) = 2 are dropped
    settestvolumes({1.0, 0.5});
    EXPECT_EQ(listlengths(loggedbysearch()), std::vector<int>(14, 4));
}

TEST_F(Search, RoundsTheNumberOfDroppedVectorsWithHalvesUp)
{
    setplane();
    otherglobalvariables.iextentofthesearch = 0;
    otherglobalvariables.fractionofsupportingreflections = 0.75; // nint(1.5) = 2 are dropped
    settestvolumes({1.0});
    EXPECT_EQ(listlengths(loggedbysearch()), std::vector<int>(7, 4));
}

TEST_F(Search, NeverDropsSoManyVectorsThatFewerThanThreeStay)
{
    setplane();
    otherglobalvariables.iextentofthesearch = 0;
    otherglobalvariables.fractionofsupportingreflections = 1e-7;
    settestvolumes({1.0});
    EXPECT_EQ(listlengths(loggedbysearch()), std::vector<int>(7, 3));
}

TEST_F(Search, DropsNoVectorWhenAllReflectionsMustSupportASolution)
{
    setplane();
    otherglobalvariables.iextentofthesearch = 0;
    otherglobalvariables.fractionofsupportingreflections = 1.0;
    settestvolumes({1.0});
    EXPECT_EQ(listlengths(loggedbysearch()), std::vector<int>(7, 6));
}

TEST_F(Search, FindsTheLatticeOfAFewVectors)
{
    setreflections({x,
                    y,
                    z,
                    {{1.0, 1.0, 0.0}},
                    {{0.0, 1.0, 1.0}},
                    {{1.0, 0.0, 1.0}},
                    {{1.0, 1.0, 1.0}},
                    {{2.0, 1.0, 0.0}}});
    settestvolumes({1.0});
    printedby(getthebasis);
    ASSERT_GE(modofsavedbases.numberofsavedbases, 1);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{8, 8}));
    EXPECT_NEAR(std::fabs(deter(modofsavedbases.savedbases(1))), 1.0, 1e-12);
}

// Makes the three unit vectors the only reflections, and 1 / ratio the volume under test, so that
// their triple has that ratio.
void setratio(double ratio)
{
    setreflections({x, y, z});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0 / ratio;
}

TEST_F(Triples, AreLoggedWithTheirPositionsTheirRatioAndTheirAlternatives)
{
    // Three reflections of three: h 3, H 3, quality 0.3 * 3 + 0.7 * 3.
    setratio(1.0);
    EXPECT_EQ(loggedby(fitting5), " Passed primary tests:    1    2    3   v:  1.00\n"
                                  " Altarnative bases :   1\n"
                                  " --> Basis saved as no   1\n"
                                  "     3h and   3H vectors, quality :        3.000\n");
}

TEST_F(Triples, AreExpandedIntoTheBasesOfTheNearestIndex)
{
    setratio(2.3);
    const auto lines = linesof(loggedby(fitting5));
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0], " Passed primary tests:    1    2    3   v:  2.30");
    EXPECT_EQ(lines[1], " Altarnative bases :   7");
}

std::size_t passed(double ratio)
{
    setratio(ratio);
    return linesbeginning(loggedby(fitting5), " Passed primary tests:").size();
}

TEST_F(Triples, PassWithARatioNearAWholeNumber)
{
    EXPECT_EQ(passed(2.30), 1U);
    EXPECT_EQ(passed(2.40), 0U);
    EXPECT_EQ(passed(1.70), 1U);
    EXPECT_EQ(passed(1.60), 0U);
}

TEST_F(Triples, PassAtExactlyTheLargestDistanceFromAWholeNumber)
{
    // 1 - 0.65 is 0.35 in binary, too.
    static_assert(1.0 - 0.65 == 0.35);
    setreflections({{{0.65, 0.0, 0.0}}, y, z});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    EXPECT_EQ(linesbeginning(loggedby(fitting5), " Passed primary tests:").size(), 1U);
    setreflections({{{0.6499, 0.0, 0.0}}, y, z});
    EXPECT_TRUE(loggedby(fitting5).empty());
}

TEST_F(Triples, FailWithARatioBelowOneHalf)
{
    EXPECT_EQ(passed(0.45), 0U);
    EXPECT_EQ(passed(0.3), 0U); // 0.3 from 0
    EXPECT_EQ(passed(0.001), 0U);
}

TEST_F(Triples, PassUpToTheLargestRatioOfTheExtent)
{
    const struct {
        int ratio;
        const char* alternatives;
    } largest[] = {{3, "  13"}, {5, "  31"}, {7, "  57"}, {10, " 217"}, {13, " 183"}, {16, " 651"}};
    for (int extent = 0; extent <= 5; ++extent) {
        otherglobalvariables.iextentofthesearch = extent;
        const auto [ratio, alternatives] = largest[extent];
        EXPECT_EQ(passed(ratio + 1.0), 0U) << extent;
        setratio(ratio + 0.2);
        const auto lines = linesbeginning(loggedby(fitting5), " Altarnative");
        ASSERT_EQ(lines.size(), 1U) << extent;
        EXPECT_EQ(lines[0], " Altarnative bases :" + std::string(alternatives)) << extent;
    }
}

TEST_F(Triples, OfExtentTwoPassAtSevenPointTwoAndFailAtSevenPointSix)
{
    EXPECT_EQ(passed(7.2), 1U);
    EXPECT_EQ(passed(7.6), 0U); // nearest 8
}

TEST_F(Triples, AreTakenInLexicographicOrder)
{
    // Four trial vectors: every three of them have the triple product 1.
    setreflections({x, y, z, {{1.0, 1.0, 1.0}}});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    const std::string beginning = " Passed primary tests:";
    EXPECT_EQ(linesbeginning(loggedby(fitting5), beginning),
              (std::vector<std::string>{beginning + "    1    2    3   v:  1.00",
                                        beginning + "    1    2    4   v:  1.00",
                                        beginning + "    1    3    4   v:  1.00",
                                        beginning + "    2    3    4   v:  1.00"}));
}

TEST_F(Triples, ThereAreNoneOfFewerThanThreeTrialVectors)
{
    setreflections({x, y});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    EXPECT_EQ(loggedby(fitting5), "");
    setreflections({});
    EXPECT_EQ(loggedby(fitting5), "");
}

TEST_F(Triples, AreNumberedByPositionInTheTrialListAndFittedByReflection)
{
    // The first reflection is noise and no trial vector. Were it taken for the first vector of the
    // triple, the fit would leave the lattice.
    setreflections({{{0.5, 0.5, 0.5}}, x, y, z});
    settriallist({2, 3, 4});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    const auto lines = linesof(loggedby(fitting5));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], " Passed primary tests:    1    2    3   v:  1.00");
    EXPECT_EQ(lines[3], "     3h and   3H vectors, quality :        3.000");
    EXPECT_EQ(std::fabs(deter(modofsavedbases.savedbases(1))), 1.0);
}

// Saves the basis of three trial vectors when a fourth reflection pulls the third axis out to
// (1 + 2 * 2.1) / (1 + 4) = 1.04, and gives its direct volume.
double savedvolume(int extent)
{
    modofsavedbases.numberofsavedbases = 0;
    otherglobalvariables.iextentofthesearch = extent;
    setreflections({x, y, z, {{0.0, 0.0, 2.1}}});
    settriallist({1, 2, 3});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    fitting5();
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 1);
    return std::fabs(deter(modofsavedbases.savedbases(1)));
}

TEST_F(Triples, AreRefinedAgainstTheTrialVectorsAloneInSmallExtents)
{
    EXPECT_NEAR(savedvolume(0), 1.0, 1e-12);
    EXPECT_NEAR(savedvolume(1), 1.0, 1e-12);
}

TEST_F(Triples, AreRefinedAgainstAllReflectionsFromExtentTwoOn)
{
    EXPECT_NEAR(savedvolume(2), 1.0 / 1.04, 1e-12);
}

TEST_F(Triples, AreOfferedASecondTimeOnTheirShortestVectorsFromExtentThreeOn)
{
    setratio(1.0);
    for (const int extent : {3, 4, 5}) {
        modofsavedbases.numberofsavedbases = 0;
        otherglobalvariables.iextentofthesearch = extent;
        EXPECT_EQ(loggedby(fitting5), " Passed primary tests:    1    2    3   v:  1.00\n"
                                      " Altarnative bases :   1\n"
                                      " --> Basis saved as no   1\n"
                                      "     3h and   3H vectors, quality :        3.000\n"
                                      "   Similar to solution   1\n"
                                      "     and replaced it\n");
    }
}

// Twelve reflections: the unit vectors, and each three times again at 0.87. The fit to all shrinks
// each axis to (1 + 3 * 0.87) / 4 = 0.9025, and the cell to 0.735.
void setshrinking()
{
    otherglobalvariables.themaincriterion = 0.3;
    otherglobalvariables.iextentofthesearch = 3;
    const vector3 a = {{0.87, 0.0, 0.0}};
    const vector3 b = {{0.0, 0.87, 0.0}};
    const vector3 c = {{0.0, 0.0, 0.87}};
    setreflections({x, y, z, a, b, c, a, b, c, a, b, c});
    settriallist({1, 2, 3});
}

TEST_F(Triples, WhoseRefinementFailsAreNotTriedOnTheirShortestVectors)
{
    // Under test: 1 / 0.66. The unit cell is above half of it, 0.758, the fitted cell below, so the
    // refinement ends in failure, although the three shortest trial vectors index everything.
    setshrinking();
    estimatedvolumes.currentlyinvestigatedvolume = 1.0 / 0.66;
    const auto lines = linesof(loggedby(fitting5));
    EXPECT_EQ(lines.size(), 2U);
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 0);
    // At a smaller volume the same triple succeeds, and both its cells are saved.
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    fitting5();
    EXPECT_EQ(modofsavedbases.numberofsavedbases, 2);
}

TEST_F(Triples, AreTriedOnTheirShortestVectorsFromTheReducedBasisAgain)
{
    // Five reflections at 0.66 pull the third axis in to (1 + 5 * 0.66) / 6 = 0.717. Under that
    // basis the third trial vector is at 1.395, too far from 1; under the basis before the fit it
    // is whole, so that the unit cell is offered as well.
    otherglobalvariables.themaincriterion = 0.3;
    otherglobalvariables.iextentofthesearch = 3;
    const vector3 w = {{0.0, 0.0, 0.66}};
    setreflections(
        {x, y, z, w, w, w, w, w, {{2.0, 0.0, 0.0}}, {{0.0, 2.0, 0.0}}, {{1.0, 1.0, 0.0}}});
    settriallist({1, 2, 3});
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
    fitting5();
    ASSERT_EQ(modofsavedbases.numberofsavedbases, 2);
    EXPECT_NEAR(std::fabs(deter(modofsavedbases.savedbases(1))), 6.0 / 4.3, 1e-12);
    EXPECT_NEAR(std::fabs(deter(modofsavedbases.savedbases(2))), 1.0, 1e-12);
}

// What a wrong reading of the search would do.
enum class reading { right, overall, unreduced };

// The search at the volume under test from its definition.
void searchbydefinition(reading how)
{
    const int extent = otherglobalvariables.iextentofthesearch;
    const double limits[] = {3.0, 5.0, 7.0, 10.0, 13.0, 16.0};
    const auto& recorded = recorded_reflections;
    const int nt = recorded.number_of_trial_vectors;
    vectorlist P;
    for (int i = 1; i <= nt; ++i) P(i) = recorded.reflections(recorded.list_of_trial_vectors(i));
    alternativebases bases;
    for (int i1 = 1; i1 <= nt; ++i1)
        for (int i2 = i1 + 1; i2 <= nt; ++i2)
            for (int i3 = i2 + 1; i3 <= nt; ++i3) {
                const matrix3 M = rowsmatrix(P(i1), P(i2), P(i3));
                const double ratio =
                    std::fabs(deter(M)) / estimatedvolumes.currentlyinvestigatedvolume;
                const double k = std::round(ratio);
                if (std::fabs(k - ratio) > 0.35 || k < 1.0 || k > limits[extent]) continue;
                int count = 0;
                getalternativerlbases(static_cast<int>(k), M, count, bases);
                for (int b = 1; b <= count; ++b) {
                    matrix3 B = bases(b);
                    if (how != reading::unreduced) simplereduction(B);
                    matrix3 R = B;
                    int status = done;
                    if (extent <= 1)
                        sequentialfittingrlbasis(R, nt, P, {{i1, i2, i3}}, status);
                    else
                        sequentialfittingrlbasis(R, recorded.numberofreflections,
                                                 recorded.reflections,
                                                 {{recorded.list_of_trial_vectors(i1),
                                                   recorded.list_of_trial_vectors(i2),
                                                   recorded.list_of_trial_vectors(i3)}},
                                                 status);
                    if (status != done) continue;
                    indexing(R);
                    if (extent < 3) continue;
                    R = B;
                    if (how == reading::overall)
                        rlbasisfromshortesthighqualityvectors(R, recorded.numberofreflections,
                                                              recorded.reflections, status);
                    else
                        rlbasisfromshortesthighqualityvectors(R, nt, P, status);
                    if (status == done) indexing(R);
                }
            }
}

std::string storedbits()
{
    const auto& store = modofsavedbases;
    std::string text = std::to_string(store.numberofsavedbases) + "\n";
    for (int k = 1; k <= store.numberofsavedbases; ++k)
        text += bitsof(store.savedbases(k)) + bitsof(store.aqualityofsavedbases(k)) + "\n";
    return text;
}

// Makes a lattice with noise, a quarter of its reflections wrong, and a trial list of seven of them.
void setnoisylattice(std::mt19937& random)
{
    const auto unit = [&] { return static_cast<double>(random()) / 4294967296.0; };
    auto& recorded = recorded_reflections;
    matrix3 R;
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) R(i, j) = (i == j ? 0.12 + 0.05 * unit() : 0.04 * unit());
    recorded.numberofreflections = 16;
    for (int n = 1; n <= 16; ++n) {
        vector3 h;
        for (int i = 1; i <= 3; ++i)
            h(i) = std::round(5.0 * unit() - 2.5) + (n % 4 == 0 ? unit() : 0.0);
        for (int j = 1; j <= 3; ++j)
            recorded.reflections(n)(j) =
                h(1) * R(1, j) + h(2) * R(2, j) + h(3) * R(3, j) + 0.012 * (unit() - 0.5);
    }
    settriallist({2, 3, 5, 7, 8, 11, 14});
    estimatedvolumes.currentlyinvestigatedvolume = std::fabs(deter(R));
}

std::string storeafter(const std::function<void()>& action)
{
    modofsavedbases = {};
    action();
    return storedbits();
}

TEST_F(Triples, LeaveTheStoreOfTheirDefinitionBitForBit)
{
    const reading wrong[] = {reading::overall, reading::unreduced};
    int differing[2] = {};
    int saved = 0;
    std::mt19937 random(31415926);
    for (int trial = 1; trial <= 24; ++trial) {
        otherglobalvariables.iextentofthesearch = trial % 6;
        setnoisylattice(random);
        const std::string store = storeafter(fitting5);
        saved += modofsavedbases.numberofsavedbases;
        ASSERT_EQ(store, storeafter([] { searchbydefinition(reading::right); })) << trial;
        for (int k = 0; k < 2; ++k)
            if (store != storeafter([&] { searchbydefinition(wrong[k]); })) ++differing[k];
    }
    EXPECT_GT(saved, 24);
    // Each wrong reading shows on these data.
    for (int k = 0; k < 2; ++k) EXPECT_GT(differing[k], 0) << k;
}

// Makes n reflections: `strict` at the deviation 0.05, `loose` at 0.1, the others at 0.5.
void setdeviations(int n, int strict, int loose)
{
    recorded_reflections.numberofreflections = n;
    for (int k = 1; k <= n; ++k) {
        const double off = k <= strict ? 0.05 : k <= strict + loose ? 0.1 : 0.5;
        recorded_reflections.reflections(k) = {{k % 4 + off, double(k % 3), double(k % 5)}};
    }
    modofsavedbases.numberofsavedbases = 0;
    estimatedvolumes.currentlyinvestigatedvolume = 1.0;
}

int savedby(const matrix3& R)
{
    indexing(R);
    return modofsavedbases.numberofsavedbases;
}

const matrix3 identity = diagonal(1.0, 1.0, 1.0);

TEST_F(Bar, OfTenReflectionsIsFiveWithinHalfTheCriterion)
{
    // sqrt(22) = 4.69
    setdeviations(10, 4, 6);
    EXPECT_EQ(savedby(identity), 0);
    setdeviations(10, 5, 0);
    EXPECT_EQ(savedby(identity), 1);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{5, 5}));
}

TEST_F(Bar, OfNineReflectionsIsFour)
{
    // sqrt(19.8) = 4.4497, just below a half
    setdeviations(9, 3, 6);
    EXPECT_EQ(savedby(identity), 0);
    setdeviations(9, 4, 5);
    EXPECT_EQ(savedby(identity), 1);
}

TEST_F(Bar, OfAHundredReflectionsIsFifteen)
{
    // sqrt(220) = 14.83
    setdeviations(100, 14, 86);
    EXPECT_EQ(savedby(identity), 0);
    setdeviations(100, 15, 85);
    EXPECT_EQ(savedby(identity), 1);
    EXPECT_EQ(modofsavedbases.iqualityofsavedbases(1), (indexcounts{15, 100}));
}

TEST_F(Bar, OfFourReflectionsIsThree)
{
    // sqrt(8.8) = 2.97
    setdeviations(4, 2, 2);
    EXPECT_EQ(savedby(identity), 0);
    setdeviations(4, 3, 0);
    EXPECT_EQ(savedby(identity), 1);
}

TEST_F(Bar, IsNotReachedByACellBelowHalfTheVolumeUnderTest)
{
    setdeviations(10, 10, 0);
    estimatedvolumes.currentlyinvestigatedvolume = 2.001;
    EXPECT_EQ(savedby(identity), 0);
    estimatedvolumes.currentlyinvestigatedvolume = 2.0; // exactly half is enough
    EXPECT_EQ(savedby(identity), 1);
}

TEST_F(Bar, IsAppliedToTheReducedDirectBasis)
{
    // A unit lattice in a skew basis comes out with the unit vectors, in its dual form.
    setdeviations(10, 10, 0);
    EXPECT_EQ(savedby({{{1.0, 0.0, 0.0}, {5.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}}), 1);
    const matrix3& D = modofsavedbases.savedbases(1);
    for (int i = 1; i <= 3; ++i) EXPECT_NEAR(vectormagnitude(rowof(D, i)), 1.0, 1e-15);
    EXPECT_EQ(modofsavedbases.aqualityofsavedbases(1), 0.3 * 10 + 0.7 * 10);
}

} // namespace

} // namespace torvik
