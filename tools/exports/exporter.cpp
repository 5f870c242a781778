#include "exports/exporter.h"

#include "base/failure.h"

namespace torvik::tools {

const std::vector<exportformat>& exportformats()
{
    static const std::vector<exportformat> all = {
        {"ubi", ".ubi", "ImageD11: a, b, c in rows", ubitext},
        {"rmat", ".rmat", "a*, b*, c* in columns, and the cell", rmattext},
        {"mat", ".mat", "ISAW: a*, b*, c* in rows, x along the beam; the cell", mattext},
        {"p4p", ".p4p", "SAINT: CELL and ORT1 to ORT3", p4ptext},
        {"expt", ".expt", "DIALS: an experiment with the crystal alone", expttext},
        {"crystfel", ".stream", "CrystFEL: a crystal of a stream, in nanometres", crystfeltext},
        {"cif", ".cif", "CIF: cell and orientation matrix", ciftext},
        {"json", ".json", "everything that the results hold", jsontext},
    };
    return all;
}

const exportformat& exportformatof(std::string_view name)
{
    std::string known;
    for (const exportformat& one : exportformats()) {
        if (one.name == name) return one;
        known += (known.empty() ? "" : ", ") + std::string(one.name);
    }
    throw failure("There is no format '" + std::string(name) + "': the known ones are " + known
                  + ".");
}

} // namespace torvik::tools
