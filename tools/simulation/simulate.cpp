#include "simulation/simulate.h"

#include "base/failure.h"
#include "numeric/functions.h"

#include <algorithm>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <utility>

namespace torvik::tools {

namespace {

double cubed(double x)
{
    return x * x * x;
}

template <class item>
void shuffle(std::vector<item>& items, randomnumbers& random)
{
    for (std::size_t i = items.size(); i > 1; --i)
        std::swap(items[i - 1],
                  items[static_cast<std::size_t>(random.whole(0, static_cast<int>(i) - 1))]);
}

void require(bool fulfilled, const std::string& sentence)
{
    if (!fulfilled) throw failure(sentence);
}

std::string latticename(const simulationrequest& asked)
{
    return asked.system + " " + asked.centring;
}

bool knownlattice(const simulationrequest& asked)
{
    return std::any_of(latticetypes.begin(), latticetypes.end(), [&](const latticetype& one) {
        return asked.system == one.system && asked.centring == one.centring;
    });
}

void checkcrystal(const simulationrequest& asked)
{
    if (asked.cell) {
        check_cell(*asked.cell);
        for (std::size_t i = 0; i < 3; ++i)
            require((*asked.cell)[i] >= 1.0 && (*asked.cell)[i] <= 1e5,
                    "The edges of the cell must be 1 to 100000 angstroms.");
        primitive_transformation(asked.centring); // throws if there is no such centring
        return;
    }
    require(knownlattice(asked), "There is no lattice \"" + latticename(asked) + "\".");
    require(asked.volume >= 1.0 && asked.volume <= 1e9,
            "The volume of the primitive cell must be 1 to 1000000000 cubic angstroms.");
}

void checkerrors(const simulationrequest& asked)
{
    require(asked.noise >= 0.0 && asked.noise <= 1.0,
            "The noise must be 0 to 1 times the shortest reciprocal vector.");
    require(asked.noiselength >= 0.0 && asked.noiselength <= 10.0,
            "The noise must be 0 to 10 per angstrom.");
    require(asked.scale >= 0.1 && asked.scale <= 10.0, "The scale must be 0.1 to 10.");
    require(asked.offset.length() <= 10.0, "The offset must be at most 10 per angstrom long.");
}

void checkcounts(const simulationrequest& asked)
{
    require(asked.reflections >= 4 && asked.reflections <= 999,
            "The number of reflections must be 4 to 999.");
    require(asked.pool >= 1 && asked.pool <= 1000,
            "The pool must be 1 to 1000 times the reflections.");
    require(asked.wrong >= 0 && asked.wrong <= asked.reflections - 3,
            "Of " + std::to_string(asked.reflections) + " reflections at most "
                + std::to_string(asked.reflections - 3)
                + " can be wrong: three at least must span the lattice.");
    require(asked.lattices >= 1 && asked.lattices <= 9, "There can be 1 to 9 lattices.");
    require(asked.parts.empty() || asked.parts.size() == static_cast<std::size_t>(asked.lattices),
            "There must be as many parts as lattices: " + std::to_string(asked.lattices) + ".");
    for (const double part : asked.parts)
        require(part > 0.0 && part <= 1e6, "The part of a lattice must be more than 0.");
    require(!asked.smallestd || *asked.smallestd >= 0.05,
            "The smallest d spacing must be at least 0.05 angstroms.");
    require(!asked.largestindex || (*asked.largestindex >= 1 && *asked.largestindex <= 200),
            "The largest index must be 1 to 200.");
}

void checkfile(const simulationrequest& asked)
{
    require(asked.wavelength > 0.0 && asked.wavelength <= 100.0,
            "The wavelength must be above 0 and at most 100 angstroms.");
    require(asked.kappaaxis > 0.0 && asked.kappaaxis < 90.0,
            "The angle of the kappa axis must be between 0 and 90 degrees.");
    require(asked.guesserror >= 1.0 && asked.guesserror <= 100.0,
            "The factor by which the volume is guessed must be 1 to 100.");
    require(asked.volumefactor == 0.0
                || (asked.volumefactor >= 1.25 && asked.volumefactor <= 1000.0),
            "The factor of the volume limits must be 1.25 to 1000, or 0 for no limits.");
}

// ------------------------------------------------------------------------------ the crystals

// The vectors of the rows of a basis turned by a rotation, r' = Q r.
matrix3 turned(const matrix3& basis, const matrix3& Q)
{
    return basis.multiply(Q.transpose());
}

// The rotation about an axis (Rodrigues).
matrix3 rotationabout(const vector3& axis, double degrees)
{
    const double length = axis.length();
    const vector3 n = {axis.x / length, axis.y / length, axis.z / length};
    const double angle = degrees * std::numbers::pi / 180.0;
    const double c = cosine(angle);
    const double s = sine(angle);
    const double t = 1.0 - c;
    return {t * n.x * n.x + c,       t * n.x * n.y - s * n.z, t * n.x * n.z + s * n.y,
            t * n.x * n.y + s * n.z, t * n.y * n.y + c,       t * n.y * n.z - s * n.x,
            t * n.x * n.z - s * n.y, t * n.y * n.z + s * n.x, t * n.z * n.z + c};
}

matrix3 rotationof(const twinlaw& law, const matrix3& conventional)
{
    const vector3 indices = {law.axis[0], law.axis[1], law.axis[2]};
    require(indices.length() > 0.0, "The axis of a twin law cannot be 0 0 0.");
    const matrix3 basis = law.normal ? reciprocalof(conventional) : conventional;
    return rotationabout(basis.left_multiply(indices), law.angle);
}

// The conventional basis of the first crystal, in its orientation.
matrix3 firstcrystal(const simulationrequest& asked, randomnumbers& random)
{
    matrix3 upright;
    if (asked.cell) {
        const auto [a, b, c, alpha, beta, gamma] = *asked.cell;
        upright = uprightbasis(a, b, c, alpha, beta, gamma);
    } else {
        upright = randomcell(random, {asked.system.c_str(), asked.centring});
    }
    const matrix3 basis = asked.orientation ? turned(upright, *asked.orientation)
                                            : upright.multiply(randomorientation(random));
    if (asked.cell) return basis;
    const double volume =
        std::fabs(primitive_transformation(asked.centring).multiply(basis).determinant());
    return scaled(basis, cuberoot(asked.volume / volume));
}

simulatedlattice latticeof(const matrix3& conventional, char centring)
{
    return {conventional, reducedbasis(primitive_transformation(centring).multiply(conventional)),
            0};
}

// Further crystals have the cell of the first.
matrix3 nextcrystal(const simulationrequest& asked, const std::vector<simulatedlattice>& before,
                    randomnumbers& random)
{
    const matrix3& first = before.front().conventional;
    if (!asked.twin) return first.multiply(randomorientation(random));
    return turned(before.back().conventional, rotationof(*asked.twin, first));
}

// ------------------------------------------------------------------------------ the reflections

// The indices, of the primitive basis, of all reciprocal-lattice vectors within the limits, one of each
// pair of opposite ones.
std::vector<millerindices> indiceswithin(const simulationrequest& asked,
                                         const simulatedlattice& lattice)
{
    constexpr double most = 5e7;
    const matrix3 R = reciprocalof(lattice.conventional);
    // What lies on a limit lies within it, whatever the last digits.
    const double longest = asked.smallestd ? (1.0 + 1e-9) / *asked.smallestd : 1e30;
    millerindices last = {};
    double box = 1.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const double edge = row_of(lattice.conventional, static_cast<int>(i)).length() * longest;
        const double limit =
            asked.largestindex ? std::min<double>(edge, *asked.largestindex) : edge;
        box *= 2.0 * limit + 1.0;
        require(box <= most,
                "Too many reflections lie within the limits: give a larger d spacing.");
        last[i] = static_cast<int>(limit);
    }
    // Whole combinations of the primitive reciprocal vectors are those whose indices come out whole.
    const matrix3 P = lattice.primitive.multiply(R.transpose());
    std::vector<millerindices> found;
    foreachpair(last, [&](const millerindices& conventional) {
        if (vectorof(conventional, R).length() > longest) return;
        const vector3 primitive = P.multiply(vector3(conventional));
        if (off_whole(primitive) < 0.1) found.push_back(nearest_indices(primitive));
    });
    return found;
}

bool limited(const simulationrequest& asked)
{
    return asked.smallestd || asked.largestindex;
}

std::vector<millerindices> poolof(const simulationrequest& asked, const simulatedlattice& lattice)
{
    if (limited(asked)) return indiceswithin(asked, lattice);
    return shortestindices(lattice.primitive, asked.pool * asked.reflections);
}

std::vector<millerindices> chosenindices(const std::vector<millerindices>& pool, int count,
                                         randomnumbers& random)
{
    require(pool.size() >= static_cast<std::size_t>(count),
            "Within the limits there are " + std::to_string(pool.size()) + " reflections; "
                + std::to_string(count) + " are needed.");
    for (int attempt = 0; attempt < 10000; ++attempt) {
        std::vector<millerindices> indices = pool;
        shuffle(indices, random);
        indices.resize(static_cast<std::size_t>(count));
        if (count < 3 || spanall(indices)) return indices;
    }
    throw failure("No choice of " + std::to_string(count)
                  + " reflections spans the lattice: ask for more, or for wider limits.");
}

// How many of the right reflections each lattice has.
std::vector<int> countsof(const simulationrequest& asked)
{
    const int right = asked.reflections - asked.wrong;
    std::vector<double> parts = asked.parts;
    if (parts.empty()) parts.assign(static_cast<std::size_t>(asked.lattices), 1.0);
    const double all = std::accumulate(parts.begin(), parts.end(), 0.0);
    std::vector<int> counts;
    double sum = 0.0;
    int dealt = 0;
    for (const double part : parts) {
        sum += part;
        const int now = static_cast<int>(std::lround(right * (sum / all)));
        counts.push_back(now - dealt);
        dealt = now;
    }
    require(counts.front() >= 3, "The first lattice has " + std::to_string(counts.front())
                                     + " reflections: three at least must span it.");
    return counts;
}

// Any direction, and a length such that the space between two spheres is filled evenly.
vector3 wrongreflection(double shortest, double longest, randomnumbers& random)
{
    const double length =
        cuberoot(cubed(shortest) + random.between(0.0, 1.0) * (cubed(longest) - cubed(shortest)));
    const vector3 v{normaldeviate(random), normaldeviate(random), normaldeviate(random)};
    return (length / v.length()) * v;
}

class measurer {
public:
    measurer(const simulationrequest& asked, simulated& made, randomnumbers& random)
        : asked_(asked), made_(made), random_(random)
    {
    }

