#include "volumes/testvolumes.h"

#include "driver/read_idx_file.h"
#include "support/runs.h"
#include "text/units.h"
#include "unit/volumes/periodogramcases.h"
#include "volumes/periodograms.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

// The folding periodogram of the single triple product 1 serves as the source of peaks: a period of
// 2 to the power k has the value 1 - 2^(1-k), exactly. So 2 makes a floor of 0, and higher powers
// make peaks of rising height.
constexpr double floorperiod = 2.0;
constexpr double notanumber = std::numeric_limits<double>::quiet_NaN();

class PeakSearch : public fresh {
protected:
    PeakSearch()
    {
        otherglobalvariables.itypeofperiodogram = 1;
        setoneproduct(1.0);
    }

    static void setfloor(int N)
    {
        testperiods.number_of_test_periods = N;
        for (int i = 0; i <= N; ++i) testperiods.tableoftestperiods(i) = floorperiod;
    }

    // Lays a peak; the period tells it apart in the list of test volumes.
    static void setpeak(int i, double period)
    {
        testperiods.tableoftestperiods(i) = period;
    }

    // In a plane all products are 0, and folding is 1 at any period: all values tie, and the
    // periods serve as labels, index + 1.
    static void settiesatallperiods(int N)
    {
        setplanereflections(3);
        testperiods.number_of_test_periods = N;
        for (int i = 0; i <= N; ++i) testperiods.tableoftestperiods(i) = i + 1.0;
    }
};

std::vector<double> volumelist()
{
    const auto& volumes = estimatedvolumes;
    return {volumes.table_of_estimatedvolumes.element,
            volumes.table_of_estimatedvolumes.element + volumes.number_of_estimatedvolumes};
}

std::vector<double> estimated()
{
    printedby([] { estimate_true_rvolumes(makefilename("a.idx")); });
    return volumelist();
}

std::vector<std::string> logestimated()
{
    write_log_file = {1, logunit};
    return linesof(writtenby(logunit, [] { estimated(); }));
}

struct bounds {
    int number, lo, hi;
    bool operator==(const bounds&) const = default;
};

void PrintTo(const bounds& b, std::ostream* stream)
{
    *stream << b.number << ": " << b.lo << ".." << b.hi;
}

// Gives the fragments as the log shows them.
std::vector<bounds> fragmentsof(int N, int extent)
{
    otherglobalvariables.iextentofthesearch = extent;
    testperiods.number_of_test_periods = N;
    for (int i = 0; i <= N; ++i) testperiods.tableoftestperiods(i) = floorperiod;
    const std::vector<std::string> lines = logestimated();
    std::vector<bounds> fragments;
    auto line = std::find(lines.begin(), lines.end(), "          No          Start            End");
    if (line == lines.end()) return {};
    for (++line; line->starts_with("  "); line += 3) {
        EXPECT_EQ(line->size(), 44U); // 1 + 11 + 5 + 11 + 5 + 11
        fragments.push_back({std::stoi(line->substr(1, 11)), std::stoi(line->substr(17, 11)),
                             std::stoi(line->substr(33, 11))});
    }
    return fragments;
}

TEST_F(PeakSearch, HundredPeriodsAreOneFragmentWithoutMargins)
{
    // nint(log4(1)) = 0 is raised to 1; the margins cannot reach past the ends.
    EXPECT_EQ(fragmentsof(100, 2), (std::vector<bounds>{{1, 0, 100}}));
}

TEST_F(PeakSearch, SmallestGridsAreOneFragment)
{
    EXPECT_EQ(fragmentsof(0, 2), (std::vector<bounds>{{1, 0, 0}})); // log4(0) is minus infinity
    EXPECT_EQ(fragmentsof(1, 2), (std::vector<bounds>{{1, 0, 1}}));
    EXPECT_EQ(fragmentsof(20, 5), (std::vector<bounds>{{1, 0, 20}}));
}

TEST_F(PeakSearch, FourHundredPeriodsAreOneFragment)
{
    EXPECT_EQ(fragmentsof(400, 2), (std::vector<bounds>{{1, 0, 400}}));
}

