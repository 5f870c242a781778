// What a run finds does not hang on how the crystal was mounted, in which order its reflections
// were measured, or in which unit.
//
// Each case is a random triclinic cell with twelve noise-free reflections, among them the three
// unit reflections, so that a direct basis that indexes all of them spans the true lattice or a
// sublattice of it. Quality puts such bases first, and among them the smaller cell, so the true
// lattice leads the list, and that is what is invariant under every change below. Which basis of
// it is held, and the order of the solutions that tie, is decided by the last bits of the
// determinants; it is invariant only under the changes that are exact in binary.

#include "numeric/nint.h"
#include "property/randomlattices.h"
#include "search/fitting.h"
#include "search/quality.h"
#include "search/searchdriver.h"
#include "search/tabulcos.h"
#include "store/finalcheck.h"
#include "superlattices/hermite.h"
#include "support/fresh.h"
#include "support/runs.h"

#include <numbers>
#include <vector>

namespace torvik {

namespace {

constexpr int reflectionsofcase = 12;
constexpr int cases = 100;

using vectors = std::vector<vector3>;

struct crystal {
    matrix3 D = {}; // rows a, b, c
    vectors reflections;
    double volume = 0.0; // of D
};

struct solution {
    matrix3 D = {};
    double quality = 0.0;
};

// Edges of 4 to 9, angles of 70 to 110 degrees, the indices other than those of the unit
// reflections up to 2.
crystal randomcrystal(randomnumbers& random)
{
    crystal c;
    const double degree = std::numbers::pi / 180.0;
    const double alpha = random.between(70.0, 110.0) * degree;
    const double beta = random.between(70.0, 110.0) * degree;
    const double gamma = random.between(70.0, 110.0) * degree;
    const double lengths[] = {random.between(4.0, 9.0), random.between(4.0, 9.0),
                              random.between(4.0, 9.0)};
    const double cx = std::cos(beta);
    const double cy = (std::cos(alpha) - std::cos(beta) * std::cos(gamma)) / std::sin(gamma);
    const matrix3 directions = {{{1.0, 0.0, 0.0},
                                 {std::cos(gamma), std::sin(gamma), 0.0},
                                 {cx, cy, std::sqrt(1.0 - cx * cx - cy * cy)}}};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) c.D(i, j) = lengths[i - 1] * directions(i, j);
    c.volume = std::fabs(deter(c.D));
    const matrix3 inverse = inverseof(c.D); // r = D^-1 h
    std::vector<vector3> indices = {{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}};
    while (static_cast<int>(indices.size()) < reflectionsofcase) {
        const int h = random.whole(-2, 2);
        const int k = random.whole(-2, 2);
        const int l = random.whole(-2, 2);
        if (h != 0 || k != 0 || l != 0) indices.push_back({{1.0 * h, 1.0 * k, 1.0 * l}});
    }
    for (const vector3& h : indices) c.reflections.push_back(transformed(inverse, h));
    return c;
}

// Runs the search at the true volume with the smallest extent, and gives the solutions by quality.
std::vector<solution> solutions(const vectors& reflections, double rsvolume)
{
    auto& recorded = recorded_reflections;
    recorded.numberofreflections = 0;
    for (const vector3& r : reflections) {
        const int i = ++recorded.numberofreflections;
        recorded.reflections(i) = r;
        recorded.reflectionmagnitudes(i) = vectormagnitude(r);
    }
    otherglobalvariables.iextentofthesearch = 0;
    // Eight trial vectors of twelve: never all in a plane, so that no case goes without a basis.
    otherglobalvariables.fractionofsupportingreflections = 0.7;
    estimatedvolumes.number_of_estimatedvolumes = 1;
    estimatedvolumes.table_of_estimatedvolumes(1) = rsvolume;
    modofsavedbases.numberofsavedbases = 0;
    printedby([] { getthebasis(); });
    sortsavedbases3(0);
    finalcheckofsimilarity();
    std::vector<solution> found;
    for (int k = 1; k <= modofsavedbases.numberofsavedbases; ++k)
        found.push_back({modofsavedbases.savedbases(k), modofsavedbases.aqualityofsavedbases(k)});
    return found;
}

matrix3 randomrotation(randomnumbers& random)
{
    const auto about = [&](int axis) {
        const double angle = random.between(0.0, 2.0 * std::numbers::pi);
        matrix3 R = identity();
        const int i = axis % 3 + 1;
        const int j = i % 3 + 1;
        R(i, i) = std::cos(angle);
        R(j, j) = std::cos(angle);
        R(i, j) = -std::sin(angle);
        R(j, i) = std::sin(angle);
        return R;
    };
    return matrixproduct(about(3), matrixproduct(about(1), about(2)));
}

matrix3 transposed(const matrix3& M)
{
    matrix3 N = {};
    for (int i = 1; i <= 3; ++i)
        for (int j = 1; j <= 3; ++j) N(i, j) = M(j, i);
    return N;
}

class TheLattice : public fresh {
protected:
    TheLattice()
    {
        getlowindexsuperlattices();
        getavonmisestypefunction(-9, tabulcos.vonmisesfunctinranking);
    }

