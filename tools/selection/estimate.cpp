#include "selection/estimate.h"

#include "selection/neighbours.h"
#include "selection/repeats.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace torvik::tools {

namespace {

constexpr std::size_t mostsampled = 300;

// Steps of a reduced basis have sines of 0.87 and more between them, and a triple product of 0.7
// times their lengths and more; these limits leave room for errors.
constexpr double leastsine = 0.4;
constexpr double leastproduct = 0.3;

double tripleproduct(const vector3& a, const vector3& b, const vector3& c)
{
    return std::fabs(a.dot(b.cross(c)));
}

// Points, in the order of a coordinate too.
class neighbourhood {
public:
    explicit neighbourhood(std::vector<vector3> points)
        : points_(std::move(points)), sorted_(points_)
    {
    }

    // The volume of the cell spanned at a point; 0 if there is none.
    [[nodiscard]] double volumeat(const vector3& centre, double shortest) const
    {
        const auto longenough = [&](const vector3& u) {
            return u.length_sq() > shortest * shortest;
        };
        const vector3 a = shorteststep(centre, longenough);
        const vector3 b = shorteststep(centre, [&](const vector3& u) {
            return longenough(u) && a.cross(u).length() > leastsine * a.length() * u.length();
        });
        const vector3 c = shorteststep(centre, [&](const vector3& u) {
            return longenough(u)
                   && tripleproduct(a, b, u) > leastproduct * a.length() * b.length() * u.length();
        });
        const double product = tripleproduct(a, b, c);
        return product > 0.0 ? 1.0 / product : 0.0;
    }

private:
    // The shortest step from `centre` to a point that `suits`; a null vector if there is none.
    template <class Condition>
    [[nodiscard]] vector3 shorteststep(const vector3& centre, Condition suits) const
    {
        const auto found = sorted_.nearest(
            centre, [&](std::size_t number) { return suits(points_[number] - centre); });
        return found ? points_[*found] - centre : vector3();
    }

    std::vector<vector3> points_;
    sortedpoints sorted_;
};

std::vector<vector3> withnegatives(const std::vector<vector3>& vectors)
{
    std::vector<vector3> points = {vector3()};
    for (const vector3& r : vectors) {
        points.push_back(r);
        points.push_back(-r);
    }
    return points;
}

double quantile(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

} // namespace

std::optional<volumeestimate> estimatevolume(const std::vector<vector3>& vectors)
{
    const double shortest = 3.0 * usualtolerance(vectors);
    const neighbourhood points(withnegatives(vectors));
    const std::size_t step = vectors.size() / mostsampled + 1;
    std::vector<double> volumes = {points.volumeat(vector3(), shortest)};
    for (std::size_t i = 0; i < vectors.size(); i += step)
        volumes.push_back(points.volumeat(vectors[i], shortest));
    std::erase(volumes, 0.0);
    if (volumes.empty()) return std::nullopt;
    std::sort(volumes.begin(), volumes.end());
    return volumeestimate{quantile(volumes, 0.25), quantile(volumes, 0.5), quantile(volumes, 0.75),
                          static_cast<int>(volumes.size())};
}

volumerange rangefrom(const volumeestimate& estimate)
{
    return {estimate.usual / 5.0, estimate.usual * 30.0};
}

} // namespace torvik::tools