TEST_F(PeakSearch, SixteenHundredPeriodsAreTwoOverlappingFragments)
{
    EXPECT_EQ(fragmentsof(1600, 2), (std::vector<bounds>{{1, 0, 809}, {2, 791, 1600}}));
}

TEST_F(PeakSearch, MarginIsThreePeriodsForEachStepOfTheExtent)
{
    for (int extent = 0; extent <= 5; ++extent) {
        const int mg = 3 * (extent + 1);
        EXPECT_EQ(fragmentsof(1600, extent),
                  (std::vector<bounds>{{1, 0, 800 + mg}, {2, 800 - mg, 1600}}))
            << extent;
    }
}

TEST_F(PeakSearch, EachFactorOfFourAddsAFragment)
{
    // 6400 / 3 = 2133.33: the inner bounds are 2133 and 4267.
    EXPECT_EQ(fragmentsof(6400, 2),
              (std::vector<bounds>{{1, 0, 2142}, {2, 2124, 4276}, {3, 4258, 6400}}));
    EXPECT_EQ(fragmentsof(25600, 0),
              (std::vector<bounds>{
                  {1, 0, 6403}, {2, 6397, 12803}, {3, 12797, 19203}, {4, 19197, 25600}}));
    EXPECT_EQ(fragmentsof(102400, 0).size(), 5U);
}

TEST_F(PeakSearch, NumberOfFragmentsIsRoundedAtTheHalfPower)
{
    // log4(8) = 1.5: below 800 periods one fragment, above two.
    EXPECT_EQ(fragmentsof(799, 2).size(), 1U);
    EXPECT_EQ(fragmentsof(801, 2).size(), 2U);
}

TEST_F(PeakSearch, FragmentLengthIsASinglePrecisionQuotient)
{
    // 204803 periods are six fragments (log4(2048.03) = 5.50001). In single precision the length is
    // 34133.83203125, three of which are 102401.496; in double precision it would be 34133.8333,
    // three of which are 102401.5 and round to 102402.
    ASSERT_EQ(std::round(3.0 * (204803.0 / 6.0)), 102402.0);
    const std::vector<bounds> fragments = fragmentsof(204803, 0);
    ASSERT_EQ(fragments.size(), 6U);
    EXPECT_EQ(fragments[2], (bounds{3, 68268 - 3, 102401 + 3}));  // 2 L = 68267.66
    EXPECT_EQ(fragments[3], (bounds{4, 102401 - 3, 136535 + 3})); // 4 L = 136535.33
}

TEST_F(PeakSearch, LargestTableIsEightFragments)
{
    // log4(83886.07) = 8.18; a length of 1048575.875. Ties everywhere give 14 volumes a fragment,
    // of which the first stands where its predecessor's margin and clearing end.
    settiesatallperiods(8388607);
    const std::vector<double> volumes = estimated();
    ASSERT_EQ(volumes.size(), 8U * 14U);
    EXPECT_EQ(volumes[0], 1.0); // index 0
    for (int f = 2; f <= 8; ++f) {
        const int lo = static_cast<int>(std::round((f - 1) * 1048575.875)) - 9;
        EXPECT_EQ(volumes[static_cast<std::size_t>(14 * (f - 1))], lo + 1.0) << f;
    }
}

TEST_F(PeakSearch, PeaksPerFragmentGrowWithTheExtent)
{
    const std::vector<std::size_t> most = {4, 9, 14, 17, 20, 23};
    for (int extent = 0; extent <= 5; ++extent) {
        settiesatallperiods(790); // one fragment
        otherglobalvariables.iextentofthesearch = extent;
        EXPECT_EQ(estimated().size(), most[static_cast<std::size_t>(extent)]) << extent;
    }
}

TEST_F(PeakSearch, EveryFragmentGivesItsOwnShareOfPeaks)
{
    const std::vector<std::size_t> most = {4, 9, 14, 17, 20, 23};
    for (int extent = 0; extent <= 5; ++extent) {
        settiesatallperiods(25600); // four fragments
        otherglobalvariables.iextentofthesearch = extent;
        EXPECT_EQ(estimated().size(), 4 * most[static_cast<std::size_t>(extent)]) << extent;
    }
}

