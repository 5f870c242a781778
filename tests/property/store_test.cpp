#include "driver/otherglobalvariables.h"
#include "driver/recorded_reflections.h"
#include "property/randomlattices.h"
#include "search/fitting.h"
#include "search/reduction.h"
#include "store/finalcheck.h"
#include "store/savedbases.h"
#include "store/similarity.h"
#include "superlattices/hermite.h"
#include "support/cases.h"
#include "support/fresh.h"

#include <algorithm>
#include <set>
#include <vector>

namespace torvik {

namespace {

// Lattices of which no two are alike: the 178 that contain one and the same lattice with an index
// of 1 to 6. One in terms of another has elements that are whole numbers over 6 at the finest, so
// the tolerance of 0.15 tells them apart; with an index of 7 it would not.
constexpr int lotsoflattices = 1 + 7 + 13 + 35 + 31 + 91;

std::vector<matrix3> differentlattices(const matrix3& B)
{
    getlowindexsuperlattices();
    std::vector<matrix3> lattices;
    for (int n = 1; n <= 6; ++n)
        for (int k = 0; k < matricesforalternativebases.icounterofhnf(n); ++k)
            lattices.push_back(matrixproduct(superlatticetable(n)[k], B));
    return lattices;
}

// A basis of one of them, as it is offered to the store.
struct offer {
    int lattice;
    double quality;
    int serial; // tells it from other offers of the same lattice

    bool operator==(const offer&) const = default;
};

// The store as one would describe it: a plain list.
class plainstore {
public:
    void take(const offer& o)
    {
        const bool full = held.size() == 128;
        if (full && held[worst()].quality > o.quality) return;
        for (offer& kept : held)
            if (kept.lattice == o.lattice) {
                if (o.quality >= kept.quality) kept = o;
                return;
            }
        if (full)
            held[worst()] = o;
        else
            held.push_back(o);
    }

    std::vector<offer> held;

private:
    std::size_t worst() const
    {
        std::size_t position = 0;
        for (std::size_t k = 1; k < held.size(); ++k)
            if (held[k].quality <= held[position].quality) position = k;
        return position;
    }
};

class Store : public fresh {
protected:
    randomnumbers random{11};
    std::vector<matrix3> lattices = differentlattices(randombasis(random));

    int serial = 0; // of the last offer

    // Offers a lattice in a basis of its own; the counts carry its number and that of the offer.
    void offerlattice(const offer& o)
    {
        const auto& basis = lattices[static_cast<std::size_t>(o.lattice)];
        matrix3 D = matrixproduct(randomunimodular(random, random.whole(0, 6)), basis);
        indexcounts counts = {.h = o.lattice, .H = o.serial};
        double quality = o.quality;
        savethebasis(D, counts, quality);
    }

    offer randomoffer(int manylattices)
    {
        // Few different qualities, so that ties are common.
        return {random.whole(0, manylattices - 1), static_cast<double>(random.whole(1, 6)),
                ++serial};
    }

    // Checks that each slot is whole: its basis spans the lattice that its counts name.
    void expectconsistent() const
    {
        const auto& store = modofsavedbases;
        ASSERT_GE(store.numberofsavedbases, 0);
        ASSERT_LE(store.numberofsavedbases, 128);
        std::set<int> seen;
        for (int k = 1; k <= store.numberofsavedbases; ++k) {
            const int lattice = store.iqualityofsavedbases(k).h;
            ASSERT_TRUE(
                spansamelattice(store.savedbases(k), lattices[static_cast<std::size_t>(lattice)]))
                << "slot " << k;
            ASSERT_TRUE(seen.insert(lattice).second) << "slot " << k << " repeats a lattice";
        }
    }

