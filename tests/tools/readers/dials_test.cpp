// DIALS's tables and experiments: the geometry by hand, what is refused, and a real measurement where
// there is one.
#include "readers/dials.h"

#include "support.h"
#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <bit>
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace torvik::tools {

namespace {

using nlohmann::json;

// ------------------------------------------------------------------- a table, byte by byte

std::string bigendian(std::size_t value, int bytes)
{
    std::string text;
    for (int i = bytes; i-- > 0;) text += static_cast<char>(value >> (8 * i) & 0xFF);
    return text;
}

std::string packed(const std::string& text)
{
    return "\xD9" + bigendian(text.size(), 1) + text;
}

std::string packedbytes(const std::string& bytes)
{
    return "\xC6" + bigendian(bytes.size(), 4) + bytes;
}

std::string packed(std::size_t number)
{
    return "\xCE" + bigendian(number, 4);
}

std::string little(std::uint64_t bits, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(bits >> (8 * i) & 0xFF);
    return text;
}

std::string little(double value)
{
    return little(std::bit_cast<std::uint64_t>(value), 8);
}

struct tablecolumn {
    std::string name;
    std::string type;
    std::string bytes;
};

std::string tablebytes(std::size_t rows, const std::vector<tablecolumn>& columns)
{
    std::string text = "\x93" + packed("dials::af::reflection_table") + "\x01\x83";
    text += packed("identifiers") + "\x80" + packed("nrows") + packed(rows) + packed("data");
    text += static_cast<char>(0x80 + columns.size());
    for (const tablecolumn& one : columns)
        text += packed(one.name) + "\x92" + packed(one.type) + "\x92" + packed(rows)
                + packedbytes(one.bytes);
    return text;
}

tablecolumn vectorcolumn(const std::string& name, const std::vector<vector3>& values)
{
    tablecolumn one{name, "vec3<double>", ""};
    for (const vector3& x : values) one.bytes += little(x.x) + little(x.y) + little(x.z);
    return one;
}

tablecolumn intcolumn(const std::string& name, const std::vector<int>& values)
{
    tablecolumn one{name, "int", ""};
    for (const int x : values) one.bytes += little(static_cast<std::uint32_t>(x), 4);
    return one;
}

// ---------------------------------------------------------------------------- an instrument

// A panel 100 mm behind the crystal, pixels of 0.1 mm, the beam along -z on pixel 500 500; the slow
// axis points down, along -y. The spindle is along x, frames are half a degree.
json plain()
{
    return json::parse(R"({
        "__id__": "ExperimentList",
        "experiment": [{"__id__": "Experiment", "beam": 0, "detector": 0, "goniometer": 0, "scan": 0}],
        "beam": [{"direction": [0, 0, 1], "wavelength": 1}],
        "detector": [{"panels": [{"origin": [-50, 50, -100], "fast_axis": [1, 0, 0],
            "slow_axis": [0, -1, 0], "pixel_size": [0.1, 0.1]}]}],
        "goniometer": [{"rotation_axis": [1, 0, 0], "fixed_rotation": [1, 0, 0, 0, 1, 0, 0, 0, 1],
            "setting_rotation": [1, 0, 0, 0, 1, 0, 0, 0, 1]}],
        "scan": [{"image_range": [1, 360], "oscillation": [0, 0.5]}]})");
}

json with(json file, const char* place, const json& value)
{
    file[json::json_pointer(place)] = value;
    return file;
}

reflectiontable pixels(const std::vector<vector3>& values)
{
    return readreflectiontable(
        "a.refl", tablebytes(values.size(), {vectorcolumn("xyzobs.px.value", values)}));
}

measurement read(const reflectiontable& table, const json& file, const readeroptions& options = {})
{
    const dialsinstrument given = readexperiments(textfile("a.expt", file.dump()));
    return dialsmeasurement("a.refl", table, &given, options);
}

const vector3 aside(1500, 500, 0);
const vector3 above(500, -500, 0);

// -------------------------------------------------------------------------------- geometry

TEST(DialsSpots, AreTheScatteredBeamLessTheIncidentOne)
{
    expectnear(firstof(read(pixels({aside}), plain())), {half, 0, 1 - half});
    expectnear(firstof(read(pixels({above}), plain())), {0, half, 1 - half});
    expectnear(firstof(read(pixels({aside}), with(plain(), "/beam/0/wavelength", 0.5))),
               {2 * half, 0, 2 - 2 * half});
}

// Frame 180 is a quarter turn, which takes y to z. Frames count from 0 at the start of image 1.
TEST(DialsSpots, AreTurnedBackAboutTheSpindle)
{
    const vector3 turned(0, 1 - half, -half);
    expectnear(firstof(read(pixels({{500, -500, 180}}), plain())), turned);
    expectnear(
        firstof(read(pixels({{500, -500, 190}}), with(plain(), "/scan/0/image_range", {11, 370}))),
        turned);
    expectnear(firstof(read(pixels({above}), with(plain(), "/scan/0/oscillation", {90, 0.5}))),
               turned);
    json newer = plain();
    newer["scan"][0].erase("oscillation");
    newer["scan"][0]["properties"] = {{"oscillation", {-90, -89.5, -89}}};
    expectnear(firstof(read(pixels({{500, -500, 360}}), newer)), turned);
}

// The diffracted beam, turned back as the vector is; none where the table has only vectors.
TEST(DialsSpots, HaveTheNormalOfTheEwaldSphere)
{
    const vector3 still = *read(pixels({aside}), plain()).spots.front().normal;
    EXPECT_LT((still - vector3(half, 0, -half)).length(), 1e-12);
    const vector3 turned = *read(pixels({{500, -500, 180}}), plain()).spots.front().normal;
    EXPECT_LT((turned - vector3(0, -half, -half)).length(), 1e-12);
}

// Frames of different sets are far apart, also if they have the same number.
TEST(DialsSpots, HaveTheNumberOfTheirImage)
{
    const std::vector<vector3> values = {{1500, 500, 0.5}, {1500, 500, 1.0}, {1500, 500, 0.5}};
    const reflectiontable table =
        readreflectiontable("a.refl", tablebytes(3, {vectorcolumn("xyzobs.px.value", values),
                                                     intcolumn("imageset_id", {0, 0, 1})}));
    const measurement measured = read(table, plain());
    ASSERT_EQ(measured.spots.size(), 3U);
    EXPECT_EQ(measured.spots[0].image, 1);
    EXPECT_EQ(measured.spots[1].image, 2);
    EXPECT_GT(*measured.spots[2].image, 1000);
}

// The crystal is turned a quarter about y (z to x), then about the spindle (y to z), then about z (x
// to y); what is seen is turned back the other way round.
TEST(DialsSpots, AreTurnedBackByTheSettingTheSpindleAndTheFixedRotation)
{
    const vector3 expected(-half, 1 - half, 0);
    const vector3 seen(1500, 500, 180);
    json file = with(plain(), "/goniometer/0/fixed_rotation", {0, 0, 1, 0, 1, 0, -1, 0, 0});
    file = with(file, "/goniometer/0/setting_rotation", {0, -1, 0, 1, 0, 0, 0, 0, 1});
    expectnear(firstof(read(pixels({seen}), file)), expected);
    const json axes = {{"axes", {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}}},
                       {"angles", {90, 77, 90}}, // that of the spindle is in the scan
                       {"scan_axis", 1}};
    expectnear(firstof(read(pixels({seen}), with(plain(), "/goniometer/0", axes))), expected);
}

