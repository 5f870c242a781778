#include "readers/foreign.h"
#include "support.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <string>

namespace torvik::tools {

namespace {

// What import says of a file.
std::string messageof(const std::string& name, const std::string& content)
{
    const temporaryfolder folder;
    writefile(folder.file(name), content);
    std::string what =
        failureof([&] { static_cast<void>(readmeasurement(folder.file(name), "", {})); });
    if (what.starts_with(folder.path())) what.erase(0, folder.path().size() + 1);
    return what;
}

TEST(ForeignFiles, AreNamedByTheirContent)
{
    EXPECT_EQ(
        messageof("a", "\x80\x02"
                       "cdials_array_family_flex_ext\nreflection_table\n"),
        "a is a pickle of Python, which is not read; DIALS can write the same table as .refl.");
    EXPECT_EQ(messageof("a", "(dp0\nS'x'\n"), "a is a pickle of Python, which is not read.");
    EXPECT_EQ(messageof("a.csv", "\x1F\x8B\x08 1 2 3\n"),
              "a.csv is compressed by gzip, which is not read; unpack it first.");
    EXPECT_EQ(messageof("a.xds", " XPARM.XDS    VERSION Mar 15, 2019\n 1 2 3\n"),
              "a.xds is the geometry that XDS has refined, which is not read; SPOT.XDS of the same "
              "folder is read.");
    EXPECT_EQ(messageof("a.HKL", "!FORMAT=XDS_ASCII    MERGE=FALSE\n1 2 3\n").substr(0, 49),
              "a.HKL is a list of integrated reflections of XDS,");
    EXPECT_EQ(messageof("a.txt", "  2463  2527 0.172 1.0 0.0\n  1  1\n 211.9 217.9\n"
                                 " 100.1 90.2 0.5 12.0 100.0 3.0\n"),
              "a.txt is a list of spots of MOSFLM, .spt, which is not read.");
}

// The first line of an old one is six numbers, as a line of SPOT.XDS might be.
TEST(ForeignFiles, AreNamedByANameThatNothingElseHas)
{
    const std::string numbers = "1 -104.0 0.25 0.99 0.01 0.02\n0.97 0.0 0.0 1.03\n";
    for (const char* name : {"XPARM.XDS", "GXPARM.XDS"})
        EXPECT_TRUE(messageof(name, numbers)
                        .starts_with(std::string(name)
                                     + " is the geometry that XDS has refined, which is not read"));
}

TEST(ForeignFiles, AreNamedByTheirEndingIfTheyAreNoText)
{
    EXPECT_EQ(messageof("a.tabbin", std::string("\x01\0\x02\0", 4)),
              "a.tabbin is, by its name, a binary table of peaks, .tabbin, which is not read.");
    EXPECT_TRUE(
        messageof("a.raw", "1 2 3 4 5 6 7 8 9 10 11\n")
            .starts_with("a.raw is, by its name, integrated intensities of SAINT, .raw, which "
                         "is not read; its .p4p is read; as text: "));
    EXPECT_EQ(messageof("a.pts", "word 1 2 3\n"),
              "a.pts is, by its name, a list of points, .pts, which is not read.");
}

// A name alone keeps nobody from giving vectors.
TEST(ForeignFiles, AreNotGuessedFromTheNameOfAGoodText)
{
    for (const char* name : {"a.raw", "a.pts", "a.spt", "a.hkl"})
        EXPECT_EQ(messageof(name, "x y z\n1 2 3\n4 5 6\n"), "nothing");
    EXPECT_EQ(messageof("a.txt", "5 4 3 2 1\n1 2 3 4 5\n"), "nothing");
}

} // namespace

} // namespace torvik::tools
