#include "solving/orientations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <numeric>

namespace torvik::tools {

namespace {

constexpr double twopi = 2.0 * std::numbers::pi;

// Vectors that make pairs, and that judge orientations.
constexpr std::size_t mostpaired = 40;
constexpr std::size_t mostjudging = 48;

// Points of the lattice that are listed, pairs of them that are looked at, and orientations that are
// judged.
constexpr double mostpoints = 1e6;
constexpr double mostchoices = 6e7;
constexpr double mostproposals = 8e5;

// Orientations that are kept by the score; refined on the judging vectors; refined on all; given.
constexpr std::size_t mostkept = 1000;
constexpr std::size_t mosttried = 200;
constexpr std::size_t mostrefined = 60;
constexpr std::size_t mostgiven = 40;

// Errors as parts of the mean distance of points, and how far a length may be off: two and a half
// times 4 % in addition to that of the strain.
constexpr std::array<double, 2> errors = {0.03, 0.07};
constexpr double reach = 0.1;

// The angle of a pair is such that its sine is this at least: else it would not fix a turn.
constexpr double leastsine = 0.25;

// A point of the reciprocal lattice.
struct point {
    vector3 direction;
    double length = 0.0;
};

// All points up to a length but the origin, in rising length.
std::vector<point> pointsof(const given_cell& cell, double longest)
{
    const auto last = [&](int i) {
        return static_cast<int>(row_of(cell.basis, i).length() * longest);
    };
    std::vector<point> points;
    for (int h = -last(0); h <= last(0); ++h)
        for (int k = -last(1); k <= last(1); ++k)
            for (int l = -last(2); l <= last(2); ++l) {
                const vector3 g = cell.UB.multiply(vector3(h, k, l));
                const double length = g.length();
                if (length <= longest && length > 0.0) points.push_back({g / length, length});
            }
    std::stable_sort(points.begin(), points.end(),
                     [](const point& p, const point& q) { return p.length < q.length; });
    return points;
}

// The shortest half and the strongest half; if there are no intensities, some of each length.
std::vector<vector3> chosen(const vectorlist& list, std::size_t most)
{
    std::vector<std::size_t> order(list.vectors.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t i, std::size_t j) {
        return list.vectors[i].length_sq() < list.vectors[j].length_sq();
    });
    const std::size_t half = most / 2;
    if (order.size() > most && !list.intensities.empty())
        std::stable_sort(order.begin() + static_cast<std::ptrdiff_t>(half), order.end(),
                         [&](std::size_t i, std::size_t j) {
                             return list.intensities[i] > list.intensities[j];
                         });
    const std::size_t count = std::min(most, order.size());
    const bool spread = order.size() > most && list.intensities.empty();
    std::vector<vector3> few;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place =
            spread && i > half ? half + (i - half) * (order.size() - half) / (most - half) : i;
        few.push_back(list.vectors[order[place]]);
    }
    return few;
}

// The points that are as long as a measured vector.
struct shell {
    const point* first = nullptr;
    const point* last = nullptr;

    [[nodiscard]] double count() const
    {
        return static_cast<double>(last - first);
    }
};

struct vectorpair {
    vector3 q;
    vector3 r;
    shell ofq;
    shell ofr;

    [[nodiscard]] double choices() const
    {
        return ofq.count() * ofr.count();
    }
};

// How far a measured length may be off.
double offof(double length, const given_cell& cell)
{
    const double own = reach / std::cbrt(cell.volume);
    const double strain = 2.5 * usual_strain * length;
    return std::sqrt(own * own + strain * strain);
}

// All pairs of vectors that fix an orientation, those with few choices first. Vectors that are longer
// than all points have none.
std::vector<vectorpair> pairsof(const std::vector<vector3>& vectors, const given_cell& cell,
                                const std::vector<point>& points)
{
    const auto beyond = [&](double length) {
        return points.data()
               + (std::lower_bound(points.begin(), points.end(), length,
                                   [](const point& p, double x) { return p.length < x; })
                  - points.begin());
    };
    std::vector<shell> shells;
    for (const vector3& q : vectors) {
        const double off = offof(q.length(), cell);
        shells.push_back({beyond(q.length() - off), beyond(q.length() + off)});
    }
    std::vector<vectorpair> pairs;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) {
            const vector3& q = vectors[i];
            const vector3& r = vectors[j];
            if (!(q.cross(r).length() > leastsine * q.length() * r.length())) continue;
            const vectorpair one = {q, r, shells[i], shells[j]};
            if (one.choices() > 0.0) pairs.push_back(one);
        }
    std::stable_sort(pairs.begin(), pairs.end(), [](const vectorpair& p, const vectorpair& q) {
        return p.choices() < q.choices();
    });
    return pairs;
}

