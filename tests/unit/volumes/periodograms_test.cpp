#include "volumes/periodograms.h"

#include "numeric/constants.h"
#include "support/runs.h"
#include "text/units.h"
#include "unit/volumes/periodogramcases.h"

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace torvik {

namespace {

class Rayleigh : public fresh {};
class Scargle : public fresh {};
class Folding : public fresh {};
class PeriodogramLog : public fresh {
protected:
    PeriodogramLog()
    {
        write_log_file = {1, logunit};
    }
};

using procedure = void (*)(periodogram& out);

periodogram computed(procedure compute)
{
    // Old values in the array must not matter.
    periodogram out(static_cast<std::size_t>(testperiods.number_of_test_periods) + 1, -99.0);
    compute(out);
    return out;
}

std::string logged(procedure compute)
{
    return writtenby(logunit, [&] { computed(compute); });
}

double period(int i)
{
    return testperiods.tableoftestperiods(i);
}

// Gives the absolute triple products by three nested loops.
std::vector<double> tripleproducts()
{
    const auto& r = recorded_reflections.reflections;
    const int N = recorded_reflections.numberofreflections;
    std::vector<double> products;
    for (int a = 1; a <= N; ++a)
        for (int b = a + 1; b <= N; ++b)
            for (int c = b + 1; c <= N; ++c)
                products.push_back(std::fabs(deter(rowsmatrix(r(a), r(b), r(c)))));
    return products;
}

// Eight reflections off any lattice and 61 periods.
void setcase(unsigned seed)
{
    std::mt19937 random(seed);
    const auto component = [&] { return static_cast<double>(random() % 20000) / 10000.0 - 1.0; };
    auto& recorded = recorded_reflections;
    recorded.numberofreflections = 8;
    for (int i = 1; i <= 8; ++i) {
        const double x = component(), y = component(), z = component();
        recorded.reflections(i) = {{x, y, z}};
    }
    testperiods.number_of_test_periods = 60;
    for (int i = 0; i <= 60; ++i) testperiods.tableoftestperiods(i) = 0.02 / (1.0 - i / 80.0);
}

constexpr long double pil = 3.1415927410125732L; // the program's pi, a single-precision one

// The definition in long double: the squared length of the mean of the unit vectors at the phases.
long double rayleighvalue(const std::vector<double>& products, long double P)
{
    long double S = 0, C = 0;
    for (const long double t : products) {
        S += std::sin(2 * pil * t / P);
        C += std::cos(2 * pil * t / P);
    }
    const auto n = static_cast<long double>(products.size());
    return (S * S + C * C) / (n * n);
}

// The definition in long double: the cosine and the sine term, each with its own sum of squares,
// about the offset that decouples them.
long double scarglevalue(const std::vector<double>& products, long double P)
{
    long double A = 0, B = 0;
    for (const long double t : products) {
        A += std::sin(4 * pil * t / P);
        B += std::cos(4 * pil * t / P);
    }
    const long double tau = std::atan2(A, B) / 2; // radians of the single phase
    long double s = 0, c = 0, ss = 0, cc = 0;
    for (const long double t : products) {
        const long double phi = 2 * pil * t / P - tau;
        s += std::sin(phi);
        c += std::cos(phi);
        ss += std::sin(phi) * std::sin(phi);
        cc += std::cos(phi) * std::cos(phi);
    }
    return (s * s / ss + c * c / cc) / static_cast<long double>(products.size());
}

long double foldingvalue(const std::vector<double>& products, long double P)
{
    long double sum = 0;
    for (const long double t : products) {
        const long double f = t / P - std::floor(t / P);
        sum += std::fabs(2 * f - 1);
    }
    return sum / static_cast<long double>(products.size());
}

// Phases reach 2 pi 3 / 0.02 = 1000 rad, so a double phase is good to 1e-13 and a mean of 56 sines
// hardly worse. The Scargle quotients divide by sums of squares, which are above 1 here.
constexpr double phaseerror = 1e-11;

TEST_F(Rayleigh, AgreesWithItsDefinitionInLongDouble)
{
    setcase(1);
    const std::vector<double> products = tripleproducts();
    const periodogram out = computed(rayleigh_periodogram);
    for (int i = 0; i <= 60; ++i) {
        const auto expected = static_cast<double>(rayleighvalue(products, period(i)));
        EXPECT_NEAR(out[static_cast<std::size_t>(i)], expected, phaseerror) << i;
    }
}

TEST_F(Scargle, AgreesWithItsDefinitionInLongDouble)
{
    setcase(2);
    const std::vector<double> products = tripleproducts();
    const periodogram out = computed(scargle_periodogram);
    for (int i = 0; i <= 60; ++i) {
        const auto expected = static_cast<double>(scarglevalue(products, period(i)));
        EXPECT_NEAR(out[static_cast<std::size_t>(i)], expected, phaseerror) << i;
    }
}

TEST_F(Folding, AgreesWithItsDefinitionInLongDouble)
{
    setcase(3);
    const std::vector<double> products = tripleproducts();
    const periodogram out = computed(folding_periodogram);
    for (int i = 0; i <= 60; ++i) {
        const auto expected = static_cast<double>(foldingvalue(products, period(i)));
        EXPECT_NEAR(out[static_cast<std::size_t>(i)], expected, phaseerror) << i;
    }
}

// How a phase is computed from t and P, given two pi or four pi.
using grouping = double (*)(double t, double P, double factor);

double productfirst(double t, double P, double factor)
{
    return (t * factor) / P;
}

double quotientfirst(double t, double P, double factor)
{
    return (t / P) * factor;
}

constexpr double twopis = 6.2831854820251465, fourpis = 12.566370964050293;

periodogram plainrayleigh(grouping phase)
{
    const std::vector<double> products = tripleproducts();
    periodogram out;
    for (int i = 0; i <= testperiods.number_of_test_periods; ++i) {
        double S = 0.0, C = 0.0;
        for (const double t : products) {
            S += std::sin(phase(t, period(i), twopis));
            C += std::cos(phase(t, period(i), twopis));
        }
        const auto n = static_cast<double>(products.size());
        out.push_back((C * C + S * S) / (n * n));
    }
    return out;
}

periodogram plainscargle(grouping firstpass, bool secondpassquotientfirst)
{
    const std::vector<double> products = tripleproducts();
    periodogram out;
    for (int i = 0; i <= testperiods.number_of_test_periods; ++i) {
        double A = 0.0, B = 0.0;
        for (const double t : products) {
            A += std::sin(firstpass(t, period(i), fourpis));
            B += std::cos(firstpass(t, period(i), fourpis));
        }
        const double tau = std::atan2(A, B) / fourpis;
        double s = 0.0, c = 0.0, ss = 0.0, cc = 0.0;
        for (const double t : products) {
            const double phi = secondpassquotientfirst ? ((t / period(i)) - tau) * twopis
                                                       : (t * twopis) / period(i) - tau * twopis;
            s += std::sin(phi);
            c += std::cos(phi);
            ss += std::sin(phi) * std::sin(phi);
            cc += std::cos(phi) * std::cos(phi);
        }
        out.push_back(((s * s) / ss + (c * c) / cc) / static_cast<double>(products.size()));
    }
    return out;
}

TEST_F(Rayleigh, PhaseIsTheProductWithTwoPiOverThePeriodToTheLastBit)
{
    setcase(4);
    const periodogram out = computed(rayleigh_periodogram);
    EXPECT_EQ(out, plainrayleigh(productfirst));
    EXPECT_NE(out, plainrayleigh(quotientfirst)); // the case does tell the two apart
}

TEST_F(Scargle, TwoPassesGroupTheirPhasesDifferentlyToTheLastBit)
{
    setcase(5);
    const periodogram out = computed(scargle_periodogram);
    EXPECT_EQ(out, plainscargle(productfirst, true));
    EXPECT_NE(out, plainscargle(quotientfirst, true));
    EXPECT_NE(out, plainscargle(productfirst, false));
}

TEST_F(Folding, FoldsTheQuotientToTheLastBit)
{
    setcase(6);
    const std::vector<double> products = tripleproducts();
    const periodogram out = computed(folding_periodogram);
    for (int i = 0; i <= 60; ++i) {
        double sum = 0.0;
        for (const double t : products) {
            const double x = t / period(i);
            sum += std::fabs(2.0 * (x - static_cast<int>(x)) - 1.0);
        }
        EXPECT_EQ(out[static_cast<std::size_t>(i)], sum / 56.0) << i; // 8 7 6 / 6 triples
    }
}

TEST_F(Rayleigh, OneTripleGivesOneAtEveryPeriod)
{
    setoneproduct(1.7);
    setperiods({0.11, 0.2, 0.35, 0.85, 1.7, 3.3});
    for (const double value : computed(rayleigh_periodogram)) EXPECT_NEAR(value, 1.0, 1e-15);
}

TEST_F(Folding, OneTripleGivesOneAtItsProductAndZeroHalfWay)
{
    setoneproduct(1.5);
    setperiods({0.75, 1.0, 1.5}); // t = 2 P, 1.5 P and P
    EXPECT_EQ(computed(folding_periodogram), (periodogram{1.0, 0.0, 1.0}));
}

TEST_F(Folding, ValueFallsLinearlyOnBothSidesOfAMultiple)
{
    setoneproduct(15.0);
    setperiods({4.0, 12.0, 20.0, 24.0, 60.0}); // f = 0.75, 0.25, 0.75, 0.625, 0.25
    EXPECT_EQ(computed(folding_periodogram), (periodogram{0.5, 0.5, 0.5, 0.25, 0.5}));
}

// The whole part of a quotient is at most 2147483647; the rest is taken for the fraction. So many
// periods are worked on side by side, where quotients allow it.
TEST_F(Folding, QuotientsBeyondA32BitIntegerLeaveAllThatIsBeyondIt)
{
    setoneproduct(1.0);
    testperiods.number_of_test_periods = 31;
    for (int i = 0; i <= 31; ++i) testperiods.tableoftestperiods(i) = 0x1p-32;
    // f = 2^32 - 2147483647 = 2147483649, and 2f - 1 = 4294967297.
    EXPECT_EQ(computed(folding_periodogram), periodogram(32, 4294967297.0));
}

TEST_F(Scargle, OneTripleGivesTwoWhereItsSineIsNotExactlyZero)
{
    // Of a single event each term is 1 whatever the phase, unless the offset meets the phase to the
    // last bit: 0/0.
    setoneproduct(1.0);
    testperiods.number_of_test_periods = 200;
    for (int i = 0; i <= 200; ++i) testperiods.tableoftestperiods(i) = 0.013 + i * 0.0071;
    int twos = 0;
    for (const double value : computed(scargle_periodogram)) {
        if (std::isnan(value)) continue;
        EXPECT_NEAR(value, 2.0, 1e-12);
        ++twos;
    }
    EXPECT_GT(twos, 100);
}

TEST_F(Rayleigh, WholeMultiplesGiveOne)
{
    setfourproducts(2.0, 3.0, 5.0);
    setperiods({0.25, 0.5, 1.0});
    for (const double value : computed(rayleigh_periodogram)) EXPECT_NEAR(value, 1.0, 1e-10);
}

TEST_F(Folding, WholeMultiplesGiveOne)
{
    setfourproducts(2.0, 3.0, 5.0);
    setperiods({0.25, 0.5, 1.0});
    EXPECT_EQ(computed(folding_periodogram), (periodogram{1.0, 1.0, 1.0}));
}

TEST_F(Scargle, WholeMultiplesGiveOne)
{
    // The cosine term is 4^2 / 4 / 4; the offset takes the mean from the small sines, so that the
    // sine term vanishes.
    setfourproducts(2.0, 3.0, 5.0);
    setperiods({0.25, 0.5, 1.0});
    for (const double value : computed(scargle_periodogram)) EXPECT_NEAR(value, 1.0, 1e-9);
}

TEST_F(Rayleigh, PhasesSpreadEvenlyGiveZero)
{
    setfourproducts(1.25, 1.5, 1.75); // with 1: the four quarters of a cycle
    setperiods({1.0});
    // Each phase is off by the error of the single-precision pi, 1.8e-7 a cycle: squared.
    EXPECT_NEAR(computed(rayleigh_periodogram)[0], 0.0, 1e-12);
}

TEST_F(Folding, PhasesSpreadEvenlyGiveOneHalf)
{
    setfourproducts(1.25, 1.5, 1.75); // |2f - 1| = 1, 0.5, 0, 0.5
    setperiods({1.0});
    EXPECT_EQ(computed(folding_periodogram), periodogram{0.5});
}

TEST_F(Rayleigh, HalfWayPhasesGiveOneAsWell)
{
    setfourproducts(3.0, 5.0, 7.0);
    setperiods({2.0}); // all odd multiples of half a period: the phases agree
    EXPECT_NEAR(computed(rayleigh_periodogram)[0], 1.0, 1e-10);
    EXPECT_EQ(computed(folding_periodogram)[0], 0.0); // while the folding tells them apart
}

// In a plane every phase is 0, so the sums are S = 0 and C = n, and the value is n^2 over the
// divisor.
double valueinaplane(int reflections)
{
    setplanereflections(reflections);
    setperiods({0.5, 1.0});
    const periodogram out = computed(rayleigh_periodogram);
    EXPECT_EQ(out[0], out[1]);
    return out[0];
}

TEST_F(Rayleigh, DivisorOfSixtySixReflectionsIsExact)
{
    EXPECT_EQ(valueinaplane(66), 1.0); // 45760^2 = 2093977600 fits into 32 bits
}

TEST_F(Rayleigh, DivisorOfSixtySevenReflectionsWrapsBelowZero)
{
    // 47905^2 = 2294889025; less 2^32: -2000078271.
    EXPECT_EQ(valueinaplane(67), 2294889025.0 / -2000078271.0);
}

TEST_F(Rayleigh, DivisorOfAHundredReflectionsWrapsToASmallPositiveNumber)
{
    // 161700^2 = 26146890000; less 6 times 2^32: 377086224.
    EXPECT_EQ(valueinaplane(100), 26146890000.0 / 377086224.0);
}

TEST_F(Rayleigh, WholePeriodogramOfSixtySevenReflectionsIsNegativeOrZero)
{
    std::mt19937 random(67);
    auto& recorded = recorded_reflections;
    recorded.numberofreflections = 67;
    for (int i = 1; i <= 67; ++i) {
        const double x = static_cast<double>(random() % 1000) / 500.0 - 1.0;
        const double y = static_cast<double>(random() % 1000) / 500.0 - 1.0;
        const double z = static_cast<double>(random() % 1000) / 500.0 - 1.0;
        recorded.reflections(i) = {{x, y, z}};
    }
    setperiods({0.05, 0.1, 0.2, 0.4, 0.8});
    for (const double value : computed(rayleigh_periodogram)) EXPECT_LE(value, 0.0);
}

TEST_F(Scargle, DivisorDoesNotWrap)
{
    // 67 reflections in a plane: 47905 triples of phase 0, so c = cc = 47905 and the sine term is
    // 0/0; a single one out of the plane breaks that.
    setplanereflections(67);
    recorded_reflections.reflections(67) = {{0.0, 0.0, 0.125}};
    const std::vector<double> products = tripleproducts();
    ASSERT_EQ(products.size(), 47905U);
    setperiods({1.0});
    const double value = computed(scargle_periodogram)[0];
    EXPECT_NEAR(value, static_cast<double>(scarglevalue(products, 1.0L)), 1e-9);
    EXPECT_GT(value, 0.0);
}

TEST_F(Rayleigh, WithoutTriplesItIsZeroEverywhere)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}});
    setperiods({0.5, 1.0});
    EXPECT_EQ(computed(rayleigh_periodogram), (periodogram{0.0, 0.0}));
}

