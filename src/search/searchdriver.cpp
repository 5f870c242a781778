#include "search/searchdriver.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/constants.h"
#include "numeric/kernel.h"
#include "numeric/nint.h"
#include "search/batchfitting.h"
#include "search/batchreduction.h"
#include "search/fitting.h"
#include "search/outcomes.h"
#include "search/quality.h"
#include "search/sequentialfitting.h"
#include "store/savedbases.h"
#include "superlattices/hermite.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/knatorx.h"
#include "volumes/ranking.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace torvik {

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

// Rebuilds a reciprocal basis on the three shortest vectors.
void rebuildonshortest(matrix3& R, const numbered<int, 3>& shortest, const vectorlist& V,
                       int& status, inversions& seen)
{
    // 1.
    matrix3 G = {};
    notedinverse(R, G, 0.01 * volumeundertest(), status, seen);
    if (status == failed) return;
    // 2. to 4.
    vectorlist A;
    vectorlist H;
    for (int k = 1; k <= 3; ++k) {
        status = failed;
        if (shortest(k) == 0) return;
        const vector3& v = V(shortest(k));
        const vector3 x = indicesunder(G, v);
        if (reflexquality222(x) > 0.25) return;
        A(k) = v;
        H(k) = roundedindices(x);
    }
    // 5.
    just_fit_aaa(3, A, H, R, status);
}

// Gives how many reflections a basis must index within half the main criterion.
int leastcount()
{
    return nint(std::sqrt(2.2 * recorded_reflections.numberofreflections));
}

// What the refinements of one test value work with.
struct trialvectors {
    int nt;                     // how many trial vectors
    vectorlist P;               // rows 1..nt
    vectorcolumns columns;      // what the sequential fit sees: these, or all reflections
    vectorcolumns reflections;  // all reflections
    numbered<int, 3> shortest;  // the three shortest, by position
    numbered<int, 3> reference; // the same by reflection number; 0 where they are not used
};

void settrialvectors(trialvectors& trial)
{
    const auto& recorded = recorded_reflections;
    trial.nt = recorded.number_of_trial_vectors;
    for (int i = 1; i <= trial.nt; ++i)
        trial.P(i) = recorded.reflections(recorded.list_of_trial_vectors(i));
    setcolumns(trial.reflections, recorded.numberofreflections, recorded.reflections);
    if (extent() <= 1)
        setcolumns(trial.columns, trial.nt, trial.P);
    else
        trial.columns = trial.reflections;
    trial.shortest = shortestthree(trial.nt, trial.P);
    trial.reference = {};
    if (extent() <= 2) return;
    for (int k = 1; k <= 3; ++k)
        if (trial.shortest(k) > 0)
            trial.reference(k) = recorded.list_of_trial_vectors(trial.shortest(k));
}

// What is refined side by side.
struct refinements {
    std::vector<matrix3> bases;          // alternative bases, reduced
    std::vector<fitting> fits;           // of each of them
    std::vector<matrix3> duals;          // direct bases to be scored
    std::vector<tripleoutcomes*> owners; // and whose outcomes they are
};

// Scores direct bases. What indexes enough reflections becomes an offer.
void scoreduals(const vectorcolumns& reflections, refinements& work)
{
    // 2.
    buergerreductions(work.duals);
    for (std::size_t d = 0; d < work.duals.size(); ++d) {
        outcome found = {work.duals[d], {}, 0.0};
        basisquality(reflections, found.D, found.counts, found.quality);
        // 3.
        if (found.counts.h < leastcount()) continue;
        // With a log, what the limits do is told with every offer.
        if (logging() || withinvolumelimits(reflections, found.D, found.counts, found.quality))
            work.owners[d]->offers.push_back(found);
    }
    work.duals.clear();
    work.owners.clear();
}