// Axes along the sum and the difference of two directions, and at right angles to both, as columns.
matrix3 framebetween(const vector3& u, const vector3& v, double cosine)
{
    const vector3 x = (u + v) / std::sqrt(2.0 + 2.0 * cosine);
    const vector3 y = (u - v) / std::sqrt(2.0 - 2.0 * cosine);
    return from_rows(x, y, x.cross(y)).transpose();
}

// Judges orientations: a vector at a distance of r from a point counts log(G(r) / V), with as many
// wrong vectors as genuine ones, where that is positive. The best sum for several errors is the score.
class judge {
public:
    judge(const std::vector<vector3>& vectors, const given_cell& cell) : cell_(cell)
    {
        const double spacing = 1.0 / std::cbrt(cell.volume);
        for (const vector3& q : vectors) {
            term one;
            one.q = q;
            for (std::size_t k = 0; k < errors.size(); ++k) {
                const double own = errors[k] * spacing;
                const double strain = usual_strain * q.length();
                const double variance = own * own + strain * strain;
                one.top[k] = -std::log(cell.volume * std::pow(twopi * variance, 1.5));
                one.fall[k] = 0.5 / variance;
            }
            terms_.push_back(one);
        }
    }

    // Those that are poor after a third of the vectors, against what is to be reached, are not judged to
    // the end.
    [[nodiscard]] double scoreof(const matrix3& R, double least) const
    {
        constexpr double poor = 0.2;
        const std::size_t third = terms_.size() / 3;
        const matrix3 basis = cell_.basis.multiply(R.transpose());
        std::array<double, errors.size()> sums = {};
        for (std::size_t i = 0; i < terms_.size(); ++i) {
            const term& one = terms_[i];
            if (i == third && std::max(sums[0], sums[1]) < poor * least) return 0.0;
            const vector3 x = basis.multiply(one.q);
            const vector3 off = {fromwhole(x.x), fromwhole(x.y), fromwhole(x.z)};
            const double square = cell_.UB.multiply(off).length_sq();
            for (std::size_t k = 0; k < errors.size(); ++k)
                sums[k] += std::max(0.0, one.top[k] - square * one.fall[k]);
        }
        return *std::max_element(sums.begin(), sums.end());
    }

private:
    struct term {
        vector3 q;
        std::array<double, errors.size()> top = {};
        std::array<double, errors.size()> fall = {};
    };

    // Less the nearest whole number: the sum with a number so large has no fraction.
    static double fromwhole(double x)
    {
        constexpr double large = 6755399441055744.0; // 1.5 * 2^52
        return x - ((x + large) - large);
    }

    const given_cell& cell_;
    std::vector<term> terms_;
};

struct proposal {
    matrix3 R;
    double score = 0.0;
};

bool better(const proposal& p, const proposal& q)
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

    void offer(const proposal& one)
    {
        if (one.score <= least_) return;
        kept_.push_back(one);
        if (kept_.size() < 4 * mostkept) return;
        const auto end = kept_.begin() + static_cast<std::ptrdiff_t>(mostkept);
        std::nth_element(kept_.begin(), end, kept_.end(), better);
        least_ = end->score;
        kept_.erase(end, kept_.end());
    }

    // Each lattice once, the best first.
    [[nodiscard]] std::vector<proposal> different(const given_cell& cell) const
    {
        std::vector<proposal> sorted = kept_;
        std::stable_sort(sorted.begin(), sorted.end(), better);
        std::vector<proposal> few;
        std::vector<matrix3> bases;
        for (const proposal& one : sorted) {
            const matrix3 basis = cell.basis.multiply(one.R.transpose());
            const auto same = [&](const matrix3& other) { return sameorientation(other, basis); };
            if (std::any_of(bases.begin(), bases.end(), same)) continue;
            few.push_back(one);
            bases.push_back(basis);
            if (few.size() == mosttried) break;
        }
        return few;
    }

