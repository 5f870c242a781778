// XDS's spots: the geometry by hand, what is refused, and a real measurement where there is one.
#include "readers/xds.h"

#include "base/failure.h"
#include "formats/resultsfile.h"

#include "support.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>

namespace torvik::tools {

namespace {

// A detector 100 mm behind the crystal, pixels of 0.1 mm, the beam on pixel 500 500 along z, the
// spindle along x.
const std::string plain = "! made for a test\n"
                          "DIRECTION_OF_DETECTOR_X-AXIS= 1 0 0\n"
                          "DIRECTION_OF_DETECTOR_Y-AXIS= 0 1 0 ! down\n"
                          "NX=1000 NY=1000 QX=0.1 QY= 0.1\n"
                          "ORGX=500 ORGY=500 DETECTOR_DISTANCE= 100\n"
                          "ROTATION_AXIS= 1 0 0\n"
                          "INCIDENT_BEAM_DIRECTION= 0 0 1\n"
                          "X-RAY_WAVELENGTH= 1.0\n"
                          "OSCILLATION_RANGE= 0.5 STARTING_ANGLE= 0 STARTING_FRAME= 1\n";

std::string with(const std::string& text, const std::string& more)
{
    return text + more + "\n"; // the last of equal names counts
}

measurement read(const std::string& spots, const std::string& parameters = plain,
                 const readeroptions& options = {})
{
    return xdsmeasurement(textfile("SPOT.XDS", spots), textfile("XDS.INP", parameters), options);
}

TEST(XdsSpots, AreTheScatteredBeamLessTheIncidentOne)
{
    expectnear(firstof(read("1500 500 0 7\n")), {half, 0, half - 1});
    expectnear(firstof(read("500 1500 0 7\n")), {0, half, half - 1});
}

// A quarter turn about x by frame 180 takes y to z: what lies along y then, lay along -z ... and is
// turned back there.
TEST(XdsSpots, AreTurnedBackAboutTheSpindle)
{
    expectnear(firstof(read("500 1500 180 7\n")), {0, half - 1, -half});
    expectnear(firstof(read("500 1500 0 7\n", with(plain, "STARTING_ANGLE= 90"))),
               {0, half - 1, -half});
    expectnear(firstof(read("500 1500 189 7\n", with(plain, "STARTING_FRAME= 10"))),
               {0, half - 1, -half});
    expectnear(firstof(read("500 1500 180 7\n", with(plain, "ROTATION_AXIS= -2 0 0"))),
               {0, 1 - half, half});
}

// The diffracted beam, turned back as the vector is.
TEST(XdsSpots, HaveTheNormalOfTheEwaldSphere)
{
    const auto normal = [](const char* line) { return *read(line).spots.front().normal; };
    EXPECT_LT((normal("1500 500 0 7\n") - vector3(half, 0, half)).length(), 1e-12);
    EXPECT_LT((normal("500 1500 180 7\n") - vector3(0, half, -half)).length(), 1e-12);
}

// z is 0 at the start of the first frame.
TEST(XdsSpots, HaveTheNumberOfTheirImage)
{
    const measurement measured = read("1500 500 0.4 7\n1500 500 1 7\n1500 500 179.9 7\n");
    EXPECT_EQ(measured.spots[0].image, 1);
    EXPECT_EQ(measured.spots[1].image, 2);
    EXPECT_EQ(measured.spots[2].image, 180);
}

// The detector swung by 90 degrees about y: the spot on its centre is scattered by 90 degrees.
TEST(XdsSpots, FollowTheAxesOfASwungDetector)
{
    const std::string swung = with(plain, "DIRECTION_OF_DETECTOR_X-AXIS= 0 0 -1");
    expectnear(firstof(read("500 500 0 7\n", swung)), {1, 0, -1});
}

TEST(XdsSpots, FollowBeamWavelengthPixelsAndTheSignOfTheDistance)
{
    expectnear(firstof(read("1500 500 0 7\n", with(plain, "X-RAY_WAVELENGTH= 0.5"))),
               {2 * half, 0, 2 * half - 2});
    expectnear(firstof(read("1000 500 0 7\n", with(plain, "QX= 0.2"))), {half, 0, half - 1});
    expectnear(firstof(read("500 500 0 7\n", with(plain, "DETECTOR_DISTANCE= -100"))), {0, 0, -2});
    expectnear(firstof(read("500 500 0 7\n", with(plain, "INCIDENT_BEAM_DIRECTION= 0 3 0"))),
               {0, -1, 1});
}

TEST(XdsSpots, TakeACentreThatIsGivenInPlaceOfTheFiles)
{
    readeroptions options;
    options.centre = {400.0, 500.0};
    const measurement measured = read("1400 500 0 7\n", plain, options);
    expectnear(firstof(measured), {half, 0, half - 1});
    ASSERT_EQ(measured.notes.size(), 1U);
    EXPECT_EQ(measured.notes[0],
              "The centre is at 400.00, 500.00 pixels, in place of 500.00, 500.00.");
}

TEST(XdsSpots, HaveTheirIntensityAndTheirIndicesIfTheyWereIndexed)
{
    const measurement measured = read("600 500 1 7.5 1 2 -3\n"
                                      "600 500 1 8 0 0 0\n"
                                      "600 500 1 9 1\n"
                                      "600 500 1 10 1 4 5 6\n"
                                      "600 500 1 11\n");
    ASSERT_EQ(measured.spots.size(), 5U);
    EXPECT_EQ(measured.spots[0].intensity, 7.5);
    EXPECT_EQ(measured.spots[0].hkl, (std::array<int, 3>{1, 2, -3}));
    EXPECT_EQ(measured.spots[0].where, "line 1");
    EXPECT_FALSE(measured.spots[1].hkl);
    EXPECT_FALSE(measured.spots[2].hkl);
    EXPECT_EQ(measured.spots[3].hkl, (std::array<int, 3>{4, 5, 6}));
    EXPECT_EQ(measured.spots[4].intensity, 11.0);
}

TEST(XdsSpots, ComeWithTheCellThatIsGivenWithASpaceGroup)
{
    const std::string cell = with(plain, "UNIT_CELL_CONSTANTS= 4 5 6 90 91 92");
    EXPECT_FALSE(read("600 500 1 7\n", cell).cell);
    EXPECT_EQ(read("600 500 1 7\n", with(cell, "SPACE_GROUP_NUMBER= 1")).cell,
              (std::array<double, 6>{4, 5, 6, 90, 91, 92}));
}

TEST(XdsSpots, ThatAreNoneAreRefusedWithTheirPlace)
{
    EXPECT_EQ(
        failureof([] { read("1 2 3 4\n1 2 x 4\n"); }),
        "SPOT.XDS, line 2, column 5: expected x, y, z or the intensity of a spot, found 'x'.");
    EXPECT_EQ(
        failureof([] { read("1 2 3\n"); }),
        "SPOT.XDS, line 1: expected x, y, z and the intensity of a spot, and perhaps h, k and "
        "l, found 3 numbers.");
    EXPECT_EQ(failureof([] { read("1 2 3 4 5 6 7.5\n"); }),
              "SPOT.XDS, line 1, column 13: expected an index, found '7.5'.");
    EXPECT_EQ(failureof([] { read("1e308 2 3 4\n", with(plain, "QX= 10")); }),
              "SPOT.XDS, line 1: expected a spot on the detector.");
    EXPECT_EQ(failureof([] { read("! none\n"); }), "SPOT.XDS: expected spots, there are none.");
}

TEST(XdsParameters, ThatAreMissingOrWrongAreRefusedWithTheirPlace)
{
    const auto message = [](const std::string& parameters) {
        return failureof([&] { read("600 500 1 7\n", parameters); });
    };
    EXPECT_EQ(message("QX=1\n"),
              "XDS.INP: expected a line 'DIRECTION_OF_DETECTOR_X-AXIS=', there is none.");
    EXPECT_EQ(message(with(plain, "QX=1 QY=-1")),
              "XDS.INP, line 10, column 6: expected a positive number behind QY=.");
    EXPECT_EQ(message(with(plain, "ORGX= centre")),
              "XDS.INP, line 10, column 7: expected a number behind ORGX=, found 'centre'.");
    EXPECT_EQ(message(with(plain, "ROTATION_AXIS= 0 0")),
              "XDS.INP, line 10, column 1: expected 3 numbers behind ROTATION_AXIS=.");
    EXPECT_EQ(message(with(plain, "ROTATION_AXIS= 0 0 0")),
              "XDS.INP, line 10, column 1: expected a direction behind ROTATION_AXIS=.");
    EXPECT_EQ(message(with(plain, "DIRECTION_OF_DETECTOR_Y-AXIS= 1 0.1 0")),
              "XDS.INP, line 10, column 1: expected an axis at right angles to the other behind "
              "DIRECTION_OF_DETECTOR_Y-AXIS=.");
    EXPECT_EQ(message(with(plain, "DETECTOR_DISTANCE= 0")),
              "XDS.INP, line 10, column 1: expected a distance other than zero behind "
              "DETECTOR_DISTANCE=.");
    EXPECT_EQ(message(with(plain, "SEGMENT= 1 10 1 10")),
              "XDS.INP, line 10, column 1: expected a detector of one plane, found a SEGMENT=.");
}

TEST(XdsFiles, AreKnownByTheirNameAndTheirNumbers)
{
    EXPECT_TRUE(xdsreader.recognises("  1 2 3 4.\r\n", "a/SPOT.XDS"));
    EXPECT_FALSE(xdsreader.recognises("1 2 3 4\n", "spots.txt"));
    EXPECT_FALSE(xdsreader.recognises("!FORMAT=XDS_ASCII\n", "XDS_ASCII.HKL"));
    EXPECT_FALSE(xdsreader.recognises("!FORMAT=XDS_ASCII of some kind\n", "GXPARM.XDS"));
    EXPECT_FALSE(xdsreader.recognises("", "SPOT.XDS"));
}

TEST(XdsFiles, NeedTheGeometryBesideOrNamed)
{
    const temporaryfolder folder;
    writefile(folder.file("SPOT.XDS"), "1500 500 0 7\n");
    EXPECT_EQ(failureof([&] { xdsreader.read(folder.file("SPOT.XDS"), {}); }),
              "The geometry of " + folder.file("SPOT.XDS") + " is missing: there is no "
                  + folder.file("XDS.INP") + ".");
    writefile(folder.file("other.inp"), plain);
    readeroptions options;
    options.others = {folder.file("x.expt"), folder.file("other.inp")};
    EXPECT_EQ(xdsreader.read(folder.file("SPOT.XDS"), options).spots.size(), 1U);
    writefile(folder.file("XDS.INP"), plain);
    EXPECT_EQ(xdsreader.read(folder.file("SPOT.XDS"), {}).spots.size(), 1U);
}

// How many of the spots have whole indices, to 0.1, by the matrix that takes their vectors best to
// the indices in the file.
int indexed(const measurement& measured, matrix3& basis)
{
    matrix3 products(0.0); // sums of vector times vector, and of index times vector
    matrix3 mixed(0.0);
    for (const spot& one : measured.spots) {
        if (!one.hkl) continue;
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j) {
                const auto row = static_cast<int>(i);
                const auto column = static_cast<int>(j);
                products[row][column] += one.value[i] * one.value[j];
                mixed[row][column] += (*one.hkl)[i] * one.value[j];
            }
    }
    basis = mixed.multiply(products.inverse());
    int count = 0;
    for (const spot& one : measured.spots) {
        const vector3 hkl = basis.multiply({one.value[0], one.value[1], one.value[2]});
        const bool nonzero = hkl.length() > 0.5;
        if (nonzero && off_whole(hkl) < 0.1) ++count;
    }
    return count;
}

// A tetragonal crystal of 42.45 and 39.80 angstroms, to a hundredth, since the distance is not
// refined; the two coordinates of the centre are exchanged in the file.
class TheProteinCrystal : public testing::Test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(path_)) GTEST_SKIP() << "no shared data";
    }

    std::string path_ = std::string(TORVIK_SHARED_DATA) + "/SPOT.XDS";
};

