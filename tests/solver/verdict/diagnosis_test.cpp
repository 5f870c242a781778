#include "solver/verdict/diagnosis.h"

#include "support/simulated_crystals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace torvik::solver {

namespace {

crystal_request usual()
{
    crystal_request asked;
    asked.reflections = 60;
    asked.smallest_d = 2.0;
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
        crystal_request asked = usual();
        asked.seed = seed;
        asked.outliers = 6;
        const simulated_crystal made = simulated(asked);
        EXPECT_EQ(said(made.vectors, made.basis), "") << seed;
    }
}

TEST(TheDiagnosis, FindsIndicesInHalvesAndThirds)
{
    const simulated_crystal made = simulated(usual());
    const matrix3 UB = made.basis.inverse();
    std::vector<vector3> halves = made.vectors;
    std::vector<vector3> thirds = halves;
    for (int i = 0; i < 5; ++i) {
        halves.push_back(UB.multiply(vector3(i - 2 + 0.5, 1 - i, i % 2)));
        thirds.push_back(UB.multiply(vector3(i - 2, 1.0 / 3 + i % 3, 2 - i)));
    }
    EXPECT_EQ(
        said(halves, made.basis),
        "5 of the 5 reflections that are not indexed have indices in halves: a larger cell, or "
        "satellites.\n");
    EXPECT_EQ(
        said(thirds, made.basis),
        "5 of the 5 reflections that are not indexed have indices in thirds: a larger cell, or "
        "satellites.\n");
}

// Errors so coarse that a third of all space is near a half, and all of it near a third.
TEST(TheDiagnosis, TakesNoChanceHitsForHalvesOrThirds)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        crystal_request asked = usual();
        asked.seed = seed;
        asked.outliers = asked.reflections;
        const simulated_crystal made = simulated(asked);
        assessment found;
        found.basis = made.basis;
        found.sigma = 0.008;
        found.inlier.assign(made.vectors.size(), 0.0);
        EXPECT_TRUE(diagnose(made.vectors, found).empty()) << seed;
    }
}

TEST(TheDiagnosis, FindsARing)
{
    const simulated_crystal made = simulated(usual());
    std::vector<vector3> vectors = made.vectors;
    // Ice, 3.67 angstroms; directions by the golden angle.
    for (int i = 0; i < 9; ++i) {
        const double z = -0.9 + 0.2 * i;
        const double phi = 2.399963 * i;
        const double r = std::sqrt(1.0 - z * z);
        vectors.push_back(vector3(r * std::cos(phi), r * std::sin(phi), z) / 3.67);
    }
    vectors.push_back(vector3(0.6, 0.31, 0.2)); // somewhere
    const std::string all = said(vectors, made.basis);
    EXPECT_NE(all.find("lie on a ring of 3.6"), std::string::npos) << all;
}

TEST(TheDiagnosis, FindsAnOffsetOfAllReflections)
{
    crystal_request asked = usual();
    asked.offset = {0.004, -0.002, 0.001};
    const simulated_crystal made = simulated(asked);
    const std::string all = said(made.vectors, made.basis);
    EXPECT_NE(all.find("are shifted together by 0.004"), std::string::npos) << all;
}

TEST(TheDiagnosis, FindsErrorsThatGrowWithTheCubeOfTheLength)
{
    crystal_request asked = usual();
    asked.noise = 0.001;
    const simulated_crystal made = simulated(asked);
    std::vector<vector3> vectors = made.vectors;
    for (vector3& q : vectors) q *= 1.0 + 0.05 * q.length_sq();
    const std::string all = said(vectors, made.basis);
    EXPECT_NE(all.find("grow with the cube of the length"), std::string::npos) << all;
}

TEST(Misorientations, AreReportedByAngleAndRow)
{
    misorientation found;
    found.angle = 179.96;
    EXPECT_EQ(sentence_of(found), "turned by 180.0 degrees");
    found.direct = {1, 0, -2};
    EXPECT_EQ(sentence_of(found), "turned by 180.0 degrees about [1 0 -2]");
    found.twin = true;
    EXPECT_EQ(sentence_of(found), "turned by 180.0 degrees about [1 0 -2]: a likely twin law");
}

} // namespace

} // namespace torvik::solver
