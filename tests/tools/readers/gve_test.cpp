#include "support.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace torvik::tools {

namespace {

const std::string head = "4 5 6 90 95 90 P\n# wavelength = 0.2650\n# wedge = 0.1\n# ds h k l\n"
                         " 0.25 1 0 0\n 0.20 0 1 0\n";

measurement read(const std::string& text)
{
    return readgve(textfile("a.gve", text), {});
}

TEST(GVectors, StandBelowTheLineThatNamesTheirColumns)
{
    const measurement measured =
        read(head + "# xr yr zr xc yc ds phi omega\n0.3 0.4 0 1 2 0.5 3 4\n# end\n\n");
    ASSERT_EQ(measured.spots.size(), 1U);
    EXPECT_EQ(measured.spots[0].value, (std::array<double, 3>{0.3, 0.4, 0.0}));
    EXPECT_EQ(measured.spots[0].where, "line 8");
    EXPECT_EQ(measured.wavelength, 0.265);
    EXPECT_EQ(measured.cell, (std::array<double, 6>{4, 5, 6, 90, 95, 90}));
    EXPECT_TRUE(measured.notes.empty());
}

TEST(GVectors, MayHaveOtherNamesAndAnotherOrder)
{
    const spot one = read("#  omega gz gy gx sum_intensity\n9 0.3 0.2 0.1 55\n").spots.at(0);
    EXPECT_EQ(one.value, (std::array<double, 3>{0.1, 0.2, 0.3}));
    EXPECT_EQ(one.intensity, 55.0);
    EXPECT_EQ(read("# xr gx gy gz\n9 0.1 0.2 0.3\n").spots.at(0).value,
              (std::array<double, 3>{0.1, 0.2, 0.3}));
}

TEST(GVectors, AreReportedWhereTheirLengthIsNotDs)
{
    const measurement measured = read("# gx gy gz ds\n0.3 0.4 0 0.5\n0.3 0.4 0 3.14\n");
    ASSERT_EQ(measured.notes.size(), 1U);
    EXPECT_EQ(measured.notes[0],
              "1 of the vectors differs in length from its ds by more than 1 %.");
}

TEST(GVectors, SayWhereTheyAreWrong)
{
    EXPECT_EQ(
        messageof(readgve, head),
        "a.txt: expected a line like '# xr yr zr ...' or '# gx gy gz ...' before the vectors.");
    EXPECT_EQ(messageof(readgve, "# gx gy gz\n"),
              "a.txt, line 1: expected vectors below this line.");
    EXPECT_EQ(messageof(readgve, "# gx gy gz\n1 2\n"),
              "a.txt, line 2: expected 3 columns, as line 1 names, found 2.");
    EXPECT_EQ(messageof(readgve, "# gx gy gz\n1 2 x\n"),
              "a.txt, line 2, column 5: expected a number, found 'x'.");
}

TEST(GVectors, AreKnownByTheirSpacings)
{
    EXPECT_TRUE(looksgve(head, ""));
    EXPECT_TRUE(looksgve("", "a.gve"));
    EXPECT_FALSE(looksgve("# x y z\n1 2 3\n", "a.txt"));
}

} // namespace

} // namespace torvik::tools
