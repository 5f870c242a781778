#include "solving/knownsolve.h"

#include "base/failure.h"
#include "base/table.h"
#include "lattice/notation.h"
#include "solver/evidence/known_cell.h"
#include "solver/lattice/relations.h"
#include "solver/lattice/short_vectors.h"
#include "solving/orientations.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <numeric>
#include <optional>

namespace torvik::tools {

namespace {

using clock = std::chrono::steady_clock;

// Three vectors at most make an orientation, so that a fourth one is the least that can speak for it.
constexpr std::size_t fewestvectors = 4;

// The lattices that are named in the end.
constexpr std::size_t mostnamed = 12;

std::string percent(double part)
{
    return fixed(100.0 * part, 0) + " %";
}

// The evidence that an answer needs. Reflections of another lattice are not independent, since it shares
// rows and planes of points with the known one, nearly or by chance: more of them make more hits of one
// coincidence, and evidence grows as their number. Up to 20 it was seldom beyond that of chance.
double evidenceneededof(std::size_t reflections)
{
    return evidenceneeded * std::max(1.0, static_cast<double>(reflections) / 20.0);
}

bool onelattice(const matrix3& D, const matrix3& E)
{
    constexpr double nearly = 0.03; // of an index
    return same_lattice(D, E, nearly);
}

int determinantof(const std::array<int, 3>& a, const std::array<int, 3>& b,
                  const std::array<int, 3>& c)
{
    return a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0])
           + a[2] * (b[0] * c[1] - b[1] * c[0]);
}

// The index of the part of all points that whole multiples of the points which are hit make up; 0 if
// these lie in a plane.
int indexofspan(const std::vector<std::array<int, 3>>& hits)
{
    int common = 0;
    for (std::size_t i = 0; i < hits.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            for (std::size_t k = 0; k < j; ++k) {
                common = std::gcd(common, determinantof(hits[i], hits[j], hits[k]));
                if (common == 1) return 1;
            }
    return common;
}

// Whether all but one at most lie in a plane through the origin.
bool nearlyinaplane(const std::vector<std::array<int, 3>>& hits)
{
    for (std::size_t left = 0; left < hits.size(); ++left) {
        std::vector<std::array<int, 3>> others = hits;
        others.erase(others.begin() + static_cast<std::ptrdiff_t>(left));
        if (indexofspan(others) == 0) return true;
    }
    return hits.size() < 4;
}

// Whether a lattice is more than a coincidence. A lattice that is not that of the crystal can share a
// part of its points, as a row or a plane of them: the reflections in that part are then taken all
// together, though each is counted as a hit by itself. Of a lattice that takes but a part of the
// reflections, those must make up all of its points; or half of them, as some six of the true one do
// by chance.
bool nocoincidence(const std::vector<vector3>& vectors, const assessment& one)
{
    constexpr double most = 2.0 / 3.0;
    constexpr int largest = 2;
    if (one.indexed >= most * static_cast<double>(vectors.size())) return true;
    std::vector<std::array<int, 3>> hits;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (one.inlier[i] > 0.5) hits.push_back(nearest_indices(one.basis.multiply(vectors[i])));
    const int index = indexofspan(hits);
    return index >= 1 && index <= largest && !nearlyinaplane(hits);
}

// Takes the orientations of a cell among those of the others, the most evident first, each lattice
// once: of two cells that are nearly the same the better one counts.
void merge(const std::vector<vector3>& vectors, const std::vector<assessment>& found,
           const given_cell& cell, int known, std::vector<assessment>& all)
{
    for (assessment one : found) {
        if (!nocoincidence(vectors, one)) continue;
        one.known = known;
        one.basis = cell.to_given.multiply(one.basis);
        const auto same = std::find_if(all.begin(), all.end(), [&](const assessment& other) {
            return other.known != known && onelattice(other.basis, one.basis);
        });
        if (same != all.end() && same->evidence >= one.evidence) continue;
        if (same != all.end()) all.erase(same);
        const auto place = std::find_if(all.begin(), all.end(), [&](const assessment& other) {
            return other.evidence < one.evidence;
        });
        all.insert(place, one);
    }
    if (all.size() > mostnamed) all.resize(mostnamed);
}

// Whether a lattice is there beside the best one: it has enough evidence in what that leaves.
bool besides(const std::vector<vector3>& vectors, const assessment& best, const assessment& other,
             const std::vector<given_cell>& cells)
{
    const std::vector<vector3> left = unindexed_by(vectors, best);
    const given_cell& cell = cells[static_cast<std::size_t>(other.known)];
    const int count = static_cast<int>(cells.size());
    return assess_known(left, cell, cell.orientation_of(other.basis), count).evidence
           >= evidenceneededof(left.size());
}

// A lattice that is free to differ has less evidence than a known one, unless it is not that one.
void judge(const std::vector<vector3>& vectors, const std::vector<given_cell>& cells, answer& found)
{
    const bool several = cells.size() > 1;
    if (found.lattices.empty() || found.lattices[0].evidence < evidenceneededof(vectors.size())) {
        found.reason = several ? "None of the known cells has an orientation that is better than "
                                 "chance could make one."
                               : "The known cell has no orientation that is better than chance "
                                 "could make one.";
        return;
    }
    const assessment best = found.lattices[0];
    const assessment loose = assess(vectors, best.basis);
    if (loose.evidence > best.evidence + leadneeded) {
        found.reason = "Not the known cell, but one like it explains the reflections: "
                       + celltext(cell_of(loose.basis), 2, 1) + ".";
        return;
    }
    const bool another = countcompeting(
        found, [&](const assessment& other) { return besides(vectors, best, other, cells); });
    found.how = found.competing == 1 ? verdict::solved : verdict::ambiguous;
    if (found.how == verdict::ambiguous) {
        found.reason =
            std::to_string(found.competing)
            + (several ? " orientations of the known cells" : " orientations of the known cell")
            + " explain the reflections alike.";
        return;
    }
    const double part = static_cast<double>(best.indexed) / static_cast<double>(best.inlier.size());
    const std::string cell =
        several ? "known cell " + std::to_string(best.known + 1) : std::string("the known cell");
    found.reason = "One orientation of " + cell + " takes " + percent(part) + " of the reflections"
                   + (another ? "; another crystal takes others." : ", and no other comes near.");
}

} // namespace

