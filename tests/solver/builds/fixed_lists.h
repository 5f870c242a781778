// Lists of reflections whose bits are the same on every machine, and the bits of the answers to them.
#pragma once

#include "torvik/solver.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

// Only sums, products, quotients and square roots are taken, which IEEE 754 rounds in one way: no function of a
// mathematical library, and no distribution of the standard library.

namespace torvik::solver::builds {

// Marsaglia's xorshift64*.
class fixed_numbers {
public:
    explicit fixed_numbers(std::uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15ULL + 1) {}

    std::uint64_t bits()
    {
        state_ ^= state_ >> 12U;
        state_ ^= state_ << 25U;
        state_ ^= state_ >> 27U;
        return state_ * 0x2545F4914F6CDD1DULL;
    }
    // 0 to below 1, with 53 random bits.
    double part()
    {
        return static_cast<double>(bits() >> 11U) * 0x1p-53;
    }
    double between(double low, double high)
    {
        return low + (high - low) * part();
    }
    int whole(int low, int high)
    {
        return low + static_cast<int>(bits() % static_cast<std::uint64_t>(high - low + 1));
    }
    // Nearly normal: the sum of twelve.
    double deviate()
    {
        double sum = -6.0;
        for (int i = 0; i < 12; ++i) sum += part();
        return sum;
    }

private:
    std::uint64_t state_;
};

struct fixed_request {
    const char* name;
    vec3 axes;       // direct, angstroms
    double skew;     // of the basis, as a part of the axes
    int reflections; // outliers included
    int outliers;
    double noise;       // of a component, 1/angstrom
    double shift = 0.0; // of all vectors, 1/angstrom
    std::uint64_t seed = 1;
    bool known = false; // the cell is given
    int lattices = 1;
    int of_another = 0;           // reflections of another crystal, in addition
    bool of_the_same_cell = true; // that crystal
};

inline vec3 product(const mat3& A, const vec3& x)
{
    vec3 y = {};
    for (std::size_t i = 0; i < 3; ++i) y[i] = A[i][0] * x[0] + A[i][1] * x[1] + A[i][2] * x[2];
    return y;
}

inline mat3 inverse_of(const mat3& A)
{
    const auto minor = [&](std::size_t i, std::size_t j) {
        const std::size_t p = (i + 1) % 3;
        const std::size_t q = (i + 2) % 3;
        const std::size_t r = (j + 1) % 3;
        const std::size_t s = (j + 2) % 3;
        return A[p][r] * A[q][s] - A[p][s] * A[q][r];
    };
    const double determinant =
        A[0][0] * minor(0, 0) + A[0][1] * minor(0, 1) + A[0][2] * minor(0, 2);
    mat3 inverse = {};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t j = 0; j < 3; ++j) inverse[j][i] = minor(i, j) / determinant;
    return inverse;
}

// A rotation by Cayley's formula: rational in its three parameters.
inline mat3 rotation(fixed_numbers& random)
{
    const double x = random.between(-1.0, 1.0);
    const double y = random.between(-1.0, 1.0);
    const double z = random.between(-1.0, 1.0);
    const double n = 1.0 + x * x + y * y + z * z;
    return {{{(1.0 + x * x - y * y - z * z) / n, 2.0 * (x * y - z) / n, 2.0 * (x * z + y) / n},
             {2.0 * (x * y + z) / n, (1.0 - x * x + y * y - z * z) / n, 2.0 * (y * z - x) / n},
             {2.0 * (x * z - y) / n, 2.0 * (y * z + x) / n, (1.0 - x * x - y * y + z * z) / n}}};
}

// The direct basis: a along x, b and c leaning, then rotated.
inline mat3 basis_of(const fixed_request& asked, fixed_numbers& random)
{
    const mat3 upright = {
        {{asked.axes[0], 0.0, 0.0},
         {asked.skew * asked.axes[1], asked.axes[1], 0.0},
         {-0.5 * asked.skew * asked.axes[2], asked.skew * asked.axes[2], asked.axes[2]}}};
    const mat3 turned = rotation(random);
    mat3 basis = {};
    for (std::size_t i = 0; i < 3; ++i) basis[i] = product(turned, upright[i]);
    return basis;
}