TEST_F(PeakSearch, TiesGoToTheLowestIndex)
{
    // Every value is 1. With a margin of 9 the next free index is the tenth after a peak.
    settiesatallperiods(100);
    EXPECT_EQ(estimated(), (std::vector<double>{1, 11, 21, 31, 41, 51, 61, 71, 81, 91, 101}));
}

TEST_F(PeakSearch, PeaksAreTakenFromTheHighestDown)
{
    setfloor(100);
    setpeak(20, 8.0);
    setpeak(50, 32.0);
    setpeak(80, 4.0);
    setpeak(100, 16.0);
    setpeak(0, 64.0);
    EXPECT_EQ(estimated(), (std::vector<double>{64.0, 32.0, 16.0, 8.0, 4.0}));
}

TEST_F(PeakSearch, NeighboursOfAPeakWithinTheMarginAreCleared)
{
    setfloor(100);
    setpeak(50, 32.0);
    setpeak(41, 16.0); // 9 away: cleared
    setpeak(59, 16.0);
    setpeak(40, 8.0); // 10 away: kept
    setpeak(60, 4.0);
    EXPECT_EQ(estimated(), (std::vector<double>{32.0, 8.0, 4.0}));
}

TEST_F(PeakSearch, ClearingStopsAtTheEndsOfTheGrid)
{
    setfloor(15);
    setpeak(0, 32.0);
    setpeak(15, 16.0);
    EXPECT_EQ(estimated(), (std::vector<double>{32.0, 16.0}));
}

TEST_F(PeakSearch, ClearingReachesIntoTheNeighbouringFragment)
{
    // Fragments 0..809 and 791..1600. The peak at 805 belongs to the first; its flank at 812 lies
    // in the second alone and goes with it, 815 stays.
    setfloor(1600);
    setpeak(805, 8.0);
    setpeak(812, 16.0);
    setpeak(815, 4.0);
    EXPECT_EQ(estimated(), (std::vector<double>{8.0, 4.0}));
}

TEST_F(PeakSearch, PeakInTheOverlapIsTakenOnce)
{
    setfloor(1600);
    setpeak(800, 8.0);
    EXPECT_EQ(estimated(), std::vector<double>{8.0});
}

TEST_F(PeakSearch, PeaksAreListedByFragmentFirst)
{
    setfloor(1600);
    setpeak(100, 4.0);
    setpeak(400, 8.0);
    setpeak(1000, 16.0);
    setpeak(1400, 64.0);
    EXPECT_EQ(estimated(), (std::vector<double>{8.0, 4.0, 64.0, 16.0}));
}

TEST_F(PeakSearch, MarginOfAFragmentLetsItTakeAPeakBeyondItsBorder)
{
    // 809 is the last of the first fragment, 810 the first that only the second has.
    setfloor(1600);
    setpeak(809, 4.0);
    setpeak(1200, 8.0);
    EXPECT_EQ(estimated(), (std::vector<double>{4.0, 8.0}));
    setfloor(1600);
    setpeak(810, 4.0);
    setpeak(1200, 8.0);
    EXPECT_EQ(estimated(), (std::vector<double>{8.0, 4.0}));
}

TEST_F(PeakSearch, PeriodogramWithoutPositiveValuesGivesNoVolume)
{
    setfloor(1600);
    estimatedvolumes.number_of_estimatedvolumes = 5; // is reset
    EXPECT_TRUE(estimated().empty());
}

TEST_F(PeakSearch, NegativePeriodogramGivesNoVolume)
{
    // 67 reflections: the wrapped divisor makes Rayleigh's periodogram negative.
    setplanereflections(67);
    setperiods({0.5, 1.0, 2.0});
    otherglobalvariables.itypeofperiodogram = 2;
    EXPECT_TRUE(estimated().empty());
}

