#include "solver/candidates/orientations.h"

#include "solver/lattice/deformation.h"
#include "solver/numeric/functions.h"
#include "solver/numeric/lanes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <optional>

namespace torvik::solver {

namespace {

constexpr double two_pi = 2.0 * std::numbers::pi;

// Errors as parts of the mean distance of points, and how far a length may be off: two and a half times 4 %
// in addition to that of the strain.
constexpr std::array<double, 2> errors = {0.03, 0.07};
constexpr double reach = 0.1;

// The angle of a pair has at least this sine: else it would not determine a rotation.
constexpr double least_sine = 0.25;

// Orientations that are kept by their scores.
constexpr std::size_t most_kept = 400;

double spacing_of(const given_cell& cell)
{
    return 1.0 / cube_root(cell.volume);
}

// A point of the reciprocal lattice.
struct point {
    vector3 direction;
    double length = 0.0;
    vector3 indices;
};

// The length within which there are about `most_points` points.
double reach_of_points(const given_cell& cell)
{
    return cube_root(most_points / cell.volume / (2.0 / 3.0 * two_pi));
}

// All points up to a length but the origin, in increasing length.
std::vector<point> points_within(const given_cell& cell, double longest)
{
    const auto last = [&](int i) {
        return static_cast<int>(row_of(cell.basis, i).length() * longest);
    };
    std::vector<point> points;
    for (int h = -last(0); h <= last(0); ++h)
        for (int k = -last(1); k <= last(1); ++k)
            for (int l = -last(2); l <= last(2); ++l) {
                const vector3 indices(h, k, l);
                const vector3 g = cell.UB.multiply(indices);
                const double square = g.length_sq();
                if (square > longest * longest || square == 0.0) continue;
                const double length = std::sqrt(square);
                points.push_back({g / length, length, indices});
            }
    std::stable_sort(points.begin(), points.end(),
                     [](const point& p, const point& q) { return p.length < q.length; });
    return points;
}

// A direction, and the cosine of an angle with it up to an error.
struct angle_limits {
    float x, y, z, cosine, room;
};

// The directions of the points, with room for the last load of lanes.
struct directions {
    std::vector<float> x, y, z;

    void set(const std::vector<point>& points)
    {
        for (std::vector<float>* each : {&x, &y, &z})
            each->assign(points.size() + float_lanes, 0.0F);
        for (std::size_t i = 0; i < points.size(); ++i) {
            x[i] = static_cast<float>(points[i].direction.x);
            y[i] = static_cast<float>(points[i].direction.y);
            z[i] = static_cast<float>(points[i].direction.z);
        }
    }

    // Collects the places from `first` to before `last`, by eights, of which any has a cosine with a
    // direction within limits.
    TORVIK_SOLVER_INLINED void near_by(std::size_t first, std::size_t last,
                                       const angle_limits& within,
                                       std::vector<std::size_t>& places) const
    {
        for (std::size_t i = first; i < last; i += float_lanes) {
            const floats c = load<floats>(x.data() + i) * within.x
                             + load<floats>(y.data() + i) * within.y
                             + load<floats>(z.data() + i) * within.z - within.cosine;
            const ints near = c * c <= all_lanes(within.room * within.room);
            const auto pairs = bits_as<longs>(near);
            if (((pairs[0] | pairs[1]) | (pairs[2] | pairs[3])) != 0) places.push_back(i);
        }
    }

    void near_anywhere(std::size_t first, std::size_t last, const angle_limits& within,
                       std::vector<std::size_t>& places) const
    {
        near_by(first, last, within, places);
    }

    TORVIK_SOLVER_AVX2 void near_avx2(std::size_t first, std::size_t last,
                                      const angle_limits& within,
                                      std::vector<std::size_t>& places) const
    {
        near_by(first, last, within, places);
    }
};

// Whether the first index that differs is larger.
bool comes_first(const vector3& h, const vector3& k)
{
    for (int i = 0; i < 3; ++i)
        if (std::fabs(h.at(i) - k.at(i)) > 0.5) return h.at(i) > k.at(i);
    return true;
}

// The points as long as a measured vector, and those of them that no rotation of the lattice exchanges.
struct shell {
    const point* first = nullptr;
    const point* last = nullptr;
    std::vector<const point*> unique;