private:
    std::vector<proposal> kept_;
    double least_ = 0.0; // what is not better than this has no place
};

// Offers all orientations of a pair. Gives how many.
double tryall(const vectorpair& pair, const given_cell& cell, const judge& judging, shortlist& list)
{
    const double product = pair.q.length() * pair.r.length();
    const double cosine = pair.q.dot(pair.r) / product;
    const double apart = (pair.q - pair.r).length();
    // The distance between the two is off by what both are.
    const double room = std::numbers::sqrt2 * offof(apart, cell) * apart / product;
    const matrix3 measured = framebetween(pair.q.normalized(), pair.r.normalized(), cosine);
    double count = 0.0;
    for (const point* g = pair.ofq.first; g != pair.ofq.last; ++g)
        for (const point* k = pair.ofr.first; k != pair.ofr.last; ++k) {
            const double c = g->direction.dot(k->direction);
            if (std::fabs(c - cosine) > room || std::fabs(c) > 1.0 - 1e-6) continue;
            const matrix3 own = framebetween(g->direction, k->direction, c);
            const matrix3 R = measured.multiply(own.transpose());
            list.offer({R, judging.scoreof(R, list.least())});
            count += 1.0;
        }
    return count;
}

std::vector<proposal> proposals(const std::vector<vector3>& pairing,
                                const std::vector<vector3>& judging, const given_cell& cell,
                                const std::function<bool()>& over)
{
    double longest = 0.0;
    for (const vector3& q : pairing)
        longest = std::max(longest, q.length() + offof(q.length(), cell));
    const double limit = std::cbrt(mostpoints / cell.volume / (2.0 / 3.0 * twopi));
    const std::vector<point> points = pointsof(cell, std::min(longest, limit));
    const judge judges(judging, cell);
    shortlist list;
    double choices = 0.0;
    double count = 0.0;
    for (const vectorpair& pair : pairsof(pairing, cell, points)) {
        choices += pair.choices();
        if (over() || choices > mostchoices || count > mostproposals) break;
        count += tryall(pair, cell, judges, list);
    }
    return list.different(cell);
}

void insert(const assessment& one, std::vector<assessment>& found)
{
    if (!std::isfinite(one.evidence)) return;
    const auto same = std::find_if(found.begin(), found.end(), [&](const assessment& other) {
        return sameorientation(other.basis, one.basis);
    });
    if (same != found.end() && one.evidence <= same->evidence) return;
    if (same != found.end()) found.erase(same);
    const auto place = std::find_if(found.begin(), found.end(), [&](const assessment& other) {
        return other.evidence < one.evidence;
    });
    found.insert(place, one);
    if (found.size() > mostgiven) found.pop_back();
}

} // namespace

bool sameorientation(const matrix3& D, const matrix3& E)
{
    constexpr double near = 0.03;
    const matrix3 between = D.multiply(E.inverse());
    for (int i = 0; i < 3; ++i)
        if (off_whole(row_of(between, i)) > near) return false;
    return true;
}

std::vector<assessment> orientationsof(const vectorlist& list, const given_cell& cell, int cells,
                                       const std::function<bool()>& over)
{
    const std::vector<vector3> judging = chosen(list, mostjudging);
    std::vector<proposal> likely = proposals(chosen(list, mostpaired), judging, cell, over);
    if (judging.size() < list.vectors.size()) {
        for (proposal& one : likely)
            if (!over()) one.score = assess_known(judging, cell, one.R, cells).evidence;
        std::stable_sort(likely.begin(), likely.end(), better);
        likely.resize(std::min(likely.size(), mostrefined));
    }
    std::vector<assessment> found;
    for (const proposal& one : likely) {
        if (over()) break;
        const double least = found.size() < mostgiven ? -std::numeric_limits<double>::infinity()
                                                      : found.back().evidence;
        insert(assess_known(list.vectors, cell, one.R, cells, least), found);
    }
    return found;
}

} // namespace torvik::tools