// The panel hangs on a plane 10 mm along x that is turned by 90 degrees: what the panel has at x, y is
// at 10 - y, x in the laboratory. A spot at 0, 10 is then on the beam; one at 120, 10 is 120 mm up.
TEST(DialsSpots, FollowTheTreeOnWhichThePanelsHang)
{
    json file = plain();
    file["detector"][0]["hierarchy"] = {{"origin", {10, 0, 0}},
                                        {"fast_axis", {0, 1, 0}},
                                        {"slow_axis", {-1, 0, 0}},
                                        {"children", {{{"panel", 0}}}}};
    expectnear(firstof(read(pixels({{500, 400, 0}}), file)), {0, 0, 0});
    const json deeper = {{"origin", {0, 0, -20}},
                         {"fast_axis", {1, 0, 0}},
                         {"slow_axis", {0, 1, 0}},
                         {"children", {file["detector"][0]["hierarchy"]}}};
    file["detector"][0]["hierarchy"] = deeper;
    expectnear(firstof(read(pixels({{500, 400, 0}}), file)), {0, 0, 0});
    expectnear(firstof(read(pixels({{1700, 400, 0}}), file)), {0, half, 1 - half});
}

TEST(DialsSpots, OnAnotherPanelTakeItsGeometry)
{
    json file = plain();
    file["detector"][0]["panels"].push_back(file["detector"][0]["panels"][0]);
    file["detector"][0]["panels"][1]["origin"] = {-50, 50, 100};
    tablecolumn panel{"panel", "std::size_t", little(1, 8)};
    const reflectiontable table = readreflectiontable(
        "a.refl", tablebytes(1, {vectorcolumn("xyzobs.px.value", {aside}), panel}));
    expectnear(firstof(read(table, file)), {half, 0, 1 + half});
    EXPECT_EQ(failureof([&] { read(table, plain()); }),
              "a.refl, row 1: expected a panel of the .expt, found the number 1.");
}

