// Which reflections go into an input file that holds only some.
#pragma once

#include "base/linear.h"
#include "readers/reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace torvik::tools {

enum class pick {
    usual, // the strongest of the shorter half if nine tenths have intensities, else the shortest
    strongest, // by intensity
    shortest,  // by length: the largest spacings
    random,    // by chance, the same for the same seed on every machine
    spread,    // evenly over directions and lengths
};

// Names of the ways, as they are asked for and told: "strongest".
const std::vector<std::string>& picknames();
pick picknamed(const std::string& name);
std::string nameof(pick how);

// What is done for these spots: `usual` with intensities, the shortest in its place without; the others
// as they are.
//
// The strongest are not all good: what saturates, or comes from ice or the holder, is strong and
// wrong, but seldom at low angles. The shortest are often weak, and some are no reflections. The
// strongest of the shorter half gave the right cell first in real measurements where either failed.
pick meantby(pick how, const std::vector<spot>& spots);

// Numbers of `count` spots, or of all if there are no more, in the order of the list. `vectors` are
// those of the spots. Throws a failure if the strongest are asked for and no intensities differ;
// spots without one count as the weakest.
//
// The mate -r of a reflection r that was taken tells nothing new: it makes the same triple products and
// has the same errors of its indices. It is taken only when nothing else is left.
//
// Spread: from the shortest on, each time the spot farthest from all that were taken. The distance of
// two has the angle between their lines, r and -r being one line, in units of a right angle, and the
// difference of their places in the order of lengths, from 0 to 1.
std::vector<std::size_t> pickspots(const std::vector<spot>& spots,
                                   const std::vector<vector3>& vectors, pick how, std::size_t count,
                                   std::uint64_t seed);

} // namespace torvik::tools