// Offers what a triple came to. Without a log, what is too weak is then dropped for good.
void offer(tripleoutcomes& outcomes, storeknowledge& known)
{
    auto& offers = outcomes.offers;
    if (logging()) {
        for (outcome found : offers) savethebasis(found.D, found.counts, found.quality);
        return;
    }
    if (known.sought.size() < offers.size()) known.sought.resize(offers.size());
    for (std::size_t i = 0; i < offers.size(); ++i) setlattice(known.sought[i], offers[i].D);
    for (std::size_t i = 0; i < offers.size(); ++i)
        offerbasis(known.sought[i], offers[i].D, offers[i].counts, offers[i].quality, known);
    std::erase_if(offers, [&](const outcome& found) { return tooweak(found.quality, known); });
}

// What a search keeps from one test value to the next.
struct searchknowledge {
    outcomememory memory;
    storeknowledge store = knowledgeofstore();
    refinements work; // room for what is under way
};

// Offers what is remembered of a triple.
void offeragain(tripleoutcomes& outcomes, searchknowledge& known)
{
    const std::size_t before = outcomes.offers.size();
    offer(outcomes, known.store);
    known.memory.size -= before - outcomes.offers.size();
}

// A triple that passed, on its way to the store.
struct passedtriple {
    triple candidate;
    tripleoutcomes* recalled;                  // its outcomes, if they are known
    tripleoutcomes outcomes;                   // otherwise: its outcomes
    std::size_t firstbasis = 0, lastbasis = 0; // and its alternative bases, the last not included
};

// So many triples are worked on at a time, so that the fits of their bases go side by side.
constexpr std::size_t triplesatatime = 64;

// Lists the alternative bases of a triple.
void listbases(passedtriple& passed, std::vector<matrix3>& bases)
{
    alternativebases alternativerlbases;
    int count = 0;
    getalternativerlbases(passed.candidate.k, passed.candidate.M, count, alternativerlbases);
    passed.firstbasis = bases.size();
    bases.insert(bases.end(), alternativerlbases.element, alternativerlbases.element + count);
    passed.lastbasis = bases.size();
}

// Has the bases of a triple wait for their fits.
void awaitfits(const passedtriple& passed, refinements& work)
{
    const triple& candidate = passed.candidate;
    fitting fit = {};
    fit.start = extent() <= 1 ? candidate.position : candidate.reflection;
    for (std::size_t b = passed.firstbasis; b < passed.lastbasis; ++b) {
        fit.R = work.bases[b];
        work.fits.push_back(fit);
    }
}

// Has the dual of a reciprocal basis wait for its score.
void awaitscore(const matrix3& R, tripleoutcomes& outcomes, refinements& work)
{
    matrix3 inverse = {};
    int status = done;
    notedinverse(R, inverse, 0.5 * volumeundertest(), status, outcomes.half);
    if (status == failed) return;
    work.duals.push_back(transposed(inverse));
    work.owners.push_back(&outcomes);
}

// Does so with what the fit of a basis B came to, and for wide searches with what the shortest
// vectors make of it.
void awaitscores(const fitting& fit, const matrix3& B, const trialvectors& trial,
                 tripleoutcomes& outcomes, refinements& work)
{
    addinversions(outcomes.half, fit.seen);
    if (fit.status == failed) return;
    awaitscore(fit.R, outcomes, work);
    if (extent() <= 2) return;
    matrix3 R = B; // Deliberate: afresh, and only after the first refinement succeeded
    int status = done;
    rebuildonshortest(R, trial.shortest, trial.P, status, outcomes.hundredth);
    if (status == done) awaitscore(R, outcomes, work);
}

// Refines and scores the bases of the triples that are not known.
void workout(std::vector<passedtriple>& triples, const trialvectors& trial, refinements& work)
{
    work.bases.clear();
    work.fits.clear();
    for (passedtriple& passed : triples)
        if (passed.recalled == nullptr) listbases(passed, work.bases);
    simplereductions(work.bases);
    for (const passedtriple& passed : triples)
        if (passed.recalled == nullptr) awaitfits(passed, work);
    sequentialfits(work.fits, trial.columns, 0.5 * volumeundertest(),
                   otherglobalvariables.themaincriterion);
    for (passedtriple& passed : triples) {
        if (passed.recalled != nullptr) continue;
        for (std::size_t b = passed.firstbasis; b < passed.lastbasis; ++b)
            awaitscores(work.fits[b], work.bases[b], trial, passed.outcomes, work);
    }
    scoreduals(trial.reflections, work);
}

