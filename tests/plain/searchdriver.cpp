#include "plain/plain.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "numeric/nint.h"
#include "search/quality.h"
#include "superlattices/hermite.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/knatorx.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace torvik::plain {

namespace {

// By the extent of the search, 0..5 (the input admits no other): relative step and half-width of
// the band of test values, and the largest ratio of a triple's volume to the test value.
constexpr fromzero<double, 6> vdens = {{0.0015, 0.0012, 0.0009, 0.0006, 0.0004, 0.0003}};
constexpr fromzero<double, 6> vrange = {{0.0045, 0.006, 0.009, 0.015, 0.024, 0.03}};
constexpr fromzero<int, 6> limvolratcoef = {{3, 5, 7, 10, 13, 16}};

int extent()
{
    return otherglobalvariables.iextentofthesearch;
}

double volumeundertest()
{
    return estimatedvolumes.currentlyinvestigatedvolume;
}

// Gives how many trial vectors the ranking drops: those that need not support a solution, but never
// so many that fewer than three stay.
int numbertoremove()
{
    const int N = recorded_reflections.numberofreflections;
    const double fraction = otherglobalvariables.fractionofsupportingreflections;
    return std::min(nint(N * (1.0 - fraction)), N - 3);
}

void resettriallist()
{
    auto& recorded = recorded_reflections;
    recorded.number_of_trial_vectors = recorded.numberofreflections;
    for (int i = 1; i <= recorded.numberofreflections; ++i) recorded.list_of_trial_vectors(i) = i;
}

void logtestvolume(int t, double T, int n, double s)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, rule(54, '='));
    writeline(log, X(1), " Testing near volume ", I(4, t), " : ", F(15, 3, 1.0 / T));
    writefreeline(log, rule(54, '-'));
    writeline(log, X(1), I(3, 2 * n + 1),
              " steps in the range :", F(15, 3, 1.0 / (T * (1.0 - n * s))),
              F(15, 3, 1.0 / (T * (1.0 + n * s))));
    writeline(log);
}

void logtestvalue(int number, double V)
{
    const int log = write_log_file.log_file_number;
    writefreeline(log, "=== === === === === === === === === === === ===");
    writeline(log, X(1), "Test volume ", I(3, number), " : ", F(15, 3, 1.0 / V));
}

void showprogress(int t)
{
    writetext(terminalunit, joined("\r", X(1), "Progress : ", X(26), I(6, t), " -->",
                                   I(6, estimatedvolumes.number_of_estimatedvolumes), X(2)));
    showterminal();
}

// The three trial vectors of one step, by position and by reflection number, with their cell.
struct triple {
    numbered<int, 3> position;
    numbered<int, 3> reflection;
    matrix3 M;    // rows: the three vectors
    double ratio; // cell volume over the volume under test
    int k;        // the nearest integer: the index of their lattice in the one looked for
};

triple formtriple(const subset& positions, const vectorlist& P)
{
    const auto& list = recorded_reflections.list_of_trial_vectors;
    const int i1 = positions(1);
    const int i2 = positions(2);
    const int i3 = positions(3);
    triple candidate;
    candidate.position = {{i1, i2, i3}};
    candidate.reflection = {{list(i1), list(i2), list(i3)}};
    candidate.M = rowsmatrix(P(i1), P(i2), P(i3));
    candidate.ratio = std::fabs(deter(candidate.M)) / volumeundertest();
    candidate.k = nint(candidate.ratio);
    return candidate;
}

bool passesprimarytests(const triple& candidate)
{
    return std::fabs(candidate.k - candidate.ratio) <= 0.35 && 1 <= candidate.k
           && candidate.k <= limvolratcoef(extent());
}

void logtriple(const triple& candidate, int count)
{
    const int log = write_log_file.log_file_number;
    const auto& position = candidate.position;
    writeline(log, X(1), "Passed primary tests:", I(5, position(1)), I(5, position(2)),
              I(5, position(3)), X(3), "v:", F(6, 2, candidate.ratio));
    writeline(log, X(1), "Altarnative bases : ", I(3, count)); // Deliberate: the spelling
}

// Refines a basis and offers the result, in the way that belongs to the extent of the search.
void refine(const matrix3& B, const triple& candidate, int nt, const vectorlist& P)
{
    matrix3 R = B;
    int status = done;
    if (extent() <= 1)
        plain::sequentialfittingrlbasis(R, nt, P, candidate.position, status);
    else
        plain::sequentialfittingrlbasis(R, recorded_reflections.numberofreflections,
                                        recorded_reflections.reflections, candidate.reflection,
                                        status);
    if (status == failed) return;
    plain::indexing(R);
    if (extent() <= 2) return;
    R = B; // Deliberate: afresh, and only after the first refinement succeeded
    plain::rlbasisfromshortesthighqualityvectors(R, nt, P, status);
    if (status == done) plain::indexing(R);
}

// The vectors taken into a fit with their whole indices, and which positions they came from.
struct fitset {
    int m;                                // how many
    vectorlist A;                         // rows 1..m: the vectors
    vectorlist H;                         // rows 1..m: their indices
    numbered<bool, maxreflections> taken; // by position
};

void take(fitset& fit, int position, const vectorlist& V, const matrix3& G)
{
    fit.taken(position) = true;
    ++fit.m;
    fit.A(fit.m) = V(position);
    fit.H(fit.m) = plain::roundedindices(indicesunder(G, V(position)));
}

