#include "plain/plain.h"

#include "driver/otherglobalvariables.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "numeric/functions.h"
#include "numeric/nint.h"
#include "text/exit.h"
#include "text/units.h"
#include "volumes/testperiods.h"
#include "volumes/triples.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace torvik::plain {

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

// Gives n x n as a 32-bit product that wraps around in two's complement.
double wrappedsquare(int n)
{
    const auto u = static_cast<std::uint32_t>(n);
    return static_cast<std::int32_t>(u * u);
}

void lograyleigh(const periodogram& out, const periodogram& S, const periodogram& C)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, "Rayleigh periodogram :");
    writefreeline(log, "      RS volume      DS volume      Periodogram   Phase [deg]");
    for (std::size_t i = 0; i < out.size(); ++i) {
        const double phase = std::atan2(S[i], C[i]) * 180.0 / pisingle;
        writeline(log, tableline(static_cast<int>(i), out[i]), F(10, 1, phase));
    }
    writeline(log);
}

void logscargle(const periodogram& out, const periodogram& tau)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, "Scargle periodogram :");
    writefreeline(log, "      RS volume      DS volume      Periodogram  Scargle tau [deg]");
    for (std::size_t i = 0; i < out.size(); ++i)
        writeline(log, tableline(static_cast<int>(i), out[i]), F(10, 1, 360.0 * tau[i]));
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

// Gives the offset of each period, in cycles, that decouples the sine and the cosine terms.
periodogram scargleoffsets()
{
    const double* P = testperiods.tableoftestperiods.element;
    const std::size_t periods = numberofperiods();
    periodogram A(periods, 0.0);
    periodogram B(periods, 0.0);
    foreachtripleproduct([&](double t) {
        for (std::size_t i = 0; i < periods; ++i) {
            const double theta = (t * fourpi) / P[i];
            A[i] += std::sin(theta);
            B[i] += std::cos(theta);
        }
    });
    periodogram tau(periods);
    for (std::size_t i = 0; i < periods; ++i) {
        const bool vanish =
            std::fabs(A[i]) <= hundredtimestiny && std::fabs(B[i]) <= hundredtimestiny;
        tau[i] = vanish ? 0.0 : std::atan2(A[i], B[i]) / fourpi;
    }
    return tau;
}

void rayleightimesscargle(periodogram& out)
{
    plain::rayleigh_periodogram(out);
    periodogram second(out.size(), 0.0);
    plain::scargle_periodogram(second);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] = out[i] * second[i];
}

// The kinds of periodogram, numbered as the input file does.
constexpr int folding = 1, rayleigh = 2, scargle = 3, rayleighxscargle = 4;

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

void computekind(int kind, periodogram& out)
{
    writefreeline(terminalunit, "Calculating " + nameofkind(kind) + " periodogram");
    showterminal();
    switch (kind) {
    case folding: plain::folding_periodogram(out); break;
    case rayleigh: plain::rayleigh_periodogram(out); break;
    case scargle: plain::scargle_periodogram(out); break;
    default: rayleightimesscargle(out); break;
    }
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

} // namespace

void rayleigh_periodogram(periodogram& out)
{
    const double* P = testperiods.tableoftestperiods.element;
    const std::size_t periods = numberofperiods();
    // 1.
    periodogram S(periods, 0.0);
    periodogram C(periods, 0.0);
    const int n = foreachtripleproduct([&](double t) {
        for (std::size_t i = 0; i < periods; ++i) {
            const double theta = (t * twopi) / P[i];
            S[i] += std::sin(theta);
            C[i] += std::cos(theta);
        }
    });
    // 2. Deliberate: the divisor wraps around.
    const double D = wrappedsquare(std::max(n, 1));
    for (std::size_t i = 0; i < periods; ++i) out[i] = (C[i] * C[i] + S[i] * S[i]) / D;
    // 3.
    if (logging()) lograyleigh(out, S, C);
}

void scargle_periodogram(periodogram& out)
{
    const double* P = testperiods.tableoftestperiods.element;
    const std::size_t periods = numberofperiods();
    // 1., 2.
    const periodogram tau = scargleoffsets();
    // 3. Deliberate: the phase is grouped otherwise than in the first pass.
    periodogram s(periods, 0.0);
    periodogram c(periods, 0.0);
    periodogram ss(periods, 0.0);
    periodogram cc(periods, 0.0);
    const int n = foreachtripleproduct([&](double t) {
        for (std::size_t i = 0; i < periods; ++i) {
            const double phi = ((t / P[i]) - tau[i]) * twopi;
            const double sine = std::sin(phi);
            const double cosine = std::cos(phi);
            s[i] += sine;
            c[i] += cosine;
            ss[i] += sine * sine;
            cc[i] += cosine * cosine;
        }
    });
    // 4.
    const double triples = std::max(n, 1);
    for (std::size_t i = 0; i < periods; ++i)
        out[i] = ((s[i] * s[i]) / ss[i] + (c[i] * c[i]) / cc[i]) / triples;
    // 5.
    if (logging()) logscargle(out, tau);
}

void folding_periodogram(periodogram& out)
{
    const double* P = testperiods.tableoftestperiods.element;
    const std::size_t periods = numberofperiods();
    // 1.
    std::fill(out.begin(), out.end(), 0.0);
    const int n = foreachtripleproduct([&](double t) {
        for (std::size_t i = 0; i < periods; ++i) {
            const double x = t / P[i];
            const double f = x - truncated(x);
            out[i] += std::fabs(2.0 * f - 1.0);
        }
    });
    // 2.
    const double triples = std::max(n, 1);
    for (double& value : out) value = value / triples;
    // 3.
    if (logging()) logfolding(out);
}

void computeperiodogram(const inputfilename& filename, periodogram& out)
{
    const int kind = kindofperiodogram();
    const int type = otherglobalvariables.itypeofperiodogram;
    const bool filewanted = -rayleighxscargle <= type && type <= -folding;
    if (filewanted) openperiodogramfile(filename, kind);
    computekind(kind, out);
    if (!filewanted) return;
    finishperiodogramfile(out);
    if (logging()) closeoutput(write_log_file.log_file_number);
    stopprogram();
}

double loga(double a, double x)
{
    return logarithm(x) / logarithm(a);
}

} // namespace torvik::plain
