#include "support.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace torvik::tools {

namespace {

// Reads a text as a file, and gives the message, or "nothing".
class Readers : public ::testing::Test {
protected:
    std::string message(const std::string& name, const std::string& text,
                        const std::string& kind = "")
    {
        writefile(folder.file(name), text);
        try {
            measured = readmeasurement(folder.file(name), kind, {});
        } catch (const failure& why) {
            std::string what = why.what();
            if (what.starts_with(folder.path())) what.erase(0, folder.path().size() + 1);
            return what;
        }
        return "nothing";
    }

    temporaryfolder folder;
    measurement measured;
};

TEST_F(Readers, HaveEachAName)
{
    std::set<std::string> names;
    for (const reader& one : readers()) EXPECT_TRUE(names.insert(one.name).second) << one.name;
    EXPECT_STREQ(readers().back().name, "text");
}

TEST_F(Readers, KnowAFileByItsContent)
{
    EXPECT_EQ(message("a.txt", "_NumberOfReflections\n4\n_Wavelength\n0.7\n"
                               "_ReflectionsThetaPhiChi\n4*10 4*20 4*30\n/\n/\n/\n"),
              "nothing");
    EXPECT_EQ(measured.kind, listkind::thetaphichi);
    EXPECT_EQ(measured.wavelength, 0.7);
    EXPECT_EQ(message("a.txt", "1 2 3\n"), "nothing");
    EXPECT_EQ(measured.kind, listkind::vectors);
}

TEST_F(Readers, ReadAFileOfTheKindThatIsNamed)
{
    EXPECT_EQ(message("a.txt", "1 2 3\n", "idx"), "a.txt has no reflections.");
    EXPECT_EQ(message("a.txt", "1 2 3\n", "txt").substr(0, 36),
              "There is no format 'txt'; there are ");
}

TEST_F(Readers, RefuseWhatIsNoMeasurement)
{
    EXPECT_EQ(message("a.txt", "").substr(0, 15), "a.txt is empty.");
    EXPECT_EQ(message("a.txt", "Dear reader,\nno numbers here.\n").substr(0, 36),
              "a.txt looks like none of the formats");
    EXPECT_EQ(message("a.txt", std::string("1 2 3\n\0", 7)).substr(0, 20), "a.txt looks like non");
    EXPECT_EQ(message("a.txt", "0 0 0\n"), "a.txt has no reflections.");
    EXPECT_EQ(message("a.txt", "1e300 1 1\n"),
              "a.txt, line 1: the numbers of this reflection are too large.");
}

TEST_F(Readers, LeaveOutReflectionsWithoutLength)
{
    EXPECT_EQ(message("a.txt", "1 2 3\n0 0 0\n"), "nothing");
    EXPECT_EQ(measured.spots.size(), 1U);
    EXPECT_EQ(measured.notes[0], "1 reflection of length 0 is left out.");
}

TEST_F(Readers, GiveTheVectorsOfAngles)
{
    measurement angles;
    angles.kind = listkind::thetaphichi;
    angles.wavelength = 2.0;
    angles.spots.push_back({{30.0, 0.0, 90.0}, {}, {}, ""});
    const vector3 vector = vectorsof(angles).at(0);
    EXPECT_NEAR(vector.z, 0.5, 1e-7); // 2 sin(30)/2, along z by chi
    EXPECT_NEAR(vector.x, 0.0, 1e-7);
    EXPECT_NEAR(vector.y, 0.0, 1e-7);
}

TEST_F(Readers, ReadTheStillOfLysozymeWithItsCell)
{
    const std::string path = TORVIK_SHARED_DATA "/lysozyme_still.txt";
    if (!std::filesystem::exists(path)) GTEST_SKIP();
    const measurement still = readmeasurement(path, "", {});
    EXPECT_EQ(still.spots.size(), 297U);
    ASSERT_TRUE(still.cell);
    EXPECT_NEAR(still.cell->at(0), 36.9, 1e-9);
    EXPECT_NEAR(still.cell->at(5), 90.0, 1e-9);
}

} // namespace

} // namespace torvik::tools
