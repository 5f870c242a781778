#include "geometry/getreciprocallatticevectors.h"

#include "numeric/constants.h"
#include "support/child.h"
#include "support/fresh.h"
#include "support/runs.h"

#include <cmath>
#include <cstdio>
#include <string>

namespace torvik {

namespace {

class EulerianCradle : public fresh {};
class KappaGoniometer : public fresh {};
class KappaConversions : public fresh {};

// Gives the vector for angles in degrees, which are scratch variables here.
vector3 eulerianvector(double wavelength, double theta, double phi, double chi)
{
    vector3 vector = {};
    duisenberg(wavelength, theta, phi, chi, vector);
    return vector;
}

vector3 kappavector(double wavelength, double alpha, double theta, double phi, double kappa)
{
    vector3 vector = {};
    rlvfromkappageometry(wavelength, alpha, theta, phi, kappa, vector);
    return vector;
}

double radians(double degrees)
{
    return degrees * degreestoradians;
}

double degrees(double radians)
{
    return radians * radianstodegrees;
}

// The single-precision factor makes 30 degrees 0.5235987902 instead of 0.5235987756 rad, so a sine
// of it is 0.5 + 1.3e-8 and the length 2 sin(theta) is 1 + 2.6e-8.
constexpr double factorerror = 3e-8;

TEST_F(EulerianCradle, ReflectionAtPhiZeroAndChiZeroLiesAlongY)
{
    const vector3 v = eulerianvector(1.0, 30.0, 0.0, 0.0); // r = 2 sin 30 / 1 = 1
    EXPECT_EQ(v(1), 0.0);
    EXPECT_TRUE(std::signbit(v(1))); // x = -(0 r)
    EXPECT_NEAR(v(2), 1.0, factorerror);
    EXPECT_EQ(v(3), 0.0);
}

TEST_F(EulerianCradle, ReflectionAtChiNinetyLiesAlongZ)
{
    const vector3 v = eulerianvector(1.0, 30.0, 0.0, 90.0);
    EXPECT_NEAR(v(1), 0.0, 1e-7);
    EXPECT_NEAR(v(2), 0.0, 1e-7);
    EXPECT_NEAR(v(3), 1.0, 1e-7);
    // Half of the single-precision pi exceeds pi/2 by 4.371e-8: the cosine is that, negative.
    EXPECT_NEAR(v(2), -4.371e-8, 1e-11);
}

TEST_F(EulerianCradle, ReflectionAtPhiNinetyLiesAlongMinusX)
{
    const vector3 v = eulerianvector(1.0, 30.0, 90.0, 0.0);
    EXPECT_NEAR(v(1), -1.0, factorerror);
    EXPECT_NEAR(v(2), 0.0, 1e-7);
    EXPECT_EQ(v(3), 0.0);
}

TEST_F(EulerianCradle, LengthIsTwiceTheSineOfThetaOverTheWavelength)
{
    // sin 17 = 0.29237170472..., so r = 0.82273635. The factor is too large by 2.8e-8 relative,
    // which adds 2 cos(17) 0.2967 2.8e-8 / 0.71073 = 2.2e-8.
    const double r = 2.0 * 0.29237170472273677 / 0.71073;
    EXPECT_NEAR(vectormagnitude(eulerianvector(0.71073, 17.0, 23.0, -41.0)), r, 4e-8);
}

TEST_F(EulerianCradle, VectorHasTheBitsOfTheFormulaAsItIsGrouped)
{
    const double theta = 12.25, phi = -133.5, chi = 71.125, wavelength = 1.540560007095337;
    const double t = theta * 0.017453293005625408;
    const double p = phi * 0.017453293005625408;
    const double c = chi * 0.017453293005625408;
    const double r = 2.0 * std::sin(t) / wavelength;
    const vector3 v = eulerianvector(wavelength, theta, phi, chi);
    EXPECT_EQ(v(1), -(std::sin(p) * (std::cos(c) * r)));
    EXPECT_EQ(v(2), std::cos(p) * (std::cos(c) * r));
    EXPECT_EQ(v(3), std::sin(c) * r);
}

TEST_F(EulerianCradle, AnglesAreRadiansAfterwards)
{
    double theta = 180.0, phi = -90.0, chi = 45.0;
    vector3 v = {};
    duisenberg(1.0, theta, phi, chi, v);
    EXPECT_EQ(theta, 3.1415927410125732); // the single-precision pi
    EXPECT_EQ(phi, -3.1415927410125732 / 2.0);
    EXPECT_EQ(chi, 3.1415927410125732 / 4.0);
}

TEST_F(EulerianCradle, RoundTripThroughBothAngleFactorsKeepsAnAngle)
{
    EXPECT_EQ(0.017453293005625408 * 57.29577791868205, 1.0);
    EXPECT_DOUBLE_EQ(degrees(radians(123.456)), 123.456);
}

TEST_F(KappaGoniometer, KappaZeroIsTheEulerianCradleAtChiZero)
{
    for (const double theta : {5.0, 30.0, 61.5}) {
        for (const double phi : {0.0, 45.0, -170.0}) {
            const vector3 kappa = kappavector(0.71073, 50.0, theta, phi, 0.0);
            const vector3 euler = eulerianvector(0.71073, theta, phi, 0.0);
            // The angles make a round trip through the two factors: a few units in the last place.
            for (int i = 1; i <= 3; ++i) EXPECT_NEAR(kappa(i), euler(i), 1e-14) << theta << phi;
        }
    }
}

TEST_F(KappaGoniometer, ThetaIsShiftedLikePhi)
{
    // delta = -atan(cos 50 tan 30) for kappa 60 and an axis at 50 degrees: -20.3607 degrees.
    const double delta = -std::atan(std::cos(radians(50.0)) * std::tan(radians(30.0)));
    const vector3 v = kappavector(0.71073, 50.0, 35.0, 10.0, 60.0);
    const double shifted = 2.0 * std::sin(radians(35.0) + delta) / 0.71073;
    const double unshifted = 2.0 * std::sin(radians(35.0)) / 0.71073;
    EXPECT_NEAR(vectormagnitude(v), shifted, 1e-12);
    EXPECT_GT(std::fabs(unshifted - shifted), 0.8); // the two lengths are far apart
}

TEST_F(KappaGoniometer, VectorIsThatOfTheConvertedEulerianAngles)
{
    double phi = 0.0, theta = 0.0, chi = 0.0;
    kappa2euler(radians(-77.0), radians(21.0), radians(133.0), radians(49.9), phi, theta, chi);
    const vector3 euler = eulerianvector(1.2, degrees(theta), degrees(phi), degrees(chi));
    const vector3 kappa = kappavector(1.2, 49.9, 21.0, -77.0, 133.0);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(kappa(i), euler(i)) << i;
}

TEST_F(KappaGoniometer, ThetaBelowTheShiftGivesTheOppositeDirection)
{
    // theta + delta = 10 - 20.36 is negative, and so is 2 sin(theta + delta): with phi = -delta the
    // shifted phi is 0 and y = cos(chi) r carries the sign; cos(45.0) is positive.
    const double delta = degrees(-std::atan(std::cos(radians(50.0)) * std::tan(radians(30.0))));
    const vector3 v = kappavector(1.0, 50.0, 10.0, -delta, 60.0);
    EXPECT_NEAR(v(1), 0.0, 1e-12);
    EXPECT_LT(v(2), 0.0);
    EXPECT_LT(v(3), 0.0);
}

TEST_F(KappaGoniometer, GivenAnglesAreRadiansAfterwardsWithoutTheShift)
{
    double theta = 20.0, phi = 40.0, kappa = 60.0;
    vector3 v = {};
    rlvfromkappageometry(1.0, 50.0, theta, phi, kappa, v);
    EXPECT_EQ(theta, 20.0 * 0.017453293005625408);
    EXPECT_EQ(phi, 40.0 * 0.017453293005625408);
    EXPECT_EQ(kappa, 60.0 * 0.017453293005625408);
}

TEST_F(KappaConversions, KappaSixtyOnAnAxisAtFiftyDegreesIsChiFortyFive)
{
    double phi = 0.0, omega = 0.0, chi = 0.0;
    kappa2euler(0.0, 0.5, radians(60.0), radians(50.0), phi, omega, chi);
    // chi = 2 asin(sin 30 sin 50) = 45.0420 degrees; delta = -atan(cos 50 tan 30) = -20.3607.
    EXPECT_NEAR(chi, 2.0 * std::asin(std::sin(radians(30.0)) * std::sin(radians(50.0))), 1e-14);
    EXPECT_NEAR(degrees(chi), 45.0, 0.1);
    EXPECT_NEAR(phi, -std::atan(std::cos(radians(50.0)) * std::tan(radians(30.0))), 1e-14);
    EXPECT_NEAR(degrees(phi), -20.4, 0.05);
    EXPECT_EQ(omega, 0.5 + phi); // the same shift for both
}

TEST_F(KappaConversions, ZeroKappaShiftsNothing)
{
    double phi = 0.0, omega = 0.0, chi = 1.0;
    kappa2euler(0.25, -0.75, 0.0, radians(50.0), phi, omega, chi);
    EXPECT_EQ(phi, 0.25);
    EXPECT_EQ(omega, -0.75);
    EXPECT_EQ(chi, 0.0);
}

TEST_F(KappaConversions, NegativeKappaMirrorsChiAndTheShift)
{
    double up = 0.0, upchi = 0.0, down = 0.0, downchi = 0.0, unused = 0.0;
    kappa2euler(0.0, 0.0, 1.1, 0.8, up, unused, upchi);
    kappa2euler(0.0, 0.0, -1.1, 0.8, down, unused, downchi);
    EXPECT_EQ(downchi, -upchi);
    EXPECT_EQ(down, -up);
}

TEST_F(KappaConversions, ArcTangentTakesTheOrdinateFirst)
{
    // kappa beyond 180 degrees has a negative abscissa e = cos(kappa/2) s: delta lies beyond 90
    // degrees. kappa = 240, alpha = 60: d c = -sin 120 s / 2, e = -s / 2, so
    // tan(delta) = sin 120 = 0.866025 in the third quadrant: -180 + 40.8934 = -139.1066 degrees.
    double phi = 0.0, omega = 0.0, chi = 0.0;
    kappa2euler(0.0, 0.0, radians(240.0), radians(60.0), phi, omega, chi);
    EXPECT_NEAR(degrees(phi), -139.1066, 1e-4);
}

TEST_F(KappaConversions, EulerianAnglesConvertBackToTheKappaAnglesTheyCameFrom)
{
    for (const double alpha : {24.0, 50.0, 60.0}) {
        for (const double kappa : {-170.0, -60.0, -1.0, 0.0, 33.0, 120.0}) {
            double phi = 0.0, omega = 0.0, chi = 0.0;
            kappa2euler(0.3, -1.2, radians(kappa), radians(alpha), phi, omega, chi);
            double phiback = 0.0, omegaback = 0.0, kappaback = 0.0;
            euler2kappa(phi, omega, chi, radians(alpha), phiback, omegaback, kappaback);
            // Towards 180 degrees r = sqrt(s2 - d d) loses half of the digits that cancel; at 170
            // it is 0.087 s, so the error stays within a few hundred units in the last place.
            EXPECT_NEAR(phiback, 0.3, 1e-13) << alpha << " " << kappa;
            EXPECT_NEAR(omegaback, -1.2, 1e-13) << alpha << " " << kappa;
            EXPECT_NEAR(kappaback, radians(kappa), 1e-13) << alpha << " " << kappa;
        }
    }
}

constexpr const char* chimessage = " ERROR : |ChiE| is greater than 2 * Angle Of Kappa Axis\n";

// Converts chi = 101 degrees on an axis at 50 degrees, where 100 is the most that can be reached.
void converttoolargechi()
{
    double phi = 0.0, omega = 0.0, kappa = 0.0;
    euler2kappa(0.1, 0.2, radians(101.0), radians(50.0), phi, omega, kappa);
    std::printf("%d %d %d\n", std::isnan(phi), std::isnan(omega), std::isnan(kappa));
}

TEST_F(KappaConversions, ChiBeyondTwiceAlphaPrintsItsMessageAndPauses)
{
    for (const char* reply : {"\n", "no\n", "GO\n", "go on\n", ""}) {
        const childresult result = inchild(converttoolargechi, reply);
        EXPECT_EQ(result.status, 0) << reply; // ended by the pause
        EXPECT_EQ(result.output, chimessage) << reply;
        EXPECT_EQ(linesof(result.errors).size(), 1U) << reply; // the notice
    }
}

TEST_F(KappaConversions, ReplyGoResumesWithAnglesThatAreNotNumbers)
{
    const childresult result = inchild(converttoolargechi, "go\n");
    EXPECT_EQ(result.status, stepreturned);
    EXPECT_EQ(result.output, std::string(chimessage) + "1 1 1\n");
}

TEST_F(KappaConversions, NegativeChiBeyondTwiceAlphaPausesToo)
{
    const childresult result = inchild([] {
        double phi = 0.0, omega = 0.0, kappa = 0.0;
        euler2kappa(0.0, 0.0, radians(-101.0), radians(50.0), phi, omega, kappa);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, chimessage);
}

TEST_F(KappaConversions, ChiJustWithinTwiceAlphaConvertsSilently)
{
    double phi = 0.0, omega = 0.0, kappa = 0.0;
    const std::string printed =
        printedby([&] { euler2kappa(0.0, 0.0, radians(99.9), radians(50.0), phi, omega, kappa); });
    EXPECT_EQ(printed, "");
    // sin(kappa/2) = sin 49.95 / sin 50 = 0.99927: kappa = 175.6 degrees.
    const double expected = 2.0 * std::asin(std::sin(radians(49.95)) / std::sin(radians(50.0)));
    EXPECT_NEAR(kappa, expected, 1e-12);
}

TEST_F(KappaConversions, NoFiniteKappaMakesTheAxisIncompatible)
{
    const std::string printed = printedby([] {
        for (int kappa = -720; kappa <= 720; kappa += 15) {
            for (int alpha = -180; alpha <= 180; alpha += 15) {
                double phi = 0.0, omega = 0.0, chi = 0.0;
                kappa2euler(0.0, 0.0, radians(kappa), radians(alpha), phi, omega, chi);
                ASSERT_TRUE(std::isfinite(chi));
            }
        }
    });
    EXPECT_EQ(printed, "");
}

TEST_F(KappaConversions, ChiOfExactlyTwiceAlphaIsReached)
{
    // The kappa axis then stands half a turn from its zero.
    double phi = 0.0;
    double omega = 0.0;
    double kappa = 0.0;
    const double alpha = radians(50.0);
    EXPECT_EQ(printedby([&] { euler2kappa(0.0, 0.0, 2.0 * alpha, alpha, phi, omega, kappa); }), "");
    EXPECT_NEAR(kappa, 3.14159265358979323846, 1e-15);
}

} // namespace

} // namespace torvik