    void takeright(int lattice, const std::vector<millerindices>& indices)
    {
        simulatedlattice& source = made_.lattices[static_cast<std::size_t>(lattice) - 1];
        const matrix3 R = reciprocalof(source.primitive);
        for (const millerindices& hkl : indices) {
            const vector3 v = vectorof(hkl, R);
            nearest_ = std::min(nearest_, v.length());
            farthest_ = std::max(farthest_, v.length());
            const int sign = random_.whole(0, 1) == 1 ? 1 : -1; // of two opposite ones, either
            take(sign * v, {sign * hkl[0], sign * hkl[1], sign * hkl[2]}, lattice);
        }
        source.reflections = static_cast<int>(indices.size());
    }

    void takewrong(int count)
    {
        for (int n = 0; n < count; ++n) {
            const vector3 v = wrongreflection(nearest_, farthest_, random_);
            made_.reflections.push_back({distorted(v), v, {}, 0});
        }
    }

private:
    void take(const vector3& v, const millerindices& hkl, int lattice)
    {
        const vector3 error{normaldeviate(random_), normaldeviate(random_), normaldeviate(random_)};
        made_.reflections.push_back({distorted(v + made_.noise * error), v, hkl, lattice});
    }

    [[nodiscard]] vector3 distorted(const vector3& v) const
    {
        return asked_.scale * v + asked_.offset;
    }

