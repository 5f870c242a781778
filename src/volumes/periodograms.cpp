#include "volumes/periodograms.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "numeric/functions.h"
#include "numeric/kernel.h"
#include "text/exit.h"
#include "text/units.h"
#include "volumes/plainsums.h"
#include "volumes/printedtables.h"
#include "volumes/testperiods.h"

#include <cmath>
#include <cstdlib>
#include <string>
#include <utility>

namespace torvik {

namespace {

std::size_t numberofperiods()
{
    return static_cast<std::size_t>(testperiods.number_of_test_periods) + 1;
}

// The start of a line of a log table: the period in both forms and the value.
std::string tableline(int i, double value)
{
    const double P = testperiods.tableoftestperiods(i);
    return joined(X(1), ES(15, 5, P), F(15, 3, 1.0 / P), X(2), EN(15, 5, value));
}

// Logs the table of Rayleigh's or Scargle's periodogram.
void logtable(int kind, const periodogram& out, const periodogram& angles)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, kind == rayleigh ? "Rayleigh periodogram :" : "Scargle periodogram :");
    const std::string columns = "      RS volume      DS volume      Periodogram";
    writefreeline(log, columns + (kind == rayleigh ? "   Phase [deg]" : "  Scargle tau [deg]"));
    for (std::size_t i = 0; i < out.size(); ++i)
        writeline(log, tableline(static_cast<int>(i), out[i]), F(10, 1, angles[i]));
    writeline(log);
}

void logfolding(const periodogram& out)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, "Folding-based periodogram :");
    writefreeline(log, "      RS volume      DS volume      Periodogram");
    for (std::size_t i = 0; i < out.size(); ++i)
        writeline(log, tableline(static_cast<int>(i), out[i]));
    writeline(log);
}

void rayleightimesscargle(periodogram& out)
{
    rayleigh_periodogram(out);
    periodogram second(out.size(), 0.0);
    scargle_periodogram(second);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = out[i] * second[i];
}

int kindofperiodogram()
{
    const auto& parameters = otherglobalvariables;
    const int type = parameters.itypeofperiodogram;
    if (type != 0 && -rayleighxscargle <= type && type <= rayleighxscargle) return std::abs(type);
    if (parameters.iextentofthesearch == 0) return folding;
    if (parameters.iextentofthesearch == 5) return rayleighxscargle;
    return rayleigh;
}

std::string nameofkind(int kind)
{
    switch (kind) {
    case folding: return "folding";
    case rayleigh: return "Rayleigh";
    case scargle: return "Scargle";
    default: return "Rayleigh x Scargle";
    }
}

void announce(int kind)
{
    writefreeline(terminalunit, "Calculating " + nameofkind(kind) + " periodogram");
    showterminal();
}

void fillkind(int kind, periodogram& out)
{
    switch (kind) {
    case folding: folding_periodogram(out); break;
    case rayleigh: rayleigh_periodogram(out); break;
    case scargle: scargle_periodogram(out); break;
    default: rayleightimesscargle(out); break;
    }
}

// Gives the value of a kind of periodogram for one test period.
double valueofkind(const tripleproducts& products, int kind, const double* P)
{
    double first = 0.0;
    double second = 0.0;
    double S = 0.0;
    double C = 0.0;
    double tau = 0.0;
    if (kind == folding) foldingsums(products, P, 1, &first);
    if (kind == rayleigh || kind == rayleighxscargle) rayleighsums(products, P, 1, &first, &S, &C);
    if (kind == scargle) scarglesums(products, P, 1, &first, &tau);
    if (kind != rayleighxscargle) return first;
    scarglesums(products, P, 1, &second, &tau);
    return first * second;
}

void openperiodogramfile(const inputfilename& filename, int kind)
{
    openoutputbeside(periodogramunit, outputname(filename, "_periodogram.res"));
    const std::string title = kind == folding ? "Folding" : nameofkind(kind);
    writefreeline(periodogramunit, "       " + title + " periodogram created by Torvik_03.exe");
}

void finishperiodogramfile(const periodogram& values)
{
    const int unit = periodogramunit;
    writefreeline(unit, "  Number of periods :", static_cast<int>(values.size()));
    writefreeline(unit, "  Cell volume            Periodogram");
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double P = testperiods.tableoftestperiods(static_cast<int>(i));
        writeline(unit, X(1), F(14, 2, 1.0 / P), X(2), EN(15, 5, values[i]));
    }
    closeoutput(unit);
}

