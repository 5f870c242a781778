// A reader of torvik-tools under libFuzzer: the one that TORVIK_FUZZ_FORMAT names.

#include "fuzz/importing.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

struct summarizing {
    torvik::importharness readers;
    std::string format;
    summarizing()
    {
        const char* name = std::getenv("TORVIK_FUZZ_FORMAT");
        if (name != nullptr) format = name;
    }
    ~summarizing()
    {
        for (const auto& [outcome, count] : readers.outcomes)
            std::fprintf(stderr, "%llu  %s\n", static_cast<unsigned long long>(count),
                         outcome.c_str());
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count)
{
    static summarizing fuzzed;
    try {
        fuzzed.readers.import(fuzzed.format, {reinterpret_cast<const char*>(bytes), count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Misbehaviour: %s\n", error.what());
        std::abort();
    }
    return 0;
}
