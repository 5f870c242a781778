// What the tests of the readers share.
#pragma once

#include "base/failure.h"
#include "readers/kinds.h"
#include "readers/reader.h"

#include <string>

namespace torvik::tools {

using textreader = measurement (*)(const textfile&, const readeroptions&);

// The message of a reader for a text by the name "a.txt", or "nothing".
inline std::string messageof(textreader read, const std::string& text,
                             const readeroptions& options = {})
{
    try {
        static_cast<void>(read(textfile("a.txt", text), options));
    } catch (const failure& why) {
        return why.what();
    }
    return "nothing";
}

} // namespace torvik::tools