    [[nodiscard]] double count() const
    {
        return static_cast<double>(last - first);
    }
};

struct vector_pair {
    std::size_t q = 0; // of the vectors, and of the shells
    std::size_t r = 0;
    double choices = 0.0;
};

// Axes along the sum and the difference of two directions, and perpendicular to both, as columns.
matrix3 frame_between(const vector3& u, const vector3& v, double cosine)
{
    const vector3 x = (u + v) / std::sqrt(2.0 + 2.0 * cosine);
    const vector3 y = (u - v) / std::sqrt(2.0 - 2.0 * cosine);
    return from_rows(x, y, x.cross(y)).transpose();
}

// Scores orientations: a vector at a distance r from a point counts log(G(r) / V) where that is positive. The
// best sum for several errors is the score.
class scorer {
public:
    scorer(const std::vector<vector3>& vectors, const given_cell& cell)
        : use_(has_avx2() ? sums_avx2 : sums_anywhere)
    {
        const std::size_t count = (vectors.size() + float_lanes - 1) / float_lanes * float_lanes;
        for (auto* each :
             {&of_.x, &of_.y, &of_.z, &of_.top[0], &of_.fall[0], &of_.top[1], &of_.fall[1]})
            each->assign(count, 0.0F);
        for (std::size_t i = 0; i < vectors.size(); ++i) set(i, vectors[i], cell);
        const vector3 p = cell.UB.column_copy(0);
        const vector3 q = cell.UB.column_copy(1);
        const vector3 r = cell.UB.column_copy(2);
        const std::array<double, 6> metric = {p.length_sq(),  q.length_sq(),  r.length_sq(),
                                              2.0 * p.dot(q), 2.0 * p.dot(r), 2.0 * q.dot(r)};
        for (std::size_t i = 0; i < metric.size(); ++i)
            of_.metric[i] = static_cast<float>(metric[i]);
    }

    // Those that are poor after the first vectors, compared with what is to be exceeded, get 0.
    [[nodiscard]] double score_of(const matrix3& basis, double least) const
    {
        std::array<float, 9> direct = {};
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j)
                direct[3 * i + j] = static_cast<float>(basis.a[i][j]);
        return use_(of_, direct, static_cast<float>(least));
    }

private:
    struct terms {
        std::vector<float> x, y, z;
        std::array<std::vector<float>, errors.size()> top, fall;
        std::array<float, 6> metric = {};
    };

    void set(std::size_t i, const vector3& q, const given_cell& cell)
    {
        of_.x[i] = static_cast<float>(q.x);
        of_.y[i] = static_cast<float>(q.y);
        of_.z[i] = static_cast<float>(q.z);
        for (std::size_t k = 0; k < errors.size(); ++k) {
            const double own = errors[k] * spacing_of(cell);
            const double strain = usual_strain * q.length();
            const double variance = own * own + strain * strain;
            of_.top[k][i] =
                static_cast<float>(-logarithm(cell.volume) - 1.5 * logarithm(two_pi * variance));
            of_.fall[k][i] = static_cast<float>(0.5 / variance);
        }
    }

