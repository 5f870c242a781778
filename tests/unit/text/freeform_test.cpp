#include "text/freeform.h"

#include "support/fresh.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

namespace torvik {

namespace {

class FreeForm : public fresh {};

constexpr double kept = -77.0; // what a place holds before it is read

freeformtext textof(std::string text)
{
    return {std::move(text), 0};
}

struct readnumbers {
    int status;
    std::vector<double> values;
    std::string rest; // what the next read begins with
};

bool operator==(const readnumbers& a, const readnumbers& b)
{
    return a.status == b.status && a.values == b.values && a.rest == b.rest;
}

std::ostream& operator<<(std::ostream& out, const readnumbers& r)
{
    out << "status " << r.status << ", values";
    for (const double x : r.values) out << ' ' << x;
    return out << ", rest '" << r.rest << "'";
}

readnumbers reals(const std::string& text, std::size_t count)
{
    freeformtext source = textof(text);
    std::vector<double> values(count, kept);
    const int status = readreals(source, values);
    return {status, values, source.text.substr(source.position)};
}

struct readone {
    int status;
    int value;
    friend bool operator==(const readone&, const readone&) = default;
};

std::ostream& operator<<(std::ostream& out, const readone& r)
{
    return out << "status " << r.status << ", value " << r.value;
}

readone integer(const std::string& text)
{
    freeformtext source = textof(text);
    int value = -77;
    const int status = readinteger(source, value);
    return {status, value};
}

constexpr readone notaninteger = {readfailed, -77};

std::string word(const std::string& text)
{
    freeformtext source = textof(text);
    std::string value = "kept";
    EXPECT_EQ(readword(source, value), readdone) << text;
    return value;
}

TEST_F(FreeForm, BlanksTabsCommasAndLineEndsSeparateItems)
{
    const readnumbers expected = {readdone, {1, 2, 3}, ""};
    for (const char* text :
         {"1 2 3\n", "  1   2   3  \n", "1\t2\t3\n", "1,2,3\n", "1 , 2 ,3\n", "1\n2\n3\n",
          "1\n\n\n2 3\n", "1,\n2,\n3\n", "1\n,2\n,3\n", "\t1,\t2 3\n"})
        EXPECT_EQ(reals(text, 3), expected) << text;
}

TEST_F(FreeForm, LinesMayEndWithACarriageReturnToo)
{
    EXPECT_EQ(reals("1 2\r\n\r\n3\r\n4", 3), (readnumbers{readdone, {1, 2, 3}, "4"}));
    EXPECT_EQ(integer("5\r\n"), (readone{readdone, 5}));
    EXPECT_EQ(word("_Wavelength\r\n"), "_Wavelength");
}

TEST_F(FreeForm, TheRestOfTheLastLineIsSkipped)
{
    EXPECT_EQ(reals("1 2 3 remark\n4\n", 2), (readnumbers{readdone, {1, 2}, "4\n"}));
    EXPECT_EQ(reals("1\n2, 'unclosed\n4\n", 2), (readnumbers{readdone, {1, 2}, "4\n"}));
    EXPECT_EQ(reals("1 2\n\n4\n", 2), (readnumbers{readdone, {1, 2}, "\n4\n"}));
}

TEST_F(FreeForm, ALastLineWithoutALineEndCounts)
{
    EXPECT_EQ(reals("1\n2", 2), (readnumbers{readdone, {1, 2}, ""}));
    EXPECT_EQ(integer("12"), (readone{readdone, 12}));
    EXPECT_EQ(word("abc"), "abc");
}

TEST_F(FreeForm, AReadThatMeetsTheEndOfTheTextHasEnded)
{
    EXPECT_EQ(reals("1 2\n", 3), (readnumbers{readended, {1, 2, kept}, ""}));
    EXPECT_EQ(reals("", 1), (readnumbers{readended, {kept}, ""}));
    EXPECT_EQ(reals(" \n\t\r\n", 1), (readnumbers{readended, {kept}, ""}));
    EXPECT_EQ(reals("1,", 2), (readnumbers{readended, {1, kept}, ""}));
    EXPECT_EQ(integer("\n\n"), (readone{readended, -77}));
    freeformtext source = textof(" \n");
    std::string name = "kept";
    EXPECT_EQ(readword(source, name), readended);
    EXPECT_EQ(name, "kept");
}

TEST_F(FreeForm, NothingBetweenTwoCommasKeepsTheValue)
{
    EXPECT_EQ(reals("1,,3\n", 3), (readnumbers{readdone, {1, kept, 3}, ""}));
    EXPECT_EQ(reals("1, ,3\n", 3), (readnumbers{readdone, {1, kept, 3}, ""}));
    EXPECT_EQ(reals("1,\n,3\n", 3), (readnumbers{readdone, {1, kept, 3}, ""}));
    EXPECT_EQ(reals("1,,,4\n", 4), (readnumbers{readdone, {1, kept, kept, 4}, ""}));
    EXPECT_EQ(integer(",5\n"), (readone{readdone, -77}));
    EXPECT_EQ(word(",abc\n"), "kept");
}

TEST_F(FreeForm, ACommaBeforeTheFirstItemIsANullItem)
{
    EXPECT_EQ(reals(",2,3\n", 3), (readnumbers{readdone, {kept, 2, 3}, ""}));
    EXPECT_EQ(reals(",,3\n", 3), (readnumbers{readdone, {kept, kept, 3}, ""}));
}

TEST_F(FreeForm, ANullItemMayBeTheLastOfARead)
{
    EXPECT_EQ(reals("1,,\n3\n", 2), (readnumbers{readdone, {1, kept}, "3\n"}));
}

TEST_F(FreeForm, ASlashEndsTheReadAndKeepsTheOtherValues)
{
    EXPECT_EQ(reals("1 / 2 3\n4\n", 3), (readnumbers{readdone, {1, kept, kept}, "4\n"}));
    EXPECT_EQ(reals("1/2\n", 2), (readnumbers{readdone, {1, kept}, ""}));
    EXPECT_EQ(reals("/\n", 1), (readnumbers{readdone, {kept}, ""}));
    EXPECT_EQ(reals("1,/\n", 2), (readnumbers{readdone, {1, kept}, ""}));
    EXPECT_EQ(reals("1\n2\n/\n", 3), (readnumbers{readdone, {1, 2, kept}, ""}));
    EXPECT_EQ(integer("/\n"), (readone{readdone, -77}));
    EXPECT_EQ(word("/abc\n"), "kept");
    EXPECT_EQ(word("abc/def\n"), "abc");
}

TEST_F(FreeForm, ARepeatCountStandsForSeveralItems)
{
    EXPECT_EQ(reals("3*1.5\n", 3), (readnumbers{readdone, {1.5, 1.5, 1.5}, ""}));
    EXPECT_EQ(reals("2*1.5 2*-2e0\n", 4), (readnumbers{readdone, {1.5, 1.5, -2, -2}, ""}));
    EXPECT_EQ(reals("2*1,7\n", 3), (readnumbers{readdone, {1, 1, 7}, ""}));
    EXPECT_EQ(reals("007*1\n", 2), (readnumbers{readdone, {1, 1}, ""}));
    EXPECT_EQ(integer("4*12\n"), (readone{readdone, 12}));
    EXPECT_EQ(word("2*abc\n"), "abc");
    EXPECT_EQ(word("2*'a b'\n"), "a b");
}

TEST_F(FreeForm, ARepeatThatAReadDoesNotUseUpIsForgotten)
{
    freeformtext source = textof("5*1\n2 3\n");
    std::array<double, 2> values = {};
    EXPECT_EQ(readreals(source, values), readdone);
    EXPECT_EQ(readreals(source, values), readdone);
    EXPECT_EQ(values, (std::array<double, 2>{2, 3}));
}

TEST_F(FreeForm, ARepeatCountWithoutAnItemStandsForNullItems)
{
    EXPECT_EQ(reals("2* 5\n", 3), (readnumbers{readdone, {kept, kept, 5}, ""}));
    EXPECT_EQ(reals("2*,5\n", 3), (readnumbers{readdone, {kept, kept, 5}, ""}));
    EXPECT_EQ(reals("2*\n5\n", 3), (readnumbers{readdone, {kept, kept, 5}, ""}));
    EXPECT_EQ(reals("2*/\n", 3), (readnumbers{readdone, {kept, kept, kept}, ""}));
    EXPECT_EQ(reals("1*", 1), (readnumbers{readdone, {kept}, ""}));
    EXPECT_EQ(reals("1,2*,5\n", 4), (readnumbers{readdone, {1, kept, kept, 5}, ""}));
}

TEST_F(FreeForm, ARepeatCountOfZeroOrBeyond32BitsIsAReadError)
{
    EXPECT_EQ(reals("0*1\n", 1).status, readfailed);
    EXPECT_EQ(reals("2147483648*1\n", 1).status, readfailed);
    EXPECT_EQ(reals("99999999999999999999999*1\n", 1).status, readfailed);
    EXPECT_EQ(reals("99999999999999999999999*\n", 1).status, readfailed);
    EXPECT_EQ(reals("2147483647*1\n", 1).status, readdone);
}

TEST_F(FreeForm, ARepeatCountIsAPlainInteger)
{
    for (const char* text : {"-2*1\n", "+2*1\n", "2.0*1\n", "*1\n", "2*3*1\n", "a*1\n"})
        EXPECT_EQ(reals(text, 1), (readnumbers{readfailed, {kept}, ""})) << text;
}

TEST_F(FreeForm, HugeRepeatCountsTakeNoTime)
{
    const std::clock_t start = std::clock(); // of the processor: others may be at work beside
    std::vector<double> values(350, kept);
    for (const char* text : {"2147483647 2147483647*1.5\n", "2147483647 2147483647*\n"}) {
        freeformtext source = textof(text);
        int n = 0;
        EXPECT_EQ(readcountandreals(source, n, values), readdone);
        EXPECT_EQ(n, 2147483647);
        EXPECT_EQ(values.front(), values.back());
    }
    EXPECT_EQ(values.back(), 1.5);
    EXPECT_LT(static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC, 1.0);
}

TEST_F(FreeForm, ExponentsMayBeWrittenWithEitherLetter)
{
    for (const char* text : {"1.25e2\n", "1.25E2\n", "1.25d2\n", "1.25D2\n", "1.25e+2\n",
                             "1.25D+02\n", "12500d-2\n", "+.125E003\n", "0125.\n", "125.e0\n"})
        EXPECT_EQ(reals(text, 1), (readnumbers{readdone, {125}, ""})) << text;
    EXPECT_EQ(reals("-1.25D-2\n", 1), (readnumbers{readdone, {-0.0125}, ""}));
}

TEST_F(FreeForm, ARealMayLackAPointOrDigitsOnOneSideOfIt)
{
    EXPECT_EQ(reals("5 5. .5 -.5 +5 -0\n", 6),
              (readnumbers{readdone, {5, 5, 0.5, -0.5, 5, 0}, ""}));
    EXPECT_TRUE(std::signbit(reals("-0\n", 1).values[0]));
}

TEST_F(FreeForm, RealsAreTheNearestDoubles)
{
    // 2^53 + 1 is a tie, which goes to the even 2^53; one digit further it is above the tie.
    EXPECT_EQ(reals("9007199254740993\n", 1).values[0], 9007199254740992.0);
    EXPECT_EQ(reals("9007199254740993.0000000000000000000001\n", 1).values[0], 9007199254740994.0);
    EXPECT_EQ(reals("1d23\n", 1).values[0], 1e23);
    EXPECT_EQ(reals("4.9406564584124654D-324\n", 1).values[0], 0x1p-1074);
}

TEST_F(FreeForm, ARealTooLargeIsInfiniteAndOneTooSmallIsZero)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(reals("1e400 -1D400 1e99999999999999999999\n", 3),
              (readnumbers{readdone, {infinity, -infinity, infinity}, ""}));
    EXPECT_EQ(reals("1e-400 1d-99999999999999999999 0e99999\n", 3),
              (readnumbers{readdone, {0, 0, 0}, ""}));
}

TEST_F(FreeForm, AWordForARealIsAReadError)
{
    for (const char* text :
         {"abc\n",   "1.5x\n", "1.5.2\n", "--1\n",      "+-1\n",  "1e\n",  "1e+\n",
          "e5\n",    ".\n",    "-\n",     "+\n",        ".e5\n",  "1-5\n", "1+5\n",
          "0x10\n",  "nan\n",  "inf\n",   "Infinity\n", "1;2\n",  "'1'\n", "\"1\"\n",
          "2*'1'\n", "T\n",    "1e5.0\n", "1 .e\n",     "1d5d5\n"}) {
        const std::size_t count = text[1] == ' ' ? 2 : 1;
        EXPECT_EQ(reals(text, count).status, readfailed) << text;
    }
}

TEST_F(FreeForm, AFailedReadKeepsWhatCameBeforeAndStandsBehindItsLine)
{
    EXPECT_EQ(reals("1 x 3\n4\n", 3), (readnumbers{readfailed, {1, kept, kept}, "4\n"}));
}

TEST_F(FreeForm, ACommentLineInsideAValueListIsABadNumber)
{
    EXPECT_EQ(reals("1 2\n# remark\n3\n", 3), (readnumbers{readfailed, {1, 2, kept}, "3\n"}));
    EXPECT_EQ(integer("# remark\n5\n"), notaninteger);
}

TEST_F(FreeForm, IntegersHaveSignsAndLeadingZeros)
{
    EXPECT_EQ(integer("12\n"), (readone{readdone, 12}));
    EXPECT_EQ(integer("+12\n"), (readone{readdone, 12}));
    EXPECT_EQ(integer("+5\n"), (readone{readdone, 5}));
    EXPECT_EQ(integer("-12\n"), (readone{readdone, -12}));
    EXPECT_EQ(integer("0000000000000012\n"), (readone{readdone, 12}));
    EXPECT_EQ(integer("\n\n  12 remark\n"), (readone{readdone, 12}));
}

TEST_F(FreeForm, AnIntegerBeyond32BitsIsAReadError)
{
    EXPECT_EQ(integer("2147483647\n"), (readone{readdone, 2147483647}));
    EXPECT_EQ(integer("-2147483648\n"), (readone{readdone, -2147483647 - 1}));
    EXPECT_EQ(integer("2147483648\n"), notaninteger);
    EXPECT_EQ(integer("-2147483649\n"), notaninteger);
    EXPECT_EQ(integer("99999999999999999999\n"), notaninteger);
}

TEST_F(FreeForm, AFractionOrAWordForAnIntegerIsAReadError)
{
    for (const char* text : {"2.0\n", "2.\n", "2e0\n", "2d0\n", "abc\n", "12a\n", "+\n", "-\n",
                             "+-2\n", "-+2\n", "'2'\n", "\"2\"\n", "0x2\n", "2*2.0\n", "T\n"})
        EXPECT_EQ(integer(text), notaninteger) << text;
}

TEST_F(FreeForm, AnAsteriskWithoutACountBeforeItBelongsToAWord)
{
    EXPECT_EQ(word("*** remark\n"), "***");
    EXPECT_EQ(word("*3\n"), "*3");
}

TEST_F(FreeForm, AWordEndsAtASeparatorOrASlash)
{
    EXPECT_EQ(word("abc def\n"), "abc");
    EXPECT_EQ(word("  abc\n"), "abc");
    EXPECT_EQ(word("\n\n\tabc\t\n"), "abc");
    EXPECT_EQ(word("abc,def\n"), "abc");
    EXPECT_EQ(word("it's\n"), "it's"); // a quote inside a word is one of its characters
    EXPECT_EQ(word("#remark\n"), "#remark");
    EXPECT_EQ(word("12\n"), "12");
}

TEST_F(FreeForm, AQuotedWordMayHoldSeparators)
{
    EXPECT_EQ(word("'a b,c/d' e\n"), "a b,c/d");
    EXPECT_EQ(word("\"a b,c/d\" e\n"), "a b,c/d");
    EXPECT_EQ(word("' a '\n"), " a ");
    EXPECT_EQ(word("''\n"), "");
    EXPECT_EQ(word("'3*a'\n"), "3*a");
}

TEST_F(FreeForm, ADoubledQuoteStandsForOne)
{
    EXPECT_EQ(word("'it''s'\n"), "it's");
    EXPECT_EQ(word("\"a\"\"b\"\n"), "a\"b");
    EXPECT_EQ(word("''''\n"), "'");
    EXPECT_EQ(word("'a\"b'\n"), "a\"b");
    EXPECT_EQ(word("\"a''b\"\n"), "a''b");
}

TEST_F(FreeForm, AQuotedWordGoesOnBehindALineEnd)
{
    freeformtext source = textof("'a\nb' rest\nnext\n");
    std::string name;
    EXPECT_EQ(readword(source, name), readdone);
    EXPECT_EQ(name, "ab");
    EXPECT_EQ(readword(source, name), readdone);
    EXPECT_EQ(name, "next");
    EXPECT_EQ(word("'a \r\n b'\r\n"), "a  b");
}

TEST_F(FreeForm, AQuoteThatIsNeverClosedRunsToTheEndOfTheText)
{
    freeformtext source = textof("'abc\ndef\n");
    std::string name = "kept";
    EXPECT_EQ(readword(source, name), readended);
    EXPECT_EQ(name, "kept");
    EXPECT_EQ(source.position, source.text.size());
}

TEST_F(FreeForm, AQuotedWordMayEndWithTheText)
{
    EXPECT_EQ(word("'abc'"), "abc");
}

TEST_F(FreeForm, OneReadOfNoRealsTakesALine)
{
    EXPECT_EQ(reals("1\n2\n", 0), (readnumbers{readdone, {}, "2\n"}));
}

TEST_F(FreeForm, ReadsFollowOneAnotherLineByLine)
{
    freeformtext source = textof("_Wavelength in A\n1.5418 remark\n\n_Reflections\n1 2 3\n");
    std::string name;
    double wavelength = 0.0;
    std::array<double, 3> vector = {};
    EXPECT_EQ(readword(source, name), readdone);
    EXPECT_EQ(name, "_Wavelength");
    EXPECT_EQ(readreals(source, {&wavelength, 1}), readdone);
    EXPECT_EQ(wavelength, 1.5418);
    EXPECT_EQ(readword(source, name), readdone);
    EXPECT_EQ(name, "_Reflections");
    EXPECT_EQ(readreals(source, vector), readdone);
    EXPECT_EQ(vector, (std::array<double, 3>{1, 2, 3}));
    EXPECT_EQ(readword(source, name), readended);
}

TEST_F(FreeForm, SteppingBackGoesToTheStartOfTheLineBefore)
{
    const std::string text = "ab\ncd\n\ne";
    const std::size_t starts[] = {0, 3, 6, 7}; // of the four lines
    const auto back = [&](std::size_t position) {
        freeformtext source = {text, position};
        stepback(source);
        return source.position;
    };
    EXPECT_EQ(back(starts[0]), starts[0]);
    EXPECT_EQ(back(starts[1]), starts[0]);
    EXPECT_EQ(back(starts[2]), starts[1]);
    EXPECT_EQ(back(starts[3]), starts[2]);
    EXPECT_EQ(back(text.size()), starts[3]);
}

TEST_F(FreeForm, SteppingBackFromTheEndReachesTheLastLineWithOrWithoutItsEnd)
{
    for (const char* text : {"ab\ncd\n", "ab\ncd", "ab\r\ncd\r\n"}) {
        freeformtext source = textof(text);
        source.position = source.text.size();
        stepback(source);
        EXPECT_EQ(source.text[source.position], 'c') << text;
    }
    freeformtext empty = textof("");
    stepback(empty);
    EXPECT_EQ(empty.position, 0U);
}

TEST_F(FreeForm, SteppingBackReachesAnEmptyFirstLine)
{
    freeformtext source = {"\nab\n", 1};
    stepback(source);
    EXPECT_EQ(source.position, 0U);
}

TEST_F(FreeForm, LineEndsOfBothKindsBlanksAndTabsAreAllNothingToRead)
{
    for (const char* text : {"", "\n", "\r\n", " \t \r\n\n"})
        EXPECT_TRUE(onlyblanksleft(textof(text))) << text;
    for (const char* text : {"a", "\r\n,", "\n/\n"})
        EXPECT_FALSE(onlyblanksleft(textof(text))) << text;
}

TEST_F(FreeForm, SteppingBackUndoesAReadOfOneLine)
{
    freeformtext source = textof("# remark\n\n\n _Key here\n5\n");
    std::string name;
    ASSERT_EQ(readword(source, name), readdone);
    ASSERT_EQ(readword(source, name), readdone);
    stepback(source);
    EXPECT_EQ(source.text.substr(source.position), " _Key here\n5\n");
}

struct readcounted {
    int status;
    int n;
    std::array<double, 3> values;
    std::string rest;
};

readcounted counted(const std::string& text)
{
    freeformtext source = textof(text);
    readcounted result = {readdone, -77, {kept, kept, kept}, ""};
    result.status = readcountandreals(source, result.n, result.values);
    result.rest = source.text.substr(source.position);
    return result;
}

TEST_F(FreeForm, ACountAndItsRealsAreOneRead)
{
    for (const char* text :
         {"3 100 200 300 rest\n4\n", "3\n100\n200\n300\n4\n", "3,100\n200,300\n4\n"}) {
        const readcounted read = counted(text);
        EXPECT_EQ(read.status, readdone);
        EXPECT_EQ(read.n, 3);
        EXPECT_EQ(read.values, (std::array<double, 3>{100, 200, 300}));
        EXPECT_EQ(read.rest, "4\n");
    }
}

TEST_F(FreeForm, ACountWithTooFewRealsHasEnded)
{
    const readcounted read = counted("3\n100 200\n");
    EXPECT_EQ(read.status, readended);
    EXPECT_EQ(read.values, (std::array<double, 3>{100, 200, kept}));
    EXPECT_EQ(counted("3\n").status, readended);
    EXPECT_EQ(counted("").status, readended);
}

TEST_F(FreeForm, ACountWithABadRealHasFailed)
{
    EXPECT_EQ(counted("3\n100 x 300\n").status, readfailed);
    EXPECT_EQ(counted("2.0\n100 200\n").status, readfailed);
    EXPECT_EQ(counted("two\n100 200\n").status, readfailed);
}

TEST_F(FreeForm, ACountOfZeroOrLessAsksForNoReals)
{
    for (const char* text : {"0 100\n200\n", "-2 100\n200\n"}) {
        const readcounted read = counted(text);
        EXPECT_EQ(read.status, readdone);
        EXPECT_EQ(read.values, (std::array<double, 3>{kept, kept, kept}));
        EXPECT_EQ(read.rest, "200\n");
    }
}

TEST_F(FreeForm, RealsBeyondThePlacesAreReadButNotKept)
{
    const readcounted read = counted("5\n1 2 3 4\n5 6\n7\n");
    EXPECT_EQ(read.status, readdone);
    EXPECT_EQ(read.n, 5);
    EXPECT_EQ(read.values, (std::array<double, 3>{1, 2, 3}));
    EXPECT_EQ(read.rest, "7\n");
    EXPECT_EQ(counted("5\n1 2 3 4 x\n").status, readfailed);
    EXPECT_EQ(counted("5\n1 2 3 4\n").status, readended);
    EXPECT_EQ(counted("5\n2*1 3*2\n").values, (std::array<double, 3>{1, 1, 2}));
}

TEST_F(FreeForm, TheTable350WideHoldsNoReal351)
{
    std::array<double, 352> table; // guarded on both sides
    const auto readtable = [&](int numbers) {
        table.fill(kept);
        std::string text = "351\n";
        for (int k = 1; k <= numbers; ++k) text += std::to_string(k) + (k % 7 == 0 ? "\n" : " ");
        freeformtext source = textof(text + "\n");
        int n = 0;
        const int status = readcountandreals(source, n, std::span(table).subspan(1, 350));
        EXPECT_EQ(n, 351);
        return status;
    };
    EXPECT_EQ(readtable(351), readdone);
    EXPECT_EQ(table[0], kept);
    EXPECT_EQ(table[1], 1.0);
    EXPECT_EQ(table[350], 350.0);
    EXPECT_EQ(table[351], kept);
    EXPECT_EQ(readtable(350), readended);
    EXPECT_EQ(table[350], 350.0);
    EXPECT_EQ(table[351], kept);
}

TEST_F(FreeForm, ASlashInACountedReadKeepsTheRest)
{
    EXPECT_EQ(counted("3 100/\n").values, (std::array<double, 3>{100, kept, kept}));
    EXPECT_EQ(counted("3 100/\n").status, readdone);
    const readcounted read = counted("/ 100\n200\n");
    EXPECT_EQ(read.status, readdone);
    EXPECT_EQ(read.n, -77);
    EXPECT_EQ(read.rest, "200\n");
}

TEST_F(FreeForm, ANullCountKeepsTheCountThatWasThere)
{
    freeformtext source = textof(",100 200\n");
    int n = 2;
    std::array<double, 3> values = {kept, kept, kept};
    EXPECT_EQ(readcountandreals(source, n, values), readdone);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(values, (std::array<double, 3>{100, 200, kept}));
}

TEST_F(FreeForm, ARepeatMayCoverTheCountAndItsReals)
{
    EXPECT_EQ(counted("3*2\n").n, 2);
    EXPECT_EQ(counted("3*2\n").values, (std::array<double, 3>{2, 2, kept}));
}

} // namespace

} // namespace torvik