// Says whether the run writes a periodogram file, and ends there.
bool filewanted()
{
    const int type = otherglobalvariables.itypeofperiodogram;
    return -rayleighxscargle <= type && type <= -folding;
}

// Up to this number of terms the plain sums take no longer than setting up a grid.
constexpr double fewterms = 50000.0;

// Says whether bounds are worth their set-up.
bool manyterms(const tripleproducts& products)
{
    const auto periods = static_cast<double>(numberofperiods());
    return periods > 1.0 && products.number * periods > fewterms;
}

// Computes all values by plain sums, and logs their tables.
void computevalues(int kind, periodogrambounds& bounds)
{
    periodogram out(numberofperiods());
    fillkind(kind, out);
    bounds = {out, out};
}

// Computes bounds of which both ends print alike, for one kind, and logs their table.
void tabulate(const tripleproducts& products, int kind, periodogrambounds& bounds)
{
    periodogramtable table;
    int status = failed;
    if (kind != folding && manyterms(products))
        computetable(products, kind, testperiods.tableoftestperiods.element, numberofperiods(),
                     table, status);
    if (status == failed) {
        computevalues(kind, bounds);
        return;
    }
    if (logging()) logtable(kind, table.value.least, table.angle.least);
    bounds = std::move(table.value);
}

// The same for the product of two kinds.
void tabulateproduct(const tripleproducts& products, periodogrambounds& bounds)
{
    periodogrambounds second;
    tabulate(products, rayleigh, bounds);
    tabulate(products, scargle, second);
    multiply(bounds, second);
    if (!filewanted()) return;
    for (std::size_t i = 0; i < bounds.least.size(); ++i) {
        if (printsalike(bounds, i)) continue;
        bounds.least[i] = bounds.most[i] = periodogramvalue(products, static_cast<int>(i));
    }
}

void computebounds(const tripleproducts& products, int kind, periodogrambounds& bounds)
{
    if (logging() || filewanted()) {
        if (kind == rayleighxscargle)
            tabulateproduct(products, bounds);
        else
            tabulate(products, kind, bounds);
        return;
    }
    int status = failed;
    if (manyterms(products))
        boundperiodogram(products, kind, testperiods.tableoftestperiods.element, numberofperiods(),
                         bounds, status);
    if (status == failed) computevalues(kind, bounds);
}

} // namespace

void rayleigh_periodogram(periodogram& out)
{
    periodogram S(out.size());
    periodogram C(out.size());
    rayleighsums(alltripleproducts(), testperiods.tableoftestperiods.element, out.size(),
                 out.data(), S.data(), C.data());
    if (!logging()) return;
    for (std::size_t i = 0; i < out.size(); ++i) S[i] = printedphase(S[i], C[i]);
    logtable(rayleigh, out, S);
}

void scargle_periodogram(periodogram& out)
{
    periodogram tau(out.size());
    scarglesums(alltripleproducts(), testperiods.tableoftestperiods.element, out.size(), out.data(),
                tau.data());
    if (!logging()) return;
    for (double& offset : tau) offset = printedoffset(offset);
    logtable(scargle, out, tau);
}

void folding_periodogram(periodogram& out)
{
    foldingsums(alltripleproducts(), testperiods.tableoftestperiods.element, out.size(),
                out.data());
    if (logging()) logfolding(out);
}

void computeperiodogram(const inputfilename& filename, const tripleproducts& products,
                        periodogrambounds& bounds)
{
    const int kind = kindofperiodogram();
    if (filewanted()) openperiodogramfile(filename, kind);
    announce(kind);
    computebounds(products, kind, bounds);
    if (!filewanted()) return;
    finishperiodogramfile(bounds.least);
    if (logging()) closeoutput(write_log_file.log_file_number);
    stopprogram();
}

double periodogramvalue(const tripleproducts& products, int i)
{
    return valueofkind(products, kindofperiodogram(), &testperiods.tableoftestperiods(i));
}

double loga(double a, double x)
{
    return logarithm(x) / logarithm(a);
}

} // namespace torvik
