// Vectors of which each is a point of a lattice, but for an error, or lies anywhere.
#pragma once

#include "base/linear.h"

#include <vector>

// The likelihood of evidence.h, with the errors and the fraction of wrong vectors refined beside the
// lattice, by expectation and maximisation (Dempster, Laird & Rubin, 1977). The lattice itself is
// refined by those who know what of it is free.

namespace torvik::tools {

// What the vectors say with a lattice as it is.
struct expectation {
    double likelihood = 0.0;     // L
    double weight = 0.0;         // expected number of genuine ones
    double squares = 0.0;        // their squared distances from the points
    std::vector<double> genuine; // of each vector: how likely it is genuine
};

// The errors, and how many vectors are wrong.
struct errormodel {
    double sigma = 0.0; // s, of each component, 1/angstrom
    double wrong = 0.0; // w
    double least = 0.0; // s is no less than this

    // (1 - w) G(0) / V, with which a genuine vector is likely that has no error.
    [[nodiscard]] double peak(double volume) const;

    // Takes a vector into the sums, and returns how likely it is genuine.
    //
    // Given:  peak    see above
    //         h       of the point that is nearest to the vector
    //         square  of its distance from that point
    double take(expectation& sums, double peak, const vector3& h, double square) const;

    // Refines the fraction of wrong ones.
    void improvewrong(const expectation& sums);

    // Refines both.
    //
    // Given:  sums        over all vectors
    //         parameters  so many numbers went into the lattice
    //         largest     s is no more than this, if that is above the least
    void improve(const expectation& sums, double parameters, double largest);
};

// The error of the digits that vectors are written with: 1e-4 of their usual length. With less no lattice
// is believed; the limit is the same for all of them, since a larger cell is no better for lying closer.
double digiterror(const std::vector<vector3>& vectors);

// The point of the lattice next to a vector, by the direct basis.
vector3 nearestpoint(const matrix3& basis, const vector3& q);

// How many are more likely genuine than wrong.
int indexedof(const expectation& sums);

// Follows a refinement round by round, and says when it may end: it has settled, or stays far below
// what is wanted.
class refinement {
public:
    explicit refinement(double wanted) : wanted_(wanted) {}

    bool ends(const expectation& sums, double evidence);

private:
    double wanted_;
    double before_ = 0.0; // likelihood of the round before
    int round_ = 0;
};

} // namespace torvik::tools