inline double length_square(const vec3& x)
{
    return x[0] * x[0] + x[1] * x[1] + x[2] * x[2];
}

// Lattice points with a resolution of 1.2 angstroms, each once, and outliers between them.
inline measurement list_of_one(const fixed_request& asked)
{
    fixed_numbers random(asked.seed);
    const mat3 inverse = inverse_of(basis_of(asked, random));
    constexpr double longest = 0.8; // 1/angstrom
    measurement made;
    std::vector<std::array<int, 3>> used;
    while (static_cast<int>(made.vectors.size()) < asked.reflections) {
        const bool outlier = static_cast<int>(made.vectors.size()) < asked.outliers;
        std::array<int, 3> hkl = {};
        vec3 h = {};
        for (std::size_t i = 0; i < 3; ++i) {
            hkl[i] = random.whole(-12, 12);
            h[i] = hkl[i] + (outlier ? random.part() : 0.0);
        }
        vec3 q = product(inverse, h);
        const double square = length_square(q);
        if (square > longest * longest || square == 0.0) continue;
        bool twice = false;
        for (const auto& other : used) twice = twice || other == hkl;
        if (twice) continue;
        used.push_back(hkl);
        for (double& component : q) component += asked.noise * random.deviate();
        q[0] += asked.shift;
        made.vectors.push_back(q);
    }
    return made;
}

// The same with the reflections of another crystal behind them.
inline measurement list_of(const fixed_request& asked)
{
    measurement made = list_of_one(asked);
    if (asked.of_another == 0) return made;
    fixed_request other = asked;
    other.reflections = asked.of_another;
    other.outliers = 0;
    other.seed = asked.seed + 1000;
    if (!asked.of_the_same_cell) other.axes[2] *= 1.25;
    for (const vec3& q : list_of_one(other).vectors) made.vectors.push_back(q);
    return made;
}

inline options options_of(const fixed_request& asked)
{
    options how;
    // So long that no machine, and no emulator, is interrupted.
    how.budget = std::chrono::hours(10);
    how.lattices = asked.lattices;
    if (asked.known) // of right angles
        how.known = {{{asked.axes[0], asked.axes[1], asked.axes[2], 90.0, 90.0, 90.0}, 'P'}};
    return how;
}

// The bits of answers, mixed one after the other: FNV-1a of 64 bits.
class bits_hash {
public:
    void add(std::uint64_t x)
    {
        for (unsigned byte = 0; byte < 8; ++byte) {
            state_ ^= x >> (8 * byte) & 0xFFU;
            state_ *= 0x100000001B3ULL;
        }
    }
    void add(double x)
    {
        add(std::bit_cast<std::uint64_t>(x));
    }
    void add(int x)
    {
        add(static_cast<std::uint64_t>(static_cast<std::int64_t>(x)));
    }
    void add(const std::string& text)
    {
        for (const char c : text) add(static_cast<int>(c));
    }
    template <class Element, std::size_t count>
    void add(const std::array<Element, count>& list)
    {
        for (const Element& one : list) add(one);
    }
    void add(const lattice& one)
    {
        add(one.basis);
        add(one.covariance);
        add(one.evidence);
        add(one.sigma);
        add(one.outlier_fraction);
        add(one.indexed);
        add(one.known);
        add(one.shift);
        for (const mat3& basis : one.further) add(basis);
    }
    void add(const answer& of)
    {
        add(static_cast<int>(of.how));
        add(of.reason);
        for (const lattice& one : of.lattices) add(one);
        for (const lattice& one : of.candidates) add(one);
        add(static_cast<int>(of.competing));
        add(of.lead);
        for (const assignment& one : of.reflections) {
            add(one.lattice);
            add(one.hkl);
            add(one.inlier);
        }
        for (const std::string& remark : of.remarks) add(remark);
        add(of.interrupted ? 1 : 0);
    }
    [[nodiscard]] std::uint64_t value() const
    {
        return state_;
    }

private:
    std::uint64_t state_ = 0xCBF29CE484222325ULL;
};

