// Evidence for a lattice of which one half of the points is hit more often than the other.
#pragma once

#include "solver/evidence/free_lattice.h"

#include <vector>

// In a superstructure with a doubled cell the reflections of odd order are known to be rare. If all points are
// equally probable, each reflection pays log 2 for the doubled cell, and ten reflections of even order outvote
// three of odd order. So let a part f of the inliers be in the even half of the points, with all f equally
// probable: n even and m odd inliers then have
//
//     2^(n+m) integral of f^n (1-f)^m df = 2^(n+m) n! m! / (n+m+1)!
//
// times the likelihood that they have if all points are equally probable. There are seven such halves, those
// of the sublattices of index 2, and the prior probability that one of them is preferred is 0.2 %.

namespace torvik::solver {

constexpr double superstructure_prior = 0.002;

// Gives what the evidence of a lattice gains, nats: at least log(1 - superstructure_prior).
double occupation_gain(const std::vector<vector3>& vectors, const assessment& lattice);

} // namespace torvik::solver
