#include "sources.h"

#include "support/runs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace torvik {

std::vector<sourcefile> programsources()
{
    namespace fs = std::filesystem;
    const fs::path root = TORVIK_SOURCE_DIR "/src";
    std::vector<sourcefile> sources;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (!entry.is_regular_file()) continue;
        const fs::path path = fs::relative(entry.path(), root);
        fs::path component = path;
        component.replace_extension();
        sources.push_back(
            {path.string(), component.string(), linesof(readfile(entry.path().string()))});
    }
    std::sort(sources.begin(), sources.end(),
              [](const sourcefile& a, const sourcefile& b) { return a.path < b.path; });
    return sources;
}

std::string printedbycommand(const std::string& command)
{
    std::FILE* stream = popen(command.c_str(), "r");
    if (stream == nullptr) throw std::runtime_error("cannot run " + command);
    std::string output;
    std::array<char, 4096> block;
    for (std::size_t n = 0; (n = std::fread(block.data(), 1, block.size(), stream)) > 0;)
        output.append(block.data(), n);
    pclose(stream);
    return output;
}

} // namespace torvik
