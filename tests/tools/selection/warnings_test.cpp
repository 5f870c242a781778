#include "selection/picking.h"
#include "selection/warnings.h"
#include "tools/selection/latticepoints.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace torvik::tools {

namespace {

std::vector<vector3> fortyshortest()
{
    const measurement measured = measurementof(disturbed(triclinicpoints(0.6), 0.0005, 2));
    const auto vectors = vectorsof(measured);
    std::vector<vector3> some;
    for (const std::size_t i : pickspots(measured.spots, vectors, pick::shortest, 40, 1))
        some.push_back(vectors[i]);
    return some;
}

runsubject goodsubject()
{
    const std::vector<vector3> all = triclinicpoints(0.6);
    runsubject subject;
    subject.vectors = fortyshortest();
    subject.parameters.limits = volumerange{200.0, 5000.0};
    subject.estimate = estimatevolume(all);
    subject.available = static_cast<int>(all.size());
    return subject;
}

std::vector<vector3> times(double factor, std::vector<vector3> vectors)
{
    for (vector3& r : vectors) r *= factor;
    return vectors;
}

TEST(ARunThatWillDo, HasNoWarning)
{
    EXPECT_EQ(warningsof(goodsubject()), std::vector<std::string>{});
}

TEST(FewDirections, AreCountedWithoutTheirSign)
{
    const std::vector<vector3> five = {{1, 0, 0},       {-2, 0, 0.01}, {0, 1, 0}, {0, 0, 1},
                                       {0, 0, -1.0001}, {0, 1, 1},     {1, 1, 1}};
    EXPECT_EQ(fewdirections(five),
              "The reflections have only 5 directions: a lattice through them can be chance.");
    std::vector<vector3> six = five;
    six.emplace_back(1, -1, 1);
    EXPECT_FALSE(fewdirections(six));
}

TEST(VectorsNearAPlane, AreToldFromThoseThatAreNot)
{
    const auto layer = [](double height) {
        std::vector<vector3> vectors;
        for (int h = -4; h <= 4; ++h)
            for (int k = -4; k <= 4; ++k)
                if (h != 0 || k != 0)
                    vectors.emplace_back(0.1 * h, 0.1 * k, (h + k) % 2 == 0 ? height : -height);
        return vectors;
    };
    EXPECT_TRUE(flat(layer(0.0)));
    EXPECT_TRUE(flat(layer(0.003)));
    EXPECT_FALSE(flat(layer(0.05)));
}

TEST(ABadCount, IsToldWithTheNearestGoodOne)
{
    const auto sentence = badcount(73, 100, {});
    ASSERT_TRUE(sentence);
    EXPECT_NE(sentence->find("With 73 reflections"), std::string::npos);
    EXPECT_NE(sentence->find("--max-reflections 75 "), std::string::npos);
    EXPECT_FALSE(badcount(66, 100, {}));
}

TEST(ARangeOfVolumes, IsToldWhenItEndsBelowTheCellOrBeginsFarAbove)
{
    const volumeestimate estimate = {1000.0, 1010.0, 1020.0, 30};
    EXPECT_TRUE(narrowrange({100.0, 500.0}, estimate));
    EXPECT_TRUE(narrowrange({50000.0, 500000.0}, estimate));
    EXPECT_FALSE(narrowrange({100.0, 950.0}, estimate)); // by the errors of the vectors
    EXPECT_FALSE(narrowrange({2000.0, 4000.0}, estimate));
}

TEST(ATableOfPeriodsThatIsTooShort, IsToldWithALimitThatFits)
{
    runsubject subject = goodsubject();
    subject.vectors = times(3.0, subject.vectors);
    subject.parameters.limits = volumerange{100.0, 1e9};
    const auto sentence = cuttable(*subject.parameters.limits, subject.vectors, {});
    ASSERT_TRUE(sentence);
    const std::string offer = "--volume 100 ";
    const std::size_t at = sentence->find(offer);
    ASSERT_NE(at, std::string::npos) << *sentence;
    const double most = std::stod(sentence->substr(at + offer.size()));
    EXPECT_FALSE(cuttable({100.0, most}, subject.vectors, {}));
    EXPECT_TRUE(cuttable({100.0, 1.02 * most}, subject.vectors, {}));
}

TEST(VectorsInAnotherUnit, AreToldByTheirLength)
{
    runsubject subject = goodsubject();
    EXPECT_FALSE(wrongunit(subject));
    subject.vectors = times(4.1 / 0.2, subject.vectors);
    EXPECT_TRUE(wrongunit(subject));
    subject.vectors = times(0.01, subject.vectors);
    EXPECT_TRUE(wrongunit(subject)); // too short
    subject.angles = true;
    EXPECT_FALSE(wrongunit(subject));
}

TEST(VectorsInAnotherUnit, AreToldByTheWavelength)
{
    runsubject subject = goodsubject();
    double longest = 0.0;
    for (const vector3& r : subject.vectors) longest = std::max(longest, r.length());
    subject.parameters.wavelength = 2.0 / longest;
    EXPECT_FALSE(wrongunit(subject));
    subject.parameters.wavelength = 2.2 / longest;
    EXPECT_TRUE(wrongunit(subject));
}

// 2 pi makes the volume 248 times smaller.
TEST(VectorsInAnotherUnit, AreToldByACellThatIsTooSmall)
{
    runsubject subject = goodsubject();
    const double twopi = 2.0 * gemmi::pi();
    subject.estimate = estimatevolume(times(twopi, triclinicpoints(0.6)));
    const auto sentence = wrongunit(subject);
    ASSERT_TRUE(sentence);
    EXPECT_NE(sentence->find("--two-pi"), std::string::npos);
}

TEST(AllWarnings, AreGivenTogether)
{
    runsubject subject = goodsubject();
    subject.vectors = times(10.0, {{0.1, 0, 0}, {0, 0.1, 0}, {0.1, 0.1, 0}, {0.2, 0.2, 0}});
    subject.parameters.limits = volumerange{1.0, 2.0};
    EXPECT_EQ(warningsof(subject).size(), 3U); // directions, plane, range
    subject.parameters.uservolumes = true;
    EXPECT_EQ(warningsof(subject).size(), 2U);
}

} // namespace

} // namespace torvik::tools
