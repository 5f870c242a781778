#include "solving/diagnosis.h"

#include "base/table.h"
#include "lattice/relations.h"
#include "lattice/shortvectors.h"
#include "solving/chance.h"
#include "solving/deformation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>

namespace torvik::tools {

namespace {

constexpr double rare = 1e-3; // what chance makes less often is told

// The part of space within a distance of the points of a lattice with this volume of the cell.
double filled(double distance, double volume)
{
    return std::min(1.0, 4.0 / 3.0 * std::numbers::pi * distance * distance * distance * volume);
}

constexpr double within = 3.0; // errors

void findfractions(const std::vector<vector3>& left, const assessment& found,
                   std::vector<std::string>& said)
{
    const matrix3 UB = found.basis.inverse();
    const double volume = std::fabs(found.basis.determinant());
    for (const int parts : {2, 3}) {
        int hits = 0;
        for (const vector3& q : left) {
            const vector3 x = found.basis.multiply(q) * parts;
            const vector3 h = {std::round(x.x), std::round(x.y), std::round(x.z)};
            if ((q - UB.multiply(h) / parts).length() < within * found.sigma) ++hits;
        }
        const double chance = filled(within * found.sigma, volume * parts * parts * parts);
        if (atleast(hits, static_cast<int>(left.size()), chance) > rare) continue;
        said.push_back(std::to_string(hits) + " of the " + std::to_string(left.size())
                       + " reflections that are not indexed have indices in "
                       + (parts == 2 ? "halves" : "thirds") + ": a larger cell, or satellites.");
        return;
    }
}

void findrings(const std::vector<vector3>& left, std::vector<std::string>& said)
{
    if (left.size() < 4) return;
    std::vector<double> lengths;
    for (const vector3& q : left) lengths.push_back(q.length());
    std::sort(lengths.begin(), lengths.end());
    // The window with the most, and how many evenly spread volumes would put there.
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
    const double part = std::min(1.0, 3.0 * narrow * std::pow(at / longest, 3.0));
    // Any length may have been the one.
    const double chance = atleast(most - 1, static_cast<int>(left.size()) - 1, part)
                          * static_cast<double>(left.size());
    if (most < 4 || chance > rare) return;
    said.push_back(std::to_string(most)
                   + " of the reflections that are not indexed lie on a ring of "
                   + fixed(1.0 / at, 3) + " angstroms: powder or ice.");
}

// What a common offset takes up is seen only where a lattice does not take it up itself: each column
// of UB follows some of it. So both are fitted together, for each component.
std::array<double, 4> solvefour(std::array<std::array<double, 5>, 4> A)
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

// A fourth column beside h, k, l for each vector: 1 for an offset, and for a bend |q|^2 times the
// component. Gives the fitted factors of it for x, y, z, and their variance over s^2.
struct extrafit {
    vector3 factor;
    vector3 variance;
};

extrafit fitextra(const std::vector<vector3>& vectors, const assessment& found, const auto& extraof)
{
    extrafit result;
    for (int component = 0; component < 3; ++component) {
        std::array<std::array<double, 5>, 4> A = {};
        std::array<std::array<double, 5>, 4> unit = {};
        for (std::size_t n = 0; n < vectors.size(); ++n) {
            if (found.genuine[n] < 0.5) continue;
            const auto h = nearestindices(found.basis.multiply(vectors[n]));
            const std::array<double, 4> row = {static_cast<double>(h[0]), static_cast<double>(h[1]),
                                               static_cast<double>(h[2]),
                                               extraof(vectors[n], component)};
            for (std::size_t i = 0; i < 4; ++i) {
                for (std::size_t j = 0; j < 4; ++j) A[i][j] += row[i] * row[j];
                A[i][4] += row[i] * vectors[n].at(component);
            }
        }
        unit = A;
        for (std::size_t i = 0; i < 4; ++i) unit[i][4] = i == 3 ? 1.0 : 0.0;
        result.factor.at(component) = solvefour(A)[3];
        result.variance.at(component) = solvefour(unit)[3];
    }
    return result;
}

// The square of the factors over their variance: chi-squared with 3 degrees of freedom.
double significance(const extrafit& fit, double sigma)
{
    double sum = 0.0;
    for (int i = 0; i < 3; ++i) {
        const double variance = fit.variance.at(i) * sigma * sigma;
        if (variance > 0.0) sum += fit.factor.at(i) * fit.factor.at(i) / variance;
    }
    return sum;
}

// Chi-squared of 3 degrees of freedom is beyond 16.3 once in a thousand; the errors that are meant
// here are felt in the indexing when they are several times that.
constexpr double clearly = 40.0;

void findsystematic(const std::vector<vector3>& vectors, const assessment& found,
                    std::vector<std::string>& said)
{
    constexpr int enough = 12; // twelve vectors for four factors of each component
    if (found.indexed < enough) return;
    const extrafit offset = fitextra(vectors, found, [](const vector3&, int) { return 1.0; });
    if (significance(offset, found.sigma) > clearly)
        said.push_back("The reflections are shifted together by " + fixed(offset.factor.length(), 4)
                       + " 1/angstrom: the centre of the detector is probably wrong.");
    const extrafit bend = fitextra(vectors, found, [](const vector3& q, int component) {
        return q.length_sq() * q.at(component);
    });
    if (significance(bend, found.sigma) > clearly)
        said.push_back(
            "The errors grow with the cube of the length: the distance of the detector or "
            "the wavelength is probably wrong.");
}

double degrees(double radians)
{
    return radians * 180.0 / std::numbers::pi;
}

double angleof(const matrix3& R)
{
    const double cosine = 0.5 * (R.a[0][0] + R.a[1][1] + R.a[2][2] - 1.0);
    return degrees(std::acos(std::clamp(cosine, -1.0, 1.0)));
}

// The axis is the direction that the rotation keeps: the longest column of R + R^T + (1 - trace) 1.
vector3 axisof(const matrix3& R)
{
    const double trace = R.a[0][0] + R.a[1][1] + R.a[2][2];
    const matrix3 S = R + R.transpose() + scaled(matrix3(1, 0, 0, 0, 1, 0, 0, 0, 1), 1.0 - trace);
    vector3 longest = S.column_copy(0);
    for (int i = 1; i < 3; ++i)
        if (S.column_copy(i).length_sq() > longest.length_sq()) longest = S.column_copy(i);
    return longest.length() > 0.0 ? longest.normalized() : vector3(0, 0, 1);
}

// Of the six or so names of a row, that without a common divisor and with its first sign positive.
bool properlynamed(int u, int v, int w)
{
    const int first = u != 0 ? u : (v != 0 ? v : w);
    return first > 0 && std::gcd(std::gcd(u, v), w) == 1;
}

void namerow(const matrix3& basis, misorientation& turn)
{
    constexpr int largest = 3;
    constexpr double near = 2.0; // degrees
    turn.off = near;
    for (int u = 0; u <= largest; ++u)
        for (int v = -largest; v <= largest; ++v)
            for (int w = -largest; w <= largest; ++w) {
                if (!properlynamed(u, v, w)) continue;
                const vector3 row = basis.left_multiply(vector3(u, v, w));
                const double cosine = std::fabs(row.dot(turn.axis)) / row.length();
                const double off = degrees(std::acos(std::min(cosine, 1.0)));
                if (off >= turn.off) continue;
                turn.direct = std::array<int, 3>{u, v, w};
                turn.off = off;
            }
    constexpr double nearly = 1.0; // degree
    for (const double law : {180.0, 120.0, 90.0, 60.0})
        if (std::fabs(turn.angle - law) < nearly && turn.direct && turn.off < nearly)
            turn.twin = true;
}

// Twin laws come before other turns, then small turns before large ones, then those nearer to a row.
bool telling(const misorientation& one, const misorientation& other)
{
    constexpr double alike = 0.01; // degrees
    if (one.twin != other.twin) return one.twin;
    if (std::fabs(one.angle - other.angle) > alike) return one.angle < other.angle;
    return one.off < other.off;
}

} // namespace

std::vector<std::string> diagnose(const std::vector<vector3>& vectors, const assessment& found)
{
    std::vector<std::string> said;
    if (found.genuine.size() != vectors.size()) return said;
    const std::vector<vector3> left = leftby(vectors, found);
    findfractions(left, found, said);
    findrings(left, said);
    findsystematic(vectors, found, said);
    return said;
}

std::optional<misorientation> misorientationof(const matrix3& first, const matrix3& second)
{
    const auto match = matchcells(first, second, 0.03, 2.0, 1);
    if (!match || match->how != kinship::same) return std::nullopt;
    // Rows: (T first) R^T = second, so R^T = (T first)^-1 second.
    matrix3 turned = match->T.multiply(first);
    if (turned.determinant() * second.determinant() < 0.0) turned = scaled(turned, -1.0);
    const shortbasis shortest = shortestbasis(turned);
    constexpr double symmetric = 0.01; // strain
    std::optional<misorientation> best;
    for (const matrix3& T : turnsof(shortest.basis, symmetric)) {
        const matrix3 alike = T.multiply(shortest.basis);
        const matrix3 R =
            nearestrotation(alike.inverse().multiply(shortest.T.multiply(second)).transpose());
        misorientation turn;
        turn.angle = angleof(R);
        turn.axis = axisof(R);
        namerow(first, turn);
        if (!best || telling(turn, *best)) best = turn;
    }
    return best;
}

std::string sentenceof(const misorientation& turn)
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

} // namespace torvik::tools