// Brings triples to the store: what their bases come to is recalled or worked out, offered in the
// order of the triples, and remembered.
void settle(std::vector<passedtriple>& triples, const trialvectors& trial, searchknowledge& known)
{
    const bool remembered = extent() >= 2;
    const auto what = [&](const passedtriple& passed) -> tripleofreflections {
        return {passed.candidate.reflection, passed.candidate.k, trial.reference};
    };
    if (remembered)
        for (passedtriple& passed : triples)
            passed.recalled = recall(known.memory, what(passed), volumeundertest());
    workout(triples, trial, known.work);
    for (passedtriple& passed : triples) {
        const int k = passed.candidate.k;
        if (logging()) logtriple(passed.candidate, matricesforalternativebases.icounterofhnf(k));
        if (passed.recalled == nullptr)
            offer(passed.outcomes, known.store);
        else
            offeragain(*passed.recalled, known);
    }
    for (passedtriple& passed : triples)
        if (remembered && passed.recalled == nullptr)
            remember(known.memory, what(passed), std::move(passed.outcomes));
    triples.clear();
}

// The search at the volume under test.
void searchtriples(searchknowledge& known)
{
    // 1., 2.
    trialvectors trial;
    settrialvectors(trial);
    // 3.
    std::vector<passedtriple> triples;
    subset positions;
    int first = 1;
    for (knatorx(first, trial.nt, 3, positions); first == 0;
         knatorx(first, trial.nt, 3, positions)) {
        const triple candidate = formtriple(positions, trial.P);
        if (!passesprimarytests(candidate)) continue;
        triples.push_back({candidate, nullptr, {}});
        if (triples.size() == triplesatatime) settle(triples, trial, known);
    }
    settle(triples, trial, known);
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
    searchknowledge known;
    // 4.
    for (int t = 1; t <= estimatedvolumes.number_of_estimatedvolumes; ++t) {
        const double T = estimatedvolumes.table_of_estimatedvolumes(t);
        showprogress(t);
        if (logging()) logtestvolume(t, T, n, s);
        for (int j = -n; j <= n; ++j) {
            estimatedvolumes.currentlyinvestigatedvolume = T * (1.0 + j * s);
            if (logging()) logtestvalue(n + j + 1, volumeundertest());
            resettriallist();
            rank_trial_vectors(minimum);
            searchtriples(known);
        }
    }
    // 5. Deliberate: the progress line is closed by a line of its own without figures.
    writeline(terminalunit, "+", X(1), "Progress : ");
}

void fitting5()
{
    searchknowledge known;
    searchtriples(known);
}

void indexing(const matrix3& R)
{
    vectorcolumns reflections;
    setcolumns(reflections, recorded_reflections.numberofreflections,
               recorded_reflections.reflections);
    tripleoutcomes outcomes;
    refinements work;
    awaitscore(R, outcomes, work); // 1.
    scoreduals(reflections, work); // 2., 3.
    storeknowledge known = knowledgeofstore();
    offer(outcomes, known);
}

void sequentialfittingrlbasis(matrix3& R, int n, const vectorlist& V, const numbered<int, 3>& start,
                              int& status)
{
    vectorcolumns columns;
    setcolumns(columns, n, V);
    inversions seen;
    sequentialfit(R, columns, start, 0.5 * volumeundertest(), otherglobalvariables.themaincriterion,
                  status, seen);
}

void rlbasisfromshortesthighqualityvectors(matrix3& R, int n, const vectorlist& V, int& status)
{
    inversions seen;
    rebuildonshortest(R, shortestthree(n, V), V, status, seen);
}

} // namespace torvik
