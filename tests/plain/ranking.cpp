#include "plain/plain.h"

#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "numeric/kernel.h"
#include "numeric/nint.h"
#include "search/tabulcos.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/knatorx.h"

#include <cmath>

namespace torvik::plain {

namespace {

constexpr int phasesteps = curvepoints - 1; // Deliberate: the last point of the curve is never read

// Gives the score of one candidate among the first T vectors.
double scoreof(int candidate, int T, const vectorlist& vectors, double scale)
{
    double score = 0.0;
    subset pair;
    int first = 1;
    for (knatorx(first, T, 2, pair); first == 0; knatorx(first, T, 2, pair)) {
        const int i = pair(1);
        const int j = pair(2);
        if (i == candidate || j == candidate) continue;
        const matrix3 M = rowsmatrix(vectors(candidate), vectors(i), vectors(j));
        const double d = std::fabs(deter(M));
        score += tabulcos.vonmisesfunctinranking(plain::phaseindex(d, scale));
    }
    return score;
}

// Gives the position of the lowest score among the first T, the first of equals.
int lowestscore(int T, const vectorlist& vectors, double scale)
{
    int w = 1;
    double lowest = scoreof(1, T, vectors, scale);
    for (int c = 2; c <= T; ++c) {
        const double score = scoreof(c, T, vectors, scale);
        if (score < lowest) {
            lowest = score;
            w = c;
        }
    }
    return w;
}

void removeposition(int w, int T, vectorlist& vectors)
{
    auto& list = recorded_reflections.list_of_trial_vectors;
    for (int m = w; m <= T - 1; ++m) {
        vectors(m) = vectors(m + 1);
        list(m) = list(m + 1);
    }
    recorded_reflections.number_of_trial_vectors = T - 1;
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

int phaseindex(double d, double scale)
{
    const double steps = d * scale;
    if (steps < largestinteger) return nint(steps) % phasesteps;
    if (!std::isfinite(steps)) return phasesteps / 2;
    return static_cast<int>(std::fmod(std::round(steps), phasesteps));
}

void rank_trial_vectors(int nremove)
{
    const auto& recorded = recorded_reflections;
    // 1., 2. Deliberate: as many as there are reflections; on entry the list holds them all.
    const double scale = phasesteps / estimatedvolumes.currentlyinvestigatedvolume;
    vectorlist vectors;
    for (int i = 1; i <= recorded.numberofreflections; ++i)
        vectors(i) = recorded.reflections(recorded.list_of_trial_vectors(i));
    // 3.
    for (int pass = 1; pass <= nremove; ++pass) {
        const int T = recorded.number_of_trial_vectors;
        removeposition(lowestscore(T, vectors, scale), T, vectors);
    }
    // 4. Deliberate: also when nothing was removed.
    if (logging()) logsurvivors();
}

} // namespace torvik::plain