    static std::vector<offer> held()
    {
        std::vector<offer> content;
        for (int k = 1; k <= modofsavedbases.numberofsavedbases; ++k)
            content.push_back({modofsavedbases.iqualityofsavedbases(k).h,
                               modofsavedbases.aqualityofsavedbases(k),
                               modofsavedbases.iqualityofsavedbases(k).H});
        return content;
    }
};

TEST_F(Store, KnowsASavedLatticeInAnyOfItsBases)
{
    for (int n = 0, all = cases(5000, 500000); n < all; ++n) {
        const matrix3 D = randombasis(random);
        fillslot(1, D, {}, 1.0);
        modofsavedbases.numberofsavedbases = 1;
        const matrix3 other = matrixproduct(randomunimodular(random, random.whole(0, 20)), D);
        ASSERT_EQ(itissimilartoalreadysaved(other, {}, 0.5), 1) << "case " << n;
        ASSERT_EQ(itissimilartoalreadysaved(D, {}, 0.5), 1) << "case " << n;
    }
}

TEST_F(Store, TellsEverySuperlatticeFromItsLattice)
{
    fillslot(1, lattices[0], {}, 1.0);
    modofsavedbases.numberofsavedbases = 1;
    for (std::size_t k = 1; k < lattices.size(); ++k) {
        const matrix3 D = matrixproduct(randomunimodular(random, 6), lattices[k]);
        ASSERT_EQ(itissimilartoalreadysaved(D, {}, 2.0), 0) << "lattice " << k;
    }
}

TEST_F(Store, HoldsAfterAnyOffersWhatAPlainListHolds)
{
    for (int sequence = cases(4, 400); sequence > 0; --sequence)
        for (const int manylattices : {1, 5, 100, 128, 129, lotsoflattices}) {
            modofsavedbases.numberofsavedbases = 0;
            plainstore plain;
            std::set<int> offered;
            for (int n = 0; n < 800; ++n) {
                const offer o = randomoffer(manylattices);
                offered.insert(o.lattice);
                offerlattice(o);
                plain.take(o);
                ASSERT_EQ(held(), plain.held) << "offer " << n << " of " << manylattices;
            }
            expectconsistent();
            ASSERT_EQ(held().size(), std::min<std::size_t>(offered.size(), 128));
        }
}

TEST_F(Store, HoldsWhatAPlainListHoldsThroughOffersSortsChecksAndRemovals)
{
    plainstore plain;
    for (int n = cases(5000, 500000); n > 0; --n) {
        const int what = random.whole(0, 99);
        const int slots = modofsavedbases.numberofsavedbases;
        if (what == 0) {
            // The order after a sort is the subject of another test.
            sortsavedbases3(random.whole(0, 1));
            ASSERT_TRUE(std::ranges::is_permutation(held(), plain.held));
            plain.held = held();
        } else if (what == 1) {
            finalcheckofsimilarity(); // no lattice is held twice, so nothing happens
        } else if (what < 6 && slots > 0) {
            const int k = random.whole(1, slots);
            eliminatebasis(k);
            plain.held.erase(plain.held.begin() + (k - 1));
        } else {
            const offer o = randomoffer(lotsoflattices);
            offerlattice(o);
            plain.take(o);
        }
        ASSERT_EQ(held(), plain.held) << n << " steps to go";
    }
    expectconsistent();
}

TEST_F(Store, NeverGivesUpTheBestOffer)
{
    double best = 0.0;
    for (int n = cases(5000, 500000); n > 0; --n) {
        const offer o = {random.whole(0, lotsoflattices - 1), random.between(0.0, 100.0), ++serial};
        offerlattice(o);
        best = std::max(best, o.quality);
        const auto content = held();
        ASSERT_EQ(std::ranges::max(content, {}, &offer::quality).quality, best);
    }
}

TEST_F(Store, KeepsItsContentThroughEverySort)
{
    // Without reflections nothing can be refitted, so a sort only moves slots.
    const auto sorted = [](std::vector<offer> content) {
        std::ranges::sort(content, {}, &offer::lattice);
        return content;
    };
    for (int n = cases(100, 10000); n > 0; --n) {
        modofsavedbases.numberofsavedbases = 0;
        const int offers = random.whole(0, 60);
        for (int m = 0; m < offers; ++m) offerlattice(randomoffer(lotsoflattices));
        const auto before = sorted(held());
        for (const int mode : {0, 1, 0}) {
            sortsavedbases3(mode);
            ASSERT_EQ(sorted(held()), before);
            expectconsistent();
        }
    }
}

TEST_F(Store, IsInOrderAfterASort)
{
    const auto& store = modofsavedbases;
    const auto quality = [&](int k) { return store.aqualityofsavedbases(k); };
    const auto volume = [&](int k) { return std::fabs(deter(store.savedbases(k))); };
    for (int n = cases(100, 10000); n > 0; --n) {
        modofsavedbases.numberofsavedbases = 0;
        for (int m = 0; m < 40; ++m) offerlattice(randomoffer(lotsoflattices));
        sortsavedbases3(0);
        for (int k = 1; k < store.numberofsavedbases; ++k) {
            ASSERT_GE(quality(k), quality(k + 1));
            if (quality(k) == quality(k + 1)) {
                ASSERT_LE(volume(k), volume(k + 1));
            }
        }
        sortsavedbases3(1);
        for (int k = 1; k < store.numberofsavedbases; ++k) {
            ASSERT_LE(volume(k), volume(k + 1));
            if (volume(k) == volume(k + 1)) {
                ASSERT_GE(quality(k), quality(k + 1));
            }
        }
    }
}

TEST_F(Store, HoldsTheFirstOfEveryLatticeAfterTheFinalCheck)
{
    for (int n = 0, all = cases(200, 20000); n < all; ++n) {
        const int slots = random.whole(0, 40);
        std::vector<offer> firsts;
        std::set<int> seen;
        for (int k = 1; k <= slots; ++k) {
            const offer o = randomoffer(15);
            const auto& basis = lattices[static_cast<std::size_t>(o.lattice)];
            fillslot(k, matrixproduct(randomunimodular(random, 5), basis),
                     {.h = o.lattice, .H = o.serial}, o.quality);
            if (seen.insert(o.lattice).second) firsts.push_back(o);
        }
        modofsavedbases.numberofsavedbases = slots;
        finalcheckofsimilarity();
        ASSERT_EQ(held(), firsts) << "case " << n;
        expectconsistent();
    }
}

// The store in a run: bases come with the counts and the quality that the reflections give them, and
// volume limits are on or off.
class StoreInARun : public Store {
protected:
    // Records twelve reflections of a lattice, up to 0.06 off in each index.
    void setnoisyreflections(const matrix3& D)
    {
        const matrix3 inverse = inverseof(D);
        auto& recorded = recorded_reflections;
        recorded.numberofreflections = 12;
        for (int k = 1; k <= 12; ++k) {
            vector3 h = {};
            for (int i = 1; i <= 3; ++i) h(i) = random.whole(-4, 4) + random.between(-0.06, 0.06);
            recorded.reflections(k) = transformed(inverse, h);
        }
    }

