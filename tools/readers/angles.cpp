// Lists of four-circle angles, of a Eulerian cradle or a kappa goniometer, in named columns.
#include "base/failure.h"
#include "base/table.h"
#include "readers/columns.h"
#include "readers/kinds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// All in degrees. Omega, phi and, at chi 0, both together turn in the same sense; in the bisecting
// position omega is theta. There the vector is that of the program:
// r (-cos chi sin phi, cos chi cos phi, sin chi). Elsewhere it is turned on by omega - theta, which
// three angles cannot say: then vectors are given.

namespace torvik::tools {

namespace {

constexpr double bisecting = 0.01; // degrees: a vector is off by less than 2/10000 of its length

struct columns {
    std::optional<std::size_t> theta;
    std::optional<std::size_t> twotheta;
    std::optional<std::size_t> omega;
    std::size_t phi = 0;
    std::size_t chi = 0; // or kappa
    bool kappa = false;
    std::optional<std::size_t> intensity;
    std::array<std::optional<std::size_t>, 3> hkl;
};

// A setting: on a kappa goniometer as that of the Eulerian cradle which holds the crystal the same.
struct setting {
    double theta = 0.0;
    double omega = 0.0;
    double phi = 0.0;
    double chi = 0.0;
    double delta = 0.0; // by which omega and phi of the kappa goniometer were shifted
    double rawphi = 0.0;
    double rawchi = 0.0; // chi or kappa as given
};

columns columnsin(const columntable& table)
{
    columns found;
    found.theta = table.column({"theta", "th", "bragg"});
    found.twotheta = table.column(
        {"2theta", "twotheta", "two-theta", "2-theta", "2_theta", "tth", "2th", "ttheta"});
    found.omega = table.column({"omega", "om", "w"});
    const auto phi = table.column({"phi", "ph"});
    const auto chi = table.column({"chi"});
    const auto kappa = table.column({"kappa", "kap", "k_axis"});
    const auto fail = [&](const std::string& what) {
        table.source().fail(table.headline(), 0, what);
    };
    if (!phi || (!chi && !kappa)) fail("expected columns phi and chi, or phi and kappa");
    if (chi && kappa) fail("expected a column chi or a column kappa, not both");
    found.kappa = kappa.has_value();
    found.phi = *phi;
    found.chi = found.kappa ? *kappa : *chi;
    if (!found.kappa && !found.theta && !found.twotheta) fail("expected a column theta or 2theta");
    if (found.kappa && found.theta && !found.twotheta && !found.omega)
        fail("whether theta is the angle of reflection or the setting of the omega circle is not "
             "clear; name the column 2theta or omega");
    if (found.kappa && !found.theta && !found.twotheta && !found.omega)
        fail("expected a column omega or 2theta");
    found.intensity = table.column({"intensity", "int", "i", "counts"});
    found.hkl = {table.column({"h"}), table.column({"k"}), table.column({"l"})};
    return found;
}

// The number that stands behind a word in a comment: "wavelength = 0.71073 A".
std::optional<double> numberbehind(const std::vector<std::string>& comments, std::string_view word)
{
    for (const std::string& comment : comments) {
        const std::size_t at = lowered(comment).find(word);
        if (at == std::string::npos) continue;
        for (const item& one : itemsof(std::string_view(comment).substr(at), " \t=:,;"))
            if (const auto value = numberin(one.text); value && std::isfinite(*value)) return value;
    }
    return std::nullopt;
}

class anglesreading {
public:
    anglesreading(const textfile& source, const readeroptions& options)
        : table_(source), where_(columnsin(table_))
    {
        wavelength_ =
            options.wavelength ? options.wavelength : numberbehind(table_.comments(), "wavelength");
        if (!wavelength_)
            source.fail(0, 0,
                        "angles need the wavelength: give it by --wavelength, or in a comment "
                        "like '# wavelength 0.71073'");
        if (*wavelength_ <= 0.0) source.fail(0, 0, "expected a wavelength above 0");
        if (!where_.kappa) return;
        const auto given =
            options.kappaangle ? options.kappaangle : numberbehind(table_.comments(), "kappa axis");
        kappaangle_ = given.value_or(defaultkappaangle);
        if (!given) notes_.push_back("The kappa axis is taken to be inclined by 50 degrees.");
    }

