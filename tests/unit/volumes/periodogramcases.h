// Reflections with triple products that can be chosen, and periods laid by hand.
#pragma once

#include "support/fresh.h"

#include <initializer_list>

namespace torvik {

// Four reflections have four triple products. Of the unit vectors and (x, y, z) these are, in the
// order of the enumeration, 1, |z|, |y| and |x|.
inline void setfourproducts(double second, double third, double fourth)
{
    setreflections({{{1, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}, {{fourth, third, second}}});
}

// Three reflections have one triple product.
inline void setoneproduct(double t)
{
    setreflections({{{t, 0, 0}}, {{0, 1, 0}}, {{0, 0, 1}}});
}

// Reflections in a plane: all triple products are exactly 0.
inline void setplanereflections(int count)
{
    auto& recorded = recorded_reflections;
    recorded.numberofreflections = count;
    recorded.number_of_trial_vectors = count;
    for (int i = 1; i <= count; ++i) {
        recorded.reflections(i) = {{1.0 + i % 7, 1.0 + i % 11, 0.0}};
        recorded.reflectionmagnitudes(i) = vectormagnitude(recorded.reflections(i));
        recorded.list_of_trial_vectors(i) = i;
    }
}

inline void setperiods(std::initializer_list<double> periods)
{
    int i = 0;
    for (const double P : periods) testperiods.tableoftestperiods(i++) = P;
    testperiods.number_of_test_periods = i - 1;
}

} // namespace torvik
