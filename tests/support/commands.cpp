#include "support/commands.h"

#include <array>
#include <cstdio>
#include <regex>

namespace torvik {

commandresult resultof(const std::string& command)
{
    std::FILE* stream = popen(("exec 2>&1; " + command).c_str(), "r");
    if (stream == nullptr) return {-1, "cannot be run"};
    std::string output;
    std::array<char, 4096> part;
    while (const std::size_t count = std::fread(part.data(), 1, part.size(), stream))
        output.append(part.data(), count);
    const int status = pclose(stream);
    return {status, output};
}

bool isinstalled(const std::string& command)
{
    return resultof("command -v " + command).status == 0;
}

std::vector<std::string> matchesin(const std::string& text, const std::string& pattern)
{
    const std::regex expression(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at)
        found.push_back((*at)[1]);
    return found;
}

} // namespace torvik
