#include "simulation/simulate.h"
#include "solving/crystals.h"
#include "solving/diagnosis.h"
#include "solving/solve.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace torvik::tools {

namespace {

simulationrequest usual()
{
    simulationrequest asked;
    asked.volume = 900.0;
    asked.reflections = 60;
    asked.noise = 0.005;
    return asked;
}

std::string said(const std::vector<vector3>& vectors, const matrix3& basis)
{
    std::string all;
    for (const std::string& sentence : diagnose(vectors, assess(vectors, basis)))
        all += sentence + "\n";
    return all;
}

TEST(TheDiagnosis, SaysNothingOfAFaultlessMeasurement)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        simulationrequest asked = usual();
        asked.seed = seed;
        asked.wrong = 6;
        const simulated made = simulate(asked);
        EXPECT_EQ(said(made.vectors(), made.truth().primitive), "") << seed;
    }
}

TEST(TheDiagnosis, FindsIndicesInHalvesAndThirds)
{
    const simulated made = simulate(usual());
    const matrix3 UB = made.truth().primitive.inverse();
    std::vector<vector3> halves = made.vectors();
    std::vector<vector3> thirds = halves;
    for (int i = 0; i < 5; ++i) {
        halves.push_back(UB.multiply(vector3(i - 2 + 0.5, 1 - i, i % 2)));
        thirds.push_back(UB.multiply(vector3(i - 2, 1.0 / 3 + i % 3, 2 - i)));
    }
    EXPECT_EQ(
        said(halves, made.truth().primitive),
        "5 of the 5 reflections that are not indexed have indices in halves: a larger cell, or "
        "satellites.\n");
    EXPECT_EQ(
        said(thirds, made.truth().primitive),
        "5 of the 5 reflections that are not indexed have indices in thirds: a larger cell, or "
        "satellites.\n");
}

TEST(TheDiagnosis, FindsARing)
{
    const simulated made = simulate(usual());
    std::vector<vector3> vectors = made.vectors();
    // Ice, 3.67 angstroms; directions by the golden angle.
    for (int i = 0; i < 9; ++i) {
        const double z = -0.9 + 0.2 * i;
        const double phi = 2.399963 * i;
        const double r = std::sqrt(1.0 - z * z);
        vectors.push_back(vector3(r * std::cos(phi), r * std::sin(phi), z) / 3.67);
    }
    vectors.push_back(vector3(0.6, 0.31, 0.2)); // somewhere
    const std::string all = said(vectors, made.truth().primitive);
    EXPECT_NE(all.find("lie on a ring of 3.6"), std::string::npos) << all;
}

TEST(TheDiagnosis, FindsAnOffsetOfAllReflections)
{
    simulationrequest asked = usual();
    asked.offset = {0.004, -0.002, 0.001};
    const simulated made = simulate(asked);
    const std::string all = said(made.vectors(), made.truth().primitive);
    EXPECT_NE(all.find("are shifted together by 0.004"), std::string::npos) << all;
}

TEST(TheDiagnosis, FindsErrorsThatGrowWithTheCubeOfTheLength)
{
    simulationrequest asked = usual();
    asked.noise = 0.001;
    const simulated made = simulate(asked);
    std::vector<vector3> vectors = made.vectors();
    for (vector3& q : vectors) q *= 1.0 + 0.05 * q.length_sq();
    const std::string all = said(vectors, made.truth().primitive);
    EXPECT_NE(all.find("grow with the cube of the length"), std::string::npos) << all;
}

TEST(Misorientations, NameTheTwinLaw)
{
    const matrix3 first = basisof({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    // Half a turn about a, the first row, along x here.
    const matrix3 turn(1, 0, 0, 0, -1, 0, 0, 0, -1);
    const auto found = misorientationof(first, first.multiply(turn));
    ASSERT_TRUE(found);
    EXPECT_NEAR(found->angle, 180.0, 1e-3);
    ASSERT_TRUE(found->direct);
    EXPECT_TRUE(found->twin);
    EXPECT_NEAR(std::fabs(found->axis.x), 1.0, 1e-6);
    EXPECT_EQ(sentenceof(*found).substr(0, 23), "turned by 180.0 degrees");
    EXPECT_FALSE(misorientationof(first, basisof({5.0, 7.0, 11.0, 90.0, 101.0, 90.0})));
}

TEST(AmbiguousCells, AreToldApartByAReflectionThatOnlyTheLargerOneHas)
{
    const matrix3 small = basisof({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    const matrix3 doubled = matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1).multiply(small);
    const std::string text = whatdecides(doubled, small);
    EXPECT_NE(text.find("Lattice 1 has a cell 2 times as large. Measure its reflection"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("at a spacing of 9.82 angstroms"), std::string::npos) << text; // 10 sin 101
    EXPECT_EQ(whatdecides(small, basisof({6.1, 7.7, 9.3, 90.0, 101.0, 90.0})), "");
}

TEST(Stills, AreKnownByTheirSphere)
{
    EXPECT_FALSE(ofonestill(simulate(usual()).vectors()));
    std::vector<vector3> sphere;
    const vector3 k(0, 0, 1.0); // wavelength 1
    for (int i = 0; i < 40; ++i) {
        const double phi = 2.399963 * i;
        const double theta = 0.02 * i;
        sphere.push_back(vector3(std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi),
                                 std::cos(theta))
                         - k);
    }
    EXPECT_TRUE(ofonestill(sphere));
}

} // namespace

} // namespace torvik::tools
