// A page about a run: results, periodogram, reflections in space.
#pragma once

#include <filesystem>
#include <string>

namespace torvik::tools {

struct reportoptions {
    std::filesystem::path file;   // NAME_idx.res, or NAME.solution.json
    std::filesystem::path input;  // the input file; if empty, NAME.idx beside the results
    std::filesystem::path page;   // the page to be filled; if empty, where it is installed
    std::filesystem::path output; // if empty, NAME_report.html beside the results
    std::string program;          // for the periodogram; if empty, the Torvik at hand
};

// What the page shows, as JSON in one line. docs/tools.md describes it. Throws a failure if results and
// input do not belong together.
std::string reportdata(const reportoptions& options);

// Puts data into the page. Each sign of smaller-than becomes an escape, so that no text of a file can
// end the element that holds the data.
std::string filledpage(const std::string& page, const std::string& data);

// The page: the one asked for; else beside torvik-tools, in report-page/; else ../share/torvik/. Throws
// a failure that says how to get it.
std::filesystem::path pagetofill(const std::filesystem::path& asked);

// Writes the report. Gives its name.
std::filesystem::path writereport(const reportoptions& options);

} // namespace torvik::tools