    // Sets limits that lie around the volumes of the offers, or none.
    void setrandomlimits(double volume)
    {
        auto& parameters = otherglobalvariables;
        parameters.limitsonvolumeofprimitivecell = random.whole(0, 2) > 0;
        parameters.minvolumeofprimitivecell = volume * random.between(0.3, 2.0);
        parameters.maxvolumeofprimitivecell = volume * random.between(2.0, 20.0);
    }

    // A basis whose cell is a multiple of that of D, slightly off.
    matrix3 multipleof(const matrix3& D)
    {
        matrix3 W = identity();
        for (int i = 1; i <= 3; ++i) {
            W(i, i) = random.whole(0, 1) == 0 ? 1 : random.whole(1, 6);
            for (int j = i + 1; j <= 3; ++j) W(i, j) = random.whole(-3, 3);
        }
        matrix3 M = matrixproduct(W, D);
        for (int i = 1; i <= 3; ++i)
            for (int j = 1; j <= 3; ++j) M(i, j) *= 1.0 + random.between(-0.004, 0.004);
        buergerreduction(M);
        return M;
    }

    static void expecttrueslots()
    {
        const auto& store = modofsavedbases;
        const auto& parameters = otherglobalvariables;
        ASSERT_LE(store.numberofsavedbases, 128);
        for (int k = 1; k <= store.numberofsavedbases; ++k) {
            indexcounts counts;
            double quality = 0.0;
            basisquality(store.savedbases(k), counts, quality);
            ASSERT_EQ(store.iqualityofsavedbases(k), counts) << "slot " << k;
            ASSERT_EQ(store.aqualityofsavedbases(k), quality) << "slot " << k;
            ASSERT_LE(counts.h, counts.H);
            if (!parameters.limitsonvolumeofprimitivecell) continue;
            const double volume = std::fabs(deter(store.savedbases(k)));
            ASSERT_GE(volume, parameters.minvolumeofprimitivecell * (1.0 - 1e-12)) << "slot " << k;
            ASSERT_LE(volume, parameters.maxvolumeofprimitivecell) << "slot " << k;
        }
    }