TEST_F(Folding, WithoutTriplesItIsZeroEverywhere)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}});
    setperiods({0.5, 1.0});
    EXPECT_EQ(computed(folding_periodogram), (periodogram{0.0, 0.0}));
}

TEST_F(Scargle, WithoutTriplesItIsNotANumber)
{
    for (int N = 0; N <= 2; ++N) {
        setplanereflections(N);
        setperiods({0.5, 1.0});
        for (const double value : computed(scargle_periodogram)) EXPECT_TRUE(std::isnan(value));
    }
}

TEST_F(Folding, QuotientsBeyond32BitsAreDefined)
{
    setoneproduct(1e20);
    setperiods({1.0});
    // The whole part is cut at 2147483647: f = 1e20 - 2147483647.
    EXPECT_EQ(computed(folding_periodogram)[0], std::fabs(2.0 * (1e20 - 2147483647.0) - 1.0));
}

TEST_F(PeriodogramLog, RayleighTableHasFourColumns)
{
    setoneproduct(1.0);
    setperiods({0.5, 0.8, 4.0}); // phases 0, 90 and 90 degrees
    EXPECT_EQ(logged(rayleigh_periodogram),
              " Rayleigh periodogram :\n"
              "       RS volume      DS volume      Periodogram   Phase [deg]\n"
              "     5.00000E-01          2.000      1.00000E+00       0.0\n"
              "     8.00000E-01          1.250      1.00000E+00      90.0\n"
              "     4.00000E+00          0.250      1.00000E+00      90.0\n"
              "\n");
}