TEST_F(PeakSearch, FragmentClearedByItsNeighboursContributesNothing)
{
    // The second fragment's only peak lies within the flank of the first fragment's.
    setfloor(1600);
    setpeak(809, 4.0);
    setpeak(818, 64.0);
    EXPECT_EQ(estimated(), std::vector<double>{4.0});
}

TEST_F(PeakSearch, EmptyFragmentDoesNotStopTheNextOnes)
{
    setfloor(6400); // three fragments
    setpeak(6000, 4.0);
    EXPECT_EQ(estimated(), std::vector<double>{4.0});
}

TEST_F(PeakSearch, NotANumberIsNeverTheLargestValue)
{
    setfloor(100);
    setpeak(0, notanumber); // a period that is no number has no value, either
    setpeak(30, 4.0);
    setpeak(60, notanumber);
    setpeak(61, 8.0);
    setpeak(100, notanumber);
    EXPECT_EQ(estimated(), (std::vector<double>{8.0, 4.0}));
}

TEST_F(PeakSearch, FragmentOfNothingButNotANumberStops)
{
    setfloor(1600);
    for (int i = 0; i <= 809; ++i) setpeak(i, notanumber);
    setpeak(1000, 4.0);
    EXPECT_EQ(estimated(), std::vector<double>{4.0});
    for (int i = 0; i <= 1600; ++i) setpeak(i, notanumber);
    EXPECT_TRUE(estimated().empty());
}

// The search for peaks read literally, on values that a periodogram procedure gave.
std::vector<double> plainpeaks(periodogram values, int extent)
{
    const int N = testperiods.number_of_test_periods;
    const int most[] = {4, 9, 14, 17, 20, 23};
    const double ratio = std::log(N / 100.0) / std::log(4.0);
    const int nfrag = std::clamp(static_cast<int>(std::round(ratio)), 1, 16);
    const float L = static_cast<float>(N) / static_cast<float>(nfrag);
    const int mg = 3 * (extent + 1);
    const int kmax =
        std::min(static_cast<int>(std::round(350.0F / static_cast<float>(nfrag))), most[extent]);
    std::vector<double> list;
    for (int f = 1; f <= nfrag; ++f) {
        const int lo =
            std::max(0, static_cast<int>(std::round((f - 1) * static_cast<double>(L))) - mg);
        const int hi = std::min(N, static_cast<int>(std::round(f * static_cast<double>(L))) + mg);
        for (int k = 1; k <= kmax && list.size() <= 349; ++k) {
            const auto w = std::max_element(values.begin() + lo, values.begin() + hi + 1);
            if (*w <= 0.0) break;
            const int index = static_cast<int>(w - values.begin());
            list.push_back(testperiods.tableoftestperiods(index));
            std::fill(values.begin() + std::max(0, index - mg),
                      values.begin() + std::min(N, index + mg) + 1, 0.0);
        }
    }
    return list;
}

TEST_F(PeakSearch, AgreesWithThePlainSearchForEveryExtentAndSize)
{
    for (const int N : {7, 60, 399, 1600, 5000, 30000, 250000}) {
        for (int extent = 0; extent <= 5; ++extent) {
            setfourproducts(0.31, 0.47, 0.83);
            otherglobalvariables.iextentofthesearch = extent;
            testperiods.number_of_test_periods = N;
            for (int i = 0; i <= N; ++i)
                testperiods.tableoftestperiods(i) = 0.005 / (1.0 - i * (0.95 / N));
            periodogram values(static_cast<std::size_t>(N) + 1);
            folding_periodogram(values);
            EXPECT_EQ(estimated(), plainpeaks(values, extent)) << N << " " << extent;
        }
    }
}

TEST_F(PeakSearch, TerminalShowsTheProgressLineAlone)
{
    setfloor(100);
    setpeak(50, 4.0);
    EXPECT_EQ(printedby([] { estimate_true_rvolumes(makefilename("a.idx")); }),
              " Calculating folding periodogram\n");
}

// Gives the log without the periodogram's own table.
std::string searchlog()
{
    std::string text;
    bool begun = false;
    for (const std::string& line : logestimated()) {
        begun = begun || line.starts_with(" ===");
        if (begun) text += line + "\n";
    }
    return text;
}

