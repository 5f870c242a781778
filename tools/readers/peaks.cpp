// ISAW's lists of peaks from time-of-flight Laue diffraction of neutrons.
#include "base/failure.h"
#include "readers/kinds.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

// Each line begins with a number that says what it is: 0 names the values of line 1, the run, its
// detector and the setting of the goniometer; 2 names those of the lines 3, the peaks.

namespace torvik::tools {

namespace {

matrix3 aroundvertical(double angle) // y, right-handed
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, 0.0, s, 0.0, 1.0, 0.0, -s, 0.0, c};
}

matrix3 aroundbeam(double angle) // z, right-handed
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c, -s, 0.0, s, c, 0.0, 0.0, 0.0, 1.0};
}

// Names of columns, and the numbers of a line by these names.
class namedline {
public:
    void name(std::string_view line, std::size_t number)
    {
        names_.clear();
        for (const item& one : itemsof(line)) names_.push_back(lowered(one.text));
        headline_ = number;
    }
    void set(const textfile& source, std::size_t number)
    {
        items_ = itemsof(source.line(number));
        if (headline_ == 0)
            source.fail(number, 0, "expected a line with the names of these columns before");
        if (items_.size() != names_.size())
            source.fail(number, 0,
                        "expected " + std::to_string(names_.size()) + " columns, as line "
                            + std::to_string(headline_) + " names, found "
                            + std::to_string(items_.size()));
        number_ = number;
    }
    [[nodiscard]] bool has(std::string_view column) const
    {
        return std::find(names_.begin(), names_.end(), column) != names_.end();
    }
    [[nodiscard]] const item& at(const textfile& source, std::string_view column) const
    {
        const auto found = std::find(names_.begin(), names_.end(), column);
        if (found == names_.end())
            source.fail(headline_, 0, "expected a column " + std::string(column));
        return items_[static_cast<std::size_t>(found - names_.begin())];
    }
    [[nodiscard]] double value(const textfile& source, std::string_view column) const
    {
        return source.number(at(source, column), number_, "a number");
    }
    [[nodiscard]] int whole(const textfile& source, std::string_view column) const
    {
        return source.whole(at(source, column), number_, "an index");
    }

private:
    std::vector<std::string> names_;
    std::vector<item> items_;
    std::size_t headline_ = 0;
    std::size_t number_ = 0;
};

class peaksreading {
public:
    explicit peaksreading(const textfile& source) : source_(source) {}

    measurement read()
    {
        for (std::size_t i = 1; i <= source_.lines(); ++i) {
            const std::vector<item> items = itemsof(source_.line(i));
            if (items.empty()) continue;
            const std::optional<int> kind = wholein(items[0].text);
            if (!kind) continue; // the version
            switch (*kind) {
            case 0: run_.name(source_.line(i), i); break;
            case 1: setrun(i); break;
            case 2: peak_.name(source_.line(i), i); break;
            case 3: addpeak(i); break;
            default: break; // detectors and flight paths: the peaks hold what is needed of them
            }
        }
        if (measured_.spots.empty())
            source_.fail(0, 0, "expected lines that begin with 3: the file has no peaks");
        takeintensities();
        measured_.frame = "z is along the beam and y upward, with all circles of the goniometer at "
                          "zero.";
        return std::move(measured_);
    }

private:
    void setrun(std::size_t line)
    {
        run_.set(source_, line);
        const double chi = gemmi::rad(run_.value(source_, "chi"));
        const double phi = gemmi::rad(run_.value(source_, "phi"));
        const double omega = gemmi::rad(run_.value(source_, "omega"));
        // The setting turns the crystal by phi, then chi, then omega: its inverse takes a vector of
        // the laboratory to the crystal.
        tocrystal_ =
            aroundvertical(-phi).multiply(aroundbeam(-chi)).multiply(aroundvertical(-omega));
        hasrun_ = true;
    }

    void addpeak(std::size_t line)
    {
        if (!hasrun_) source_.fail(line, 0, "expected the run of this peak before it, in a line 1");
        peak_.set(source_, line);
        const double twotheta = peak_.value(source_, "2_theta");
        const double azimuth = peak_.value(source_, "az");
        const double wavelength = peak_.value(source_, "wl");
        if (wavelength <= 0.0) source_.fail(line, 0, "expected a wavelength above 0");
        checkspacing(line, twotheta, wavelength);
        const vector3 scattered = {std::sin(twotheta) * std::cos(azimuth),
                                   std::sin(twotheta) * std::sin(azimuth), std::cos(twotheta)};
        const vector3 beam = {0.0, 0.0, 1.0};
        const vector3 vector = tocrystal_.multiply((scattered - beam) / wavelength);
        spot one;
        one.value = {vector.x, vector.y, vector.z};
        takeindices(one);
        one.where = "line " + std::to_string(line);
        measured_.spots.push_back(one);
        integrated_.push_back(peak_.has("inti") ? peak_.value(source_, "inti") : 0.0);
        counts_.push_back(peak_.has("ipk") ? peak_.value(source_, "ipk") : 0.0);
    }

    // The spacing that the file gives tells whether the angle is in radians, as it should be.
    void checkspacing(std::size_t line, double twotheta, double wavelength) const
    {
        if (!peak_.has("d")) return;
        const double d = peak_.value(source_, "d");
        constexpr double tolerance = 0.02;
        const double reciprocal = 2.0 * std::fabs(std::sin(twotheta / 2.0)) / wavelength;
        if (d > 0.0 && std::fabs(reciprocal * d - 1.0) > tolerance)
            source_.fail(line, 0,
                         "expected 2_THETA in radians and WL in angstroms that agree with D");
    }

    void takeindices(spot& one) const
    {
        if (!peak_.has("h") || !peak_.has("k") || !peak_.has("l")) return;
        std::array<int, 3> hkl = {peak_.whole(source_, "h"), peak_.whole(source_, "k"),
                                  peak_.whole(source_, "l")};
        if (hkl != std::array<int, 3>{0, 0, 0}) one.hkl = hkl; // zeros: not indexed
    }

    // Integrated intensities, or, before integration, the counts at the peaks.
    void takeintensities()
    {
        const auto known = [](const std::vector<double>& values) {
            return std::any_of(values.begin(), values.end(), [](double one) { return one != 0.0; });
        };
        if (!known(integrated_) && !known(counts_)) return;
        const std::vector<double>& taken = known(integrated_) ? integrated_ : counts_;
        for (std::size_t i = 0; i < taken.size(); ++i) measured_.spots[i].intensity = taken[i];
    }

    const textfile& source_;
    measurement measured_;
    namedline run_;
    namedline peak_;
    bool hasrun_ = false;
    matrix3 tocrystal_;
    std::vector<double> integrated_;
    std::vector<double> counts_;
};

bool haspeaks(std::string_view start)
{
    for (const std::string_view name : {"SEQN", "2_THETA", "NRUN"})
        if (start.find(name) == std::string_view::npos) return false;
    return true;
}

} // namespace

bool lookspeaks(std::string_view start, const std::filesystem::path& path)
{
    (void)path;
    return haspeaks(start);
}

bool looksintegrate(std::string_view start, const std::filesystem::path& path)
{
    return path.extension() == ".integrate" && haspeaks(start);
}

measurement readpeaks(const textfile& source, const readeroptions& options)
{
    (void)options; // each peak has its own wavelength
    return peaksreading(source).read();
}

} // namespace torvik::tools
