#include "support.h"

#include "formats/resultsfile.h"
#include "support/runs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace torvik::tools {

namespace {

vector3 indicesof(const spot& one)
{
    const auto& hkl = one.hkl.value();
    return {static_cast<double>(hkl[0]), static_cast<double>(hkl[1]), static_cast<double>(hkl[2])};
}

double misfit(const spot& one, const vector3& vector, const matrix3& inverse)
{
    const vector3 off = inverse.multiply(vector) - indicesof(one);
    return std::max({std::fabs(off.x), std::fabs(off.y), std::fabs(off.z)});
}

double angle(const vector3& a, const vector3& b)
{
    return gemmi::deg(std::acos(a.dot(b) / a.length() / b.length()));
}

} // namespace

std::string messageof(textreader read, const std::string& text, const readeroptions& options)
{
    return failureof([&] { static_cast<void>(read(textfile("a.txt", text), options)); });
}

vector3 firstof(const measurement& measured)
{
    const auto& x = measured.spots.at(0).value;
    return {x[0], x[1], x[2]};
}

void expectnear(const vector3& found, const vector3& expected)
{
    EXPECT_TRUE(found.approx(expected, 1e-9))
        << found.x << " " << found.y << " " << found.z << " instead of " << expected.x << " "
        << expected.y << " " << expected.z;
}

std::string samplefile(const std::string& name)
{
    const std::string path = TORVIK_SHARED_DATA "/" + name;
    return std::filesystem::exists(path) ? path : "";
}

matrix3 fittedUB(const measurement& measured)
{
    const std::vector<vector3> vectors = vectorsof(measured);
    matrix3 UB(0.0);
    constexpr int rounds = 8;
    for (int round = 0; round < rounds; ++round) {
        const matrix3 inverse = round == 0 ? matrix3(0.0) : UB.inverse();
        const double limit = std::max(0.1, 0.5 / std::max(1, round));
        matrix3 products(0.0); // of vectors and indices, and of indices with themselves
        matrix3 squares(0.0);
        for (std::size_t i = 0; i < vectors.size(); ++i) {
            const spot& one = measured.spots[i];
            if (!one.hkl || (round > 0 && misfit(one, vectors[i], inverse) > limit)) continue;
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k) {
                    products[j][k] += vectors[i].at(j) * indicesof(one).at(k);
                    squares[j][k] += indicesof(one).at(j) * indicesof(one).at(k);
                }
        }
        UB = products.multiply(squares.inverse());
    }
    return UB;
}

std::size_t fitting(const measurement& measured, const matrix3& UB, double limit)
{
    const std::vector<vector3> vectors = vectorsof(measured);
    const matrix3 inverse = UB.inverse();
    std::size_t count = 0;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (measured.spots[i].hkl && misfit(measured.spots[i], vectors[i], inverse) <= limit)
            ++count;
    return count;
}

std::vector<double> cellofUB(const matrix3& UB)
{
    const matrix3 direct = UB.inverse();
    const vector3 a = row_of(direct, 0);
    const vector3 b = row_of(direct, 1);
    const vector3 c = row_of(direct, 2);
    return {a.length(), b.length(), c.length(), angle(b, c), angle(a, c), angle(a, b)};
}

std::vector<double> cellfound(const measurement& measured, std::size_t count,
                              const std::vector<keyword>& keywords)
{
    const std::vector<vector3> vectors = vectorsof(measured);
    idxfile input;
    input.keywords = keywords;
    const std::size_t step = vectors.size() / count;
    for (std::size_t i = 0; i < count; ++i) {
        const vector3& one = vectors[i * step];
        input.reflections.push_back({one.x, one.y, one.z});
    }
    const runresult run = runtorvik(textof(input, 6));
    const auto results = run.files.find("a_idx.res");
    if (results == run.files.end()) return {};
    const resultsfile read = readresults(textfile("a_idx.res", results->second));
    const auto& cell = solutionof(read, 1).cell;
    return {cell.begin(), cell.end()};
}

} // namespace torvik::tools