TEST_F(TheProteinCrystal, FitsWithTheRightCentre)
{
    readeroptions options;
    options.centre = {1235.3, 1279.1};
    const measurement measured = xdsreader.read(path_, options);
    matrix3 basis;
    const int count = indexed(measured, basis);
    EXPECT_GT(count, static_cast<int>(measured.spots.size()) * 85 / 100) << measured.spots.size();
    const double expected[] = {42.45, 42.45, 39.80};
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(row_of(basis, i).length(), expected[i], 0.01 * expected[i]);
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(row_of(basis, i).cos_angle(row_of(basis, (i + 1) % 3)), 0.0, 0.01);
}

TEST_F(TheProteinCrystal, FitsNothingWithTheCentreOfTheFile)
{
    const measurement measured = xdsreader.read(path_, {});
    matrix3 basis;
    const int count = indexed(measured, basis);
    EXPECT_LT(count, static_cast<int>(measured.spots.size()) * 30 / 100) << measured.spots.size();
}

TEST_F(TheProteinCrystal, IsFoundByTheProgramWithTheRightCentreAlone)
{
    const std::vector<keyword> limits = {{"_MinMaxVolumeOfPrimitiveCell", "50000 90000"}};
    readeroptions options;
    options.centre = {1235.3, 1279.1};
    std::vector<double> cell = cellfound(readmeasurement(path_, "", options), 40, limits);
    ASSERT_EQ(cell.size(), 6U);
    std::sort(cell.begin(), cell.begin() + 3);
    const double expected[] = {39.80, 42.45, 42.45};
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(cell[i], expected[i], 0.01 * expected[i]);
    for (std::size_t i = 3; i < 6; ++i) EXPECT_NEAR(cell[i], 90, 0.4);
    EXPECT_EQ(failureof([&] { cellfound(readmeasurement(path_, "", {}), 40, limits); }),
              "The results have no solutions.");
}

} // namespace

} // namespace torvik::tools
