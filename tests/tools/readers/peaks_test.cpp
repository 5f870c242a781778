#include "support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace torvik::tools {

namespace {

const std::string head = "Version: 2.0  Facility: X\n6 L1 T0_SHIFT\n7 1800.0 0.0\n";
const std::string names =
    "2   SEQN    H    K    L     COL     ROW    CHAN       L2  2_THETA       AZ        WL        D"
    "   IPK      INTI   SIGI RFLG\n";

std::string run(const std::string& chi, const std::string& phi, const std::string& omega)
{
    return "0 NRUN DETNUM    CHI    PHI  OMEGA MONCNT\n1 3007 17 " + chi + " " + phi + " " + omega
           + " 100\n" + names;
}

// A peak at a right angle to the beam, horizontal, with a wavelength of 2: d is the root of 2.
const std::string peak = "3 1 5 -7 4 94.8 194.6 788.4 45.7 1.570796327 0.0 2.0 1.41421 438 0 0 1\n";

vector3 vectorwith(const std::string& text)
{
    return vectorsof(readpeaks(textfile("a.peaks", text), {})).at(0);
}

void expectnear(const vector3& found, const vector3& expected)
{
    EXPECT_NEAR((found - expected).length(), 0.0, 1e-8)
        << found.x << " " << found.y << " " << found.z;
}

TEST(LaueLists, GiveTheDifferenceOfBeamsByTheWavelength)
{
    expectnear(vectorwith(head + run("0", "0", "0") + peak), {0.5, 0.0, -0.5});
}

// Omega turns the crystal by 90 degrees around the vertical axis, which takes z to x. What is along x
// in the laboratory is along z in the crystal, and what is along -z along x.
TEST(LaueLists, UndoTheSettingOfTheGoniometer)
{
    expectnear(vectorwith(head + run("0", "0", "90") + peak), {0.5, 0.0, 0.5});
    expectnear(vectorwith(head + run("0", "90", "0") + peak), {0.5, 0.0, 0.5});
    // Chi turns around the beam, which takes x to y: what is along x was along -y.
    expectnear(vectorwith(head + run("90", "0", "0") + peak), {0.0, -0.5, -0.5});
    // Phi is the innermost, omega the outermost: (0.5, 0, -0.5) by -omega (0.5, 0, 0.5), by -chi
    // (0, -0.5, 0.5), by -phi, which takes z to -x, (-0.5, -0.5, 0).
    expectnear(vectorwith(head + run("90", "90", "90") + peak), {-0.5, -0.5, 0.0});
}

TEST(LaueLists, ApplyToEachPeakTheRunBeforeIt)
{
    const measurement measured = readpeaks(
        textfile("a.peaks", head + run("0", "0", "0") + peak + run("0", "0", "90") + peak), {});
    EXPECT_EQ(measured.spots.size(), 2U);
    expectnear(vectorsof(measured).at(1), {0.5, 0.0, 0.5});
}

TEST(LaueLists, HaveIndicesAndIntensities)
{
    const spot one = readpeaks(textfile("a", head + run("0", "0", "0") + peak), {}).spots.at(0);
    EXPECT_EQ(one.hkl, (std::array<int, 3>{5, -7, 4}));
    EXPECT_EQ(one.intensity, 438.0); // the count at the peak: not integrated
    EXPECT_EQ(one.where, "line 7");
    std::string text = head + run("0", "0", "0")
                       + "3 1 0 0 0 94.8 194.6 788.4 45.7 1.570796327 0 2.0 1.41421 438 55.5 7 1\n";
    const spot other = readpeaks(textfile("a", text), {}).spots.at(0);
    EXPECT_FALSE(other.hkl);
    EXPECT_EQ(other.intensity, 55.5);
}

TEST(LaueLists, SayWhereTheyAreWrong)
{
    const auto message = [](const std::string& text) { return messageof(readpeaks, text); };
    EXPECT_EQ(message(head), "a.txt: expected lines that begin with 3: the file has no peaks.");
    EXPECT_EQ(message(names + peak),
              "a.txt, line 2: expected the run of this peak before it, in a line 1.");
    EXPECT_EQ(message("1 2 3\n"),
              "a.txt, line 1: expected a line with the names of these columns before.");
    EXPECT_EQ(message("0 NRUN CHI PHI\n1 1 2 3\n"), "a.txt, line 1: expected a column omega.");
    EXPECT_EQ(message(run("0", "0", "0") + "3 1 2\n"),
              "a.txt, line 4: expected 17 columns, as line 3 names, found 3.");
    EXPECT_EQ(message(run("0", "0", "x") + peak),
              "a.txt, line 2, column 15: expected a number, found 'x'.");
    std::string degrees = peak;
    degrees.replace(degrees.find("1.570796327"), 11, "90.00000000");
    EXPECT_EQ(message(run("0", "0", "0") + degrees),
              "a.txt, line 4: expected 2_THETA in radians and WL in angstroms that agree with D.");
    std::string dark = peak;
    dark.replace(dark.find(" 2.0 "), 5, " 0.0 ");
    EXPECT_EQ(message(run("0", "0", "0") + dark), "a.txt, line 4: expected a wavelength above 0.");
}

TEST(LaueLists, AreKnownByTheirNames)
{
    const std::string text = head + run("0", "0", "0") + peak;
    EXPECT_TRUE(lookspeaks(text, "a.txt"));
    EXPECT_TRUE(looksintegrate(text, "a.integrate"));
    EXPECT_FALSE(looksintegrate(text, "a.peaks"));
    EXPECT_FALSE(lookspeaks("1 2 3\n", "a.peaks"));
}

} // namespace

} // namespace torvik::tools
