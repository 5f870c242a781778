// Crystals made by chance: their cells, orientations and reciprocal lattices.
#pragma once

#include "base/linear.h"
#include "simulation/randomnumbers.h"

#include <array>
#include <vector>

// Everything is drawn from one engine that the C++ standard fixes, and calculated by the program's own
// sines and logarithms, so a seed means the same crystal everywhere, to the last bit.

namespace torvik::tools {

using millerindices = std::array<int, 3>;

struct latticetype {
    const char* system;
    char centring; // P, or A, C, I, F, R
};

// All seven systems, each with the centrings that it has. (A trigonal P lattice is a hexagonal
// one.)
constexpr std::array<latticetype, 17> latticetypes = {{{"triclinic", 'P'},
                                                       {"monoclinic", 'P'},
                                                       {"monoclinic", 'A'},
                                                       {"monoclinic", 'C'},
                                                       {"monoclinic", 'I'},
                                                       {"orthorhombic", 'P'},
                                                       {"orthorhombic", 'A'},
                                                       {"orthorhombic", 'C'},
                                                       {"orthorhombic", 'I'},
                                                       {"orthorhombic", 'F'},
                                                       {"tetragonal", 'P'},
                                                       {"tetragonal", 'I'},
                                                       {"trigonal", 'R'},
                                                       {"hexagonal", 'P'},
                                                       {"cubic", 'P'},
                                                       {"cubic", 'I'},
                                                       {"cubic", 'F'}}};

// The cube root of a positive number.
double cuberoot(double x);

// Normal deviate of mean 0 and variance 1.
double normaldeviate(randomnumbers& random);

// The rotation matrix of a random orientation, all equally likely.
matrix3 randomorientation(randomnumbers& random);

// A direct basis of a cell of the system, of arbitrary shape and no particular size: edges within a
// factor of 2 of each other (c/a in 1..4 on the hexagonal axes of an R lattice), angles that the
// system leaves free in 70..110 degrees (triclinic) or 90..120 degrees (the monoclinic beta).
matrix3 randomcell(randomnumbers& random, const latticetype& lattice);

// A direct basis of lengths and angles in degrees: a along x, b in the plane of x and y.
matrix3 uprightbasis(double a, double b, double c, double alpha, double beta, double gamma);

// A basis of the same lattice in which no vector gets shorter when another one is added to it or
// subtracted from it, so that errors of the basis are not magnified when another is compared to it.
matrix3 reducedbasis(matrix3 D);

// The rows a*, b*, c* of a direct basis with the rows a, b, c.
matrix3 reciprocalof(const matrix3& D);

// The reciprocal-lattice vector of indices, the rows of R being a*, b*, c*.
vector3 vectorof(const millerindices& hkl, const matrix3& R);

// Visits all indices up to `last` in magnitude, one of each pair of opposite ones, but 0 0 0.
template <class visitor>
void foreachpair(const millerindices& last, const visitor& visit)
{
    for (int h = 0; h <= last[0]; ++h)
        for (int k = h == 0 ? 0 : -last[1]; k <= last[1]; ++k)
            for (int l = h == 0 && k == 0 ? 1 : -last[2]; l <= last[2]; ++l)
                visit(millerindices{h, k, l});
}

// The indices of the `count` shortest reciprocal-lattice vectors, one of each pair of opposite
// ones, the shortest first.
std::vector<millerindices> shortestindices(const matrix3& D, int count);

// Says whether indices span the whole lattice of indices, and not only a part of it: whether their
// 3 x 3 determinants have no common divisor.
bool spanall(const std::vector<millerindices>& indices);

} // namespace torvik::tools
