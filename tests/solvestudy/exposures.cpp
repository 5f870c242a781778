#include "drawing.h"
#include "lists.h"

#include "numeric/functions.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

// The beam runs along z and the crystal turns about x, from 0 to the end of the wedge. A lattice point g
// gives a spot when R(phi) g lies on the Ewald sphere, |s0 + R g| = |s0|. What is measured is R^-1 of a
// point of that sphere.

namespace torvik::study {

namespace {

constexpr double radians = std::numbers::pi / 180.0;
constexpr double image_width = 0.5; // degrees

struct experiment {
    double wedge = 0.0;      // degrees
    double width = 0.0;      // of the excitation error at a still, 1/angstrom
    double wavelength = 1.0; // angstroms
    double smallest_d = 1.5;
    double noise = 0.0; // 1/angstrom

    [[nodiscard]] double radius() const // of the Ewald sphere
    {
        return 1.0 / wavelength;
    }
    [[nodiscard]] vector3 beam() const // s0
    {
        return {0.0, 0.0, radius()};
    }
};

// A spot from the vector s = s0 + R g of its diffracted beam, at a rotation by phi degrees.
drawn spot_of(const experiment& one, const vector3& s, double phi)
{
    const matrix3 back = rotation_about_x(-phi * radians);
    const vector3 normal = (1.0 / s.length()) * s;
    drawn spot;
    spot.vector = back.multiply(one.radius() * normal - one.beam());
    spot.normal = back.multiply(normal);
    spot.image = static_cast<int>(phi / image_width);
    return spot;
}

// Where the detector misplaces a diffracted beam.
vector3 with_noise(const experiment& one, const vector3& s, randomnumbers& random)
{
    return s + one.noise * normal_vector(random);
}

// The rotation angles, in degrees, at which a point crosses the sphere: y sin phi + z cos phi = -g^2 / 2
// |s0|.
std::vector<double> crossings(const experiment& one, const vector3& g)
{
    const double arm = std::sqrt(g.y * g.y + g.z * g.z);
    const double height = -0.5 * one.wavelength * g.length_sq();
    if (arm <= std::fabs(height)) return {};
    const double middle = arctangent(g.y, g.z);
    const double half = arccosine(height / arm);
    std::vector<double> angles;
    for (const double phi : {middle - half, middle + half}) {
        double degrees = phi / radians;
        while (degrees < 0.0) degrees += 360.0;
        while (degrees >= 360.0) degrees -= 360.0;
        if (degrees < one.wedge) angles.push_back(degrees);
    }
    return angles;
}

void take_rotation(const experiment& one, const vector3& g, const millerindices& hkl,
                   std::vector<drawn>& spots, randomnumbers& random)
{
    for (const double phi : crossings(one, g)) {
        const vector3 s = one.beam() + rotation_about_x(phi * radians).multiply(g);
        // The error of the rotation angle moves the point as much as that on the detector.
        drawn spot = spot_of(one, with_noise(one, s, random), phi);
        spot.vector += one.noise * tools::normaldeviate(random) * spot.normal;
        spot.hkl = hkl;
        spot.crystal = 1;
        spots.push_back(spot);
    }
}

void take_still(const experiment& one, const vector3& g, const millerindices& hkl,
                std::vector<drawn>& spots, randomnumbers& random)
{
    const vector3 s = one.beam() + g;
    if (std::fabs(s.length() - one.radius()) > one.width) return;
    drawn spot = spot_of(one, with_noise(one, s, random), 0.0);
    spot.hkl = hkl;
    spot.crystal = 1;
    spots.push_back(spot);
}

std::vector<drawn> spots_of(const experiment& one, const matrix3& basis, randomnumbers& random)
{
    const matrix3 R = tools::reciprocalof(basis);
    millerindices last = {};
    for (int i = 0; i < 3; ++i)
        last[static_cast<std::size_t>(i)] =
            static_cast<int>(tools::row_of(basis, i).length() / one.smallest_d);
    std::vector<drawn> spots;
    tools::foreachpair(last, [&](const millerindices& pair) {
        for (const int sign : {1, -1}) {
            const millerindices hkl = {sign * pair[0], sign * pair[1], sign * pair[2]};
            const vector3 g = tools::vectorof(hkl, R);
            if (g.length() * one.smallest_d > 1.0) continue;
            if (one.wedge > 0.0)
                take_rotation(one, g, hkl, spots, random);
            else
                take_still(one, g, hkl, spots, random);
        }
    });
    return spots;
}

// A direction uniform on the part of the sphere that the crystal's spots reach, at any rotation.
drawn wrong_spot(const experiment& one, randomnumbers& random)
{
    const double largest =
        0.5 * one.wavelength * one.wavelength / (one.smallest_d * one.smallest_d);
    const double c = 1.0 - random.between(0.002, largest); // the cosine of 2 theta
    const double azimuth = random.between(0.0, 2.0 * std::numbers::pi);
    const double r = std::sqrt(1.0 - c * c);
    const vector3 s = one.radius() * vector3(r * cosine(azimuth), r * sine(azimuth), c);
    return spot_of(one, s, random.between(0.0, 1.0) * one.wedge);
}

} // namespace

known_list exposure_list(const exposure_request& asked, std::uint64_t seed)
{
    constexpr std::size_t fewest = 10;
    randomnumbers random(seed);
    experiment one;
    one.wedge = asked.wedge;
    one.width = asked.width;
    one.wavelength = random.whole(0, 1) == 1 ? 1.0 : 0.7;
    one.smallest_d = random.between(1.2, 2.0);
    known_list list;
    std::vector<drawn> spots;
    double volume = log_uniform(asked.smallest_volume, asked.largest_volume, random);
    // A small cell has few spots in a narrow wedge: then a larger one is taken.
    for (; spots.size() < fewest; volume *= 1.3) {
        list.lattices = {bravais_crystal(volume, random)};
        list.noise = asked.noise * shortest_reciprocal(list.lattices.front());
        one.noise = list.noise;
        spots = spots_of(one, list.lattices.front(), random);
    }
    const int most = static_cast<int>(std::lround((1.0 - asked.wrong) * asked.most));
    for (std::size_t i = spots.size(); i > 1; --i)
        std::swap(spots[i - 1],
                  spots[static_cast<std::size_t>(random.whole(0, static_cast<int>(i) - 1))]);
    if (spots.size() > static_cast<std::size_t>(most)) spots.resize(static_cast<std::size_t>(most));
    const double right = static_cast<double>(spots.size());
    const int wrong = static_cast<int>(std::lround(right * asked.wrong / (1.0 - asked.wrong)));
    for (int i = 0; i < wrong; ++i) spots.push_back(wrong_spot(one, random));
    put(std::move(spots), asked.geometry, list, random);
    return list;
}

} // namespace torvik::study