    static std::vector<double> qualitiesinorder()
    {
        std::vector<double> qualities;
        for (const offer& o : held()) qualities.push_back(o.quality);
        std::ranges::sort(qualities);
        return qualities;
    }
};

TEST_F(StoreInARun, HoldsBasesWithTheirOwnCountsAndWithinTheLimits)
{
    int divided = 0;
    for (int n = cases(200, 20000); n > 0; --n) {
        const matrix3 D = randombasis(random);
        setnoisyreflections(D);
        setrandomlimits(std::fabs(deter(D)));
        modofsavedbases.numberofsavedbases = 0;
        for (int m = 0; m < 30; ++m) {
            matrix3 M = multipleof(D);
            const double before = std::fabs(deter(M));
            indexcounts counts;
            double quality = 0.0;
            basisquality(M, counts, quality);
            savethebasis(M, counts, quality);
            divided += std::fabs(deter(M)) < 0.9 * before;
            ASSERT_NO_FATAL_FAILURE(expecttrueslots()) << n << " stores to go";
        }
    }
    EXPECT_GT(divided, 100);
}

TEST_F(StoreInARun, IsOnlyImprovedByTheFinalRefitAndHoldsNoLatticeTwiceAfterTheFinalCheck)
{
    int improved = 0;
    for (int n = cases(200, 20000); n > 0; --n) {
        const matrix3 D = randombasis(random);
        setnoisyreflections(D);
        modofsavedbases.numberofsavedbases = 0;
        for (int m = 0; m < 30; ++m) {
            matrix3 M = multipleof(D);
            indexcounts counts;
            double quality = 0.0;
            basisquality(M, counts, quality);
            savethebasis(M, counts, quality);
        }
        const auto before = qualitiesinorder();
        sortsavedbases3(random.whole(0, 1));
        const auto after = qualitiesinorder();
        ASSERT_EQ(before.size(), after.size());
        for (std::size_t k = 0; k < before.size(); ++k) ASSERT_GE(after[k], before[k]);
        improved += before != after;
        finalcheckofsimilarity();
        ASSERT_NO_FATAL_FAILURE(expecttrueslots()) << n << " stores to go";
        const auto& store = modofsavedbases;
        for (int k = 2; k <= store.numberofsavedbases; ++k)
            for (int l = 1; l < k; ++l)
                ASSERT_FALSE(samelattice(store.savedbases(k), inverseof(store.savedbases(l))));
    }
    EXPECT_GT(improved, 50);
}

} // namespace

} // namespace torvik
