#include "report/writebasis3.h"

#include "driver/otherglobalvariables.h"
#include "report/cellparameters.h"
#include "store/modofsavedbases.h"
#include "text/units.h"

#include <algorithm>

namespace torvik {

namespace {

void writejob(const matrix3& D)
{
    const int unit = lepageunit;
    const auto [length, angle] = cellofbasis(D);
    writeline(unit, X(2), "NOSCREEN");
    writeline(unit, X(2), "METR      0.3");
    writeline(unit, X(2), "CELL", X(2), F(12, 6, length(1)), F(12, 6, length(2)),
              F(12, 6, length(3)), X(3), F(10, 4, angle(1)), F(10, 4, angle(2)), F(10, 4, angle(3)),
              X(2), "P");
    writeline(unit, X(2), "CALC");
    writeline(unit, X(2), "QUIT");
}

} // namespace

void writebasis3()
{
    const int N = std::min(otherglobalvariables.isave_lepage, modofsavedbases.numberofsavedbases);
    openoutputbeside(lepageunit, "LePage.inp");
    for (int i = 1; i <= N; ++i) writejob(modofsavedbases.savedbases(i));
    closeoutput(lepageunit);
}

} // namespace torvik
