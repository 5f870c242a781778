#include "driver/auxwritingparam.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "store/modofsavedbases.h"
#include "text/clock.h"
#include "text/units.h"

namespace torvik {

namespace {

void writedate(int unit)
{
    const dateandtime now = localdateandtime();
    writeline(unit, " Date : ", A(4, now.year), ".", A(2, now.month), ".", A(2, now.day), X(20),
              "Time : ", A(2, now.hours), ":", A(2, now.minutes), ":", A(6, now.seconds));
}

// The largest single-precision number, the default, would not fit into a fixed-point field.
void writemaxvolume(int unit, double V)
{
    if (V < 1000000000.0)
        writeline(unit, " Max. volume of primitive cell :", X(13), F(12, 1, V));
    else
        writeline(unit, " Max. volume of primitive cell :", X(10), ES(15, 5, V));
}

} // namespace

void auxwritingparam(int unit)
{
    const auto& parameters = otherglobalvariables;
    const auto& store = modofsavedbases;
    const auto& weights = store.weightsforsortingbases;
    writedate(unit);
    writefreeline(unit, rule(56, '-'));
    writeline(unit, " Number of reflections : ", X(28),
              I(4, recorded_reflections.numberofreflections));
    writeline(unit, " Min. volume of primitive cell :", X(13),
              F(12, 1, parameters.minvolumeofprimitivecell));
    writemaxvolume(unit, parameters.maxvolumeofprimitivecell);
    writeline(unit, " User provided volumes : ", X(31), L(1, parameters.userprovidedvolumes));
    writeline(unit, " Max. allowed Miller index :", X(26), I(3, parameters.maxallowedmillerindex));
    writeline(unit, " Allowed deviation from integer index :", X(13),
              F(5, 3, parameters.themaincriterion));
    writeline(unit, " Weights for sorting solutions :", X(13), F(6, 2, weights(1)),
              F(6, 2, weights(2)));
    writeline(unit, " Extent of the search :", X(32), I(2, parameters.iextentofthesearch));
    writeline(unit, " Fraction of supporting reflections :", X(15),
              F(5, 2, parameters.fractionofsupportingreflections));
    writeline(unit, " Max. number of saved solutions :", X(21), I(3, store.maxnumberofsavedbases));
    writeline(unit, " Method of sorting in output file :", X(20),
              I(2, parameters.sortsolutionsbyqualityvsvolume));
    // Deliberate: told by the unit, and counted after the cut to the number to be reported.
    if (unit != write_log_file.log_file_number)
        writeline(unit, " Number of solutions: ", X(32), I(3, store.numberofsavedbases));
    writefreeline(unit, rule(56, '-'));
    writeline(unit);
}

} // namespace torvik
