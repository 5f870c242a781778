#include "solving/crystals.h"

#include "simulation/simulate.h"
#include "solver/lattice/cell.h"
#include "solving/solve.h"

#include <gtest/gtest.h>

#include <cmath>
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

TEST(AmbiguousCells, AreToldApartByAReflectionThatOnlyTheLargerOneHas)
{
    const matrix3 small = basis_of({5.0, 7.0, 9.0, 90.0, 101.0, 90.0});
    const matrix3 doubled = matrix3(2, 0, 0, 0, 1, 0, 0, 0, 1).multiply(small);
    const std::string text = whatdecides(doubled, small);
    EXPECT_NE(text.find("Lattice 1 has a cell 2 times as large. Measure its reflection"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("at a spacing of 9.82 angstroms"), std::string::npos) << text; // 10 sin 101
    EXPECT_EQ(whatdecides(small, basis_of({6.1, 7.7, 9.3, 90.0, 101.0, 90.0})), "");
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