constexpr const char* equals59 = " ===========================================================\n";
constexpr const char* hyphens57 = " ---------------------------------------------------------\n";

TEST_F(PeakSearch, LogListsFragmentsAndVolumes)
{
    setfloor(100);
    setpeak(0, 0.5);
    setpeak(60, 8.0);
    ASSERT_EQ(std::string(equals59).size(), 61U); // a blank, 59 characters, the line end
    ASSERT_EQ(std::string(hyphens57).size(), 59U);
    EXPECT_EQ(searchlog(), std::string(equals59)
                               + " Searching for peaks in following fragments of periodogram : \n"
                                 "          No          Start            End\n"
                                 "           1               0             100\n"
                                 "    DS vol :          2.000          0.500\n"
                                 "    RS vol :    5.00000E-01    2.00000E+00\n"
                               + hyphens57
                               + " The final list of test volumes :\n"
                                 "    No      RS volume      DS volume\n"
                                 "     1    5.00000E-01          2.000\n"
                                 "     2    8.00000E+00          0.125\n"
                               + equals59 + "\n");
}

TEST_F(PeakSearch, LogShowsTheVolumesInTheOrderOfTheFragments)
{
    setfloor(1600);
    setpeak(100, 4.0);
    setpeak(400, 8.0);
    setpeak(1000, 16.0);
    setpeak(1600, 64.0);
    EXPECT_EQ(searchlog(), std::string(equals59)
                               + " Searching for peaks in following fragments of periodogram : \n"
                                 "          No          Start            End\n"
                                 "           1               0             809\n"
                                 "    DS vol :          0.500          0.500\n"
                                 "    RS vol :    2.00000E+00    2.00000E+00\n"
                                 "           2             791            1600\n"
                                 "    DS vol :          0.500          0.016\n"
                                 "    RS vol :    2.00000E+00    6.40000E+01\n"
                               + hyphens57
                               + " The final list of test volumes :\n"
                                 "    No      RS volume      DS volume\n"
                                 "     1    8.00000E+00          0.125\n"
                                 "     2    4.00000E+00          0.250\n"
                                 "     3    6.40000E+01          0.016\n"
                                 "     4    1.60000E+01          0.062\n" // 0.0625: ties to even
                               + equals59 + "\n");
    sortthetestvolumes();
    EXPECT_EQ(volumelist(), (std::vector<double>{64.0, 16.0, 8.0, 4.0})); // afterwards
}

TEST_F(PeakSearch, LogOfAnEmptyListKeepsItsFrame)
{
    setfloor(10);
    EXPECT_EQ(searchlog(), std::string(equals59)
                               + " Searching for peaks in following fragments of periodogram : \n"
                                 "          No          Start            End\n"
                                 "           1               0              10\n"
                                 "    DS vol :          0.500          0.500\n"
                                 "    RS vol :    2.00000E+00    2.00000E+00\n"
                               + hyphens57
                               + " The final list of test volumes :\n"
                                 "    No      RS volume      DS volume\n"
                               + equals59 + "\n");
}

TEST_F(PeakSearch, LogFollowsThePeriodogramTable)
{
    setfloor(1);
    const std::vector<std::string> lines = logestimated();
    ASSERT_GE(lines.size(), 6U);
    EXPECT_EQ(lines[0], " Folding-based periodogram :");
    EXPECT_EQ(lines[4], "");
    EXPECT_EQ(lines[5] + "\n", equals59);
}

TEST_F(PeakSearch, NothingIsLoggedAtLevelZero)
{
    setfloor(100);
    EXPECT_EQ(writtenby(logunit, [] { estimated(); }), "");
}

class OrderOfTestVolumes : public fresh {
protected:
    static std::vector<double> sorted(std::initializer_list<double> volumes)
    {
        estimatedvolumes.number_of_estimatedvolumes = 0;
        for (const double V : volumes)
            estimatedvolumes.table_of_estimatedvolumes(
                ++estimatedvolumes.number_of_estimatedvolumes) = V;
        sortthetestvolumes();
        return volumelist();
    }
};

