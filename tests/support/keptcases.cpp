#include "support/keptcases.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace torvik {

namespace {

namespace fs = std::filesystem;

namedfiles filesin(const fs::path& folder)
{
    namedfiles files;
    if (!fs::exists(folder)) return files;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), folder).string()] = readfile(entry.path().string());
    return files;
}

} // namespace

std::vector<keptcase> owncases()
{
    std::vector<keptcase> cases;
    for (const auto& entry : fs::directory_iterator(TORVIK_SOURCE_DIR "/tests/golden")) {
        const fs::path folder = entry.path();
        if (!entry.is_directory() || !fs::exists(folder / "why.txt")) continue;
        keptcase c;
        c.name = folder.filename().string();
        c.setting.arguments = linesof(readfile((folder / "arguments").string()));
        if (fs::exists(folder / "stdin")) c.setting.input = readfile((folder / "stdin").string());
        c.setting.files = filesin(folder / "input");
        c.expected = filesin(folder / "expected");
        cases.push_back(c);
    }
    return cases;
}

std::vector<keptcase> referencecases()
{
    const fs::path folder = TORVIK_SHARED_GOLDEN;
    std::vector<keptcase> cases;
    if (!fs::exists(folder / "cases/manifest.json")) return cases;
    const auto manifest =
        nlohmann::json::parse(readfile((folder / "cases/manifest.json").string()));
    for (const auto& entry : manifest) {
        keptcase c;
        c.name = entry["name"];
        c.setting.arguments = entry["argv"].get<std::vector<std::string>>();
        c.setting.input = entry["stdin"];
        for (const auto& [name, source] : entry["files"].items())
            c.setting.files[name] = readfile((folder / "cases" / source).string());
        c.expected = filesin(folder / "expected" / c.name);
        c.expected.erase("meta.json");
        c.onlyterminates = entry["kind"] == "terminate";
        cases.push_back(c);
    }
    return cases;
}

void PrintTo(const keptcase& c, std::ostream* stream)
{
    *stream << c.name;
}

} // namespace torvik