// Millimetres and radians, which are right whatever the pixels are.
TEST(DialsSpots, AreTakenFromMillimetresWhereTheTableHasThem)
{
    const reflectiontable table = readreflectiontable(
        "a.refl", tablebytes(1, {vectorcolumn("xyzobs.px.value", {{1, 2, 3}}),
                                 vectorcolumn("xyzobs.mm.value", {{50, -50, std::acos(0.0)}})}));
    expectnear(firstof(read(table, plain())), {0, 1 - half, -half});
}

// A sensor of 1 mm that takes a share of 1/e in each: of a beam at 45 degrees, the photons that are
// stopped are stopped, on average, after 1 - (1 + q) exp(-q) with q = sqrt(2), all in millimetres.
TEST(DialsSpots, OfObliqueBeamsAreMovedToWhereTheyEnterTheSensor)
{
    json file = with(plain(), "/detector/0/panels/0/mu", 1);
    file = with(file, "/detector/0/panels/0/thickness", 1);
    file = with(file, "/detector/0/panels/0/px_mm_strategy",
                {{"type", "ParallaxCorrectedPxMmStrategy"}});
    const double q = std::sqrt(2.0);
    const double x = 100 - (1 - (1 + q) * std::exp(-q)) * half;
    const double length = std::hypot(x, 100.0);
    expectnear(firstof(read(pixels({aside}), file)), {x / length, 0, 1 - 100 / length});
    file = with(file, "/detector/0/panels/0/px_mm_strategy", {{"type", "SimplePxMmStrategy"}});
    expectnear(firstof(read(pixels({aside}), file)), {half, 0, 1 - half});
}

TEST(DialsSpots, OfAStillAreNotTurnedAndThisIsSaid)
{
    json file = plain();
    file["experiment"][0].erase("scan");
    const measurement measured = read(pixels({{500, -500, 180}}), file);
    expectnear(firstof(measured), {0, half, 1 - half});
    EXPECT_EQ(measured.notes,
              std::vector<std::string>{"The .expt has no scan: the crystal stands still."});
}

TEST(DialsSpots, ThatAreReciprocalLatticePointsNeedNoInstrument)
{
    const reflectiontable table = readreflectiontable(
        "a.refl", tablebytes(2, {vectorcolumn("rlp", {{0, 0, 0}, {0.1, 0.2, -0.3}})}));
    const measurement measured = dialsmeasurement("a.refl", table, nullptr, {});
    ASSERT_EQ(measured.spots.size(), 1U); // the first was not taken to reciprocal space
    expectnear(firstof(measured), {0.1, 0.2, -0.3});
    EXPECT_EQ(measured.spots[0].where, "row 2");
    EXPECT_EQ(failureof([] { dialsmeasurement("a.refl", pixels({aside}), nullptr, {}); }),
              "The geometry of a.refl is missing: name its .expt file.");
}

