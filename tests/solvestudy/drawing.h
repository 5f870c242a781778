// What all simulated lists draw at random.
#pragma once

#include "lists.h"

#include "simulation/randomnumbers.h"

#include <functional>

namespace torvik::study {

using tools::randomnumbers;

solver::vec3 for_solver(const vector3& v);

// A number evenly distributed in the logarithm.
double log_uniform(double low, double high, randomnumbers& random);

// A unit vector of any direction.
vector3 random_direction(randomnumbers& random);

// Three normal deviates.
vector3 normal_vector(randomnumbers& random);

// A vector uniform in the volume between two spheres.
vector3 uniform_in_shell(double shortest, double longest, randomnumbers& random);

// The matrix of the rotation by an angle in radians about x.
matrix3 rotation_about_x(double angle);

// A primitive reduced direct basis of a random crystal of one of the 14 Bravais types, any orientation.
matrix3 bravais_crystal(double volume, randomnumbers& random);

// The length of the shortest vector of the reciprocal lattice.
double shortest_reciprocal(const matrix3& basis);

// Different pairs of opposite reflections with d above a limit, each equally likely, of those that
// `wanted` accepts. Throws if there are not enough.
std::vector<millerindices> draw_indices(const matrix3& basis, double smallest_d, int count,
                                        const std::function<bool(const millerindices&)>& wanted,
                                        randomnumbers& random);

// A reflection on its way into a list.
struct drawn {
    vector3 vector; // as measured
    millerindices hkl = {};
    int crystal = 0;
    int image = 0;
    vector3 normal;
};

// Shuffles the reflections into the list, and finds what its inliers span.
void put(std::vector<drawn> reflections, bool geometry, known_list& list, randomnumbers& random);

} // namespace torvik::study
