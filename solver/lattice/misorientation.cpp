#include "solver/lattice/misorientation.h"

#include "solver/lattice/deformation.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace torvik::solver {

namespace {

double degrees(double radians)
{
    return radians * 180.0 / std::numbers::pi;
}

double angle_of(const matrix3& R)
{
    const double cosine = 0.5 * (R.a[0][0] + R.a[1][1] + R.a[2][2] - 1.0);
    return degrees(std::acos(std::clamp(cosine, -1.0, 1.0)));
}

// The axis is the direction that the rotation leaves unchanged: the longest column of
// R + R^T + (1 - trace) 1.
vector3 axis_of(const matrix3& R)
{
    const double trace = R.a[0][0] + R.a[1][1] + R.a[2][2];
    const matrix3 S = R + R.transpose() + scaled(matrix3(1, 0, 0, 0, 1, 0, 0, 0, 1), 1.0 - trace);
    vector3 longest = S.column_copy(0);
    for (int i = 1; i < 3; ++i)
        if (S.column_copy(i).length_sq() > longest.length_sq()) longest = S.column_copy(i);
    return longest.length() > 0.0 ? longest.normalized() : vector3(0, 0, 1);
}

// Whether indices are the standard ones of a row: no common divisor, the first one positive.
bool properly_named(int u, int v, int w)
{
    const int first = u != 0 ? u : (v != 0 ? v : w);
    return first > 0 && std::gcd(std::gcd(u, v), w) == 1;
}

void name_row(const matrix3& basis, misorientation& turn)
{
    constexpr int largest = 3;
    constexpr double near = 2.0; // degrees
    turn.off = near;
    for (int u = 0; u <= largest; ++u)
        for (int v = -largest; v <= largest; ++v)
            for (int w = -largest; w <= largest; ++w) {
                if (!properly_named(u, v, w)) continue;
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

// Whether one rotation is preferred: twin laws first, then smaller angles, then axes nearer to a row.
bool preferred(const misorientation& one, const misorientation& other)
{
    constexpr double alike = 0.01; // degrees
    if (one.twin != other.twin) return one.twin;
    if (std::fabs(one.angle - other.angle) > alike) return one.angle < other.angle;
    return one.off < other.off;
}

} // namespace

std::optional<misorientation> misorientation_of(const matrix3& first, const matrix3& second)
{
    const auto match = match_cells(first, second, 0.03, 2.0, 1);
    if (!match || match->how != kinship::same) return std::nullopt;
    // In rows (T first) R^T = second, so R^T = (T first)^-1 second.
    matrix3 turned = match->T.multiply(first);
    if (turned.determinant() * second.determinant() < 0.0) turned = scaled(turned, -1.0);
    const short_basis shortest = shortest_basis(turned);
    constexpr double symmetric = 0.01; // strain
    std::optional<misorientation> best;
    for (const matrix3& T : rotations_of(shortest.basis, symmetric)) {
        const matrix3 alike = T.multiply(shortest.basis);
        const matrix3 R =
            nearest_rotation(alike.inverse().multiply(shortest.T.multiply(second)).transpose());
        misorientation turn;
        turn.angle = angle_of(R);
        turn.axis = axis_of(R);
        name_row(first, turn);
        if (!best || preferred(turn, *best)) best = turn;
    }
    return best;
}

} // namespace torvik::solver
