#include "stages.h"

#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "driver/write_log_file.h"
#include "inputs.h"
#include "plain/plain.h"
#include "search/batchfitting.h"
#include "search/batchreduction.h"
#include "search/fitting.h"
#include "search/searchdriver.h"
#include "store/savedbases.h"
#include "support/runs.h"
#include "text/units.h"
#include "volumes/estimatedvolumes.h"
#include "volumes/ranking.h"
#include "volumes/testperiods.h"
#include "volumes/testvolumes.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace torvik {

namespace {

// Bases on their way to the store.
struct offeredbases {
    std::vector<matrix3> bases;
    std::vector<indexcounts> counts;
    std::vector<double> qualities;
};

void saveall(offeredbases& offered)
{
    vectorcolumns reflections;
    setcolumns(reflections, recorded_reflections.numberofreflections,
               recorded_reflections.reflections);
    storeknowledge known = knowledgeofstore();
    for (std::size_t i = 0; i < offered.bases.size(); ++i) {
        matrix3& D = offered.bases[i];
        if (withinvolumelimits(reflections, D, offered.counts[i], offered.qualities[i]))
            offerbasis(D, offered.counts[i], offered.qualities[i], known);
    }
}

void saveallplainly(offeredbases& offered)
{
    for (std::size_t i = 0; i < offered.bases.size(); ++i)
        plain::savethebasis(offered.bases[i], offered.counts[i], offered.qualities[i]);
}

void growall(std::vector<triplebasis>& triples)
{
    vectorcolumns columns;
    setcolumns(columns, recorded_reflections.numberofreflections, recorded_reflections.reflections);
    std::vector<fitting> fits;
    for (const triplebasis& basis : triples) {
        fits.emplace_back();
        fits.back().R = basis.R;
        fits.back().start = basis.start;
    }
    sequentialfits(fits, columns, 0.5 * estimatedvolumes.currentlyinvestigatedvolume,
                   otherglobalvariables.themaincriterion);
    for (std::size_t i = 0; i < fits.size(); ++i) triples[i].R = fits[i].R;
}

void growallplainly(std::vector<triplebasis>& triples)
{
    int status = done;
    for (triplebasis& basis : triples)
        plain::sequentialfittingrlbasis(basis.R, recorded_reflections.numberofreflections,
                                        recorded_reflections.reflections, basis.start, status);
}

void reduceallplainly(std::vector<matrix3>& bases)
{
    for (matrix3& D : bases) plain::simplereduction(D);
}

void fullyreduceallplainly(std::vector<matrix3>& bases)
{
    for (matrix3& D : bases) plain::buergerreduction(D);
}

// The procedures of a run, fast or plain.
struct procedures {
    void (*estimatevolumes)(const inputfilename&);
    void (*rank)(int);
    void (*grow)(matrix3&, int, const vectorlist&, const numbered<int, 3>&, int&);
    void (*growall)(std::vector<triplebasis>&);
    void (*reduce)(std::vector<matrix3>&);
    void (*reducefully)(std::vector<matrix3>&);
    void (*score)(const matrix3&, indexcounts&, double&);
    void (*refit)(double, matrix3&, int&);
    void (*save)(offeredbases&);
    void (*search)();
    std::string (*fixed)(int, int, double);
    std::string (*scientific)(int, int, double);
    std::string (*engineering)(int, int, double);
};

constexpr procedures fastones = {estimate_true_rvolumes,
                                 rank_trial_vectors,
                                 sequentialfittingrlbasis,
                                 growall,
                                 simplereductions,
                                 buergerreductions,
                                 basisquality,
                                 fittingabovethreshold,
                                 saveall,
                                 getthebasis,
                                 F,
                                 ES,
                                 EN};

constexpr procedures plainones = {plain::estimate_true_rvolumes,
                                  plain::rank_trial_vectors,
                                  plain::sequentialfittingrlbasis,
                                  growallplainly,
                                  reduceallplainly,
                                  fullyreduceallplainly,
                                  plain::basisquality,
                                  plain::fittingabovethreshold,
                                  saveallplainly,
                                  plain::getthebasis,
                                  plain::F,
                                  plain::ES,
                                  plain::EN};

// What a stage works on, made before it, and what it gives.
struct workpieces {
    std::vector<triplebasis> triples;
    offeredbases offered;
    std::vector<int> lists;
    std::unique_ptr<temporaryfolder> folder;
};

// Makes a stage from its three parts; each is given the pieces.
template <class Before, class Act, class Hash>
stage madeof(const std::string& name, int N, int extent, const std::string& size, Before before,
             Act act, Hash hash)
{
    const auto pieces = std::make_shared<workpieces>();
    const auto doneby = [&](const procedures& with) {
        return timed(
            [=] {
                *pieces = {};
                before(*pieces);
            },
            [=, &with] { act(with, *pieces); }, [=] { return hash(*pieces); });
    };
    return {name, N, extent, size, doneby(plainones), doneby(fastones)};
}

double triples(int N)
{
    return N * (N - 1.0) * (N - 2.0) / 6.0;
}

// The number of periods that the plain sums work off in some seconds: 12 ns for a term.
int periodsin(double seconds, int N, int kind)
{
    const double terms[] = {0.3, 1.0, 3.0, 4.0}; // folding, Rayleigh, Scargle, their product
    return static_cast<int>(std::min(1e6, seconds / (12e-9 * terms[kind - 1] * triples(N))));
}

constexpr double truervolume = 1.0 / simulatedvolume; // of the primitive reciprocal cell
constexpr int allperiods = 40000;                     // more than the range of volumes asks for

std::string counted(int n, const std::string& thing)
{
    const std::string plural = thing == "basis" ? "bases" : thing + "s";
    return std::to_string(n) + " " + (n == 1 ? thing : plural);
}

std::uint64_t hashoflog(const workpieces& pieces)
{
    const std::string written = readfile(pieces.folder->file("log"));
    return hashed(written.data(), written.size());
}

std::uint64_t hashofvolumes()
{
    const auto& volumes = estimatedvolumes;
    return hashed(volumes.table_of_estimatedvolumes.element,
                  sizeof(double) * static_cast<std::size_t>(volumes.number_of_estimatedvolumes));
}

// The table of test periods, cut to what the plain sums can do.
void makeperiods(int N, int extent, int kind, double seconds)
{
    readsimulated(N, extent);
    otherglobalvariables.itypeofperiodogram = kind;
    initializingvolumes2();
    int& last = testperiods.number_of_test_periods;
    last = std::min(last, periodsin(seconds, N, kind));
}

// The periodograms, in the order of the input file.
constexpr int lastkind = 4;
constexpr const char* kinds[] = {"folding", "Rayleigh", "Scargle", "Rayleigh x Scargle"};
void addperiodograms(std::vector<stage>& stages, const benchmarksize& size, int N)
{
    for (int kind = 1; kind <= lastkind; ++kind) {
        const int limit = periodsin(size.seconds, N, kind);
        const std::string periods = limit > allperiods ? "all periods" : counted(limit, "period");
        const std::string name = kinds[kind - 1];
        const auto before = [=](workpieces&) { makeperiods(N, 2, kind, size.seconds); };
        const auto estimate = [](const procedures& with, workpieces&) {
            with.estimatevolumes(makefilename("a.idx"));
        };
        stages.push_back(madeof(name + ", test volumes", N, -1, periods, before, estimate,
                                [](const workpieces&) { return hashofvolumes(); }));
        const auto openlog = [=](workpieces& pieces) {
            before(pieces);
            pieces.folder = std::make_unique<temporaryfolder>();
            write_log_file = {1, logunit};
            openoutput(logunit, pieces.folder->file("log"));
        };
        const auto estimateandlog = [](const procedures& with, workpieces&) {
            with.estimatevolumes(makefilename("a.idx"));
            closeoutput(logunit);
        };
        stages.push_back(
            madeof(name + ", with a log", N, -1, periods, openlog, estimateandlog, hashoflog));
    }
}

void allontrial()
{
    auto& recorded = recorded_reflections;
    recorded.number_of_trial_vectors = recorded.numberofreflections;
    for (int i = 1; i <= recorded.numberofreflections; ++i) recorded.list_of_trial_vectors(i) = i;
}

// As many vectors are dropped as in a run: all but twelve, or half of them.
void addranking(std::vector<stage>& stages, const benchmarksize& size, int N)
{
    const double onevalue = 8e-9 * N * triples(N); // seconds, plain
    const int values = std::clamp(static_cast<int>(size.seconds / onevalue), 1, 20);
    const auto before = [=](workpieces&) { readsimulated(N, 2); };
    const auto rank = [=](const procedures& with, workpieces& pieces) {
        for (int j = 0; j < values; ++j) {
            estimatedvolumes.currentlyinvestigatedvolume = truervolume * (1.0 + 0.0009 * j);
            allontrial();
            with.rank(N - std::min(12, N / 2));
            const auto& recorded = recorded_reflections;
            for (int i = 1; i <= recorded.number_of_trial_vectors; ++i)
                pieces.lists.push_back(recorded.list_of_trial_vectors(i));
        }
    };
    stages.push_back(madeof("ranking", N, -1, counted(values, "test value"), before, rank,
                            [](const workpieces& pieces) { return hashed(pieces.lists); }));
}

void addfits(std::vector<stage>& stages, const benchmarksize& size, int N)
{
    const int many = size.seconds < 0.1 ? 20 : 200;
    const auto before = [=](workpieces& pieces) {
        readsimulated(N, 2);
        estimatedvolumes.currentlyinvestigatedvolume = truervolume;
        pieces.triples = triplebases(many);
        pieces.offered.bases = directbases(10 * many);
        pieces.offered.counts.resize(pieces.offered.bases.size());
        pieces.offered.qualities.resize(pieces.offered.bases.size());
    };
    const auto grow = [](const procedures& with, workpieces& pieces) {
        const auto& recorded = recorded_reflections;
        int status = done;
        for (triplebasis& basis : pieces.triples)
            with.grow(basis.R, recorded.numberofreflections, recorded.reflections, basis.start,
                      status);
    };
    const auto hashoffits = [](const workpieces& pieces) {
        std::uint64_t hash = emptyhash;
        for (const triplebasis& basis : pieces.triples)
            hash = hashed(&basis.R, sizeof basis.R, hash);
        return hash;
    };
    stages.push_back(
        madeof("sequential fitting", N, -1, counted(many, "basis"), before, grow, hashoffits));
    const auto growtogether = [](const procedures& with, workpieces& pieces) {
        with.growall(pieces.triples);
    };
    stages.push_back(madeof("fits side by side", N, -1, counted(many, "basis"), before,
                            growtogether, hashoffits));
    const auto refit = [](const procedures& with, workpieces& pieces) {
        int status = done;
        for (matrix3& D : pieces.offered.bases) with.refit(0.12, D, status);
    };
    stages.push_back(madeof("refit", N, -1, counted(10 * many, "basis"), before, refit,
                            [](const workpieces& pieces) { return hashed(pieces.offered.bases); }));
    const auto score = [](const procedures& with, workpieces& pieces) {
        for (std::size_t i = 0; i < pieces.offered.bases.size(); ++i)
            with.score(pieces.offered.bases[i], pieces.offered.counts[i],
                       pieces.offered.qualities[i]);
    };
    stages.push_back(madeof(
        "score", N, -1, counted(10 * many, "basis"), before, score, [](const workpieces& pieces) {
            return hashed(pieces.offered.counts, hashed(pieces.offered.qualities));
        }));
}

// The reductions do not depend on the number of reflections.
void addreductions(std::vector<stage>& stages, const benchmarksize& size)
{
    const int many = size.seconds < 0.1 ? 200 : 20000;
    const auto before = [=](workpieces& pieces) {
        readsimulated(20, 2);
        pieces.offered.bases = directbases(many);
    };
    const auto hash = [](const workpieces& pieces) { return hashed(pieces.offered.bases); };
    const auto simply = [](const procedures& with, workpieces& pieces) {
        with.reduce(pieces.offered.bases);
    };
    const auto fully = [](const procedures& with, workpieces& pieces) {
        with.reducefully(pieces.offered.bases);
    };
    const std::string bases = counted(many, "basis");
    stages.push_back(madeof("simple reduction", 0, -1, bases, before, simply, hash));
    stages.push_back(madeof("Buerger reduction", 0, -1, bases, before, fully, hash));
}

std::uint64_t hashofstore()
{
    const auto& store = modofsavedbases;
    const auto held = static_cast<std::size_t>(store.numberofsavedbases);
    std::uint64_t hash = hashed(store.savedbases.element, held * sizeof(matrix3));
    hash = hashed(store.iqualityofsavedbases.element, held * sizeof(indexcounts), hash);
    return hashed(store.aqualityofsavedbases.element, held * sizeof(double), hash);
}

// Bases of few lattices and many, with qualities that tie often.
void addstore(std::vector<stage>& stages, const benchmarksize& size, int N)
{
    const int many = size.seconds < 0.1 ? 200 : 5000;
    const auto before = [=](workpieces& pieces) {
        readsimulated(N, 2);
        pieces.offered.bases = directbases(many);
        for (matrix3& D : pieces.offered.bases) {
            plain::buergerreduction(D);
            indexcounts counts;
            double quality = 0.0;
            plain::basisquality(D, counts, quality);
            pieces.offered.counts.push_back(counts);
            pieces.offered.qualities.push_back(quality);
        }
    };
    const auto offer = [](const procedures& with, workpieces& pieces) {
        with.save(pieces.offered);
    };
    stages.push_back(madeof("offers to the store", N, -1, counted(many, "basis"), before, offer,
                            [](const workpieces&) { return hashofstore(); }));
}

void addsearch(std::vector<stage>& stages, int N, int extent)
{
    const auto before = [=](workpieces&) {
        readsimulated(N, extent);
        estimatedvolumes.number_of_estimatedvolumes = 1;
        estimatedvolumes.table_of_estimatedvolumes(1) = 1.003 * truervolume;
    };
    const auto search = [](const procedures& with, workpieces&) { with.search(); };
    stages.push_back(madeof("search", N, extent, "1 test volume", before, search,
                            [](const workpieces&) { return hashofstore(); }));
}

// Lines as the log of Rayleigh's periodogram has them.
void addprinting(std::vector<stage>& stages, const benchmarksize& size)
{
    const int lines = size.seconds < 0.1 ? 200 : 200000;
    const auto before = [](workpieces& pieces) {
        pieces.folder = std::make_unique<temporaryfolder>();
        openoutput(logunit, pieces.folder->file("log"));
    };
    const auto print = [=](const procedures& with, workpieces&) {
        for (int i = 0; i < lines; ++i) {
            const double P = 5e-5 / (1.0 - i * 0.9 / lines);
            const double value = 0.01 / (1.0 + i % 97);
            writeline(logunit, X(1), with.scientific(15, 5, P), with.fixed(15, 3, 1.0 / P), X(2),
                      with.engineering(15, 5, value), with.fixed(10, 1, i % 3600 * 0.1 - 180.0));
        }
        closeoutput(logunit);
    };
    stages.push_back(
        madeof("printing of a log", 0, -1, counted(lines, "line"), before, print, hashoflog));
}

} // namespace

std::vector<stage> stagesfor(const benchmarksize& size)
{
    std::vector<stage> stages;
    for (const int N : size.reflections) {
        addperiodograms(stages, size, N);
        addranking(stages, size, N);
        addfits(stages, size, N);
        addstore(stages, size, N);
        for (int extent = 0; extent <= 2; ++extent) addsearch(stages, N, extent);
    }
    for (const int N : size.searchedextensively)
        for (int extent = 3; extent <= 5; ++extent) addsearch(stages, N, extent);
    addreductions(stages, size);
    addprinting(stages, size);
    return stages;
}

} // namespace torvik
