// Random bases, cells of every lattice type and changes of basis for tests of lattices.
#pragma once

#include "simulation/randomnumbers.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/linear.h"

#include <utility>
#include <vector>

namespace torvik::solver {

using chance = tools::randomnumbers;

// Rows with components of -10 to 10 angstroms that are far from a plane.
inline matrix3 random_basis(chance& random)
{
    for (;;) {
        matrix3 D;
        for (auto& row : D.a)
            for (double& x : row) x = random.between(-10.0, 10.0);
        if (std::fabs(D.determinant()) > 50.0) return D;
    }
}

inline matrix3 random_rotation(chance& random)
{
    const double x = random.between(0.0, 6.283185);
    const double y = random.between(0.0, 6.283185);
    const double z = random.between(0.0, 6.283185);
    const matrix3 X(1, 0, 0, 0, std::cos(x), -std::sin(x), 0, std::sin(x), std::cos(x));
    const matrix3 Y(std::cos(y), 0, std::sin(y), 0, 1, 0, -std::sin(y), 0, std::cos(y));
    const matrix3 Z(std::cos(z), -std::sin(z), 0, std::sin(z), std::cos(z), 0, 0, 0, 1);
    return X.multiply(Y).multiply(Z);
}

// An integer matrix of determinant 1: a product of additions of rows.
inline matrix3 random_change(chance& random, int steps)
{
    matrix3 T;
    for (int step = 0; step < steps; ++step) {
        matrix3 one;
        const int i = random.whole(0, 2);
        one[i][(i + random.whole(1, 2)) % 3] = random.whole(-2, 2);
        T = one.multiply(T);
    }
    return T;
}

// The same with determinant 1 or -1.
inline matrix3 random_unimodular(chance& random, int steps)
{
    return scaled(random_change(random, steps), random.whole(0, 1) == 0 ? 1.0 : -1.0);
}

// Cells of all fourteen Bravais lattices, with axes that are equal, similar or very different.
inline std::vector<centred_cell> bravais_cells()
{
    std::vector<centred_cell> cells;
    for (const double c : {3.1, 4.2, 5.0, 6.5, 8.66, 19.0}) {
        for (const char centring : {'P', 'I', 'F'})
            cells.push_back({{5, 5, 5, 90, 90, 90}, centring});
        for (const char centring : {'P', 'I'}) cells.push_back({{5, 5, c, 90, 90, 90}, centring});
        for (const char centring : {'P', 'C', 'I', 'F'})
            cells.push_back({{5, 7, c, 90, 90, 90}, centring});
        for (const char centring : {'P', 'R'}) cells.push_back({{5, 5, c, 90, 90, 120}, centring});
        for (const double beta : {92.0, 105.5, 118.0})
            for (const char centring : {'P', 'C', 'I'})
                cells.push_back({{5, 7.3, c, 90, beta, 90}, centring});
        cells.push_back({{5, 6.1, c, 77, 81, 69}, 'P'});
        cells.push_back({{5, 6.1, c, 97, 101, 93}, 'P'});
    }
    return cells;
}

inline matrix3 primitive_basis(const centred_cell& from)
{
    return primitive_transformation(from.centring).multiply(basis_of(from.cell));
}

} // namespace torvik::solver
