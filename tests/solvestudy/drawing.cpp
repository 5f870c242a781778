#include "drawing.h"

#include "numeric/functions.h"

#include <algorithm>
#include <numbers>
#include <set>
#include <stdexcept>
#include <utility>

namespace torvik::study {

namespace {

using tools::latticetypes;

// The 14 Bravais types: of the settings that one type may have, one.
constexpr std::array<std::size_t, 14> bravais_types = {0,  1,  3,  5,  7,  8,  9,
                                                       10, 11, 12, 13, 14, 15, 16};
static_assert(latticetypes[2].centring == 'A' && latticetypes[4].centring == 'I'
              && latticetypes[6].centring == 'A');

using row = std::array<std::int64_t, 3>;

void subtract(row& from, const row& what, std::int64_t times)
{
    for (std::size_t k = 0; k < 3; ++k) from[k] -= times * what[k];
}

// Takes a vector into a basis in Hermite's form, whose rows may be 0.
void take(std::array<row, 3>& basis, row v)
{
    for (std::size_t i = 0; i < 3; ++i) {
        while (v[i] != 0) { // Euclid's algorithm
            subtract(basis[i], v, basis[i][i] / v[i]);
            std::swap(basis[i], v);
        }
    }
    // Entries above a pivot are kept below it, so that none overflows.
    for (std::size_t k = 3; k-- > 1;)
        for (std::size_t i = 0; i < k; ++i)
            if (basis[k][k] != 0) subtract(basis[i], basis[k], basis[i][k] / basis[k][k]);
}

} // namespace

solver::vec3 for_solver(const vector3& v)
{
    return {v.x, v.y, v.z};
}

double log_uniform(double low, double high, randomnumbers& random)
{
    const double part = random.between(0.0, 1.0);
    return low == high ? low : low * exponential(part * logarithm(high / low));
}

vector3 normal_vector(randomnumbers& random)
{
    const double x = tools::normaldeviate(random);
    const double y = tools::normaldeviate(random);
    const double z = tools::normaldeviate(random);
    return {x, y, z};
}

vector3 random_direction(randomnumbers& random)
{
    const vector3 v = normal_vector(random);
    return (1.0 / v.length()) * v;
}

vector3 uniform_in_shell(double shortest, double longest, randomnumbers& random)
{
    const double inner = shortest * shortest * shortest;
    const double outer = longest * longest * longest;
    const double length = tools::cuberoot(inner + random.between(0.0, 1.0) * (outer - inner));
    return length * random_direction(random);
}

matrix3 rotation_about_x(double angle)
{
    const double c = cosine(angle);
    const double s = sine(angle);
    return {1.0, 0.0, 0.0, 0.0, c, -s, 0.0, s, c};
}

matrix3 bravais_crystal(double volume, randomnumbers& random)
{
    const auto which =
        static_cast<std::size_t>(random.whole(0, static_cast<int>(bravais_types.size()) - 1));
    const tools::latticetype& type = latticetypes[bravais_types[which]];
    const matrix3 conventional =
        tools::randomcell(random, type).multiply(tools::randomorientation(random));
    const matrix3 primitive = tools::primitive_transformation(type.centring).multiply(conventional);
    const double size = tools::cuberoot(volume / std::fabs(primitive.determinant()));
    return tools::reducedbasis(tools::scaled(primitive, size));
}

double shortest_reciprocal(const matrix3& basis)
{
    const millerindices hkl = tools::shortestindices(basis, 1).front();
    return tools::vectorof(hkl, tools::reciprocalof(basis)).length();
}

span_of_indices span_of(const std::vector<millerindices>& indices)
{
    std::array<row, 3> basis = {};
    for (const millerindices& hkl : indices) take(basis, {hkl[0], hkl[1], hkl[2]});
    span_of_indices span;
    span.index = std::abs(basis[0][0] * basis[1][1] * basis[2][2]);
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            span.basis[i][k] = static_cast<double>(
                basis[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)]);
    return span;
}

std::vector<millerindices> draw_indices(const matrix3& basis, double smallest_d, int count,
                                        const std::function<bool(const millerindices&)>& wanted,
                                        randomnumbers& random)
{
    const matrix3 R = tools::reciprocalof(basis);
    const double longest = 1.0 / smallest_d;
    millerindices last = {};
    for (int i = 0; i < 3; ++i)
        last[static_cast<std::size_t>(i)] =
            static_cast<int>(longest * tools::row_of(basis, i).length());
    std::set<millerindices> seen = {{0, 0, 0}};
    std::vector<millerindices> found;
    for (int attempt = 0; found.size() < static_cast<std::size_t>(count); ++attempt) {
        if (attempt == 1000000) throw std::runtime_error("too few reflections within the limits");
        millerindices hkl = {};
        for (std::size_t i = 0; i < 3; ++i) hkl[i] = random.whole(-last[i], last[i]);
        const millerindices opposite = {-hkl[0], -hkl[1], -hkl[2]};
        if (tools::vectorof(hkl, R).length() > longest || !wanted(hkl)) continue;
        if (!seen.insert(std::max(hkl, opposite)).second) continue;
        found.push_back(hkl);
    }
    return found;
}

void put(std::vector<drawn> reflections, bool geometry, known_list& list, randomnumbers& random)
{
    for (std::size_t i = reflections.size(); i > 1; --i)
        std::swap(reflections[i - 1],
                  reflections[static_cast<std::size_t>(random.whole(0, static_cast<int>(i) - 1))]);
    std::vector<millerindices> inliers;
    for (const drawn& one : reflections) {
        list.measured.vectors.push_back(for_solver(one.vector));
        list.crystals.push_back(one.crystal);
        list.indices.push_back(one.hkl);
        if (geometry) {
            list.measured.images.push_back(one.image);
            list.measured.normals.push_back(for_solver(one.normal));
        }
        if (one.crystal == 1) inliers.push_back(one.hkl);
    }
    if (list.lattices.empty()) return;
    const span_of_indices span = span_of(inliers);
    list.span = span.index;
    // The rows of S R generate the reciprocal lattice: S^-T D is its direct basis.
    if (span.index > 1)
        list.spanned = span.basis.transpose().inverse().multiply(list.lattices.front());
}

} // namespace torvik::study
