// The reader of input files under libFuzzer.

#include "fuzz/harness.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace {

struct summarizing {
    torvik::harness program;
    ~summarizing()
    {
        std::fputs(torvik::summaryof(program).c_str(), stderr);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    static summarizing fuzzed;
    try {
        fuzzed.program.readonly({reinterpret_cast<const char*>(bytes), count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Misbehaviour: %s\n", error.what());
        std::abort();
    }
    return 0;
}
