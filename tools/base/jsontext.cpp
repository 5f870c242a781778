#include "base/jsontext.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace torvik::tools {

namespace {

// Throws badfile for a byte of the text, from 1.
[[noreturn]] void failat(const textfile& source, std::size_t byte, const std::string& what)
{
    const std::string_view before =
        std::string_view(source.text()).substr(0, byte > 0 ? byte - 1 : 0);
    const auto line = static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1;
    const std::size_t start = before.rfind('\n');
    source.fail(line, start == std::string_view::npos ? before.size() + 1 : before.size() - start,
                what);
}

// Looks over a text before anything is made of it, since a list in a list costs forty times its text.
void checkextent(const textfile& source, std::size_t mostvalues)
{
    constexpr std::size_t deepest = 1000;
    std::size_t depth = 0;
    std::size_t values = 1;
    bool quoted = false;
    const std::string& text = source.text();
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted && c == '\\') ++i;
        if (c == '"') quoted = !quoted;
        if (quoted) continue;
        if (c == '[' || c == '{') ++depth;
        if (c == ']' || c == '}') depth -= std::min<std::size_t>(depth, 1);
        if (c == '[' || c == '{' || c == ',') ++values;
        if (depth > deepest)
            failat(source, i + 1, "more than " + std::to_string(deepest) + " lists in one another");
        if (values > mostvalues)
            failat(source, i + 1, "more than " + std::to_string(mostvalues) + " values");
    }
}

} // namespace

nlohmann::json jsonin(const textfile& source, std::size_t mostvalues)
{
    checkextent(source, mostvalues);
    try {
        return nlohmann::json::parse(source.text());
    } catch (const nlohmann::json::parse_error& wrong) {
        failat(source, wrong.byte, "expected JSON");
    } catch (const nlohmann::json::exception&) { // without a place
        source.fail(0, 0, "expected JSON, found a number that is too large");
    }
}

} // namespace torvik::tools
