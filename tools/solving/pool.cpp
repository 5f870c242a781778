#include "solving/pool.h"

#include "solver/lattice/relations.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace torvik::tools {

namespace {

constexpr std::size_t kept = 24;       // lattices
constexpr int relatives[] = {2, 3, 5}; // indices: of 4, 6 and more one comes by two steps
constexpr double sametolerance = 0.15;

bool takenforone(const matrix3& D, const matrix3& E)
{
    const double ratio = std::fabs(D.determinant() / E.determinant());
    constexpr double nearly = 1.3;
    if (!(ratio < nearly && ratio > 1.0 / nearly)) return false;
    return same_lattice(D, E, sametolerance);
}

std::vector<matrix3> stepsaside()
{
    std::vector<matrix3> found;
    for (const int index : relatives)
        for (const auto& forms : {hermite_forms(index), finer_forms(index)})
            found.insert(found.end(), forms.begin(), forms.end());
    return found;
}

} // namespace

void pool::insert(const assessment& one)
{
    if (!std::isfinite(one.evidence)) return;
    if (lattices_.size() == kept && one.evidence <= lattices_.back().evidence) return;
    for (std::size_t i = 0; i < lattices_.size(); ++i) {
        if (!takenforone(lattices_[i].basis, one.basis)) continue;
        if (one.evidence <= lattices_[i].evidence) return;
        // The same, refined a little better.
        lattices_.erase(lattices_.begin() + static_cast<std::ptrdiff_t>(i));
        explored_.erase(explored_.begin() + static_cast<std::ptrdiff_t>(i));
        break;
    }
    const auto place =
        std::find_if(lattices_.begin(), lattices_.end(),
                     [&](const assessment& other) { return other.evidence < one.evidence; });
    explored_.insert(explored_.begin() + (place - lattices_.begin()), false);
    lattices_.insert(place, one);
    if (lattices_.size() <= kept) return;
    lattices_.pop_back();
    explored_.pop_back();
}

// The evidence below which a lattice has no place here.
double pool::worthwhile() const
{
    return lattices_.size() < kept ? -std::numeric_limits<double>::infinity()
                                   : lattices_.back().evidence;
}

void pool::add(const std::vector<matrix3>& bases)
{
    for (const matrix3& basis : bases) insert(assess(vectors_, basis, worthwhile()));
}

void pool::explore()
{
    static const std::vector<matrix3> steps = stepsaside();
    constexpr int mostrounds = 24;
    for (int round = 0; round < mostrounds; ++round) {
        const auto next = std::find(explored_.begin(), explored_.end(), false);
        if (next == explored_.end()) return;
        *next = true;
        const matrix3 start = lattices_[static_cast<std::size_t>(next - explored_.begin())].basis;
        for (const matrix3& T : steps) insert(assess(vectors_, T.multiply(start), worthwhile()));
    }
}

double pool::best() const
{
    return lattices_.empty() ? -std::numeric_limits<double>::infinity() : lattices_[0].evidence;
}

double pool::lead() const
{
    return lattices_.size() < 2 ? std::numeric_limits<double>::infinity()
                                : lattices_[0].evidence - lattices_[1].evidence;
}

} // namespace torvik::tools