    // Expects that the first solution is a basis of the lattice of D and indexes everything.
    static void expectfirst(const vectors& reflections, const matrix3& D, int n)
    {
        const auto found = solutions(reflections, 1.0 / std::fabs(deter(D)));
        ASSERT_FALSE(found.empty()) << "case " << n;
        ASSERT_EQ(modofsavedbases.iqualityofsavedbases(1).h, reflectionsofcase) << "case " << n;
        ASSERT_TRUE(spansamelattice(found[0].D, D)) << "case " << n;
    }
};

TEST_F(TheLattice, IsFound)
{
    randomnumbers random(41);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        expectfirst(c.reflections, c.D, n);
    }
}

TEST_F(TheLattice, TurnsWithTheCrystal)
{
    // With r' = Q r the lattice is that of D' = D Q^T.
    randomnumbers random(42);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        const matrix3 Q = randomrotation(random);
        vectors turned;
        for (const vector3& r : c.reflections) turned.push_back(transformed(Q, r));
        expectfirst(turned, matrixproduct(c.D, transposed(Q)), n);
    }
}

TEST_F(TheLattice, DoesNotHangOnTheOrderOfTheReflections)
{
    randomnumbers random(43);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        vectors shuffled = c.reflections;
        for (int i = reflectionsofcase - 1; i > 0; --i)
            std::swap(shuffled[static_cast<std::size_t>(i)],
                      shuffled[static_cast<std::size_t>(random.whole(0, i))]);
        expectfirst(shuffled, c.D, n);
    }
}

TEST_F(TheLattice, DoesNotHangOnWhichOfTwoOppositeReflectionsWasMeasured)
{
    randomnumbers random(44);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        vectors some = c.reflections;
        for (vector3& r : some)
            if (random.whole(0, 1) == 1) r = {{-r(1), -r(2), -r(3)}};
        expectfirst(some, c.D, n);
    }
}

TEST_F(TheLattice, ScalesWithTheUnitOfTheReflections)
{
    randomnumbers random(45);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        const double unit = std::exp(random.between(-3.0, 3.0));
        vectors scaled;
        matrix3 D = c.D;
        for (const vector3& r : c.reflections)
            scaled.push_back({{unit * r(1), unit * r(2), unit * r(3)}});
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) D(i, j) = D(i, j) / unit;
        expectfirst(scaled, D, n);
    }
}

// The exact changes: every intermediate of the run changes by an exact factor or sign, so every
// decision falls as before, and all solutions come in the same order with the same digits.

void expectequal(const std::vector<solution>& a, const std::vector<solution>& b,
                 const numbered<double, 3>& factor, int n)
{
    ASSERT_EQ(a.size(), b.size()) << "case " << n;
    for (std::size_t k = 0; k < a.size(); ++k) {
        ASSERT_EQ(a[k].quality, b[k].quality) << "case " << n;
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j)
                ASSERT_EQ(a[k].D(i, j) * factor(j), b[k].D(i, j)) << "case " << n;
    }
}

TEST_F(TheLattice, IsTheSameToTheBitInAUnitThatIsAPowerOfTwo)
{
    randomnumbers random(46);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        const double unit = std::ldexp(1.0, random.whole(-8, 8));
        vectors scaled;
        for (const vector3& r : c.reflections)
            scaled.push_back({{unit * r(1), unit * r(2), unit * r(3)}});
        const double rsvolume = 1.0 / c.volume;
        const auto plain = solutions(c.reflections, rsvolume);
        const auto inunits = solutions(scaled, rsvolume * (unit * unit * unit));
        ASSERT_FALSE(plain.empty());
        expectequal(plain, inunits, {{1.0 / unit, 1.0 / unit, 1.0 / unit}}, n);
    }
}

TEST_F(TheLattice, IsTheSameToTheBitWhenAllReflectionsAreNegated)
{
    randomnumbers random(47);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        vectors negated;
        for (const vector3& r : c.reflections) negated.push_back({{-r(1), -r(2), -r(3)}});
        const auto plain = solutions(c.reflections, 1.0 / c.volume);
        ASSERT_FALSE(plain.empty());
        expectequal(plain, solutions(negated, 1.0 / c.volume), {{-1.0, -1.0, -1.0}}, n);
    }
}

TEST_F(TheLattice, IsTheSameToTheBitInAMirror)
{
    randomnumbers random(48);
    for (int n = 0; n < cases; ++n) {
        const crystal c = randomcrystal(random);
        vectors mirrored;
        for (const vector3& r : c.reflections) mirrored.push_back({{r(1), -r(2), r(3)}});
        const auto plain = solutions(c.reflections, 1.0 / c.volume);
        ASSERT_FALSE(plain.empty());
        expectequal(plain, solutions(mirrored, 1.0 / c.volume), {{1.0, -1.0, 1.0}}, n);
    }
}

} // namespace

} // namespace torvik
