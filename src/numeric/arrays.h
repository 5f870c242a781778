// Fixed arrays and tables, numbered as they are printed: from 1.
#pragma once

#include "numeric/unfused.h"

#include <cassert>

// The one convention of array numbering: operator() counts from 1, as the numbers shown to the
// user do, unless the type itself names another first index (`fromzero`). Square brackets, which
// count from 0, are left to std::vector and serve only tables that are numbered from 0.
//
// All types are plain aggregates without default values, so that a scratch array costs nothing;
// debug builds check every index.

namespace torvik {

static_assert(sizeof(int) == 4, "the program counts with 32-bit integers");

template <class T, int length, int first = 1>
struct numbered {
    T element[length];

    T& operator()(int i)
    {
        assert(first <= i && i < first + length);
        return element[i - first];
    }
    const T& operator()(int i) const
    {
        assert(first <= i && i < first + length);
        return element[i - first];
    }
};

template <class T, int length>
using fromzero = numbered<T, length, 0>;

template <class T, int rows, int columns>
struct table {
    T element[rows][columns];

    T& operator()(int i, int j)
    {
        assert(1 <= i && i <= rows && 1 <= j && j <= columns);
        return element[i - 1][j - 1];
    }
    const T& operator()(int i, int j) const
    {
        assert(1 <= i && i <= rows && 1 <= j && j <= columns);
        return element[i - 1][j - 1];
    }
};

constexpr int maxreflections = 999;

using vector3 = numbered<double, 3>;
using matrix3 = table<double, 3, 3>;
using vectorlist = numbered<vector3, maxreflections>; // row k holds vector k

} // namespace torvik
