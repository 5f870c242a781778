// What a failure says.
#pragma once

#include "base/failure.h"

#include <string>

namespace torvik::tools {

// The sentence of the failure that ends some work; "nothing" if there is none.
inline std::string messageof(const auto& work)
{
    try {
        work();
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

} // namespace torvik::tools
