#include "lattice/bravais.h"

#include "lattice/librarysteps.h"
#include "lattice/shortvectors.h"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

namespace torvik::tools {

namespace {

// ------------------------------------------------------------------------------ whole numbers

using triple = std::array<int, 3>;
using rotation = std::array<triple, 3>; // acts on columns of coordinates in the reduced basis
using group = std::set<rotation>;

constexpr rotation identity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
constexpr std::size_t largestorder = 24;

rotation times(const rotation& V, const rotation& W)
{
    rotation product = {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            for (std::size_t k = 0; k < 3; ++k) product[i][j] += V[i][k] * W[k][j];
    return product;
}

triple times(const rotation& W, const triple& x)
{
    triple product = {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t k = 0; k < 3; ++k) product[i] += W[i][k] * x[k];
    return product;
}

triple negative(const triple& x)
{
    return {-x[0], -x[1], -x[2]};
}

int product(const triple& x, const triple& y)
{
    return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
}

triple cross(const triple& x, const triple& y)
{
    return {x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2], x[0] * y[1] - x[1] * y[0]};
}

int determinant(const rotation& M)
{
    return product(M[0], cross(M[1], M[2]));
}

// The power that is the identity, or 0 if none up to 6 is.
int orderof(const rotation& W)
{
    rotation power = W;
    for (int n = 1; n <= 6; ++n) {
        if (power == identity) return n;
        power = times(power, W);
    }
    return 0;
}

rotation inverseof(const rotation& W)
{
    rotation power = identity;
    for (int n = 1; n < orderof(W); ++n) power = times(power, W);
    return power;
}

triple withoutdivisor(triple x)
{
    const int common = std::gcd(x[0], std::gcd(x[1], x[2]));
    for (int& one : x) one /= common;
    return x;
}

vector3 asvector(const triple& x)
{
    return vector3(x);
}

// The axis of a rotation, as a direction of the lattice and as the normal of a plane of it. The sum of
// its powers turns every vector into a multiple of the one, and every normal into one of the other.
struct axis {
    triple direction;
    triple normal;
};

axis axisof(const rotation& W)
{
    rotation sum = {};
    rotation power = identity;
    for (int n = 0; n < orderof(W); ++n) {
        power = times(power, W);
        for (std::size_t i = 0; i < 3; ++i)
            for (std::size_t j = 0; j < 3; ++j) sum[i][j] += power[i][j];
    }
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j)
            if (sum[i][j] != 0)
                return {withoutdivisor({sum[0][j], sum[1][j], sum[2][j]}), withoutdivisor(sum[i])};
    return {}; // not of a rotation
}

// ------------------------------------------------------------------------------ groups

// What two generators make; nothing if it is no finite group of rotations.
std::optional<group> closure(const group& known, const rotation& further)
{
    group all = known;
    all.insert(further);
    for (bool grown = true; grown;) {
        grown = false;
        for (const rotation& V : group(all))
            for (const rotation& W : group(all)) {
                grown = all.insert(times(V, W)).second || grown;
                if (all.size() > largestorder) return std::nullopt;
            }
    }
    const bool finite =
        std::all_of(all.begin(), all.end(), [](const rotation& W) { return orderof(W) > 0; });
    return finite ? std::optional(all) : std::nullopt;
}

std::vector<rotation> ofexactorder(const group& rotations, int order)
{
    std::vector<rotation> found;
    for (const rotation& W : rotations)
        if (orderof(W) == order) found.push_back(W);
    return found;
}

group conjugate(const group& rotations, const rotation& g)
{
    group turned;
    for (const rotation& W : rotations) turned.insert(times(times(g, W), inverseof(g)));
    return turned;
}

// ------------------------------------------------------------------------------ conventional axes

// The points of a lattice in a cell of whole axes M, which tell the centring.
char centringof(const rotation& M)
{
    const int n = std::abs(determinant(M));
    const int sign = determinant(M) > 0 ? 1 : -1;
    // The rows of the inverse, times n: coordinates of the reduced axes in the cell.
    const rotation columns = {cross(M[1], M[2]), cross(M[2], M[0]), cross(M[0], M[1])};
    std::set<triple> points;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            for (int k = 0; k < n; ++k) {
                triple point = {};
                for (std::size_t c = 0; c < 3; ++c)
                    point[c] = ((sign * product({i, j, k}, columns[c])) % n + n) % n;
                points.insert(point);
            }
    const auto only = [&](const std::set<triple>& expected) { return points == expected; };
    const triple corner = {0, 0, 0};
    if (only({corner})) return 'P';
    if (only({corner, {0, 1, 1}})) return 'A';
    if (only({corner, {1, 0, 1}})) return 'B';
    if (only({corner, {1, 1, 0}})) return 'C';
    if (only({corner, {1, 1, 1}})) return 'I';
    if (only({corner, {0, 2, 2}, {2, 0, 2}, {2, 2, 0}})) return 'F';
    if (only({corner, {2, 1, 1}, {1, 2, 2}})) return 'R'; // obverse
    if (only({corner, {1, 2, 1}, {2, 1, 2}})) return 'r'; // reverse
    return '?';
}

// Finds the axes of groups in a reduced basis.
class axesfinder {
public:
    explicit axesfinder(const matrix3& reduced) : basis_(reduced)
    {
        for (const latticevector& one :
             shortvectors(reduced, std::numeric_limits<double>::infinity()))
            vectors_.push_back(nearestindices(one.factors));
    }

