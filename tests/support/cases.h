// How many cases a test of random cases tries.
#pragma once

#include <cstdlib>
#include <string_view>

namespace torvik {

// Gives the number of cases: many in a long run of the tests, which the environment variable
// TORVIK_LONG asks for with the value 1, and a few in the normal run. The first cases of both are
// the same.
inline int cases(int few, int many)
{
    const char* asked = std::getenv("TORVIK_LONG");
    return asked != nullptr && std::string_view(asked) == "1" ? many : few;
}

} // namespace torvik