    TORVIK_SOLVER_INLINED static float sums(const terms& of, const std::array<float, 9>& basis,
                                            float least)
    {
        constexpr float poor = 0.2F;
        const floats zero = {};
        floats narrow = {};
        floats wide = {};
        const std::size_t count = of.x.size();
        const std::size_t first = count / 3 / float_lanes * float_lanes;
        for (std::size_t i = 0; i < count; i += float_lanes) {
            if (i == first && i > 0 && std::max(sum_of(narrow), sum_of(wide)) < poor * least)
                return 0.0F;
            const auto x = load<floats>(of.x.data() + i);
            const auto y = load<floats>(of.y.data() + i);
            const auto z = load<floats>(of.z.data() + i);
            floats u = x * basis[0] + y * basis[1] + z * basis[2];
            floats v = x * basis[3] + y * basis[4] + z * basis[5];
            floats w = x * basis[6] + y * basis[7] + z * basis[8];
            u -= nearest_whole(u);
            v -= nearest_whole(v);
            w -= nearest_whole(w);
            const floats square = u * (u * of.metric[0] + v * of.metric[3] + w * of.metric[4])
                                  + v * (v * of.metric[1] + w * of.metric[5])
                                  + w * w * of.metric[2];
            const floats a =
                load<floats>(of.top[0].data() + i) - square * load<floats>(of.fall[0].data() + i);
            const floats b =
                load<floats>(of.top[1].data() + i) - square * load<floats>(of.fall[1].data() + i);
            narrow += a > zero ? a : zero;
            wide += b > zero ? b : zero;
        }
        return std::max(sum_of(narrow), sum_of(wide));
    }

    static float sums_anywhere(const terms& of, const std::array<float, 9>& basis, float least)
    {
        return sums(of, basis, least);
    }

    TORVIK_SOLVER_AVX2 static float sums_avx2(const terms& of, const std::array<float, 9>& basis,
                                              float least)
    {
        return sums(of, basis, least);
    }

    terms of_;
    float (*use_)(const terms&, const std::array<float, 9>&, float);
};

bool better(const proposed_orientation& p, const proposed_orientation& q)
{
    return p.score > q.score;
}

// The best of all that are offered.
class shortlist {
public:
    // The score that is to be exceeded.
    [[nodiscard]] double least() const
    {
        return least_;
    }

    void offer(const proposed_orientation& one)
    {
        if (one.score <= least_) return;
        kept_.push_back(one);
        if (kept_.size() < 4 * most_kept) return;
        const auto end = kept_.begin() + static_cast<std::ptrdiff_t>(most_kept);
        std::nth_element(kept_.begin(), end, kept_.end(), better);
        least_ = end->score;
        kept_.erase(end, kept_.end());
    }

    // Each lattice once, the best first.
    [[nodiscard]] std::vector<proposed_orientation> different(const given_cell& cell,
                                                              std::size_t most) const
    {
        std::vector<proposed_orientation> sorted = kept_;
        std::stable_sort(sorted.begin(), sorted.end(), better);
        sorted.resize(std::min(sorted.size(), most_kept));
        std::vector<proposed_orientation> few;
        std::vector<matrix3> bases;
        for (const proposed_orientation& one : sorted) {
            const matrix3 basis = cell.basis.multiply(one.cell.R.transpose());
            const auto same = [&](const matrix3& other) { return same_orientation(other, basis); };
            if (std::any_of(bases.begin(), bases.end(), same)) continue;
            few.push_back(one);
            bases.push_back(basis);
            if (few.size() == most) break;
        }
        return few;
    }

private:
    std::vector<proposed_orientation> kept_;
    double least_ = 0.0;
};

class proposing {
public:
    proposing(const given_cell& cell, double tolerance, const std::vector<vector3>& pairing,
              const std::vector<vector3>& scoring)
        : cell_(cell), spacing_(spacing_of(cell)), tolerance_(tolerance), vectors_(pairing),
          scores_(scoring, cell)
    {
        double longest = 0.0;
        for (const vector3& q : pairing) longest = std::max(longest, q.length());
        longest = longest * (1.0 + tolerance) + off(longest);
        points_ = points_within(cell, std::min(longest, reach_of_points(cell)));
        directions_.set(points_);
        const std::vector<matrix3> rotations = rotations_of(cell.basis, usual_strain);
        for (const vector3& q : pairing) shells_.push_back(shell_of(q.length(), rotations));
    }