    measurement read()
    {
        for (const auto& row : table_.rows()) settings_.push_back(settingof(row));
        refuseomegaofzero();
        const bool kept = std::all_of(settings_.begin(), settings_.end(), [](const setting& one) {
            return std::fabs(std::remainder(one.omega - one.theta, 360.0)) <= bisecting;
        });
        measurement measured;
        measured.kind = !kept          ? listkind::vectors
                        : where_.kappa ? listkind::thetaphikappa
                                       : listkind::thetaphichi;
        for (std::size_t i = 0; i < settings_.size(); ++i)
            measured.spots.push_back(spotof(i, measured.kind));
        if (!kept)
            notes_.emplace_back("Not all settings are bisecting (omega = theta): the angles are "
                                "turned into vectors.");
        if (!where_.omega) notes_.emplace_back("All settings are taken to be bisecting.");
        if (where_.kappa && kept)
            notes_.emplace_back("The first angle of each reflection is the setting of the omega "
                                "circle.");
        measured.notes = std::move(notes_);
        measured.wavelength = wavelength_;
        if (where_.kappa) measured.kappaangle = kappaangle_;
        measured.frame = "The frame is that of the diffractometer with all circles at zero.";
        return measured;
    }

private:
    [[nodiscard]] setting settingof(const columntable::row& row) const
    {
        setting one;
        one.rawphi = table_.number(row, where_.phi);
        one.rawchi = table_.number(row, where_.chi);
        one.phi = one.rawphi;
        one.chi = one.rawchi;
        if (where_.kappa) {
            const eulerianshift shift = eulerianof(one.rawchi, kappaangle_);
            one.chi = shift.chi;
            one.delta = shift.delta;
            one.phi += shift.delta;
        }
        const std::optional<double> omega =
            where_.omega ? std::optional(table_.number(row, *where_.omega) + one.delta)
                         : std::nullopt;
        if (where_.twotheta)
            one.theta = table_.number(row, *where_.twotheta) / 2.0;
        else if (where_.theta)
            one.theta = table_.number(row, *where_.theta);
        else
            one.theta = omega.value(); // of a kappa goniometer in bisecting position
        one.omega = omega.value_or(one.theta);
        constexpr double widest = 90.0;
        if (std::fabs(one.theta) > widest && (where_.theta || where_.twotheta))
            table_.source().fail(row.line, 0,
                                 "expected a theta of at most 90 degrees, found "
                                     + fixed(one.theta, 2));
        return one;
    }

    // Some count omega from the bisecting position.
    void refuseomegaofzero() const
    {
        if (!where_.omega || where_.kappa) return;
        const auto none = [](double angle) { return std::fabs(angle) <= bisecting; };
        const bool suspicious =
            std::all_of(settings_.begin(), settings_.end(),
                        [&](const setting& one) { return none(one.omega); })
            && std::any_of(settings_.begin(), settings_.end(),
                           [&](const setting& one) { return !none(one.theta); });
        if (suspicious)
            table_.source().fail(table_.headline(), 0,
                                 "omega is 0 throughout: if it is counted from the bisecting "
                                 "position, leave that column out");
    }

    [[nodiscard]] spot spotof(std::size_t i, listkind kind) const
    {
        const setting& of = settings_[i];
        const columntable::row& row = table_.rows()[i];
        spot one;
        if (kind == listkind::vectors)
            one.value = vectorat(of);
        else
            one.value = {of.theta - of.delta, of.rawphi, of.rawchi};
        if (where_.intensity) one.intensity = table_.number(row, *where_.intensity);
        const auto& [h, k, l] = where_.hkl;
        if (h && k && l) one.hkl = table_.indices(row, {*h, *k, *l});
        one.where = "line " + std::to_string(row.line);
        return one;
    }

    // Phi, chi and omega - theta undone in turn, for a vector that lies along y when it reflects.
    [[nodiscard]] std::array<double, 3> vectorat(const setting& of) const
    {
        const double r = 2.0 * std::sin(gemmi::rad(of.theta)) / *wavelength_;
        const double off = gemmi::rad(of.omega - of.theta);
        const double chi = gemmi::rad(of.chi);
        const double phi = gemmi::rad(of.phi);
        const double x = -r * std::sin(off);
        const double y = r * std::cos(off) * std::cos(chi);
        const double z = r * std::cos(off) * std::sin(chi);
        return {x * std::cos(phi) - y * std::sin(phi), x * std::sin(phi) + y * std::cos(phi), z};
    }

    columntable table_;
    columns where_;
    std::optional<double> wavelength_;
    double kappaangle_ = defaultkappaangle;
    std::vector<setting> settings_;
    std::vector<std::string> notes_;
};

} // namespace

bool looksangles(std::string_view start, const std::filesystem::path& path)
{
    (void)path;
    return namescolumns(start, {{"phi", "chi"}, {"phi", "kappa"}});
}

measurement readangles(const textfile& source, const readeroptions& options)
{
    return anglesreading(source, options).read();
}

} // namespace torvik::tools
