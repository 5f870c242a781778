#include "solver/verdict/diagnosis.h"

#include "solver/evidence/binomial.h"
#include "solver/lattice/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace torvik::solver {

namespace {

constexpr double rare = 1e-3; // p-value below which an effect is reported

// The fraction of space within a distance of the points of a lattice with this cell volume.
double filled(double distance, double volume)
{
    return std::min(1.0, 4.0 / 3.0 * std::numbers::pi * distance * distance * distance * volume);
}

constexpr double within = 3.0; // standard deviations

void find_fractions(const std::vector<vector3>& unindexed, const assessment& found,
                    std::vector<std::string>& said)
{
    const matrix3 UB = found.basis.inverse();
    const double volume = std::fabs(found.basis.determinant());
    for (const int parts : {2, 3}) {
        int hits = 0;
        for (const vector3& q : unindexed) {
            const vector3 x = found.basis.multiply(q) * parts;
            const vector3 h = {std::round(x.x), std::round(x.y), std::round(x.z)};
            if ((q - UB.multiply(h) / parts).length() < within * found.sigma) ++hits;
        }
        const double chance = filled(within * found.sigma, volume * parts * parts * parts);
        if (binomial_tail(hits, static_cast<int>(unindexed.size()), chance) > rare) continue;
        said.push_back(std::to_string(hits) + " of the " + std::to_string(unindexed.size())
                       + " reflections that are not indexed have indices in "
                       + (parts == 2 ? "halves" : "thirds") + ": a larger cell, or satellites.");
        return;
    }
}

void find_rings(const std::vector<vector3>& unindexed, std::vector<std::string>& said)
{
    if (unindexed.size() < 4) return;
    std::vector<double> lengths;
    lengths.reserve(unindexed.size());
    for (const vector3& q : unindexed) lengths.push_back(q.length());
    std::sort(lengths.begin(), lengths.end());
    // The window of lengths with the most vectors, and its fraction of the volume.
    constexpr double narrow = 0.01; // of the length
    const double longest = lengths.back();
    int most = 0;
    double at = 0.0;
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const auto end =
            std::upper_bound(lengths.begin(), lengths.end(), lengths[i] * (1.0 + narrow));
        const int count = static_cast<int>(end - lengths.begin()) - static_cast<int>(i);
        if (count > most) {
            most = count;
            at = lengths[i] * (1.0 + 0.5 * narrow);
        }
    }
    const double part =
        std::min(1.0, 3.0 * narrow * (at / longest) * (at / longest) * (at / longest));
    // Any of the lengths could have been the first of the window.
    const double chance = binomial_tail(most - 1, static_cast<int>(unindexed.size()) - 1, part)
                          * static_cast<double>(unindexed.size());
    if (most < 4 || chance > rare) return;
    said.push_back(std::to_string(most)
                   + " of the reflections that are not indexed lie on a ring of "
                   + fixed(1.0 / at, 3) + " angstroms: powder or ice.");
}

// Solves four linear equations by Gauss-Jordan elimination; all zero if they are singular. A lattice
// absorbs part of a common offset by its three columns of UB, so that both are fitted together, for
// each component.
std::array<double, 4> solve_four(std::array<std::array<double, 5>, 4> A)
{
    for (std::size_t k = 0; k < 4; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k + 1; i < 4; ++i)
            if (std::fabs(A[i][k]) > std::fabs(A[pivot][k])) pivot = i;
        std::swap(A[k], A[pivot]);
        if (A[k][k] == 0.0) return {};
        for (std::size_t i = 0; i < 4; ++i) {
            if (i == k) continue;
            const double factor = A[i][k] / A[k][k];
            for (std::size_t j = k; j < 5; ++j) A[i][j] -= factor * A[k][j];
        }
    }
    return {A[0][4] / A[0][0], A[1][4] / A[1][1], A[2][4] / A[2][2], A[3][4] / A[3][3]};
}

// The fit with a fourth column beside h, k, l for each vector: 1 for an offset, and |q|^2 times the
// component for a bend. The factors of that column for x, y, z, and their variances in units of s^2.
struct extra_fit {
    vector3 factor;
    vector3 variance;
};

extra_fit fit_extra(const std::vector<vector3>& vectors, const assessment& found,
                    const auto& extra_of)
{
    extra_fit result;
    for (int component = 0; component < 3; ++component) {
        std::array<std::array<double, 5>, 4> A = {};
        std::array<std::array<double, 5>, 4> unit = {};
        for (std::size_t n = 0; n < vectors.size(); ++n) {
            if (found.inlier[n] < 0.5) continue;
            const auto h = nearest_indices(found.basis.multiply(vectors[n]));
            const std::array<double, 4> row = {static_cast<double>(h[0]), static_cast<double>(h[1]),
                                               static_cast<double>(h[2]),
                                               extra_of(vectors[n], component)};
            for (std::size_t i = 0; i < 4; ++i) {
                for (std::size_t j = 0; j < 4; ++j) A[i][j] += row[i] * row[j];
                A[i][4] += row[i] * vectors[n].at(component);
            }
        }
        unit = A;
        for (std::size_t i = 0; i < 4; ++i) unit[i][4] = i == 3 ? 1.0 : 0.0;
        result.factor.at(component) = solve_four(A)[3];
        result.variance.at(component) = solve_four(unit)[3];
    }
    return result;
}

// The squares of the factors over their variances: chi-squared with 3 degrees of freedom.
double significance(const extra_fit& fit, double sigma)
{
    double sum = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double variance = fit.variance.at(i) * sigma * sigma;
        if (variance > 0.0) sum += fit.factor.at(i) * fit.factor.at(i) / variance;
    }
    return sum;
}

// Chi-squared with 3 degrees of freedom exceeds 16.3 with p = 0.001; the errors affect the indexing only
// when they are several times that.
constexpr double clearly = 40.0;

void find_systematic(const std::vector<vector3>& vectors, const assessment& found,
                     std::vector<std::string>& said)
{
    constexpr int enough = 12; // twelve vectors for four factors of each component
    if (found.indexed < enough) return;
    const extra_fit offset = fit_extra(vectors, found, [](const vector3&, int) { return 1.0; });
    if (significance(offset, found.sigma) > clearly)
        said.push_back("The reflections are shifted together by " + fixed(offset.factor.length(), 4)
                       + " 1/angstrom: the centre of the detector is probably wrong.");
    const extra_fit bend = fit_extra(vectors, found, [](const vector3& q, int component) {
        return q.length_sq() * q.at(component);
    });
    if (significance(bend, found.sigma) > clearly)
        said.emplace_back(
            "The errors grow with the cube of the length: the distance of the detector or "
            "the wavelength is probably wrong.");
}

} // namespace

std::vector<std::string> diagnose(const std::vector<vector3>& vectors, const assessment& found)
{
    std::vector<std::string> said;
    if (found.inlier.size() != vectors.size()) return said;
    const std::vector<vector3> unindexed = unindexed_by(vectors, found);
    find_fractions(unindexed, found, said);
    find_rings(unindexed, said);
    find_systematic(vectors, found, said);
    return said;
}

std::string sentence_of(const misorientation& turn)
{
    std::string text = "turned by " + fixed(turn.angle, 1) + " degrees";
    if (turn.direct) {
        text += " about [";
        for (std::size_t i = 0; i < 3; ++i)
            text += (i > 0 ? " " : "") + std::to_string((*turn.direct)[i]);
        text += "]";
    }
    return text + (turn.twin ? ": a likely twin law" : "");
}

} // namespace torvik::solver
