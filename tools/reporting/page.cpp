#include "reporting/report.h"

#include "base/failure.h"
#include "base/process.h"
#include "base/textfile.h"
#include "base/writing.h"

#include <system_error>

namespace torvik::tools {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view place = "<!--data-->";

fs::path outputof(const reportoptions& options)
{
    if (!options.output.empty()) return options.output;
    std::string name = options.file.filename().string();
    for (const std::string_view ending : {"_idx.res", ".solution.json", ".res", ".json"})
        if (name.ends_with(ending) && name.size() > ending.size()) {
            name.resize(name.size() - ending.size());
            break;
        }
    return options.file.parent_path() / (name + "_report.html");
}

} // namespace

std::string filledpage(const std::string& page, const std::string& data)
{
    const std::size_t at = page.find(place);
    if (at == std::string::npos || page.find(place, at + 1) != std::string::npos)
        throw failure("The page to be filled does not have its place for data once.");
    std::string safe;
    safe.reserve(data.size());
    for (const char c : data) {
        if (c == '<')
            safe += "\\u003c";
        else
            safe += c;
    }
    return page.substr(0, at) + safe + page.substr(at + place.size());
}

fs::path pagetofill(const fs::path& asked)
{
    if (!asked.empty()) return asked;
    std::error_code none;
    const fs::path folder = thisprogram().parent_path();
    const fs::path places[] = {folder / "report-page" / "report.html",
                               folder.parent_path() / "share" / "torvik" / "report.html"};
    for (const fs::path& one : places)
        if (fs::exists(one, none)) return one;
    throw failure(
        "The page that a report fills, " + places[0].string()
        + ", was not built: with Node.js 18 or newer and npm installed (Debian's packages "
          "nodejs and npm), scripts/report-page.sh FILE makes it, and --page FILE takes it.");
}

fs::path writereport(const reportoptions& options)
{
    const textfile page = textfile::read(pagetofill(options.page));
    fs::path output = outputof(options);
    writewhole(output, filledpage(page.text(), reportdata(options)));
    return output;
}

} // namespace torvik::tools