TEST(DialsSpots, HaveTheirIntensityAndTheirIndices)
{
    tablecolumn index{"miller_index", "cctbx::miller::index<>", ""};
    for (const int h : {1, -2, 3, 0, 0, 0}) index.bytes += little(static_cast<std::uint32_t>(h), 4);
    const tablecolumn intensity{"intensity.sum.value", "double",
                                little(7.5) + little(std::nan(""))};
    const measurement measured =
        read(readreflectiontable("a.refl",
                                 tablebytes(2, {vectorcolumn("xyzobs.px.value", {aside, above}),
                                                index, intensity})),
             plain());
    EXPECT_EQ(measured.spots[0].hkl, (std::array<int, 3>{1, -2, 3}));
    EXPECT_EQ(measured.spots[0].intensity, 7.5);
    EXPECT_FALSE(measured.spots[1].hkl);
    EXPECT_FALSE(measured.spots[1].intensity);
}

// The second experiment is another lattice on the same images, the third another measurement.
TEST(DialsSpots, OfOtherMeasurementsAreLeftOutWithANote)
{
    json file = plain();
    file["experiment"].push_back(file["experiment"][0]);
    file["experiment"].push_back(file["experiment"][0]);
    file["experiment"][2]["scan"] = 1;
    file["scan"].push_back(file["scan"][0]);
    const reflectiontable table = readreflectiontable(
        "a.refl", tablebytes(5, {vectorcolumn("xyzobs.px.value", std::vector<vector3>(5, aside)),
                                 intcolumn("id", {0, 1, 2, -1, 7})}));
    const measurement measured = read(table, file);
    ASSERT_EQ(measured.spots.size(), 3U);
    EXPECT_EQ(measured.spots[2].where, "row 4");
    EXPECT_EQ(measured.notes, std::vector<std::string>{
                                  "2 reflections of other experiments than the first left out."});
}

TEST(DialsSpots, TakeTheWavelengthAskedForAndNoOtherCentre)
{
    readeroptions options;
    options.wavelength = 0.5;
    expectnear(firstof(read(pixels({aside}), plain(), options)), {2 * half, 0, 2 - 2 * half});
    json white = plain();
    white["beam"][0].erase("wavelength");
    EXPECT_EQ(failureof([&] { read(pixels({aside}), white); }),
              "The .expt of a.refl has no wavelength: give one.");
    expectnear(firstof(read(pixels({aside}), white, options)), {2 * half, 0, 2 - 2 * half});
    options.centre = {1.0, 2.0};
    EXPECT_EQ(
        failureof([&] { read(pixels({aside}), plain(), options); }),
        "The centre of a.refl follows from the detector in its .expt: no other can be given.");
}

// ----------------------------------------------------------------------------- what is refused

TEST(DialsExperiments, ThatAreWrongAreRefused)
{
    const auto message = [](const json& file) {
        return failureof([&] { read(pixels({aside}), file); });
    };
    EXPECT_EQ(failureof([] { readexperiments(textfile("a.expt", "{\n \"beam\": [1,]\n}")); }),
              "a.expt, line 2, column 13: expected JSON.");
    EXPECT_EQ(message(json::array()), "a.expt: expected 'experiment' in the file.");
    EXPECT_EQ(message(with(plain(), "/experiment", json::array())),
              "a.expt: expected a list of experiments in 'experiment'.");
    EXPECT_EQ(message(with(plain(), "/experiment/0/beam", 1)),
              "a.expt: expected the first experiment to have a beam.");
    EXPECT_EQ(message(with(plain(), "/experiment/0/detector", "detector.json")),
              "a.expt: expected the first experiment to have a detector.");
    EXPECT_EQ(message(with(plain(), "/beam/0/direction", {0, 0, 0})),
              "a.expt: expected a direction in 'direction'.");
    EXPECT_EQ(message(with(plain(), "/beam/0/direction", {0, 1})),
              "a.expt: expected 3 numbers in 'direction'.");
    EXPECT_EQ(message(with(plain(), "/beam/0/wavelength", -1)),
              "a.expt: expected a positive number in 'wavelength'.");
    EXPECT_EQ(message(with(plain(), "/detector/0/panels/0/slow_axis", {1, 0.1, 0})),
              "a.expt: expected 'fast_axis' and 'slow_axis' at right angles.");
    EXPECT_EQ(message(with(plain(), "/goniometer/0/fixed_rotation", {2, 0, 0, 0, 1, 0, 0, 0, 1})),
              "a.expt: expected a rotation in 'fixed_rotation'.");
    EXPECT_EQ(message(with(plain(), "/goniometer/0/axes", {{1, 0, 0}})),
              "a.expt: expected 'angles' in the goniometer.");
    EXPECT_EQ(message(with(plain(), "/scan/0/image_range", "1-360")),
              "a.expt: expected 2 numbers in 'image_range'.");
}

