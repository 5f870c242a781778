#include "solving/solve.h"

#include "base/failure.h"
#include "base/process.h"
#include "base/table.h"
#include "base/textfile.h"
#include "formats/resultsfile.h"
#include "solver/lattice/cell.h"
#include "solver/lattice/relations.h"
#include "solving/companions.h"
#include "solving/pool.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <system_error>

namespace torvik::tools {

namespace {

using clock = std::chrono::steady_clock;

const std::atomic<bool> never{false};

// Fewer vectors than this fix no lattice beyond doubt, however good they are: three make the lattice.
constexpr std::size_t fewestvectors = 6;

struct limits {
    clock::time_point end;
    const std::atomic<bool>& stop;

    [[nodiscard]] double left() const
    {
        return std::chrono::duration<double>(end - clock::now()).count();
    }
    [[nodiscard]] bool over() const
    {
        return stop || left() <= 0.0;
    }
};

runmade make(const rung& what, const vectorlist& list, const std::filesystem::path& program,
             const limits& until)
{
    runmade run = {what, inputof(what, list.vectors), "", until.over()};
    if (run.cut) return run;
    const temporarydirectory folder;
    writewhole(folder.path() / "run.idx", run.input);
    const ending how = runprocess(program, {"run.idx"}, folder.path(), until.left(), until.stop);
    run.cut = how == ending::stopped || how == ending::outoftime;
    const auto results = folder.path() / "run_idx.res";
    std::error_code none;
    if (how == ending::finished && std::filesystem::exists(results, none))
        run.results = textfile::read(results).text();
    return run;
}

std::vector<matrix3> basesof(const runmade& run)
{
    std::vector<matrix3> bases;
    if (run.results.empty()) return bases;
    const textfile source("the results of a run", run.results);
    const resultsfile results = readresults(source);
    for (const solution& one : results.solutions()) bases.push_back(one.basis);
    return bases;
}

// Says whether the next run of the ladder begins with small volumes anew.
bool endsapass(const std::vector<rung>& ladder, std::size_t i)
{
    return i + 1 == ladder.size() || ladder[i + 1].smallest < ladder[i].smallest;
}

// Says when more runs would change nothing.
class patience {
public:
    // Looks at the candidates as they are after a run.
    // The run may be the last one of a pass through the windows of volume.
    void look(const pool& candidates, const rung& run, bool endofpass)
    {
        if (candidates.best() < evidenceneeded) return;
        if (candidates.best() > best_ + 0.5) {
            best_ = candidates.best();
            since_ = 0;
        }
        ++since_;
        const double volume = std::fabs(candidates.lattices()[0].basis.determinant());
        // A part of the lattice can look sure as long as the lattice itself was not tried.
        constexpr double beyond = 8.0;
        const bool tried = run.smallest > beyond * volume || endofpass;
        over_ = since_ > longest || (candidates.lead() >= leadneeded && tried);
    }
    [[nodiscard]] bool over() const
    {
        return over_;
    }

private:
    static constexpr int longest = 12; // runs without anything better
    double best_ = -1e300;
    int since_ = 0;
    bool over_ = false;
};

std::string percent(double part)
{
    return fixed(100.0 * part, 0) + " %";
}

// Whether a lattice may be the one that holds several crystals: it is among the best. Or these blur the
// crystals into one, with larger errors.
bool mayhold(const assessment& one, const assessment& best)
{
    constexpr double sharper = 0.7;
    if (one.evidence > best.evidence - leadneeded) return true;
    return one.evidence > best.evidence - 4.0 * leadneeded && one.sigma < sharper * best.sigma;
}

// All lattices, the most evident first; the crystals that one of the best holds together among them.
std::vector<assessment> withcrystals(const vectorlist& list, const pool& candidates,
                                     const std::function<bool()>& over)
{
    std::vector<assessment> all = candidates.lattices();
    if (candidates.best() < evidenceneeded) return all;
    std::optional<assessment> several;
    for (const assessment& one : candidates.lattices()) {
        if (!mayhold(one, all[0])) continue;
        const auto held = heldtogether(list, one, over);
        if (held && (!several || held->evidence > several->evidence)) several = held;
    }
    if (!several) return all;
    std::erase_if(all, [&](const assessment& one) { return among(one, *several); });
    const auto place = std::find_if(all.begin(), all.end(), [&](const assessment& one) {
        return one.evidence < several->evidence;
    });
    all.insert(place, *several);
    return all;
}

// Whether a lattice is there beside the best one, as that of another crystal: it takes what that leaves,
// and not the same.
bool besides(const std::vector<vector3>& vectors, const assessment& best, const assessment& other)
{
    if (!best.further_crystals.empty() || !other.further_crystals.empty()) return false;
    int shared = 0;
    for (std::size_t i = 0; i < vectors.size(); ++i)
        if (best.inlier[i] > 0.5 && other.inlier[i] > 0.5) ++shared;
    return 2 * shared < best.indexed
           && assess(unindexed_by(vectors, best), other.basis).evidence >= evidenceneeded;
}

std::string reasonof(const answer& found, bool another)
{
    if (found.how == verdict::ambiguous)
        return std::to_string(found.competing) + " lattices explain the reflections alike.";
    const assessment& best = found.lattices[0];
    const auto measured = static_cast<double>(best.inlier.size());
    if (best.further_crystals.empty())
        return "One lattice takes " + percent(best.indexed / measured) + " of the reflections"
               + (another ? "; another crystal takes others." : ", and no other comes near.");
    return std::to_string(1 + best.further_crystals.size())
           + " crystals of one cell explain the reflections, and no other lattice comes near. The "
             "first takes "
           + percent(best.indexed / measured) + " of them.";
}

void judge(const std::vector<vector3>& vectors, const std::vector<assessment>& lattices,
           answer& found)
{
    for (const assessment& one : lattices) {
        found.lattices.push_back(one);
        found.lattices.back().basis = niggli(one.basis).basis;
    }
    if (lattices.empty() || lattices[0].evidence < evidenceneeded) {
        found.how = verdict::refused;
        found.reason = found.lattices.empty()
                           ? "No lattice was found."
                           : "The best lattice is no better than chance could make one.";
        return;
    }
    const assessment best = found.lattices[0];
    const bool another = countcompeting(
        found, [&](const assessment& other) { return besides(vectors, best, other); });
    if (ofonestill(vectors)) {
        found.how = verdict::ambiguous;
        found.reason =
            "The reflections are those of a single still image, which fix no lattice beyond "
            "doubt: turn the crystal.";
        return;
    }
    found.how = found.competing == 1 ? verdict::solved : verdict::ambiguous;
    found.reason = reasonof(found, another);
}

} // namespace

// The sphere |q - k| = |k| is |q|^2 = 2 q k, which is linear in k.
bool ofonestill(const std::vector<vector3>& vectors)
{
    matrix3 normal(0.0);
    vector3 right;
    double squares = 0.0;
    for (const vector3& q : vectors) {
        add_product(normal, q, q);
        right += q * (0.5 * q.length_sq());
        squares += q.length_sq();
    }
    if (!(normal.determinant() > 0.0)) return false;
    const vector3 k = normal.inverse().multiply(right);
    double off = 0.0;
    for (const vector3& q : vectors) {
        const double distance = (q - k).length() - k.length();
        off += distance * distance;
    }
    // Four hundredths of the usual length: the vectors of a turned crystal are off by a good part of it.
    constexpr double thin = 0.04;
    return off < thin * thin * squares;
}

std::string hindrance(const std::vector<vector3>& vectors)
{
    if (vectors.size() < fewestvectors)
        return "There are " + std::to_string(vectors.size())
               + " reflections; no lattice is sure with fewer than " + std::to_string(fewestvectors)
               + ".";
    matrix3 sum(0.0);
    for (const vector3& q : vectors) add_product(sum, q, q);
    const double trace = sum.a[0][0] + sum.a[1][1] + sum.a[2][2];
    // The determinant is the product of the three spreads: a flat one is far below their mean.
    constexpr double flat = 1e-7;
    if (!(sum.determinant() > flat * trace * trace * trace / 27.0))
        return "The reflections lie in a plane, or nearly: measure some out of it.";
    return "";
}

bool countcompeting(answer& found, const std::function<bool(const assessment&)>& besides)
{
    std::vector<assessment>& all = found.lattices;
    const double least = all[0].evidence - leadneeded;
    const auto end = std::find_if(all.begin() + 1, all.end(),
                                  [&](const assessment& one) { return one.evidence <= least; });
    const auto others = std::stable_partition(all.begin() + 1, end,
                                              [&](const assessment& one) { return !besides(one); });
    found.competing = static_cast<std::size_t>(others - all.begin());
    std::rotate(others, end, all.end());
    return others != end;
}

answer solve(const vectorlist& list, const solveoptions& options)
{
    answer found;
    found.reason = hindrance(list.vectors);
    if (!found.reason.empty()) return found;

    const auto span =
        std::chrono::duration_cast<clock::duration>(std::chrono::duration<double>(options.budget));
    const limits until = {clock::now() + span, options.stop == nullptr ? never : *options.stop};
    const std::vector<rung> ladder = ladderfor(list, options.ladder);
    const std::size_t atonce = static_cast<std::size_t>(std::max(options.jobs, 1));
    pool candidates(list.vectors);
    patience enough;
    for (std::size_t first = 0; first < ladder.size() && !enough.over(); first += atonce) {
        if (until.over()) {
            found.interrupted = true;
            break;
        }
        std::vector<std::future<runmade>> going;
        for (std::size_t i = first; i < std::min(first + atonce, ladder.size()); ++i)
            going.push_back(std::async(std::launch::async, [&, i] {
                return make(ladder[i], list, options.program, until);
            }));
        if (options.progress)
            options.progress("Run " + std::to_string(first + 1) + " of at most "
                             + std::to_string(ladder.size()) + ": " + ladder[first].name);
        for (auto& one : going) {
            found.runs.push_back(one.get());
            if (enough.over()) {
                found.runs.pop_back(); // would not have been made one by one
                continue;
            }
            found.interrupted = found.interrupted || found.runs.back().cut;
            const double before = candidates.best();
            candidates.add(basesof(found.runs.back()));
            candidates.explore();
            if (candidates.best() > before + 1e-9)
                found.winner = static_cast<int>(found.runs.size()) - 1;
            enough.look(candidates, found.runs.back().what,
                        endsapass(ladder, found.runs.size() - 1));
        }
    }
    // Bounded work: the budget is for runs.
    const auto stopped = [&]() -> bool { return until.stop; };
    judge(list.vectors, withcrystals(list, candidates, stopped), found);
    return found;
}

} // namespace torvik::tools
