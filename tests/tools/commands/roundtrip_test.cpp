// What is simulated is indexed, and the answer is right.

#include "support/runs.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace torvik::tools {

namespace {

struct crystal {
    const char* name;
    std::vector<std::string> asked;
};

std::ostream& operator<<(std::ostream& out, const crystal& one)
{
    return out << one.name;
}

class ARoundTrip : public testing::TestWithParam<crystal> {};

// simulate, Torvik, score: each program in a folder of its own, with the files of the one before.
TEST_P(ARoundTrip, FromACrystalToItsReflectionsAndBackIsRight)
{
    std::vector<std::string> arguments = {"simulate", "-o", "a.idx", "-n", "20"};
    for (const std::string& one : GetParam().asked) arguments.push_back(one);
    const runresult simulation =
        runtorvik({.arguments = arguments, .input = "", .files = {}, .program = TORVIK_TOOLS});
    ASSERT_EQ(simulation.status, 0) << simulation.errors;

    const runresult indexing = runtorvik({.arguments = {"a.idx"},
                                          .input = "",
                                          .files = {{"a.idx", simulation.files.at("a.idx")}},
                                          .program = TORVIK_PROGRAM});
    ASSERT_EQ(indexing.status, 0) << indexing.output;

    const runresult scoring =
        runtorvik({.arguments = {"score", "a_idx.res", "a.truth.json", "--word"},
                   .input = "",
                   .files = {{"a_idx.res", indexing.files.at("a_idx.res")},
                             {"a.truth.json", simulation.files.at("a.truth.json")}},
                   .program = TORVIK_TOOLS});
    EXPECT_EQ(scoring.status, 0) << scoring.errors;
    EXPECT_EQ(scoring.output, "right\n");
}

// Perfect data, or noise with no wrong ones: the lattice comes first, as docs/success.md has it.
INSTANTIATE_TEST_SUITE_P(
    Of, ARoundTrip,
    testing::Values(
        crystal{"Triclinic", {"--system", "triclinic", "--volume", "400", "--noise", "0.01"}},
        crystal{"MonoclinicCByEulerianAngles",
                {"--system", "monoclinic", "--centring", "C", "--angles", "eulerian", "--noise",
                 "0.01"}},
        crystal{"MonoclinicCellByKappaAngles",
                {"--cell", "7.71", "8.66", "10.81", "90", "102.96", "90", "--angles", "kappa"}},
        crystal{"OrthorhombicF",
                {"--system", "orthorhombic", "--centring", "F", "--noise-length", "0.0005"}},
        crystal{
            "TetragonalIByKappaAngles",
            {"--system", "tetragonal", "--centring", "I", "--angles", "kappa", "--noise", "0.005"}},
        crystal{"TrigonalR", {"--system", "trigonal", "--volume", "300", "--noise", "0.01"}},
        crystal{"HexagonalByEulerianAngles",
                {"--system", "hexagonal", "--angles", "eulerian", "--noise", "0.01"}},
        crystal{"CubicI", {"--system", "cubic", "--centring", "I", "--noise", "0.01"}},
        crystal{"ALimitOfTheSpacing", {"--d-min", "3", "--noise", "0.01"}},
        crystal{"AWrongWavelength", {"--scale", "1.01", "--noise", "0.005"}},
        crystal{"AWrongCentre", {"--offset", "0.0005", "-0.0005", "0.0002", "--noise", "0.005"}}),
    [](const auto& one) { return std::string(one.param.name); });

} // namespace

} // namespace torvik::tools
