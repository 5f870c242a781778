// Vectors held component by component, as kernels read them.
#pragma once

#include "numeric/arrays.h"
#include "numeric/lanes.h"

#include <cmath>

namespace torvik {

// Room for all reflections, in whole groups of lanes.
constexpr int maxcolumn = (maxreflections + lanecount - 1) / lanecount * lanecount;

// Element i - 1 of each column belongs to vector i. Beyond the vectors, up to a whole group of
// lanes, the columns hold zeros.
struct vectorcolumns {
    int n;          // how many vectors
    double largest; // the largest |component|; not finite if one is not
    alignas(sizeof(lanes)) double x[maxcolumn];
    alignas(sizeof(lanes)) double y[maxcolumn];
    alignas(sizeof(lanes)) double z[maxcolumn];
};

// Gives how many elements of a column the groups of lanes cover.
inline int paddedlength(int n)
{
    return (n + lanecount - 1) / lanecount * lanecount;
}

// Lays out the vectors 1..n of a list in columns.
inline void setcolumns(vectorcolumns& columns, int n, const vectorlist& vectors)
{
    columns.n = n;
    columns.largest = 0.0;
    for (int i = 1; i <= n; ++i) {
        const vector3& v = vectors(i);
        columns.x[i - 1] = v(1);
        columns.y[i - 1] = v(2);
        columns.z[i - 1] = v(3);
        for (const double component : v.element)
            if (!(std::fabs(component) <= columns.largest) && !std::isnan(columns.largest))
                columns.largest = std::fabs(component); // what is not a number stays
    }
    for (int i = n; i < paddedlength(n); ++i) columns.x[i] = columns.y[i] = columns.z[i] = 0.0;
}

} // namespace torvik