// Finds the best indexed vector not yet taken. Gives its position, the first of equals, or 0 if it
// is further than tol from whole indices or none is left.
int bestvectorleft(const fitset& fit, int n, const vectorlist& V, const matrix3& G, double tol)
{
    int best = 0;
    double lowest = largestdouble;
    for (int i = 1; i <= n; ++i) {
        if (fit.taken(i)) continue;
        const double q = reflexquality222(indicesunder(G, V(i)));
        if (!(q < lowest)) continue;
        lowest = q;
        best = i;
    }
    return lowest > tol ? 0 : best;
}

// Gives the positions of the three shortest vectors, the first of equals. A position is 0 where no
// vector is left.
numbered<int, 3> shortestthree(int n, const vectorlist& V)
{
    numbered<double, maxreflections> length;
    for (int i = 1; i <= n; ++i) length(i) = vectormagnitude(V(i));
    numbered<int, 3> shortest = {};
    for (int k = 1; k <= 3; ++k) {
        double smallest = largestdouble;
        for (int i = 1; i <= n; ++i)
            if (length(i) < smallest) {
                smallest = length(i);
                shortest(k) = i;
            }
        if (shortest(k) > 0) length(shortest(k)) = largestdouble;
    }
    return shortest;
}

} // namespace

void getthebasis()
{
    // 1. to 3.
    const double s = vdens(extent());
    const int n = nint(vrange(extent()) / s);
    writeline(terminalunit, " Number of volumes to be tested : ", X(18),
              I(10, estimatedvolumes.number_of_estimatedvolumes));
    const int minimum = numbertoremove();
    // 4.
    for (int t = 1; t <= estimatedvolumes.number_of_estimatedvolumes; ++t) {
        const double T = estimatedvolumes.table_of_estimatedvolumes(t);
        showprogress(t);
        if (logging()) logtestvolume(t, T, n, s);
        for (int j = -n; j <= n; ++j) {
            estimatedvolumes.currentlyinvestigatedvolume = T * (1.0 + j * s);
            if (logging()) logtestvalue(n + j + 1, volumeundertest());
            resettriallist();
            plain::rank_trial_vectors(minimum);
            plain::fitting5();
        }
    }
    // 5. Deliberate: the progress line is closed by a line of its own without figures.
    writeline(terminalunit, "+", X(1), "Progress : ");
}

void fitting5()
{
    // 1., 2.
    const int nt = recorded_reflections.number_of_trial_vectors;
    vectorlist P;
    for (int i = 1; i <= nt; ++i)
        P(i) = recorded_reflections.reflections(recorded_reflections.list_of_trial_vectors(i));
    alternativebases alternativerlbases;
    // 3.
    subset positions;
    int first = 1;
    for (knatorx(first, nt, 3, positions); first == 0; knatorx(first, nt, 3, positions)) {
        const triple candidate = formtriple(positions, P);
        if (!passesprimarytests(candidate)) continue;
        int count = 0;
        getalternativerlbases(candidate.k, candidate.M, count, alternativerlbases);
        if (logging()) logtriple(candidate, count);
        for (int b = 1; b <= count; ++b) {
            plain::simplereduction(alternativerlbases(b));
            refine(alternativerlbases(b), candidate, nt, P);
        }
    }
}

void indexing(const matrix3& R)
{
    // 1.
    matrix3 D = {};
    int status = done;
    plain::getreciprocalbasis(R, D, 0.5 * volumeundertest(), status);
    if (status == failed) return;
    // 2.
    plain::buergerreduction(D);
    indexcounts counts;
    double quality = 0.0;
    plain::basisquality(D, counts, quality);
    // 3.
    if (counts.h >= nint(std::sqrt(2.2 * recorded_reflections.numberofreflections)))
        plain::savethebasis(D, counts, quality);
}

void sequentialfittingrlbasis(matrix3& R, int n, const vectorlist& V, const numbered<int, 3>& start,
                              int& status)
{
    // 1.
    const double threshold = 0.5 * volumeundertest();
    matrix3 G = {};
    invmat(R, G, threshold, status);
    if (status == failed) return;
    // 2.
    fitset fit;
    fit.m = 0;
    for (int i = 1; i <= n; ++i) fit.taken(i) = false;
    for (int k = 1; k <= 3; ++k) take(fit, start(k), V, G);
    // 3.
    const double tol = 1.15 * otherglobalvariables.themaincriterion;
    // 4.
    for (int pass = 1; pass <= n - 3; ++pass) {
        const int best = bestvectorleft(fit, n, V, G, tol);
        if (best == 0) return;
        take(fit, best, V, G);
        plain::just_fit_aaa(fit.m, fit.A, fit.H, R, status);
        if (status == failed) return;
        invmat(R, G, threshold, status); // Deliberate: a failure keeps G and goes on
    }
}

void rlbasisfromshortesthighqualityvectors(matrix3& R, int n, const vectorlist& V, int& status)
{
    // 1.
    matrix3 G = {};
    invmat(R, G, 0.01 * volumeundertest(), status);
    if (status == failed) return;
    // 2. to 4.
    const numbered<int, 3> shortest = shortestthree(n, V);
    vectorlist A;
    vectorlist H;
    for (int k = 1; k <= 3; ++k) {
        status = failed;
        if (shortest(k) == 0) return;
        const vector3& v = V(shortest(k));
        const vector3 x = indicesunder(G, v);
        if (reflexquality222(x) > 0.25) return;
        A(k) = v;
        H(k) = plain::roundedindices(x);
    }
    // 5.
    plain::just_fit_aaa(3, A, H, R, status);
}

} // namespace torvik::plain
