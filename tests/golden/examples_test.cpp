// The examples: each is solved rightly, and the generator beside them makes what is kept there.

#include "numeric/kernel.h"
#include "support/runs.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace torvik {

namespace {

namespace fs = std::filesystem;

const std::string examplesfolder = TORVIK_SOURCE_DIR "/examples";

// One solution of a results file.
struct solution {
    matrix3 D = {};        // the direct basis
    int nh = 0;            // reflections within the main criterion
    int nH = 0;            // reflections within half of it
    int N = 0;             // reflections of the run
    double quality = -1.0; // between 0 and 1
};

std::vector<std::string> examplenames()
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(examplesfolder))
        if (entry.path().extension() == ".idx") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

vector3 threenumbers(const std::string& line)
{
    std::istringstream stream(line);
    vector3 v = {};
    stream >> v(1) >> v(2) >> v(3);
    EXPECT_TRUE(stream) << line;
    return v;
}

// Gives the solutions up to the second list of the file, if there is one.
std::vector<solution> solutionsin(const std::string& results)
{
    std::vector<solution> solutions;
    const auto lines = linesof(results);
    for (std::size_t i = 0; i + 3 < lines.size(); ++i) {
        if (lines[i].find("Solutions ordered by cell volume") != std::string::npos) break;
        if (lines[i].find("transforms RL vectors to Miller indices :") != std::string::npos) {
            solutions.emplace_back();
            for (int row = 1; row <= 3; ++row) {
                const vector3 v = threenumbers(lines[i + static_cast<std::size_t>(row)]);
                for (int k = 1; k <= 3; ++k) solutions.back().D(row, k) = v(k);
            }
        }
        if (lines[i].find("vectors out of") != std::string::npos) {
            solution& last = solutions.at(solutions.size() - 1);
            EXPECT_EQ(std::sscanf(lines[i].c_str(), " %dh and %dH vectors out of %d. Quality :%lf",
                                  &last.nh, &last.nH, &last.N, &last.quality),
                      4)
                << lines[i];
        }
    }
    return solutions;
}

matrix3 truebasis(const std::string& name)
{
    const auto truth = nlohmann::json::parse(readfile(examplesfolder + "/" + name + ".truth.json"));
    matrix3 D = {};
    for (int row = 1; row <= 3; ++row)
        for (int k = 1; k <= 3; ++k)
            D(row, k) = truth["direct_basis_rows"][static_cast<std::size_t>(row - 1)]
                             [static_cast<std::size_t>(k - 1)];
    return D;
}

// Says whether two direct bases span the same lattice: D = T E with an integer T of determinant 1
// or -1. The tolerance: a basis fitted to a dozen vectors or more of error s is uncertain, in units
// of the true one, by about s a / (2 sqrt(12)) with cell edges a below 11: 0.001 for the errors of
// 0.0006 and 0.004 for those of 0.003 (edges below 8 there). 0.02 is five times that. A lattice
// that is another one but has vectors in common, with an index of 16 at most, has an element that
// is off by 1/16 = 0.0625 at least.
bool samelattice(const matrix3& D, const matrix3& E)
{
    matrix3 inverse = {};
    int status = 0;
    invmat(E, inverse, 1e-6, status);
    EXPECT_EQ(status, 0);
    matrix3 T = {};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            double sum = 0.0;
            for (int k = 1; k <= 3; ++k) sum += D(i, k) * inverse(k, j);
            if (std::fabs(sum - std::round(sum)) > 0.02) return false;
            T(i, j) = std::round(sum);
        }
    return std::fabs(deter(T)) == 1.0;
}

std::vector<solution> solutionsof(const std::string& name)
{
    runsetting setting;
    setting.arguments = {name + ".idx"};
    setting.files = {{name + ".idx", readfile(examplesfolder + "/" + name + ".idx")}};
    const runresult run = runtorvik(setting);
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.files.contains(name + "_idx.res")) << run.output;
    if (!run.files.contains(name + "_idx.res")) return {};
    return solutionsin(run.files.at(name + "_idx.res"));
}

class AnExample : public testing::TestWithParam<std::string> {};

// The easy ones: the true lattice comes first, and every reflection is within half the criterion.
TEST_P(AnExample, IsSolvedByTheTrueLattice)
{
    const std::string name = GetParam();
    const auto solutions = solutionsof(name);
    ASSERT_FALSE(solutions.empty());
    const matrix3 truth = truebasis(name);
    if (name.ends_with("difficult")) {
        EXPECT_TRUE(std::any_of(solutions.begin(), solutions.end(),
                                [&](const solution& s) { return samelattice(s.D, truth); }));
        return;
    }
    EXPECT_TRUE(samelattice(solutions[0].D, truth));
    EXPECT_EQ(solutions[0].nH, solutions[0].N);
    EXPECT_EQ(solutions[0].nh, solutions[0].N);
    EXPECT_EQ(solutions[0].quality, 1.0);
}

INSTANTIATE_TEST_SUITE_P(Kept, AnExample, testing::ValuesIn(examplenames()),
                         [](const auto& name) { return "Nr" + name.param; });

TEST(TheExamples, AreFiveAndTheFirstOfThemGivesVectors)
{
    const auto names = examplenames();
    ASSERT_EQ(names.size(), 5u);
    EXPECT_NE(readfile(examplesfolder + "/" + names[0] + ".idx").find("\n_Reflections\n"),
              std::string::npos);
}

// What the text at its head and the README say of it. Thirty reflections are on the lattice; the
// double cell contains it, so it can only gain.
TEST(TheDifficultExample, HasTheTrueCellSecondBehindOneOfTwiceItsVolume)
{
    const std::string name = "5_kyanite_difficult";
    const auto solutions = solutionsof(name);
    ASSERT_GE(solutions.size(), 2u);
    const matrix3 truth = truebasis(name);
    EXPECT_TRUE(samelattice(solutions[1].D, truth));
    EXPECT_NEAR(solutions[1].nh, 30, 1);
    EXPECT_NEAR(std::fabs(deter(solutions[0].D) / deter(truth)), 2.0, 0.02);
    EXPECT_EQ(solutions[0].nh, solutions[1].nh + 1);
}

TEST(TheGeneratorOfTheExamples, MakesTheKeptFilesToTheByte)
{
    if (std::system("python3 -c pass >/dev/null 2>&1") != 0) GTEST_SKIP() << "no python3";
    const temporaryfolder folder;
    const std::string command =
        "python3 '" + examplesfolder + "/generate.py' '" + folder.path() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::size_t made = 0;
    for (const auto& entry : fs::directory_iterator(folder.path())) {
        const std::string name = entry.path().filename().string();
        ++made;
        ASSERT_TRUE(fs::exists(examplesfolder + "/" + name)) << name;
        EXPECT_EQ(readfile(entry.path().string()), readfile(examplesfolder + "/" + name)) << name;
    }
    EXPECT_EQ(made, 2 * examplenames().size());
}

} // namespace

} // namespace torvik
