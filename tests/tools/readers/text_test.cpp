#include "support.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace torvik::tools {

namespace {

measurement read(const std::string& text)
{
    return readtext(textfile("a.txt", text), {});
}

using triple = std::array<double, 3>;

TEST(PlainText, IsReadWhateverSeparatesItsNumbers)
{
    for (const char* text :
         {"1.5 2 -3\n", "\t1.5\t2\t-3\t\n", "1.5,2,-3\n", "1.5, 2, -3,\r\n", "1.5;2;-3\n",
          "1,5;2;-3\n", "1,5 2 -3\n", "1,5\t2\t-3\n", "\"1.5\",\"2\",\"-3\"\n", "+1.5d0 2e0 -3."}) {
        const measurement measured = read(text);
        ASSERT_EQ(measured.spots.size(), 1U) << text;
        EXPECT_EQ(measured.spots[0].value, (triple{1.5, 2.0, -3.0})) << text;
        EXPECT_EQ(measured.spots[0].where, "line 1");
        EXPECT_FALSE(measured.spots[0].intensity);
    }
}

TEST(PlainText, PassesOverCommentsAndEmptyLines)
{
    const measurement measured = read("# x y\n\n! more\n% more\n1 2 3 # strong\n   \n4 5 6");
    ASSERT_EQ(measured.spots.size(), 2U);
    EXPECT_EQ(measured.spots[1].where, "line 7");
}

TEST(PlainText, HasAnIntensityInItsFourthColumn)
{
    EXPECT_EQ(read("0.1 0.2 0.3 75\n").spots[0].intensity, 75.0);
    EXPECT_EQ(read("0.1 0.2 0.3 75 8\n").spots[0].intensity, 75.0);
}

TEST(PlainText, HasItsColumnsWhereTheFirstLineNamesThem)
{
    const measurement measured = read("Name, H, K, L, Intensity, qz (1/A), qy, qx\n"
                                      "spot one, 1, -2, 3, 44, 0.3, 0.2, 0.1\n");
    EXPECT_EQ(measured.spots[0].value, (triple{0.1, 0.2, 0.3}));
    EXPECT_EQ(measured.spots[0].intensity, 44.0);
    EXPECT_EQ(measured.spots[0].hkl, (std::array<int, 3>{1, -2, 3}));
}

TEST(PlainText, HasItsColumnsWhereTheLastCommentNamesThem)
{
    EXPECT_EQ(read("# intensity x y z\n9 1 2 3\n").spots[0].value, (triple{1, 2, 3}));
}

TEST(PlainText, MayHaveIndicesBesideItsVectors)
{
    for (const char* text : {"1 0 -2 0.1 0.2 0.3\n", "0.1 0.2 0.3 1 0 -2\n"}) {
        const spot one = read(text).spots[0];
        EXPECT_EQ(one.value, (triple{0.1, 0.2, 0.3}));
        EXPECT_EQ(one.hkl, (std::array<int, 3>{1, 0, -2}));
    }
}

TEST(PlainText, MayCountItsRows)
{
    const measurement measured = read("1 0.1 0.2 0.3\n2 0.4 0.5 0.6\n3 0.7 0.8 0.9\n");
    EXPECT_EQ(measured.spots[2].value, (triple{0.7, 0.8, 0.9}));
    EXPECT_EQ(measured.notes[0], "The first column counts the rows and is passed over.");
}

TEST(PlainText, MayBeginWithACell)
{
    const measurement axes = read("4 0 0 0 5 0 0 0 6\n0.1 0.2 0.3\n0.4 0.5 0.6\n");
    EXPECT_EQ(axes.spots.size(), 2U);
    ASSERT_TRUE(axes.cell);
    EXPECT_EQ(*axes.cell, (std::array<double, 6>{4, 5, 6, 90, 90, 90}));
    EXPECT_EQ(*read("4 5 6 90 95 90\n0.1 0.2 0.3\n").cell,
              (std::array<double, 6>{4, 5, 6, 90, 95, 90}));
    EXPECT_EQ(messageof(readtext, "4 0 0 0 0 0 0 0 6\n0.1 0.2 0.3\n"),
              "a.txt, line 1: expected a cell, or as many numbers as below.");
}

TEST(PlainText, SaysWhereItIsWrong)
{
    const auto message = [](const std::string& text) { return messageof(readtext, text); };
    EXPECT_EQ(message("1 2 3\n1 O.2 3\n"),
              "a.txt, line 2, column 3: expected a number, found 'O.2'.");
    EXPECT_EQ(message("1, 2, 3\n1,, 3\n"),
              "a.txt, line 2, column 3: expected a number, found nothing.");
    EXPECT_EQ(message("1 2 3\n1 2\n"), "a.txt, line 2: expected 3 columns, as in line 1, found 2.");
    EXPECT_EQ(message("1 2\n"), "a.txt, line 1: expected three numbers, x, y and z.");
    EXPECT_EQ(message("1 2 nan\n"), "a.txt, line 1, column 5: expected a number, found 'nan'.");
    EXPECT_EQ(message("a b c\n1 2 3\n"),
              "a.txt, line 1: expected the names x, y and z among those of the columns.");
    EXPECT_EQ(message("x y\n1 2 3\n"), "a.txt, line 1: 2 columns are named, and line 2 has 3.");
    EXPECT_EQ(message("# nothing\n"), "a.txt: the file has no rows of numbers.");
    EXPECT_EQ(message("x y z h k l\n1 2 3 1 2 3.5\n"),
              "a.txt, line 2, column 11: expected an index, found '3.5'.");
    EXPECT_EQ(message("x y z h k l\n1 2 3 4 5\n"), "a.txt, line 2: expected 6 columns, found 5.");
    EXPECT_EQ(message("1,5;2.5;3\n"), "a.txt, line 1, column 1: expected a number, found '1,5'.");
}

TEST(PlainText, IsRefusedWhereItsColumnsOrCommasCouldBeTwoThings)
{
    EXPECT_EQ(messageof(readtext, "0,1,0,2,0,3\n"),
              "a.txt, line 1: expected decimal points: commas stand both between and within the "
              "numbers, it seems.");
    EXPECT_EQ(
        messageof(readtext, "1 2 3 4.5 5 6 7\n"),
        "a.txt, line 1: what the 7 columns are is not clear; name them in a first line, as in "
        "'x y z intensity'.");
}

} // namespace

} // namespace torvik::tools