TEST(DialsExperiments, OfATreeWithoutAnEndAreRefused)
{
    const json level = {{"origin", {0, 0, 0}}, {"fast_axis", {1, 0, 0}}, {"slow_axis", {0, 1, 0}}};
    json tree = with(level, "/children", {{{"panel", 0}}});
    for (int i = 0; i < 200; ++i) tree = with(level, "/children", json::array({tree}));
    EXPECT_EQ(
        failureof([&] { read(pixels({aside}), with(plain(), "/detector/0/hierarchy", tree)); }),
        "a.expt: expected a detector of fewer levels.");
    const json twice = with(level, "/children", {{{"panel", 0}}, {{"panel", 0}}});
    EXPECT_EQ(
        failureof([&] { read(pixels({aside}), with(plain(), "/detector/0/hierarchy", twice)); }),
        "a.expt: expected each panel once in the detector's hierarchy.");
}

TEST(DialsTables, ThatAreWrongAreRefused)
{
    const auto message = [](const std::string& bytes) {
        return failureof([&] { readreflectiontable("a.refl", bytes); });
    };
    const std::string nomsgpack = "a.refl: expected a table of reflections of DIALS, found bytes "
                                  "that are no msgpack, or end too early.";
    EXPECT_EQ(message(""), nomsgpack);
    EXPECT_EQ(message("\xC1"), nomsgpack);
    EXPECT_EQ(message("\xDD\xFF\xFF\xFF\xFF"), nomsgpack); // a list of 4 milliards
    EXPECT_EQ(message("\x01"), "a.refl: expected a list of a name, a version and a table.");
    EXPECT_EQ(message(tablebytes(5'000'001, {})), "a.refl: expected 5 million rows or less.");
    EXPECT_EQ(message(tablebytes(2, {vectorcolumn("rlp", {aside})})),
              "a.refl: expected 2 rows in the column rlp.");
    EXPECT_EQ(message(tablebytes(1, {{"rlp", "double", little(1.0)}})),
              "a.refl: expected the type vec3<double> in the column rlp.");
    EXPECT_EQ(failureof([] {
                  read(readreflectiontable("a.refl", tablebytes(1, {intcolumn("id", {0})})),
                       plain());
              }),
              "a.refl: expected a column xyzobs.px.value, xyzobs.mm.value or rlp.");
    EXPECT_EQ(failureof([] {
                  read(pixels({{std::nan(""), 1, 1}}), plain());
              }),
              "a.refl, row 1: expected a spot on the detector.");
    EXPECT_EQ(failureof([] { read(pixels({}), plain()); }),
              "a.refl: expected reflections, there are none.");
}

