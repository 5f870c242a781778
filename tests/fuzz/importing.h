// The readers of torvik-tools on bytes: for the fuzzer and the replay.
#pragma once

#include "fuzz/harness.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace torvik {

// Where the bytes of a further file begin, XDS.INP or an .expt: behind this line.
constexpr std::string_view nextfile = "\n=== next file ===\n";

class importharness {
public:
    // Feeds bytes to the reader of a format. Throws misbehaviour for a measurement that has no
    // reflections, or one that is zero, not finite or without its wavelength; and for a failure
    // whose text is no sentence. Input files are read by the program as well: both refuse them, or
    // both take the same vectors from them. Takes the names of fuzzedlatticefiles() too.
    //
    // Returned:  "measurement", "lattices" or "refused"
    std::string import(const std::string& format, std::string_view bytes);

    // How often each outcome was returned so far.
    std::map<std::string, std::uint64_t> outcomes;

private:
    harness program_;
};

// The formats that the harness knows: all of the readers', those alike once.
const std::vector<std::string>& fuzzedformats();

} // namespace torvik
