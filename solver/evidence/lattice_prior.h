// What the evidences of lattices with an unknown cell have in common: the prior, and the limits of errors.
#pragma once

// All statistics of free lattices are compared with each other, the quick one among them, so they take these from
// one place.

namespace torvik::solver {

// zeta(2) zeta(3), and R = 10^6: free_lattice.h derives the prior.
constexpr double measure_of_lattices = 1.6449340668482264 * 1.2020569031595943;
constexpr double range_of_volumes = 1e6;

// In units of the mean distance of lattice points: larger errors would hide any lattice, and the start
// of the refinement.
constexpr double largest_free_sigma = 0.12;
constexpr double first_free_sigma = 0.04;
constexpr double first_free_outlier_fraction = 0.3;

// A refinement can end with an outlier among the inliers, a lattice bent towards it and errors several times too large.
// So it is repeated from errors smaller by this factor, while that gives more evidence.
constexpr double sharper_errors = 0.3;

// The better of a refined lattice and what refine(lattice, sigma) makes of it with smaller errors.
template <class Assessment, class Refine>
Assessment sharpened(Assessment best, const Refine& refine)
{
    constexpr int most_times = 3;
    for (int i = 0; i < most_times && best.sigma > 0.0; ++i) {
        const Assessment sharper = refine(best, sharper_errors * best.sigma);
        if (!(sharper.evidence > best.evidence)) break;
        best = sharper;
    }
    return best;
}

} // namespace torvik::solver
