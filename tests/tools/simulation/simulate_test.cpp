// Simulated measurements have what was asked for.

#include "base/failure.h"
#include "simulation/simulate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>

namespace torvik::tools {

namespace {

// Half a unit of the last place of a double near 100 is 1e-14; a few operations add up to less.
constexpr double rounding = 1e-9;

simulationrequest usual(const std::string& system = "triclinic", char centring = 'P')
{
    simulationrequest asked;
    asked.system = system;
    asked.centring = centring;
    asked.volume = 700.0;
    asked.reflections = 20;
    return asked;
}

std::string refusalof(const simulationrequest& asked)
{
    try {
        simulate(asked);
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

std::vector<millerindices> rightindices(const simulated& made, int lattice = 1)
{
    std::vector<millerindices> indices;
    for (const simulatedreflection& one : made.reflections)
        if (one.lattice == lattice) indices.push_back(one.hkl);
    return indices;
}

TEST(ASimulation, HasTheReflectionsThatWereAskedFor)
{
    randomnumbers random(56);
    simulationrequest asked = usual("monoclinic", 'C');
    for (const double wrong : {0.0, 0.1, 0.2, 0.3})
        for (const int N : {8, 20, 60}) {
            asked.wrong = static_cast<int>(std::lround(wrong * N));
            asked.reflections = N;
            const simulated made = simulate(asked, random);
            ASSERT_EQ(made.reflections.size(), static_cast<std::size_t>(N));
            double nearest = 1e30;
            double farthest = 0.0;
            for (const simulatedreflection& one : made.reflections) {
                const vector3 x = made.truth().primitive.multiply(one.measured);
                // A wrong one on the lattice by chance, to nine digits, there is none.
                EXPECT_EQ(off_whole(x) < 1e-9, one.genuine());
                if (!one.genuine()) continue;
                EXPECT_EQ(nearest_indices(x), one.hkl);
                nearest = std::min(nearest, one.measured.length());
                farthest = std::max(farthest, one.measured.length());
            }
            const auto right = rightindices(made);
            EXPECT_EQ(right.size() + static_cast<std::size_t>(asked.wrong),
                      made.reflections.size());
            EXPECT_TRUE(spanall(right));
            EXPECT_LE(made.shortest, nearest * (1.0 + rounding));
            for (const simulatedreflection& one : made.reflections) {
                EXPECT_GE(one.measured.length(), nearest * (1.0 - rounding));
                EXPECT_LE(one.measured.length(), farthest * (1.0 + rounding));
            }
        }
}

TEST(ASimulation, HasAPrimitiveCellOfTheVolume)
{
    for (const latticetype& lattice : latticetypes) {
        const simulated made = simulate(usual(lattice.system, lattice.centring));
        EXPECT_NEAR(made.truth().primitive.determinant(), 700.0, 1e-6) << lattice.system;
    }
}

TEST(ASimulation, HasErrorsInPartsOfTheShortestReciprocalVector)
{
    // 600 components of 10 crystals; the relative standard deviation of their root mean square is
    // 1/sqrt(1200) = 0.029, and five times that are allowed.
    simulationrequest asked = usual();
    double square = 0.0;
    for (asked.seed = 0; asked.seed < 10; ++asked.seed) {
        asked.noise = 0.0;
        const simulated exact = simulate(asked);
        asked.noise = 0.03;
        const simulated made = simulate(asked);
        EXPECT_NEAR(made.noise, 0.03 * made.shortest, rounding);
        for (std::size_t n = 0; n < 20; ++n) {
            const vector3 error = made.reflections[n].measured - exact.reflections[n].measured;
            EXPECT_TRUE(made.reflections[n].exact.approx(exact.reflections[n].measured, rounding));
            square += error.length_sq() / (made.shortest * made.shortest) / 600.0;
        }
    }
    EXPECT_NEAR(std::sqrt(square), 0.03, 0.03 * 0.145);
}

TEST(ASimulation, HasLimitsOfTheVolumeFromARoughGuess)
{
    randomnumbers random(57);
    double lowest = 1e30;
    double highest = 0.0;
    for (int n = 0; n < 100; ++n) {
        const simulated made = simulate(usual(), random);
        EXPECT_NEAR(made.largestvolume / made.smallestvolume, 9.0, rounding);
        lowest = std::min(lowest, made.smallestvolume);
        highest = std::max(highest, made.smallestvolume);
    }
    // A third of 700 / 1.5 and of 700 * 1.5, and a hundred even draws come near both.
    EXPECT_GE(lowest, 155.5);
    EXPECT_LE(lowest, 165.0);
    EXPECT_GE(highest, 335.0);
    EXPECT_LE(highest, 350.1);
}

TEST(ASimulation, OfAGivenCellHasThatCellInTheOrientationThatWasGiven)
{
    simulationrequest asked = usual();
    asked.cell = cell_parameters{7.7, 8.7, 10.8, 90.0, 103.0, 90.0};
    asked.centring = 'C';
    asked.orientation = matrix3(0, -1, 0, 1, 0, 0, 0, 0, 1); // x to y, y to -x
    const simulated made = simulate(asked);
    const matrix3& D = made.truth().conventional;
    EXPECT_TRUE(row_of(D, 0).approx({0.0, 7.7, 0.0}, rounding));
    EXPECT_TRUE(row_of(D, 1).approx({-8.7, 0.0, 0.0}, rounding));
    EXPECT_NEAR(row_of(D, 2).length(), 10.8, rounding);
    EXPECT_NEAR(gemmi::deg(row_of(D, 0).angle(row_of(D, 2))), 103.0, rounding);
    EXPECT_NEAR(2.0 * made.truth().primitive.determinant(), D.determinant(), 1e-6);
}

// A cube of 10 angstroms has 1/10, sqrt(2)/10 and sqrt(3)/10 as shortest vectors: 3, 6 and 4 pairs.
TEST(ASimulation, TakesReflectionsWithinLimits)
{
    simulationrequest asked = usual();
    asked.cell = cell_parameters{10.0, 10.0, 10.0, 90.0, 90.0, 90.0};
    asked.reflections = 13;
    asked.smallestd = 5.5; // above the 5 of 2 0 0
    EXPECT_EQ(simulate(asked).reflections.size(), 13U);
    for (const millerindices& hkl : rightindices(simulate(asked)))
        EXPECT_LE(vector3(hkl).length_sq(), 3.0);
    asked.reflections = 14;
    EXPECT_EQ(refusalof(asked), "Within the limits there are 13 reflections; 14 are needed.");

    asked.smallestd.reset();
    asked.largestindex = 1;
    asked.reflections = 13;
    EXPECT_EQ(simulate(asked).reflections.size(), 13U);
    asked.reflections = 14;
    EXPECT_EQ(refusalof(asked), "Within the limits there are 13 reflections; 14 are needed.");
}

// Of the indices of a body-centred cell with none above 2 in magnitude, half of 124, those with an
// even sum are there: of 5^3 = 125 with 3 even and 2 odd values for each, 3^3 + 3 * 3 * 2^2 = 63 with 0
// 0 0, so 31 pairs.
TEST(ASimulation, TakesLimitsOfIndicesForThoseOfTheConventionalCell)
{
    simulationrequest asked = usual("cubic", 'I');
    asked.largestindex = 2;
    asked.reflections = 31;
    const simulated made = simulate(asked);
    std::set<millerindices> seen;
    for (const simulatedreflection& one : made.reflections) {
        const vector3 x = made.truth().conventional.multiply(one.exact);
        EXPECT_LT(off_whole(x), rounding);
        const millerindices hkl = nearest_indices(x);
        for (const int h : hkl) EXPECT_LE(std::abs(h), 2);
        EXPECT_EQ((hkl[0] + hkl[1] + hkl[2]) % 2, 0);
        EXPECT_FALSE(seen.contains(hkl) || seen.contains({-hkl[0], -hkl[1], -hkl[2]}));
        seen.insert(hkl);
    }
    asked.reflections = 32;
    EXPECT_EQ(refusalof(asked), "Within the limits there are 31 reflections; 32 are needed.");
}

TEST(ASimulation, GivesFurtherLatticesTheirParts)
{
    simulationrequest asked = usual();
    asked.reflections = 50;
    asked.wrong = 10;
    asked.lattices = 2;
    EXPECT_EQ(rightindices(simulate(asked), 2).size(), 20U);
    asked.parts = {3.0, 1.0};
    const simulated made = simulate(asked);
    EXPECT_EQ(rightindices(made, 1).size(), 30U);
    EXPECT_EQ(rightindices(made, 2).size(), 10U);
    EXPECT_EQ(made.lattices[1].reflections, 10);
    for (const simulatedreflection& one : made.reflections) {
        if (!one.genuine()) continue;
        const matrix3& D = made.lattices[static_cast<std::size_t>(one.lattice) - 1].primitive;
        const vector3 x = D.multiply(one.measured);
        EXPECT_TRUE(x.approx(vector3(one.hkl), rounding));
    }
}

// Two-fold about [0 0 1] of a monoclinic cell with b unique: c stays, and what stands upright on it
// turns over.
TEST(ASimulation, TwinsALatticeByALaw)
{
    simulationrequest asked = usual("monoclinic", 'P');
    asked.lattices = 2;
    asked.twin = twinlaw{180.0, {0.0, 0.0, 1.0}, false};
    const simulated made = simulate(asked);
    const matrix3& D = made.lattices[0].conventional;
    const matrix3& E = made.lattices[1].conventional;
    EXPECT_TRUE(row_of(E, 2).approx(row_of(D, 2), rounding));
    EXPECT_TRUE(row_of(E, 1).approx(-row_of(D, 1), rounding));
    EXPECT_NEAR(E.determinant(), D.determinant(), 1e-6);

    // About the normal of (1 0 0), a* stays.
    asked.twin = twinlaw{180.0, {1.0, 0.0, 0.0}, true};
    const simulated other = simulate(asked);
    EXPECT_TRUE(row_of(reciprocalof(other.lattices[0].conventional), 0)
                    .approx(row_of(reciprocalof(other.lattices[1].conventional), 0), rounding));

    // A third one by 120 degrees is two thirds of a turn away: one further turn leads back.
    asked.lattices = 3;
    asked.twin = twinlaw{120.0, {1.0, 1.0, 0.0}, false};
    const simulated three = simulate(asked);
    const matrix3 Q =
        three.lattices[0].conventional.inverse().multiply(three.lattices[1].conventional);
    EXPECT_TRUE(
        three.lattices[2].conventional.multiply(Q).approx(three.lattices[0].conventional, 1e-8));
}

TEST(ASimulation, ScalesAndMovesAllVectors)
{
    simulationrequest asked = usual();
    asked.wrong = 5;
    asked.noise = 0.01;
    const simulated before = simulate(asked);
    asked.scale = 1.02;
    asked.offset = {0.001, 0.002, -0.003};
    const simulated after = simulate(asked);
    for (std::size_t n = 0; n < 20; ++n)
        EXPECT_TRUE(after.reflections[n].measured.approx(
            1.02 * before.reflections[n].measured + asked.offset, rounding));
    EXPECT_TRUE(after.truth().primitive.approx(before.truth().primitive, 0.0));
}

TEST(ASimulation, RefusesWhatCannotBe)
{
    const auto refusal = [](const std::function<void(simulationrequest&)>& change) {
        simulationrequest asked = usual();
        change(asked);
        return refusalof(asked);
    };
    EXPECT_EQ(refusal([](auto& asked) { asked.centring = 'F'; }),
              "There is no lattice \"triclinic F\".");
    EXPECT_EQ(refusal([](auto& asked) { asked.reflections = 1000; }),
              "The number of reflections must be 4 to 999.");
    EXPECT_EQ(refusal([](auto& asked) { asked.wrong = 18; }),
              "Of 20 reflections at most 17 can be wrong: three at least must span the lattice.");
    EXPECT_EQ(refusal([](auto& asked) {
                  asked.lattices = 2;
                  asked.parts = {1.0};
              }),
              "There must be as many parts as lattices: 2.");
    EXPECT_EQ(refusal([](auto& asked) {
                  asked.smallestd = 0.05;
                  asked.volume = 1e9;
              }),
              "Too many reflections lie within the limits: give a larger d spacing.");
    EXPECT_EQ(refusal([](auto& asked) { asked.cell = cell_parameters{0.5, 1, 1, 90, 90, 90}; }),
              "The edges of the cell must be 1 to 100000 angstroms.");
    EXPECT_EQ(refusal([](auto& asked) { asked.cell = cell_parameters{3, 3, 100000, 90, 90, 90}; }),
              "No choice of 20 reflections spans the lattice: ask for more, or for wider limits.");
    EXPECT_EQ(refusal([](auto& asked) { asked.volume = NAN; }),
              "The volume of the primitive cell must be 1 to 1000000000 cubic angstroms.");
    EXPECT_EQ(refusal([](auto& asked) {
                  asked.lattices = 2;
                  asked.twin = twinlaw{180.0, {0.0, 0.0, 0.0}, false};
              }),
              "The axis of a twin law cannot be 0 0 0.");
}

} // namespace

} // namespace torvik::tools