    // The settings of the Bravais lattice of a group: whole axes, and the letter of the centring.
    // None if the group is that of no lattice of its own.
    using axes = std::pair<char, rotation>;
    [[nodiscard]] std::vector<axes> settingsof(const group& rotations) const
    {
        const std::size_t twofolds = ofexactorder(rotations, 2).size();
        switch (rotations.size()) {
        case 1: return {{'P', identity}};
        case 2: return monoclinic(rotations);
        case 4: return twofolds == 3 ? orthorhombic(rotations, 2) : none;
        case 6: return twofolds == 3 ? rhombohedral(rotations) : none;
        case 8: return twofolds == 5 ? tetragonal(rotations) : none;
        case 12: return twofolds == 7 ? hexagonal(rotations) : none;
        case 24: return twofolds == 9 ? orthorhombic(rotations, 4) : none;
        default: return none;
        }
    }

private:
    static inline const std::vector<axes> none = {};

    [[nodiscard]] vector3 valueof(const triple& x) const
    {
        return basis_.left_multiply(asvector(x));
    }
    [[nodiscard]] double lengthof(const triple& x) const
    {
        return valueof(x).length();
    }

    // Shorter by more than rounding, so that equals keep their order.
    static bool shorter(double one, double other)
    {
        constexpr double rounding = 1e-9;
        return one < other * (1.0 - rounding);
    }

    // The shortest vector in the plane of a normal that is no multiple of another one, if that is
    // not 0.
    [[nodiscard]] triple shortestin(const triple& normal, const triple& but) const
    {
        triple best = {};
        double shortest = std::numeric_limits<double>::infinity();
        for (const triple& one : vectors_) {
            if (product(one, normal) != 0) continue;
            if (but != triple{} && cross(one, but) == triple{}) continue;
            if (!shorter(lengthof(one), shortest)) continue;
            best = one;
            shortest = lengthof(one);
        }
        return best;
    }

    static rotation righthanded(rotation M)
    {
        if (determinant(M) < 0) M[1] = negative(M[1]);
        return M;
    }

    // The cell with the shortest a and c of those with a centring, beta not acute.
    [[nodiscard]] std::optional<rotation> monoclinic(const axis& unique, char centring) const
    {
        const triple u = shortestin(unique.normal, {});
        const triple v = shortestin(unique.normal, u);
        std::optional<rotation> best;
        double shortest = std::numeric_limits<double>::infinity();
        for (const auto& [a, c] : pairsof(u, v)) {
            const rotation M = righthanded({a, unique.direction, c});
            if (centringof(M) != centring || !shorter(lengthof(a) + lengthof(c), shortest))
                continue;
            best = M;
            shortest = lengthof(a) + lengthof(c);
        }
        return best;
    }

    // Bases of a net with obtuse angles. Where nothing tells a from c, a is not the longer one.
    [[nodiscard]] std::vector<std::pair<triple, triple>> pairsof(const triple& u,
                                                                 const triple& v) const
    {
        constexpr int most = 2;
        const auto sum = [&](int i, int j) {
            return triple{i * u[0] + j * v[0], i * u[1] + j * v[1], i * u[2] + j * v[2]};
        };
        std::vector<std::pair<triple, triple>> pairs;
        for (int i = -most; i <= most; ++i)
            for (int j = -most; j <= most; ++j)
                for (int k = 0; k <= most; ++k)
                    for (int l = -most; l <= most; ++l) {
                        if (std::abs(i * l - j * k) != 1) continue;
                        const vector3 a = valueof(sum(i, j));
                        const vector3 c = valueof(sum(k, l));
                        constexpr double rounding = 1e-9;
                        if (a.dot(c) <= rounding * a.length() * c.length())
                            pairs.emplace_back(sum(i, j), sum(k, l));
                    }
        std::stable_sort(pairs.begin(), pairs.end(), [&](const auto& one, const auto& other) {
            return excess(one) < excess(other);
        });
        return pairs;
    }

