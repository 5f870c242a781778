// The sample measurements, read and compared with their known cells.
#include "support.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

// Lengths within a part of themselves, angles within degrees.
void expectcell(const std::vector<double>& cell, const std::vector<double>& known, double part,
                double degrees)
{
    ASSERT_EQ(cell.size(), 6U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(cell[i], known[i], part * known[i]);
        EXPECT_NEAR(cell[i + 3], known[i + 3], degrees);
    }
}

void expectknown(const measurement& measured, const std::vector<double>& known, double part)
{
    ASSERT_TRUE(measured.cell);
    expectcell({measured.cell->begin(), measured.cell->end()}, known, part, 0.001);
}

TEST(Samples, OfSucroseHaveTheCellOfTheirIndices)
{
    const std::string path = samplefile("sucrose.p4p");
    if (path.empty()) GTEST_SKIP();
    const measurement sucrose = readmeasurement(path, "", {});
    EXPECT_EQ(sucrose.spots.size(), 1045U);
    EXPECT_EQ(sucrose.wavelength, 0.71073);
    const std::vector<double> known = {7.7133, 8.6559, 10.8082, 90, 102.9627, 90};
    expectknown(sucrose, known, 1e-9);
    const matrix3 UB = fittedUB(sucrose);
    expectcell(cellofUB(UB), known, 0.005, 0.3);
    EXPECT_GT(fitting(sucrose, UB, 0.15), 990U); // many of those flagged A alone are off
}

TEST(Samples, OfAnOrganicCrystalHaveTheCellOfTheirIndices)
{
    const std::string path = samplefile("c15h8o4.p4p");
    if (path.empty()) GTEST_SKIP();
    const measurement crystal = readmeasurement(path, "", {});
    EXPECT_EQ(crystal.spots.size(), 499U);
    const std::vector<double> known = {9.2063, 12.5548, 9.5319, 90, 99.0051, 90};
    expectknown(crystal, known, 1e-9);
    const matrix3 UB = fittedUB(crystal);
    expectcell(cellofUB(UB), known, 0.005, 0.3);
    EXPECT_GT(fitting(crystal, UB, 0.15), 390U); // many of those flagged A alone are off
}

TEST(Samples, OfACubicGrainAreIndexedByTheProgram)
{
    const std::string path = samplefile("g3.gve");
    if (path.empty()) GTEST_SKIP();
    const measurement grain = readmeasurement(path, "", {});
    EXPECT_EQ(grain.spots.size(), 229U);
    EXPECT_EQ(grain.wavelength, 0.265083);
    EXPECT_TRUE(grain.notes.empty()) << grain.notes[0]; // lengths are those of the file
    const std::vector<double> known = {4.156916, 4.156916, 4.156916, 90, 90, 90};
    expectknown(grain, known, 1e-9);
    expectcell(cellfound(grain, 40, {{"_MinMaxVolumeOfPrimitiveCell", "40 150"}}), known, 0.005,
               0.5);
}

TEST(Samples, OfLaueDiffractionAreOnTheLatticeOfTheirIndices)
{
    const std::string path = samplefile("TOPAZ_3007.peaks");
    if (path.empty()) GTEST_SKIP();
    const measurement laue = readmeasurement(path, "", {});
    EXPECT_EQ(laue.spots.size(), 43U);
    const matrix3 UB = fittedUB(laue);
    EXPECT_EQ(fitting(laue, UB, 0.1), 43U);
    EXPECT_EQ(laue.spots[0].intensity, 438.0);
}

} // namespace

} // namespace torvik::tools
