// The mixture model of inliers and outliers.
#pragma once

#include "solver/lattice/linear.h"

#include <vector>

// Each vector is an inlier, a lattice point with a normal error, or an outlier, anywhere. The likelihood
// is that of free_lattice.h. The standard deviation of the errors and the outlier fraction are refined
// by expectation maximisation (Dempster, Laird & Rubin, 1977); the lattice is refined by the callers,
// who know its free parameters.

namespace torvik::solver {

// Sums over the vectors for a given lattice.
struct expectation {
    double likelihood = 0.0;    // L
    double weight = 0.0;        // expected number of inliers
    double squares = 0.0;       // their squared distances from the lattice points
    std::vector<double> inlier; // of each vector: probability that it is an inlier
};

// The error model.
struct error_model {
    double sigma = 0.0;            // s, of each component, 1/angstrom
    double outlier_fraction = 0.0; // w
    double smallest_sigma = 0.0;   // lower limit of s

    // (1 - w) G(0) / V, the density of an inlier without error.
    [[nodiscard]] double peak(double volume) const;

    // Adds a vector to the sums, and returns the probability that it is an inlier.
    //
    // Given:  peak    see above
    //         h       indices of the point nearest to the vector
    //         square  of its distance from that point
    double add(expectation& sums, double peak, const vector3& h, double square) const;

    // Refines the outlier fraction.
    void refine_outlier_fraction(const expectation& sums);

    // Refines both.
    //
    // Given:  sums        over all vectors
    //         parameters  number of free parameters of the lattice
    //         largest     upper limit of s, unless the lower limit is above it
    void refine(const expectation& sums, double parameters, double largest);
};

// The rounding error of written vectors: 1e-4 of their root mean square length. No lattice is credited
// with smaller errors; the limit is the same for all lattices, since a smaller deviation is no merit of
// a larger cell.
double digit_error(const std::vector<vector3>& vectors);

// The indices of the lattice point nearest to a vector, given the direct basis.
vector3 nearest_point(const matrix3& basis, const vector3& q);

// The number of vectors that are inliers with more than probability 1/2.
int inlier_count(const expectation& sums);

// The stopping rule of a refinement: it has converged, or its evidence is far below what is wanted.
class refinement {
public:
    explicit refinement(double wanted) : wanted_(wanted) {}

    // Whether the round with these sums is the last one.
    bool ends(const expectation& sums, double evidence);

private:
    double wanted_;
    double before_ = 0.0; // likelihood of the previous round
    int round_ = 0;
};

} // namespace torvik::solver