    // 0 if a is not longer than c, else 1.
    [[nodiscard]] int excess(const std::pair<triple, triple>& pair) const
    {
        return shorter(lengthof(pair.second), lengthof(pair.first)) ? 1 : 0;
    }

    [[nodiscard]] double offright(const rotation& M) const
    {
        return std::fabs(valueof(M[0]).cos_angle(valueof(M[2])));
    }

    [[nodiscard]] std::vector<axes> monoclinic(const group& rotations) const
    {
        constexpr double nearer = 1e-3; // in the cosine: some hundredths of a degree
        const axis unique = axisof(ofexactorder(rotations, 2).front());
        if (const auto primitive = monoclinic(unique, 'P')) return {{'P', *primitive}};
        std::vector<axes> found;
        const auto C = monoclinic(unique, 'C');
        const auto I = monoclinic(unique, 'I');
        if (C) found.emplace_back('C', *C);
        if (I && (!C || offright(*I) < offright(*C) - nearer)) found.emplace_back('I', *I);
        return found;
    }

    // Along the axes of an order, two-fold or four-fold, of which there are three.
    [[nodiscard]] std::vector<axes> orthorhombic(const group& rotations, int order) const
    {
        std::vector<triple> lines;
        for (const rotation& W : ofexactorder(rotations, order)) {
            const triple line = axisof(W).direction;
            if (std::none_of(lines.begin(), lines.end(),
                             [&](const triple& one) { return cross(one, line) == triple{}; }))
                lines.push_back(line);
        }
        if (lines.size() != 3) return none;
        const auto bylength = [&](const triple& x, const triple& y) {
            return shorter(lengthof(x), lengthof(y));
        };
        std::stable_sort(lines.begin(), lines.end(), bylength);
        rotation M = {lines[0], lines[1], lines[2]};
        const char letter = centringof(M);
        if (letter == 'A') M = {M[1], M[2], M[0]};
        if (letter == 'B') M = {M[0], M[2], M[1]};
        const bool face = letter == 'A' || letter == 'B' || letter == 'C';
        if (!face && letter != 'P' && letter != 'I' && letter != 'F') return none;
        return {{face ? 'C' : letter, turned(M)}};
    }

    // Right-handed by the sign of one axis: of c if a and b are positive where they begin.
    static rotation turned(rotation M)
    {
        if (determinant(M) < 0) M[2] = negative(M[2]);
        return M;
    }

    // c along the axis of the order, a the shortest in the plane, b = W a.
    [[nodiscard]] rotation aboutaxis(const rotation& W) const
    {
        const axis main = axisof(W);
        const triple a = shortestin(main.normal, {});
        return turned({a, times(W, a), main.direction});
    }

    [[nodiscard]] std::vector<axes> tetragonal(const group& rotations) const
    {
        const rotation M = aboutaxis(ofexactorder(rotations, 4).front());
        const char letter = centringof(M);
        return letter == 'P' || letter == 'I' ? std::vector<axes>{{letter, M}} : none;
    }

    [[nodiscard]] std::vector<axes> hexagonal(const group& rotations) const
    {
        const rotation M = aboutaxis(ofexactorder(rotations, 3).front());
        return centringof(M) == 'P' ? std::vector<axes>{{'P', M}} : none;
    }

    // The group of a primitive cell, too, has this one in it, but then that is hexagonal.
    [[nodiscard]] std::vector<axes> rhombohedral(const group& rotations) const
    {
        rotation M = aboutaxis(ofexactorder(rotations, 3).front());
        if (centringof(M) == 'r') M = {negative(M[0]), negative(M[1]), M[2]};
        return centringof(M) == 'R' ? std::vector<axes>{{'R', M}} : none;
    }

    matrix3 basis_;
    std::vector<triple> vectors_;
};

// ------------------------------------------------------------------------------ metric

matrix3 asmatrix(const rotation& M)
{
    return fromrows(asvector(M[0]), asvector(M[1]), asvector(M[2]));
}

// The mean over a group of the products of the axes.
matrix3 meanmetric(const matrix3& metric, const group& rotations)
{
    matrix3 sum(0.0);
    for (const rotation& W : rotations)
        sum = sum + asmatrix(W).transpose().multiply(metric).multiply(asmatrix(W));
    return scaled(sum, 1.0 / static_cast<double>(rotations.size()));
}

cell6 cellofmetric(const matrix3& G)
{
    const double a = std::sqrt(G[0][0]);
    const double b = std::sqrt(G[1][1]);
    const double c = std::sqrt(G[2][2]);
    const auto angle = [](double cosine) { return gemmi::deg(std::acos(cosine)); };
    return {a, b, c, angle(G[1][2] / (b * c)), angle(G[0][2] / (a * c)), angle(G[0][1] / (a * b))};
}

double strainof(const cell6& cell, const cell6& ideal)
{
    double largest = 0.0;
    for (std::size_t i = 0; i < 6; ++i) {
        const double change = std::fabs(cell[i] - ideal[i]);
        largest = std::fmax(largest, i < 3 ? change / ideal[i] : gemmi::rad(change));
    }
    return largest;
}

std::string symbolof(std::size_t order, char centring)
{
    const char* families = "amothhc";
    constexpr std::array<std::size_t, 7> orders = {1, 2, 4, 8, 6, 12, 24};
    const auto at = std::find(orders.begin(), orders.end(), order) - orders.begin();
    return {families[at], centring};
}

// ------------------------------------------------------------------------------ the search

class search {
public:
    search(const matrix3& basis, double tolerance, double limit)
        : reduced_(niggli(basis)), cell_(cellof(reduced_.basis)), axes_(reduced_.basis),
          tolerance_(tolerance), limit_(std::fmax(tolerance, limit))
    {
    }