    const simulationrequest& asked_;
    simulated& made_;
    randomnumbers& random_;
    double nearest_ = 1e30;
    double farthest_ = 0.0;
};

void setnoise(const simulationrequest& asked, const std::vector<millerindices>& pool,
              simulated& made)
{
    const matrix3& D = made.truth().primitive;
    const millerindices hkl = limited(asked) ? shortestindices(D, 1).front() : pool.front();
    made.shortest = vectorof(hkl, reciprocalof(D)).length();
    made.noise = asked.noise * made.shortest + asked.noiselength;
}

void measure(const simulationrequest& asked, simulated& made, randomnumbers& random)
{
    measurer measuring(asked, made, random);
    const std::vector<int> counts = countsof(asked);
    for (int lattice = 1; lattice <= asked.lattices; ++lattice) {
        if (lattice > 1)
            made.lattices.push_back(
                latticeof(nextcrystal(asked, made.lattices, random), asked.centring));
        const auto pool = poolof(asked, made.lattices.back());
        if (lattice == 1) setnoise(asked, pool, made);
        measuring.takeright(
            lattice, chosenindices(pool, counts[static_cast<std::size_t>(lattice) - 1], random));
    }
    measuring.takewrong(asked.wrong);
    shuffle(made.reflections, random);
}

} // namespace

std::vector<vector3> simulated::vectors() const
{
    std::vector<vector3> all;
    all.reserve(reflections.size());
    for (const simulatedreflection& one : reflections) all.push_back(one.measured);
    return all;
}

simulated simulate(const simulationrequest& asked, randomnumbers& random)
{
    checkcrystal(asked);
    checkerrors(asked);
    checkcounts(asked);
    checkfile(asked);
    simulated made;
    made.lattices.push_back(latticeof(firstcrystal(asked, random), asked.centring));
    measure(asked, made, random);
    const double volume =
        asked.cell ? std::fabs(made.truth().primitive.determinant()) : asked.volume;
    const double guess =
        volume * exponential(random.between(-1.0, 1.0) * logarithm(asked.guesserror));
    if (asked.volumefactor > 0.0) {
        made.smallestvolume = guess / asked.volumefactor;
        made.largestvolume = guess * asked.volumefactor;
    }
    return made;
}

simulated simulate(const simulationrequest& asked)
{
    randomnumbers random(asked.seed);
    return simulate(asked, random);
}

} // namespace torvik::tools
