#include "volumes/ranking.h"

#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "search/tabulcos.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"

#include <algorithm>

namespace torvik {

namespace {

// The trial vectors with their scores.
struct ranking {
    trialcolumns list;
    wholeweights weights;
    phasegrid grid;
    std::int64_t score[columnlength];
    pairsums sums; // of the vector at work
};

void scoreall(ranking& r, rankingdecisions& decisions)
{
    if (!r.weights.usable) return;
    std::fill(r.score, r.score + r.list.n, 0);
    for (int a = 2; a < r.list.n; ++a) {
        addpairs(vectorat(r.list, a), r.list, a, r.grid, r.weights, r.sums, decisions);
        r.score[a] += r.sums.own;
        for (int m = 0; m < a; ++m) r.score[m] += r.sums.of[m];
    }
}

// Gives the highest score of a vector that can be the worst.
std::int64_t highestofworst(const ranking& r)
{
    const std::int64_t lowest = *std::min_element(r.score, r.score + r.list.n);
    return lowest + tiewidth(lowest, r.list.n);
}

// Gives the places of the vectors that can be the worst, in the order of the trial list.
int findworst(const ranking& r, int* places)
{
    const std::int64_t highest = r.weights.usable ? highestofworst(r) : 0;
    int count = 0;
    for (int m = r.list.n - 1; m >= 0; --m)
        if (!r.weights.usable || r.score[m] <= highest) places[count++] = m;
    return count;
}

// Gives the place of the lowest score, the first of equals.
int lowestscore(const ranking& r, rankingdecisions& decisions)
{
    int places[maxreflections] = {};
    const int count = findworst(r, places);
    if (count == 1) return places[0];
    ++decisions.neartie;
    const auto& curve = tabulcos.vonmisesfunctinranking;
    int w = places[0];
    double lowest = definedsum(w, r.list, r.grid, curve);
    for (int n = 1; n < count; ++n) {
        const double sum = definedsum(places[n], r.list, r.grid, curve);
        if (sum < lowest) {
            lowest = sum;
            w = places[n];
        }
    }
    return w;
}

void removevector(int w, ranking& r, rankingdecisions& decisions)
{
    const vector3 removed = vectorat(r.list, w);
    std::copy(r.score + w + 1, r.score + r.list.n, r.score + w);
    removecolumn(r.list, w);
    if (!r.weights.usable) return;
    addpairs(removed, r.list, r.list.n, r.grid, r.weights, r.sums, decisions);
    for (int m = 0; m < r.list.n; ++m) r.score[m] -= r.sums.of[m];
}

void removeposition(int w)
{
    auto& recorded = recorded_reflections;
    auto& list = recorded.list_of_trial_vectors;
    const int T = recorded.number_of_trial_vectors;
    for (int m = w; m <= T - 1; ++m) list(m) = list(m + 1);
    recorded.number_of_trial_vectors = T - 1;
}

void logsurvivors()
{
    const auto& recorded = recorded_reflections;
    const int log = write_log_file.log_file_number;
    writefreeline(log, "- - - - - - - - - - - - - - - - - - - - - - - -");
    writeline(log, X(1), "List of prominent reflections :");
    for (int m = 1; m <= recorded.number_of_trial_vectors; ++m)
        writeline(log, X(1), I(5, m), I(5, recorded.list_of_trial_vectors(m)));
    writeline(log);
}

} // namespace

rankingdecisions dropworstvectors(int nremove)
{
    rankingdecisions decisions;
    if (nremove <= 0) return decisions;
    // 1., 2.
    ranking r;
    fillcolumns(r.list);
    r.grid = makephasegrid(r.list, estimatedvolumes.currentlyinvestigatedvolume);
    r.weights = makewholeweights(tabulcos.vonmisesfunctinranking, r.list.n);
    scoreall(r, decisions);
    // 3.
    for (int pass = 1; pass <= nremove; ++pass) {
        const int T = r.list.n;
        if (T < 1) {
            removeposition(1);
            continue;
        }
        const int w = lowestscore(r, decisions);
        removeposition(T - w);
        removevector(w, r, decisions);
    }
    return decisions;
}

void rank_trial_vectors(int nremove)
{
    dropworstvectors(nremove);
    // 4. Deliberate: also when nothing was removed.
    if (logging()) logsurvivors();
}

} // namespace torvik
