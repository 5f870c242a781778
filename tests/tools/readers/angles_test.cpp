#include "support.h"
#include "support/fresh.h"

#include "geometry/getreciprocallatticevectors.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>

namespace torvik::tools {

namespace {

using triple = std::array<double, 3>;

measurement read(const std::string& text)
{
    return readangles(textfile("a.txt", text), {});
}

void expectnear(const vector3& found, const vector3& expected, double bound = 1e-6)
{
    EXPECT_NEAR((found - expected).length(), 0.0, bound)
        << found.x << " " << found.y << " " << found.z;
}

TEST(Angles, OfACradleAreKept)
{
    const measurement measured = read("# wavelength = 0.7 A\nh k l 2theta phi chi Intensity\n"
                                      "1 -2 3 20 30 40 99\n");
    EXPECT_EQ(measured.kind, listkind::thetaphichi);
    EXPECT_EQ(measured.spots.at(0).value, (triple{10, 30, 40}));
    EXPECT_EQ(measured.spots[0].intensity, 99.0);
    EXPECT_EQ(measured.spots[0].hkl, (std::array<int, 3>{1, -2, 3}));
    EXPECT_EQ(measured.wavelength, 0.7);
    EXPECT_FALSE(measured.kappaangle);
}

TEST(Angles, MayHaveTheirNamesInAComment)
{
    const measurement measured = read("# wavelength 1.5\n# chi, theta, phi\n40,10,30\n");
    EXPECT_EQ(measured.spots.at(0).value, (triple{10, 30, 40}));
}

TEST(Angles, InBisectingPositionAreKeptWhereOmegaIsTheta)
{
    const measurement measured = read("# wavelength 1.5\ntheta omega phi chi\n10 10.005 30 40\n"
                                      "12 -348 30 40\n");
    EXPECT_EQ(measured.kind, listkind::thetaphichi);
    EXPECT_EQ(measured.spots.at(0).value, (triple{10, 30, 40}));
}

// At chi 0 omega and phi turn around the same axis: omega - theta more is as phi more by as much.
TEST(Angles, OffTheBisectingPositionBecomeVectors)
{
    const measurement off = read("# wavelength 1.5\n2theta omega phi chi\n20 25 30 0\n");
    EXPECT_EQ(off.kind, listkind::vectors);
    const measurement on = read("# wavelength 1.5\ntheta phi chi\n10 45 0\n");
    expectnear(vectorsof(off).at(0), vectorsof(on).at(0));
}

// A reflection is measured again and again while the crystal is turned about the vector itself: the
// settings differ, the vector does not. By chi' and the three rotations composed: at omega - theta =
// 90 degrees the vector lies along -x before chi, which does not move it.
TEST(Angles, GiveTheSameVectorInAllSettingsOfAReflection)
{
    const measurement side = read("# wavelength 1\n2theta omega phi chi\n60 120 20 0\n"
                                  "60 120 20 35\n60 120 20 -80\n60 30 110 0\n");
    const std::vector<vector3> vectors = vectorsof(side);
    for (const vector3& one : vectors) expectnear(one, vectors[0], 1e-12);
    EXPECT_NEAR(vectors[0].length(), 1.0, 1e-12); // 2 sin(30)/1
}

// On a kappa goniometer the same positions are those of the cradle by the program's own formulas.
TEST(Angles, OfAKappaGoniometerAreThoseOfTheCradleThatHoldsTheCrystalTheSame)
{
    const double kappa = 47.0;
    const double axis = 52.0;
    const eulerianshift shift = eulerianof(kappa, axis);
    const auto text = [](double value) { return std::to_string(value) + " "; };
    const std::string head = "# wavelength 1.2\n# kappa axis 52\n";
    const measurement bisecting =
        read(head + "2theta omega phi kappa\n" + "30 " + text(15.0 - shift.delta) + "33 47\n");
    EXPECT_EQ(bisecting.kind, listkind::thetaphikappa);
    EXPECT_EQ(bisecting.kappaangle, 52.0);
    EXPECT_NEAR(bisecting.spots.at(0).value[0], 15.0 - shift.delta, 1e-5); // the omega circle
    double theta = bisecting.spots[0].value[0];
    double phi = 33.0;
    double turned = kappa;
    torvik::vector3 program = {};
    rlvfromkappageometry(1.2, axis, theta, phi, turned, program);
    const vector3 theirs = {program(1), program(2), program(3)};
    expectnear(vectorsof(bisecting).at(0), theirs);
    // Without omega the position is bisecting; without theta as well.
    expectnear(vectorsof(read(head + "2theta phi kappa\n30 33 47\n")).at(0), theirs);
    expectnear(
        vectorsof(read(head + "omega phi kappa\n" + text(15.0 - shift.delta) + "33 47\n")).at(0),
        theirs);
    // Off it, the cradle's angles tell the same.
    const measurement off = read(head + "2theta omega phi kappa\n30 5 33 47\n");
    EXPECT_EQ(off.kind, listkind::vectors);
    expectnear(vectorsof(off).at(0),
               vectorsof(read(head + "2theta omega phi chi\n30 " + text(5.0 + shift.delta)
                              + text(33.0 + shift.delta) + text(shift.chi) + "\n"))
                   .at(0));
}

TEST(Angles, TakeWavelengthAndAxisOfTheOptionsBeforeThoseOfTheFile)
{
    readeroptions options;
    options.wavelength = 2.0;
    options.kappaangle = 49.0;
    const measurement measured = readangles(
        textfile("a.txt", "# wavelength 1\n# kappa axis: 50\nomega phi kappa\n1 2 3\n"), options);
    EXPECT_EQ(measured.wavelength, 2.0);
    EXPECT_EQ(measured.kappaangle, 49.0);
}

TEST(Angles, AreRefusedWhereTheyCouldMeanTwoThings)
{
    const auto message = [](const std::string& text) {
        return messageof(readangles, "# wavelength 1\n" + text);
    };
    EXPECT_EQ(message("theta phi kappa\n1 2 3\n"),
              "a.txt, line 2: whether theta is the angle of reflection or the setting of the omega "
              "circle is not clear; name the column 2theta or omega.");
    EXPECT_EQ(message("theta omega phi chi\n10 0 2 3\n11 0 4 5\n"),
              "a.txt, line 2: omega is 0 throughout: if it is counted from the bisecting position, "
              "leave that column out.");
    EXPECT_EQ(message("theta phi chi kappa\n10 0 2 3\n"),
              "a.txt, line 2: expected a column chi or a column kappa, not both.");
    EXPECT_EQ(message("omega phi chi\n10 0 2\n"),
              "a.txt, line 2: expected a column theta or 2theta.");
    EXPECT_EQ(message("phi kappa\n10 0\n"), "a.txt, line 2: expected a column omega or 2theta.");
}

TEST(Angles, SayWhereTheyAreWrong)
{
    EXPECT_EQ(messageof(readangles, "theta phi chi\n1 2 3\n"),
              "a.txt: angles need the wavelength: give it by --wavelength, or in a comment like '# "
              "wavelength 0.71073'.");
    EXPECT_EQ(messageof(readangles, "# wavelength -1\ntheta phi chi\n1 2 3\n"),
              "a.txt: expected a wavelength above 0.");
    EXPECT_EQ(messageof(readangles, "# wavelength 1\ntheta phi chi\n91 2 3\n"),
              "a.txt, line 3: expected a theta of at most 90 degrees, found 91.00.");
    EXPECT_EQ(messageof(readangles, "# wavelength 1\ntheta phi chi\n9 two 3\n"),
              "a.txt, line 3, column 3: expected a number, found 'two'.");
}

TEST(Angles, AreKnownByTheNamesOfTheirColumns)
{
    EXPECT_TRUE(looksangles("# wavelength 1\n\nTheta, Phi, Chi\n1,2,3\n", ""));
    EXPECT_TRUE(looksangles("# omega phi kappa\n1 2 3\n", ""));
    EXPECT_FALSE(looksangles("x y z\n1 2 3\n", ""));
    EXPECT_FALSE(looksangles("1 2 3\n# theta phi chi\n", ""));
}

} // namespace

} // namespace torvik::tools