// Of every kind that takes another way through the solver.
inline std::vector<fixed_request> fixed_requests()
{
    std::vector<fixed_request> all = {
        {"few", {5.0, 6.0, 7.0}, 0.1, 8, 0, 0.0005, 0.0, 1},
        {"ten", {5.0, 6.0, 7.0}, 0.1, 10, 0, 0.001, 0.0, 2},
        {"ten with outliers", {5.0, 6.0, 7.0}, 0.1, 10, 2, 0.001, 0.0, 3},
        {"twenty", {6.0, 8.0, 11.0}, 0.15, 20, 0, 0.001, 0.0, 4},
        {"twenty, half outliers", {6.0, 8.0, 11.0}, 0.15, 20, 10, 0.0005, 0.0, 5},
        {"forty", {7.0, 9.0, 13.0}, 0.2, 40, 0, 0.001, 0.0, 6},
        {"forty with outliers", {7.0, 9.0, 13.0}, 0.2, 40, 10, 0.001, 0.0, 7},
        {"forty, coarse", {7.0, 9.0, 13.0}, 0.2, 40, 5, 0.003, 0.0, 8},
        {"forty, exact", {7.0, 9.0, 13.0}, 0.2, 40, 0, 0.0, 0.0, 9},
        {"cubic", {9.0, 9.0, 9.0}, 0.0, 50, 5, 0.0005, 0.0, 10},
        {"tetragonal", {6.0, 6.0, 14.0}, 0.0, 50, 5, 0.0005, 0.0, 11},
        {"nearly tetragonal", {6.0, 6.02, 14.0}, 0.0, 50, 5, 0.0005, 0.0, 12},
        {"eighty", {10.0, 12.0, 15.0}, 0.1, 80, 16, 0.001, 0.0, 13},
        {"sixty-four", {10.0, 12.0, 15.0}, 0.1, 64, 8, 0.001, 0.0, 14},
        {"sixty-five", {10.0, 12.0, 15.0}, 0.1, 65, 8, 0.001, 0.0, 15},
        {"two hundred", {10.0, 14.0, 20.0}, 0.1, 200, 40, 0.0005, 0.0, 16},
        {"six hundred", {9.0, 10.0, 11.0}, 0.1, 600, 100, 0.0005, 0.0, 17},
        {"long axis", {4.0, 5.0, 30.0}, 0.05, 60, 5, 0.0003, 0.0, 18},
        {"flat", {4.0, 30.0, 30.0}, 0.05, 80, 5, 0.0003, 0.0, 19},
        {"shifted", {6.0, 7.0, 8.0}, 0.1, 60, 5, 0.001, 0.03, 20},
        {"shifted, with outliers", {6.0, 7.0, 8.0}, 0.1, 60, 15, 0.001, 0.02, 21},
        {"known", {6.0, 7.0, 8.0}, 0.0, 20, 5, 0.001, 0.0, 22, true},
        {"known, few", {6.0, 7.0, 8.0}, 0.0, 7, 2, 0.001, 0.0, 23, true},
        {"two lattices", {6.0, 7.0, 8.0}, 0.1, 40, 0, 0.0005, 0.0, 24, false, 2, 25, false},
        {"two crystals", {6.0, 7.0, 8.0}, 0.1, 30, 0, 0.0005, 0.0, 27, false, 1, 25},
        {"no lattice", {6.0, 7.0, 8.0}, 0.1, 10, 10, 0.0, 0.0, 25},
        {"too few", {6.0, 7.0, 8.0}, 0.1, 3, 0, 0.0005, 0.0, 26},
    };
    for (std::uint64_t seed = 30; seed < 34; ++seed)
        all.push_back({"triclinic", {6.5, 8.5, 10.5}, 0.12, 30, 3, 0.001, 0.0, seed});
    return all;
}

} // namespace torvik::solver::builds