TEST_F(OrderOfTestVolumes, RunsFromTheLargestRSVolumeToTheSmallest)
{
    EXPECT_EQ(sorted({1.0, 3.0, 2.0, 3.0}), (std::vector<double>{3.0, 3.0, 2.0, 1.0}));
    EXPECT_EQ(sorted({1.0, 2.0, 3.0, 4.0, 5.0}), (std::vector<double>{5.0, 4.0, 3.0, 2.0, 1.0}));
    EXPECT_EQ(sorted({5.0, 4.0, 3.0}), (std::vector<double>{5.0, 4.0, 3.0}));
    EXPECT_EQ(sorted({1.0, 2.0}), (std::vector<double>{2.0, 1.0}));
}

TEST_F(OrderOfTestVolumes, FewerThanTwoVolumesStayAsTheyAre)
{
    EXPECT_EQ(sorted({7.0}), std::vector<double>{7.0});
    EXPECT_TRUE(sorted({}).empty());
}

TEST_F(OrderOfTestVolumes, EntriesBeyondTheNumberInUseStay)
{
    estimatedvolumes.table_of_estimatedvolumes(3) = 99.0;
    sorted({1.0, 2.0});
    EXPECT_EQ(estimatedvolumes.table_of_estimatedvolumes(3), 99.0);
}

TEST_F(OrderOfTestVolumes, FullTableIsSorted)
{
    std::mt19937 random(350);
    estimatedvolumes.number_of_estimatedvolumes = 350;
    for (int i = 1; i <= 350; ++i)
        estimatedvolumes.table_of_estimatedvolumes(i) = static_cast<double>(random() % 200);
    std::vector<double> expected = volumelist();
    std::sort(expected.rbegin(), expected.rend());
    sortthetestvolumes();
    EXPECT_EQ(volumelist(), expected);
}

TEST_F(OrderOfTestVolumes, EqualVolumesKeepTheirOrder)
{
    // The two zeros are equal and tell themselves apart by their signs.
    const std::vector<double> volumes = sorted({-0.0, 1.0, 0.0, 2.0});
    EXPECT_EQ(volumes, (std::vector<double>{2.0, 1.0, 0.0, 0.0}));
    EXPECT_TRUE(std::signbit(volumes[2]));
    EXPECT_FALSE(std::signbit(volumes[3]));
}

TEST_F(OrderOfTestVolumes, SmallerOfTwoUserGivenCellsComesFirst)
{
    const temporaryfolder folder;
    writefile(folder.file("a.idx"), "_UserProvidedTestVolumes\n2\n100\n50\n");
    printedby([&] {
        fix_defaults();
        read_idx_file(makefilename(folder.file("a.idx")));
    });
    EXPECT_EQ(volumelist(), (std::vector<double>{0.01, 0.02}));
    sortthetestvolumes();
    EXPECT_EQ(volumelist(), (std::vector<double>{0.02, 0.01}));
}

TEST_F(OrderOfTestVolumes, UserGivenVolumesSkipThePeriodogram)
{
    const runresult run =
        runtorvik("_NumberOfReflections\n4\n_Reflections\n.1 0 0\n0 .1 0\n0 0 .1\n.1 .1 0\n"
                  "_UserProvidedTestVolumes\n2\n2000\n1000\n_CreateLogFile\n1\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output.find("Number of test periods"), std::string::npos);
    EXPECT_EQ(run.output.find("Calculating"), std::string::npos);
    const std::string& log = run.files.at("a_idx.log");
    EXPECT_EQ(log.find("Searching for peaks"), std::string::npos);
    EXPECT_EQ(log.find("The total number of test volumes"), std::string::npos);
    // The sorted order shows in the log of the search: the cell of 1000 before that of 2000.
    EXPECT_NE(log.find("  Testing near volume    1 :        1000.000\n"), std::string::npos);
    EXPECT_NE(log.find("  Testing near volume    2 :        2000.000\n"), std::string::npos);
}

} // namespace

} // namespace torvik
