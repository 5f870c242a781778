#include "text/names.h"

#include <algorithm>

namespace torvik {

inputfilename makefilename(std::string_view text)
{
    inputfilename filename;
    filename.fill(' ');
    std::copy_n(text.begin(), std::min(text.size(), filename.size()), filename.begin());
    return filename;
}

std::string trimmedname(const inputfilename& filename)
{
    const std::string_view name(filename.data(), filename.size());
    const std::size_t first = name.find_first_not_of(' ');
    if (first == std::string_view::npos) return "";
    return std::string(name.substr(first, name.find_last_not_of(' ') - first + 1));
}

std::string outputname(const inputfilename& filename, std::string_view suffix)
{
    std::string name = trimmedname(filename);
    name.resize(name.size() > 4 ? name.size() - 4 : 0);
    return name.append(suffix);
}

} // namespace torvik
