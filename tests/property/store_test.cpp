#include "property/randomlattices.h"
#include "store/finalcheck.h"
#include "store/savedbases.h"
#include "superlattices/hermite.h"
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
    for (int n = 0; n < 1000; ++n) {
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
    for (const int manylattices : {1, 5, 100, 128, 129, lotsoflattices}) {
        modofsavedbases.numberofsavedbases = 0;
        plainstore plain;
        for (int n = 0; n < 800; ++n) {
            const offer o = randomoffer(manylattices);
            offerlattice(o);
            plain.take(o);
            ASSERT_EQ(held(), plain.held) << "offer " << n << " of " << manylattices;
        }
        expectconsistent();
        ASSERT_EQ(modofsavedbases.numberofsavedbases, std::min(manylattices, 128));
    }
}

TEST_F(Store, NeverGivesUpTheBestOffer)
{
    double best = 0.0;
    for (int n = 0; n < 2000; ++n) {
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
    for (int n = 0; n < 50; ++n) {
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
    for (int n = 0; n < 50; ++n) {
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
    for (int n = 0; n < 100; ++n) {
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

} // namespace

} // namespace torvik