TEST_F(PeriodogramLog, RayleighPhaseRunsFromMinusToPlus180Degrees)
{
    // t = 15 with P = 20, 60, 24: three quarters, a quarter and five eighths of a cycle.
    setoneproduct(15.0);
    setperiods({20.0, 24.0, 60.0});
    const std::vector<std::string> lines = linesof(logged(rayleigh_periodogram));
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[2], "     2.00000E+01          0.050      1.00000E+00     -90.0");
    EXPECT_EQ(lines[3], "     2.40000E+01          0.042      1.00000E+00    -135.0");
    EXPECT_EQ(lines[4], "     6.00000E+01          0.017      1.00000E+00      90.0");
}

TEST_F(PeriodogramLog, RayleighTableShowsNegativeValues)
{
    setplanereflections(67);
    setperiods({1e-4});
    // 2294889025 / -2000078271 = -1.14740
    EXPECT_EQ(linesof(logged(rayleigh_periodogram))[2],
              "     1.00000E-04      10000.000     -1.14740E+00       0.0");
}

TEST_F(PeriodogramLog, ScargleTableShowsTheOffsetInDegrees)
{
    // The phases are 0 and three times 36 degrees. tau is half of
    // atan2(3 sin 72, 1 + 3 cos 72) = atan2(2.85317, 1.92705) = 55.965 degrees. With two distinct
    // phases only, a sine and a cosine represent the events exactly: the value is 1.
    setfourproducts(2.1, 3.1, 5.1);
    setperiods({1.0});
    EXPECT_EQ(logged(scargle_periodogram),
              " Scargle periodogram :\n"
              "       RS volume      DS volume      Periodogram  Scargle tau [deg]\n"
              "     1.00000E+00          1.000      1.00000E+00      28.0\n"
              "\n");
}