    proposed_orientations run(const proposal_limits& limits, const std::function<bool()>& over)
    {
        proposed_orientations found;
        found.points = points_.size();
        for (const vector_pair& one : pairs()) {
            found.interrupted = over();
            if (found.interrupted || found.choices + one.choices > limits.choices) break;
            found.choices += one.choices;
            const double room = limits.orientations - found.orientations;
            if (room <= 0.0) break;
            found.orientations += try_all(one, room);
        }
        found.best = list_.different(cell_, limits.most);
        return found;
    }

private:
    // How far a measured length may be off, the common scale aside.
    [[nodiscard]] double off(double length) const
    {
        const double own = reach * spacing_;
        const double strain = 2.5 * usual_strain * length;
        return std::sqrt(own * own + strain * strain);
    }

    [[nodiscard]] const point* beyond(double length) const
    {
        return points_.data()
               + (std::lower_bound(points_.begin(), points_.end(), length,
                                   [](const point& p, double x) { return p.length < x; })
                  - points_.begin());
    }

    [[nodiscard]] shell shell_of(double length, const std::vector<matrix3>& rotations) const
    {
        const double room = off(length) + tolerance_ * length;
        shell one = {beyond(length - room), beyond(length + room), {}};
        // A rotation T of the direct basis takes the indices h to T h.
        for (const point* p = one.first; p != one.last; ++p)
            if (std::all_of(rotations.begin(), rotations.end(), [&](const matrix3& T) {
                    return comes_first(p->indices, T.multiply(p->indices));
                }))
                one.unique.push_back(p);
        return one;
    }

    // All pairs of vectors that determine an orientation, those with few choices first. Vectors that are
    // longer than all points have none. The larger shell is the one that is reduced by symmetry.
    [[nodiscard]] std::vector<vector_pair> pairs() const
    {
        std::vector<vector_pair> all;
        for (std::size_t i = 0; i < vectors_.size(); ++i)
            for (std::size_t j = 0; j < i; ++j) {
                const vector3& q = vectors_[i];
                const vector3& r = vectors_[j];
                if (!(q.cross(r).length() > least_sine * q.length() * r.length())) continue;
                const bool first = shells_[i].count() >= shells_[j].count();
                vector_pair one = {first ? i : j, first ? j : i, 0.0};
                one.choices =
                    static_cast<double>(shells_[one.q].unique.size()) * shells_[one.r].count();
                if (one.choices > 0.0) all.push_back(one);
            }
        std::stable_sort(all.begin(), all.end(), [](const vector_pair& p, const vector_pair& q) {
            return p.choices < q.choices;
        });
        return all;
    }

    // The common scale of a pair: measured length over that of the point, weighted by the errors and by
    // that of the scale. Nothing if the two lengths differ by more than their errors.
    [[nodiscard]] std::optional<double> scale_of(double q, double r, double g, double k) const
    {
        const double of_q = off(q) / g;
        const double of_r = off(r) / k;
        const double first = q / g - 1.0;
        const double second = r / k - 1.0;
        if (std::fabs(first - second) > std::sqrt(of_q * of_q + of_r * of_r)) return std::nullopt;
        if (tolerance_ == 0.0) return 1.0;
        // `off` is two and a half deviations, the tolerance two.
        const double v = 2.5 * 2.5 / (of_q * of_q);
        const double w = 2.5 * 2.5 / (of_r * of_r);
        const double prior = 4.0 / (tolerance_ * tolerance_);
        return 1.0 + (v * first + w * second) / (v + w + prior);
    }

    // Offers the orientations of a pair, up to a number. Returns how many.
    double try_all(const vector_pair& pair, double most)
    {
        const double q = vectors_[pair.q].length();
        const double r = vectors_[pair.r].length();
        const double cosine = vectors_[pair.q].dot(vectors_[pair.r]) / (q * r);
        const double apart = (vectors_[pair.q] - vectors_[pair.r]).length();
        // The distance between the two is off by what both are.
        const double room = std::numbers::sqrt2 * off(apart) * apart / (q * r);
        const matrix3 measured = frame_between(vectors_[pair.q] / q, vectors_[pair.r] / r, cosine);
        double count = 0.0;
        for (const point* g : shells_[pair.q].unique)
            for (const point* k : near_angle(*g, shells_[pair.r], cosine, room)) {
                const double c = g->direction.dot(k->direction);
                if (std::fabs(c - cosine) > room || std::fabs(c) > 1.0 - 1e-6) continue;
                const auto scale = scale_of(q, r, g->length, k->length);
                if (!scale) continue;
                offer(measured.multiply(frame_between(g->direction, k->direction, c).transpose()),
                      *scale);
                count += 1.0;
                if (count >= most) return count;
            }
        return count;
    }

