#include "faults/toolcommands.h"

namespace torvik {

namespace {

constexpr auto cif = "data_quartz\n_symmetry_space_group_name_H-M 'P 32 2 1'\n"
                     "_cell_length_a 4.913\n_cell_length_b 4.913\n_cell_length_c 5.405\n"
                     "_cell_angle_alpha 90\n_cell_angle_beta 90\n_cell_angle_gamma 120\n";

// The vectors of an input file without the rest of it.
std::string listof(const std::string& idx)
{
    std::string list = "x y z\n";
    const std::vector<std::string> lines = linesof(idx);
    bool started = false;
    for (const std::string& line : lines) {
        if (started) list += line.substr(0, 36) + "\n"; // three columns of twelve letters
        started = started || line == "_Reflections";
    }
    return list;
}

namedfiles made()
{
    namedfiles files = {{"a.cif", cif}, {"page.html", "<html><!--data--></html>\n"}};
    runresult run =
        runtorvik({.arguments = {"simulate", "--cell", "a.cif", "-n", "40", "-o", "a.idx"},
                   .input = "",
                   .files = files,
                   .program = TORVIK_TOOLS});
    files.merge(run.files);
    run = runtorvik({.arguments = {"a.idx"}, .input = "", .files = files, .program = ""});
    files.merge(run.files);
    files["a.txt"] = listof(files.at("a.idx"));
    return files;
}

} // namespace

const namedfiles& toolinputs()
{
    static const namedfiles files = made();
    return files;
}

} // namespace torvik