TEST_F(PeriodogramLog, ScargleOffsetWithoutTriplesIsZeroAndItsValueNotANumber)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}});
    setperiods({0.5, 1.0});
    EXPECT_EQ(logged(scargle_periodogram),
              " Scargle periodogram :\n"
              "       RS volume      DS volume      Periodogram  Scargle tau [deg]\n"
              "     5.00000E-01          2.000              NaN       0.0\n"
              "     1.00000E+00          1.000              NaN       0.0\n"
              "\n");
}

TEST_F(PeriodogramLog, FoldingTableHasThreeColumns)
{
    setoneproduct(1.0);
    setperiods({0.001, 0.5, 4.0, 8.0});
    EXPECT_EQ(logged(folding_periodogram), " Folding-based periodogram :\n"
                                           "       RS volume      DS volume      Periodogram\n"
                                           "     1.00000E-03       1000.000      1.00000E+00\n"
                                           "     5.00000E-01          2.000      1.00000E+00\n"
                                           "     4.00000E+00          0.250    500.00000E-03\n"
                                           "     8.00000E+00          0.125    750.00000E-03\n"
                                           "\n");
}

TEST_F(PeriodogramLog, NothingIsLoggedAtLevelZero)
{
    write_log_file.log_file_level = 0;
    setoneproduct(1.0);
    setperiods({0.5});
    for (const procedure compute : {rayleigh_periodogram, scargle_periodogram, folding_periodogram})
        EXPECT_EQ(logged(compute), "");
}