    // The points of a shell at about an angle to another point, and some more.
    const std::vector<const point*>& near_angle(const point& g, const shell& among, double cosine,
                                                double room)
    {
        constexpr float rounding = 1e-6F;
        const angle_limits within = {static_cast<float>(g.direction.x),
                                     static_cast<float>(g.direction.y),
                                     static_cast<float>(g.direction.z), static_cast<float>(cosine),
                                     static_cast<float>(room) + rounding};
        const auto first = static_cast<std::size_t>(among.first - points_.data());
        const auto last = static_cast<std::size_t>(among.last - points_.data());
        places_.clear();
        avx2_ ? directions_.near_avx2(first, last, within, places_)
              : directions_.near_anywhere(first, last, within, places_);
        near_.clear();
        for (const std::size_t place : places_)
            for (std::size_t i = place; i < std::min(last, place + float_lanes); ++i)
                near_.push_back(&points_[i]);
        return near_;
    }

    void offer(const matrix3& R, double scale)
    {
        const matrix3 basis = scaled(cell_.basis.multiply(R.transpose()), 1.0 / scale);
        const double score = scores_.score_of(basis, list_.least());
        if (score > list_.least()) list_.offer({{R, scaled(matrix3(), scale - 1.0)}, score});
    }

    const given_cell& cell_;
    double spacing_;
    double tolerance_;
    const std::vector<vector3>& vectors_;
    scorer scores_;
    std::vector<point> points_;
    directions directions_;
    std::vector<shell> shells_;
    std::vector<std::size_t> places_;
    std::vector<const point*> near_;
    bool avx2_ = has_avx2();
    shortlist list_;
};

} // namespace

std::vector<vector3> representative(const std::vector<vector3>& vectors,
                                    const std::vector<double>& intensities, std::size_t most)
{
    std::vector<std::size_t> order(vectors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
        return vectors[i].length_sq() < vectors[j].length_sq();
    });
    const std::size_t half = most / 2;
    if (order.size() > most && !intensities.empty())
        std::stable_sort(
            order.begin() + static_cast<std::ptrdiff_t>(half), order.end(),
            [&](std::size_t i, std::size_t j) { return intensities[i] > intensities[j]; });
    const std::size_t count = std::min(most, order.size());
    const bool spread = order.size() > most && intensities.empty();
    std::vector<vector3> few;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place =
            spread && i > half ? half + (i - half) * (order.size() - half) / (most - half) : i;
        few.push_back(vectors[order[place]]);
    }
    return few;
}

proposed_orientations propose_orientations(const std::vector<vector3>& vectors,
                                           const std::vector<double>& intensities,
                                           const given_cell& cell, const proposal_limits& limits,
                                           const std::function<bool()>& over)
{
    // Vectors beyond all points that are listed make no pairs.
    std::vector<vector3> within;
    std::vector<double> strengths;
    const double limit = reach_of_points(cell);
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        if (!(vectors[i].length() < limit)) continue;
        within.push_back(vectors[i]);
        if (!intensities.empty()) strengths.push_back(intensities[i]);
    }
    const std::vector<vector3> pairing = representative(within, strengths, most_pairing_vectors);
    const std::vector<vector3> scoring = representative(vectors, intensities, most_scoring_vectors);
    return proposing(cell, limits.tolerance, pairing, scoring).run(limits, over);
}

bool same_orientation(const matrix3& D, const matrix3& E)
{
    constexpr double near = 0.03;
    const matrix3 between = D.multiply(E.inverse());
    for (int i = 0; i < 3; ++i)
        if (off_whole(row_of(between, i)) > near) return false;
    return true;
}

} // namespace torvik::solver