// Every shorter file, and many with wrong bytes, are read or refused: nothing else happens.
TEST(DialsTables, WithWrongBytesAreReadOrRefused)
{
    const std::string whole =
        tablebytes(2, {vectorcolumn("xyzobs.px.value", {aside, above}),
                       intcolumn("id", {0, 0}),
                       {"panel", "std::size_t", little(0, 8) + little(0, 8)}});
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_NE(failureof([&] { readreflectiontable("a.refl", whole.substr(0, length)); }),
                  "nothing");
    std::mt19937 random(20261121);
    int refused = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string wrong = whole;
        for (int k = 0; k < 3; ++k)
            wrong[random() % wrong.size()] = static_cast<char>(random() % 256);
        const auto work = [&] { read(readreflectiontable("a.refl", wrong), plain()); };
        if (failureof(work) != "nothing") ++refused;
    }
    EXPECT_GT(refused, 300);
    EXPECT_LT(refused, 3000);
}

// --------------------------------------------------------------------------------------- files

TEST(DialsFiles, AreKnownByTheirFirstBytes)
{
    EXPECT_TRUE(dialsreader.recognises(tablebytes(0, {}), "x"));
    EXPECT_FALSE(dialsreader.recognises("dials", "strong.refl"));
    EXPECT_FALSE(dialsreader.recognises("", "strong.refl"));
}

TEST(DialsFiles, FindTheirExperimentsByName)
{
    const temporaryfolder folder;
    const std::string bytes = tablebytes(1, {vectorcolumn("xyzobs.px.value", {aside})});
    const std::string path = folder.file("a_strong.refl");
    writefile(path, bytes);
    EXPECT_EQ(failureof([&] { dialsreader.read(path, {}); }),
              "The geometry of " + path + " is missing: name its .expt file.");
    writefile(folder.file("a_imported.expt"), plain().dump());
    expectnear(firstof(dialsreader.read(path, {})), {half, 0, 1 - half});
    writefile(folder.file("a_strong.expt"), with(plain(), "/beam/0/wavelength", 0.5).dump());
    expectnear(firstof(dialsreader.read(path, {})), {2 * half, 0, 2 - 2 * half});
    readeroptions options;
    options.others = {folder.file("XDS.INP"), folder.file("a_imported.expt")};
    expectnear(firstof(dialsreader.read(path, options)), {half, 0, 1 - half});
}

// Quartz by electrons: a = 4.91, c = 5.40 angstroms. An axis a and its neighbour are at 120 degrees,
// or at 60.
TEST(DialsFiles, OfAMeasurementOfQuartzIndexAsQuartz)
{
    const std::string path = samplefile("quartz_strong.refl");
    if (path.empty()) GTEST_SKIP() << "no shared data";
    const measurement measured = readmeasurement(path, "", {});
    EXPECT_EQ(measured.spots.size(), 505U);
    EXPECT_EQ(measured.wavelength, 0.02508);
    const std::vector<double> cell =
        cellfound(measured, 60, {{"_MinMaxVolumeOfPrimitiveCell", "60 300"}});
    const double expected[] = {4.91, 4.91, 5.40, 90, 90, 120};
    ASSERT_EQ(cell.size(), 6U);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(cell[i], expected[i], 0.005 * expected[i]);
    for (std::size_t i = 3; i < 5; ++i) EXPECT_NEAR(cell[i], expected[i], 0.3);
    EXPECT_NEAR(90 + std::fabs(cell[5] - 90), expected[5], 0.3);
}

// Its panel hangs on a plane that was moved by some pixels when the centre was refined.
TEST(DialsFiles, OfAMeasurementOfQuartzFitWorseWithoutTheTreeOfTheDetector)
{
    const std::string path = samplefile("quartz_strong.refl");
    if (path.empty()) GTEST_SKIP() << "no shared data";
    const temporaryfolder folder;
    json file = json::parse(readfile(samplefile("quartz_imported.expt")));
    file["detector"][0].erase("hierarchy");
    readeroptions options;
    options.others = {folder.file("flat.expt")};
    writefile(folder.file("flat.expt"), file.dump());
    const std::vector<double> cell = cellfound(dialsreader.read(path, options), 60,
                                               {{"_MinMaxVolumeOfPrimitiveCell", "60 300"}});
    EXPECT_GT(std::fabs(cell[0] - 4.91), 0.1);
}

} // namespace

} // namespace torvik::tools