TEST_F(PeriodogramLog, ProceduresPrintNothingOnTheTerminal)
{
    setoneproduct(1.0);
    setperiods({0.5});
    write_log_file.log_file_level = 0;
    for (const procedure compute : {rayleigh_periodogram, scargle_periodogram, folding_periodogram})
        EXPECT_EQ(printedby([&] { computed(compute); }), "");
}

TEST(Logarithm, ToBaseFourOfSixteenIsTwo)
{
    EXPECT_EQ(loga(4.0, 1.0), 0.0);
    EXPECT_EQ(loga(4.0, 4.0), 1.0);
    EXPECT_DOUBLE_EQ(loga(4.0, 16.0), 2.0);
    EXPECT_DOUBLE_EQ(loga(10.0, 0.001), -3.0);
    EXPECT_EQ(loga(4.0, 0.0), -std::numeric_limits<double>::infinity());
    EXPECT_EQ(loga(3.0, 7.0), std::log(7.0) / std::log(3.0)); // a quotient of natural logarithms
}

// Both the sine and the cosine take the single-precision pi, so the phase of t/P = f is 360 f degrees
// if the factor to degrees takes it as well: here 45.0499995, while the exact factor would make
// 45.05000075 of it.
TEST_F(PeriodogramLog, ShowsPhasesByTheFactorOfTheSinglePrecisionPi)
{
    setoneproduct(45.0499995 / 360.0);
    setperiods({1.0});
    EXPECT_TRUE(linesof(logged(rayleigh_periodogram))[2].ends_with("      45.0"));
}

// Two products of a quarter of a turn and a billionth less, two of three times as much: their sines
// cancel to the bit, and the sum of the cosines is below zero, so the offset is half of half a turn.
TEST_F(PeriodogramLog, ShowsAnOffsetWhereOnlyTheSumOfTheSinesVanishes)
{
    setfourproducts(3.0, 3.0, 1.0);
    setperiods({fourpi / (1.5707963267948966 - 1e-9)});
    EXPECT_TRUE(linesof(logged(scargle_periodogram))[2].ends_with("      90.0"));
}

} // namespace

} // namespace torvik