    std::vector<bravaislattice> run()
    {
        findgroups();
        std::vector<candidate> candidates;
        for (const group& one : groups_)
            if (auto made = lattice(one)) candidates.push_back({one, *made});
        std::stable_sort(candidates.begin(), candidates.end(), before);
        return different(candidates);
    }

private:
    struct candidate {
        group rotations;
        bravaislattice made;
    };

    static bool before(const candidate& one, const candidate& other)
    {
        const auto key = [](const bravaislattice& made) {
            return std::tuple(!made.accepted, -made.order, made.obliquity, made.strain);
        };
        return key(one.made) < key(other.made);
    }

    [[nodiscard]] double obliquityof(const group& rotations) const
    {
        double largest = 0.0;
        for (const rotation& W : ofexactorder(rotations, 2)) {
            const axis one = axisof(W);
            largest = std::fmax(
                largest, tools::obliquityof(cell_, asvector(one.direction), asvector(one.normal)));
        }
        return largest;
    }

    // From the group of the identity on, each group grows by each two-fold axis.
    void findgroups()
    {
        const std::vector<rotation> generators = twofoldaxes(cell_, limit_);
        groups_ = {{identity}};
        for (std::size_t i = 0; i < groups_.size(); ++i)
            for (const rotation& W : generators) {
                if (groups_[i].contains(W)) continue;
                const auto grown = closure(groups_[i], W);
                if (!grown || obliquityof(*grown) > limit_) continue;
                if (std::find(groups_.begin(), groups_.end(), *grown) == groups_.end())
                    groups_.push_back(*grown);
            }
    }

    [[nodiscard]] std::optional<bravaislattice> lattice(const group& rotations) const
    {
        const auto found = axes_.settingsof(rotations);
        if (found.empty()) return std::nullopt;
        bravaislattice made;
        made.symbol = symbolof(rotations.size(), found.front().first);
        made.order = static_cast<int>(rotations.size());
        made.obliquity = obliquityof(rotations);
        made.accepted = made.obliquity <= tolerance_;
        const matrix3 metric = reduced_.basis.multiply(reduced_.basis.transpose());
        const matrix3 mean = meanmetric(metric, rotations);
        for (const auto& [centring, whole] : found) {
            const matrix3 M = asmatrix(whole);
            setting one;
            one.centring = centring;
            one.T = M.multiply(reduced_.T);
            one.cell = cellof(M.multiply(reduced_.basis));
            one.ideal = cellofmetric(M.multiply(mean).multiply(M.transpose()));
            made.settings.push_back(one);
        }
        made.strain = strainof(made.settings.front().cell, made.settings.front().ideal);
        return made;
    }

    // Of those that the accepted symmetry takes to each other, the first.
    static std::vector<bravaislattice> different(const std::vector<candidate>& candidates)
    {
        std::vector<bravaislattice> kept;
        std::vector<std::set<group>> classes;
        for (const candidate& one : candidates) {
            const auto same = std::find_if(classes.begin(), classes.end(), [&](const auto& known) {
                return known.contains(one.rotations);
            });
            if (same != classes.end()) {
                ++kept[static_cast<std::size_t>(same - classes.begin())].ways;
                continue;
            }
            std::set<group> alike;
            for (const rotation& g : candidates.front().rotations)
                alike.insert(conjugate(one.rotations, g));
            classes.push_back(alike);
            kept.push_back(one.made);
        }
        return kept;
    }

    reduced reduced_;
    cell6 cell_;
    axesfinder axes_;
    double tolerance_;
    double limit_;
    std::vector<group> groups_;
};

} // namespace

std::vector<bravaislattice> bravaislattices(const matrix3& basis, double tolerance, double limit)
{
    return search(basis, tolerance, limit).run();
}

} // namespace torvik::tools