void checkknown(const cell_parameters& cell)
{
    constexpr double least = 1.0;
    constexpr double most = 10000.0;
    const matrix3 shortest = shortest_basis(basis_of(cell)).basis;
    for (int i = 0; i < 3; ++i) {
        const double length = row_of(shortest, i).length();
        if (length >= least && length <= most) continue;
        throw failure("The cell " + celltext(cell, 4, 3) + " has an axis of " + fixed(length, 4)
                      + " angstroms, or may be described by such a one: from 1 to 10000 is what a "
                        "crystal can have.");
    }
}

answer solveknown(const vectorlist& list, const solveoptions& options)
{
    answer found;
    found.given = static_cast<int>(options.known.size());
    if (list.vectors.size() < fewestvectors) {
        found.reason = "There are " + std::to_string(list.vectors.size())
                       + " reflections; no orientation is sure with fewer than "
                       + std::to_string(fewestvectors) + ".";
        return found;
    }
    const auto end = clock::now()
                     + std::chrono::duration_cast<clock::duration>(
                         std::chrono::duration<double>(options.budget));
    const auto over = [&] {
        return (options.stop != nullptr && *options.stop) || clock::now() >= end;
    };
    std::vector<given_cell> cells;
    for (const cell_parameters& cell : options.known) cells.emplace_back(cell);
    for (int i = 0; i < found.given && !over(); ++i) {
        if (options.progress)
            options.progress("Cell " + std::to_string(i + 1) + " of "
                             + std::to_string(found.given));
        const given_cell& cell = cells[static_cast<std::size_t>(i)];
        merge(list.vectors, orientationsof(list, cell, found.given, over), cell, i, found.lattices);
    }
    found.interrupted = over();
    judge(list.vectors, cells, found);
    return found;
}

std::string pointsneverhit(const std::vector<vector3>& vectors, const answer& found)
{
    const assessment& known = found.lattices[0];
    std::optional<assessment> best;
    int parts = 0;
    for (const int index : {2, 3})
        for (const matrix3& T : finer_forms(index)) {
            const matrix3 basis = T.multiply(known.basis);
            const given_cell cell(cell_of(basis));
            const assessment one =
                assess_known(vectors, cell, cell.orientation_of(basis), found.given);
            if (best && one.evidence <= best->evidence) continue;
            best = one;
            parts = index;
        }
    if (!best || best->evidence < known.evidence + leadneeded) return "";
    return "The reflections lie on every " + std::string(parts == 2 ? "second" : "third")
           + " point of the known lattice: a cell of " + (parts == 2 ? "half" : "a third of")
           + " the volume, " + celltext(cell_of(niggli(best->basis).basis), 2, 1) + ", takes "
           + std::to_string(best->indexed) + " of them.";
}

} // namespace torvik::tools
