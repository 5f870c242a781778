#include "support.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace torvik::tools {

namespace {

using triple = std::array<double, 3>;
using indices = std::array<int, 3>;

// As wide as the columns are: 12 to 23 the indices, 72 to 79 the intensity, 87 to 116 the vector.
const std::string plain =
    "REF05 H       2   1   4 -25.000 143.750 185.000  54.732   97.33   72.68   13.96  14.72"
    " -0.043518  0.328113  0.419164   0.000   0.000   0.000   0.000 \n";
const std::string fused =
    "REF05 ACH    10 -11 -12-125.000-143.750-185.000 -54.732 1097.33 1072.68 1899.40    170"
    "-10.043518-10.328113-10.419164   0.000   0.000   0.000   0.000 \n";
const std::string other = // some version with other columns
    "REF1K  A  0 0 0 12.5 3e1 -5.25 0.125-0.25-0.375 0.000 0.000 0.000 0.000\n";

measurement read(const std::string& text)
{
    return readp4p(textfile("a.p4p", text), {});
}

TEST(SaintFiles, HaveAVectorInEachLineOfAReflection)
{
    const spot one = read(plain).spots.at(0);
    EXPECT_EQ(one.value, (triple{-0.043518, 0.328113, 0.419164}));
    EXPECT_EQ(one.hkl, (indices{2, 1, 4}));
    EXPECT_EQ(one.intensity, 13.96);
    EXPECT_EQ(one.where, "line 1");
}

TEST(SaintFiles, MayLeaveNoBlankBetweenColumns)
{
    const spot one = read(fused).spots.at(0);
    EXPECT_EQ(one.value, (triple{-10.043518, -10.328113, -10.419164}));
    EXPECT_EQ(one.hkl, (indices{10, -11, -12}));
    EXPECT_EQ(one.intensity, 1899.40);
}

TEST(SaintFiles, OfAnotherVersionHaveTheVectorBeforeTheFourLastNumbers)
{
    const spot one = read(other).spots.at(0);
    EXPECT_EQ(one.value, (triple{0.125, -0.25, -0.375}));
    EXPECT_FALSE(one.hkl);
    EXPECT_FALSE(one.intensity);
}

TEST(SaintFiles, TakeIndicesOfZeroForNone)
{
    std::string text = plain;
    text.replace(11, 12, "   0   0   0");
    EXPECT_FALSE(read(text).spots.at(0).hkl);
}

TEST(SaintFiles, GiveCellAndWavelength)
{
    const measurement measured = read("FILEID x\nCELL 7 8 9 90 100 90 496\n"
                                      "SOURCE MO     0.71073   0.70930\n"
                                      + plain);
    EXPECT_EQ(measured.cell, (std::array<double, 6>{7, 8, 9, 90, 100, 90}));
    EXPECT_EQ(measured.wavelength, 0.71073);
    EXPECT_FALSE(read("CELL 0 0 0 0 0 0 0\n" + plain).cell);
    EXPECT_FALSE(read("SOURCE MO\n" + plain).wavelength);
}

TEST(SaintFiles, SayWhereTheyAreWrong)
{
    EXPECT_EQ(messageof(readp4p, "FILEID\nCELL 1\n"),
              "a.txt, line 2: expected six numbers of a cell.");
    EXPECT_EQ(messageof(readp4p, "FILEID\n"),
              "a.txt: expected lines that begin with REF: the file has no reflections.");
    EXPECT_EQ(messageof(readp4p, plain + "REF05 1 2 3\n"),
              "a.txt, line 2: expected a reflection: a vector and four numbers at the end of the "
              "line.");
    std::string text = plain;
    text.replace(100, 1, "O");
    EXPECT_EQ(messageof(readp4p, text),
              "a.txt, line 1, column 99: expected a number, found '0.O28113'.");
}

TEST(SaintFiles, AreKnownByTheirLines)
{
    EXPECT_TRUE(looksp4p(plain, ""));
    EXPECT_TRUE(looksp4p("FILEID SAINT\nCELL 1 2 3\n", ""));
    EXPECT_TRUE(looksp4p("TITLE\n" + other, ""));
    EXPECT_FALSE(looksp4p("1 2 3\n", "a.p4p"));
}

} // namespace

} // namespace torvik::tools
