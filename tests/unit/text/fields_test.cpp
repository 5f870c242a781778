#include "text/fields.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <string>

namespace torvik {

namespace {

// Expected texts were counted by hand: the width of the literal is the width of the field.
class Fields : public fresh {};

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

TEST_F(Fields, IntegersAreRightAligned)
{
    EXPECT_EQ(I(4, 7), "   7");
    EXPECT_EQ(I(4, -7), "  -7");
    EXPECT_EQ(I(1, 0), "0");
    EXPECT_EQ(I(12, 2147483647), "  2147483647");
    EXPECT_EQ(I(12, -2147483647 - 1), " -2147483648");
}

TEST_F(Fields, AnIntegerThatFillsItsFieldIsPrintedAndOneTooWideIsNot)
{
    EXPECT_EQ(I(3, 999), "999");
    EXPECT_EQ(I(3, 1000), "***");
    EXPECT_EQ(I(3, -99), "-99");
    EXPECT_EQ(I(3, -100), "***");
    EXPECT_EQ(I(1, -1), "*");
}

TEST_F(Fields, FixedPointNumbersAreRightAligned)
{
    EXPECT_EQ(F(9, 3, 3.25), "    3.250");
    EXPECT_EQ(F(9, 3, -3.25), "   -3.250");
    EXPECT_EQ(F(6, 3, 0.0), " 0.000");
    EXPECT_EQ(F(4, 0, 7.0), "  7.");
    EXPECT_EQ(F(12, 1, 999999999.0), " 999999999.0");
}

TEST_F(Fields, ASmallNumberKeepsTheZeroBeforeThePointWhileThereIsRoom)
{
    EXPECT_EQ(F(5, 3, 0.12), "0.120");
    EXPECT_EQ(F(6, 3, -0.12), "-0.120");
}

TEST_F(Fields, TheZeroBeforeThePointIsDroppedBeforeTheFieldTurnsToAsterisks)
{
    EXPECT_EQ(F(3, 2, 0.5), ".50");
    EXPECT_EQ(F(4, 2, -0.5), "-.50");
    EXPECT_EQ(F(3, 2, 0.0), ".00");
    EXPECT_EQ(F(4, 2, -0.0), "-.00");
    EXPECT_EQ(F(2, 2, 0.5), "**");
    EXPECT_EQ(F(3, 2, -0.5), "***");
}

TEST_F(Fields, OnlyAZeroIsDroppedBeforeThePoint)
{
    EXPECT_EQ(F(3, 2, 1.5), "***");
    EXPECT_EQ(F(3, 2, 0.996), "***"); // 1.00
    EXPECT_EQ(F(4, 2, 10.5), "****");
    EXPECT_EQ(F(1, 0, 0.0), "*"); // a lone point is no number
    EXPECT_EQ(F(2, 0, 0.0), "0.");
}

TEST_F(Fields, ANumberThatRoundsToZeroFromBelowKeepsItsSign)
{
    EXPECT_EQ(F(7, 2, -0.001), "  -0.00");
    EXPECT_EQ(F(7, 2, -0.0), "  -0.00");
    EXPECT_EQ(F(7, 2, -DBL_TRUE_MIN), "  -0.00");
    EXPECT_EQ(F(7, 2, 0.001), "   0.00");
    EXPECT_EQ(F(3, 0, -0.4), "-0.");
    EXPECT_EQ(ES(10, 2, -0.0), " -0.00E+00");
}

// Halves and eighths are exact in binary, so these are true ties.
TEST_F(Fields, TiesOfTheExactBinaryValueGoToEven)
{
    EXPECT_EQ(F(2, 0, 0.5), "0.");
    EXPECT_EQ(F(2, 0, 1.5), "2.");
    EXPECT_EQ(F(2, 0, 2.5), "2.");
    EXPECT_EQ(F(3, 0, -2.5), "-2.");
    EXPECT_EQ(F(4, 2, 0.125), "0.12");
    EXPECT_EQ(F(4, 2, 0.375), "0.38");
    EXPECT_EQ(F(6, 2, -12.125), "-12.12");
    EXPECT_EQ(F(17, 0, 1000000000000000.5), "1000000000000000.");
    EXPECT_EQ(ES(6, 0, 2.5), "2.E+00");
    EXPECT_EQ(ES(6, 0, 3.5), "4.E+00");
    EXPECT_EQ(ES(11, 5, 123456.5), "1.23456E+05");
    EXPECT_EQ(ES(11, 5, 123457.5), "1.23458E+05");
    EXPECT_EQ(EN(9, 3, 1234.5), "1.234E+03");
    EXPECT_EQ(EN(7, 0, 12.5), "12.E+00");
    EXPECT_EQ(EN(7, 0, 13.5), "14.E+00");
}

// The binary values are 0.1499999999999999944..., 0.3499999999999999777...,
// 0.4500000000000000111..., 1.0049999999999998934..., 2.6749999999999998223...
TEST_F(Fields, DecimalsThatLookLikeTiesRoundByTheirBinaryValue)
{
    EXPECT_EQ(F(3, 1, 0.15), "0.1");
    EXPECT_EQ(F(3, 1, 0.35), "0.3");
    EXPECT_EQ(F(3, 1, 0.45), "0.5");
    EXPECT_EQ(F(4, 2, 1.005), "1.00");
    EXPECT_EQ(F(4, 2, 2.675), "2.67");
}

TEST_F(Fields, AFixedPointNumberIsExactToItsLastDigit)
{
    // 2 to the power 70, and 2 to the power -20.
    EXPECT_EQ(F(24, 1, 1180591620717411303424.0), "1180591620717411303424.0");
    EXPECT_EQ(F(22, 20, 0x1p-20), "0.00000095367431640625");
    // The nearest double to 0.1.
    EXPECT_EQ(F(57, 55, 0.1), "0.1000000000000000055511151231257827021181583404541015625");
}

// 2^1024 - 2^971, by arithmetic of whole numbers.
TEST_F(Fields, TheLargestDoubleHas309DigitsBeforeThePoint)
{
    const std::string text = F(320, 2, -DBL_MAX);
    EXPECT_EQ(text.size(), 320U);
    // 320 - 309 digits - sign - point - 2 decimals
    EXPECT_EQ(text.substr(0, 20), "       -179769313486");
    EXPECT_EQ(text.substr(306), "84124858368.00");
    EXPECT_EQ(F(13, 2, DBL_MAX), "*************");
}

TEST_F(Fields, ScientificNotationHasOneDigitBeforeThePointAndTwoInTheExponent)
{
    EXPECT_EQ(ES(15, 5, 3.4028234663852886e+38), "    3.40282E+38");
    EXPECT_EQ(ES(11, 5, 100.0), "1.00000E+02");
    EXPECT_EQ(ES(12, 5, -0.00125), "-1.25000E-03");
    EXPECT_EQ(ES(11, 5, 0.0), "0.00000E+00");
    EXPECT_EQ(ES(11, 5, 1.0), "1.00000E+00");
    EXPECT_EQ(ES(10, 5, 1.0), "**********");
    EXPECT_EQ(ES(11, 5, -1.0), "***********");
}

TEST_F(Fields, AnExponentOfThreeDigitsDropsTheLetter)
{
    EXPECT_EQ(ES(11, 5, 1e100), "1.00000+100");
    EXPECT_EQ(ES(12, 5, -1e-100), "-1.00000-100");
    EXPECT_EQ(ES(11, 5, 1e99), "1.00000E+99");
    EXPECT_EQ(ES(11, 5, 1e-99), "1.00000E-99");
    EXPECT_EQ(ES(11, 5, 9.999999e99), "1.00000+100"); // by rounding up
    EXPECT_EQ(ES(11, 5, 9.999999e-100), "1.00000E-99");
    EXPECT_EQ(ES(11, 5, DBL_MAX), "1.79769+308");
    EXPECT_EQ(ES(11, 5, DBL_TRUE_MIN), "4.94066-324");
}

TEST_F(Fields, NotANumberAndInfinityAreRightAlignedWords)
{
    for (const auto notation : {F, ES, EN}) {
        EXPECT_EQ(notation(8, 2, nan), "     NaN");
        EXPECT_EQ(notation(10, 2, infinity), "  Infinity");
        EXPECT_EQ(notation(10, 2, -infinity), " -Infinity");
    }
    EXPECT_EQ(F(8, 2, -nan), "     NaN");
}

TEST_F(Fields, InfinityIsShortenedBeforeItTurnsToAsterisks)
{
    EXPECT_EQ(F(8, 2, infinity), "Infinity");
    EXPECT_EQ(F(7, 2, infinity), "    Inf");
    EXPECT_EQ(F(9, 2, -infinity), "-Infinity");
    EXPECT_EQ(F(8, 2, -infinity), "    -Inf");
    EXPECT_EQ(F(3, 2, infinity), "Inf");
    EXPECT_EQ(F(4, 2, -infinity), "-Inf");
    EXPECT_EQ(F(2, 1, infinity), "**");
    EXPECT_EQ(F(3, 1, -infinity), "***");
    EXPECT_EQ(F(3, 1, nan), "NaN");
    EXPECT_EQ(F(2, 1, nan), "**");
}

TEST_F(Fields, EngineeringNotationHasOneToThreeDigitsBeforeThePoint)
{
    EXPECT_EQ(EN(13, 3, 1.5), "    1.500E+00");
    EXPECT_EQ(EN(13, 3, 12.5), "   12.500E+00");
    EXPECT_EQ(EN(13, 3, 123.5), "  123.500E+00");
    EXPECT_EQ(EN(13, 3, 1234.0), "    1.234E+03");
    EXPECT_EQ(EN(13, 3, -12345.0), "  -12.345E+03");
    EXPECT_EQ(EN(13, 3, 0.5), "  500.000E-03");
    EXPECT_EQ(EN(13, 3, 0.0625), "   62.500E-03");
    EXPECT_EQ(EN(13, 3, 0.0078125), "    7.812E-03"); // a tie: 7.8125
    EXPECT_EQ(EN(11, 3, 123.5), "123.500E+00");
    EXPECT_EQ(EN(10, 3, 123.5), "**********");
}

TEST_F(Fields, EngineeringNotationRoundsUpAcrossPowersOfTen)
{
    EXPECT_EQ(EN(12, 3, 9.9996), "  10.000E+00");
    EXPECT_EQ(EN(12, 3, 99.9996), " 100.000E+00");
    EXPECT_EQ(EN(12, 3, 999.9996), "   1.000E+03");
    EXPECT_EQ(EN(12, 3, -9.9996), " -10.000E+00");
    EXPECT_EQ(EN(12, 3, -99.9996), "-100.000E+00");
    EXPECT_EQ(EN(12, 3, -999.9996), "  -1.000E+03");
    EXPECT_EQ(EN(12, 3, 0.9999996), "   1.000E+00");
    EXPECT_EQ(EN(12, 3, 999.9994), " 999.999E+00");
    EXPECT_EQ(EN(6, 0, 999.5), "1.E+03"); // a tie between 999 and 1000, which is even
    EXPECT_EQ(EN(8, 0, 99.5), "100.E+00");
    EXPECT_EQ(EN(8, 0, 9.5), " 10.E+00");
}

TEST_F(Fields, EngineeringNotationOfZeroHasOneDigitBeforeThePoint)
{
    EXPECT_EQ(EN(10, 3, 0.0), " 0.000E+00");
    EXPECT_EQ(EN(10, 3, -0.0), "-0.000E+00");
    EXPECT_EQ(EN(6, 0, 0.0), "0.E+00");
}

// -100 = -102 + 2, 100 = 99 + 1, 308 = 306 + 2, and -324 is a multiple of 3.
TEST_F(Fields, EngineeringNotationReachesTheEndsOfTheRange)
{
    EXPECT_EQ(EN(12, 3, 1e99), "   1.000E+99");
    EXPECT_EQ(EN(12, 3, 1e100), "  10.000E+99");
    EXPECT_EQ(EN(12, 3, 1e102), "   1.000+102");
    EXPECT_EQ(EN(12, 3, 999.9996e99), "   1.000+102"); // by rounding up
    EXPECT_EQ(EN(12, 3, 1e-99), "   1.000E-99");
    EXPECT_EQ(EN(12, 3, 1e-100), " 100.000-102");
    EXPECT_EQ(EN(12, 3, DBL_MAX), " 179.769+306");
    EXPECT_EQ(EN(12, 3, -DBL_MAX), "-179.769+306");
    EXPECT_EQ(EN(12, 3, DBL_TRUE_MIN), "   4.941-324");
}

TEST_F(Fields, LogicalsAreOneLetterRightAligned)
{
    EXPECT_EQ(L(1, true), "T");
    EXPECT_EQ(L(1, false), "F");
    EXPECT_EQ(L(4, true), "   T");
}

TEST_F(Fields, StringsAreRightAlignedAndCutOnTheirRight)
{
    EXPECT_EQ(A(5, "ab"), "   ab");
    EXPECT_EQ(A(2, "ab"), "ab");
    EXPECT_EQ(A(2, "abcd"), "ab");
    EXPECT_EQ(A(3, ""), "   ");
    EXPECT_EQ(A(0, "ab"), "");
}

TEST_F(Fields, BlanksAndRulesHaveTheirLength)
{
    EXPECT_EQ(X(3), "   ");
    EXPECT_EQ(X(0), "");
    EXPECT_EQ(rule(5, '='), "=====");
}

TEST_F(Fields, JoinedFieldsStandSideBySide)
{
    EXPECT_EQ(joined(X(2), "Solution nr ", I(3, 1), " out of ", I(3, 16), "."),
              "  Solution nr   1 out of  16.");
    EXPECT_EQ(joined(), "");
}

TEST_F(Fields, AFreeFormatLineBeginsWithOneBlank)
{
    EXPECT_EQ(freeline("Error: Too many"), " Error: Too many");
    EXPECT_EQ(freeline(std::string("text")), " text");
    EXPECT_EQ(freeline(""), " ");
}

TEST_F(Fields, AFreeFormatLineWithoutItemsIsEmpty)
{
    EXPECT_EQ(freeline(), "");
}

TEST_F(Fields, AdjacentStringsOfAFreeFormatLineAreNotSeparated)
{
    EXPECT_EQ(freeline("Cannot open ", std::string("a.idx"), "."), " Cannot open a.idx.");
}

TEST_F(Fields, AnIntegerOfAFreeFormatLineTakesElevenColumnsAndABlank)
{
    EXPECT_EQ(freeline(5), "           5");
    EXPECT_EQ(freeline("n", 5), " n           5");
    EXPECT_EQ(freeline(5, "n"), "           5 n");
    EXPECT_EQ(freeline(1, 2), "           1           2");
    EXPECT_EQ(freeline("a", 5, "b", "c"), " a           5 bc");
    EXPECT_EQ(freeline(-2147483647 - 1), " -2147483648");
}

} // namespace

} // namespace torvik
