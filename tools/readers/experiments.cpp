#include "readers/experiments.h"

#include "base/failure.h"
#include "base/jsontext.h"
#include "readers/rotation.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>

namespace torvik::tools {

namespace {

using nlohmann::json;

// Where a plane hangs: a point of it and its axes, in the frame of what it hangs on.
struct frame {
    vector3 origin;
    vector3 fast = {1.0, 0.0, 0.0};
    vector3 slow = {0.0, 1.0, 0.0};
};

frame within(const frame& outer, const frame& inner)
{
    const vector3 normal = outer.fast.cross(outer.slow);
    const auto turned = [&](const vector3& x) {
        return outer.fast * x.x + outer.slow * x.y + normal * x.z;
    };
    return {outer.origin + turned(inner.origin), turned(inner.fast), turned(inner.slow)};
}

class experimentsreader {
public:
    explicit experimentsreader(const textfile& source) : source_(source), file_(jsonin(source)) {}

    dialsinstrument read()
    {
        const json& list = member(file_, "experiment", "the file");
        if (!list.is_array() || list.empty() || !list[0].is_object())
            fail("a list of experiments in 'experiment'");
        dialsinstrument one;
        readbeam(one, part(list[0], "beam", true));
        readdetector(one, part(list[0], "detector", true));
        readgoniometer(one, part(list[0], "goniometer", false));
        readscan(one, part(list[0], "scan", false));
        one.imageset = numberof(list[0], "imageset");
        for (const json& other : list) one.sharing.push_back(shares(list[0], other));
        return one;
    }

private:
    [[noreturn]] void fail(const std::string& what) const
    {
        source_.fail(0, 0, "expected " + what);
    }

    [[nodiscard]] const json& member(const json& whole, const char* name,
                                     const std::string& of) const
    {
        if (!whole.is_object() || !whole.contains(name))
            fail(std::string("'") + name + "' in " + of);
        return whole.at(name);
    }

    // The number by which an experiment names a part of its instrument; -1 if it names none.
    [[nodiscard]] static int numberof(const json& experiment, const char* name)
    {
        if (!experiment.is_object() || !experiment.contains(name)) return -1;
        const json& value = experiment.at(name);
        constexpr int most = 1'000'000;
        if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) return -1;
        return value.get<int>();
    }

    [[nodiscard]] static bool shares(const json& first, const json& other)
    {
        constexpr std::array parts = {"beam", "detector", "goniometer", "scan"};
        return std::all_of(parts.begin(), parts.end(), [&](const char* name) {
            return numberof(first, name) == numberof(other, name);
        });
    }

    [[nodiscard]] const json* part(const json& experiment, const char* name, bool needed) const
    {
        const int number = numberof(experiment, name);
        if (number >= 0) {
            const json& parts = member(file_, name, "the file");
            if (parts.is_array() && static_cast<std::size_t>(number) < parts.size())
                return &parts.at(static_cast<std::size_t>(number));
        }
        if (needed || number >= 0) fail(std::string("the first experiment to have a ") + name);
        return nullptr;
    }

    [[nodiscard]] double number(const json& value, const std::string& what) const
    {
        if (!value.is_number() || !std::isfinite(value.get<double>())) fail(what);
        return value.get<double>();
    }

    [[nodiscard]] double number(const json& whole, const char* name, double otherwise) const
    {
        if (!whole.is_object() || !whole.contains(name) || whole.at(name).is_null())
            return otherwise;
        return number(whole.at(name), std::string("a number in '") + name + "'");
    }

    [[nodiscard]] std::vector<double> numbers(const json& value, std::size_t count,
                                              const std::string& where) const
    {
        const std::string what = std::to_string(count) + " numbers in '" + where + "'";
        if (!value.is_array() || value.size() != count) fail(what);
        std::vector<double> result;
        for (const json& one : value) result.push_back(number(one, what));
        return result;
    }

    [[nodiscard]] vector3 vectorin(const json& whole, const char* name) const
    {
        const std::vector<double> x = numbers(member(whole, name, "the instrument"), 3, name);
        return {x[0], x[1], x[2]};
    }

    [[nodiscard]] vector3 direction(const vector3& x, const char* name) const
    {
        const double length = std::hypot(x.x, x.y, x.z);
        constexpr double least = 1e-6;
        if (!(length > least) || !std::isfinite(length))
            fail(std::string("a direction in '") + name + "'");
        return x / length;
    }

    [[nodiscard]] matrix3 rotation(const json& whole, const char* name) const
    {
        if (!whole.contains(name)) return {};
        const std::vector<double> x = numbers(whole.at(name), 9, name);
        const matrix3 R(x[0], x[1], x[2], x[3], x[4], x[5], x[6], x[7], x[8]);
        constexpr double tolerance = 1e-3;
        if (!R.multiply(R.transpose()).approx(matrix3(), tolerance))
            fail(std::string("a rotation in '") + name + "'");
        return R;
    }

    // The file has the direction from the crystal to the source.
    void readbeam(dialsinstrument& one, const json* beam) const
    {
        one.beam = -direction(vectorin(*beam, "direction"), "direction");
        if (!beam->contains("wavelength")) return;
        const double wavelength = number(*beam, "wavelength", 0.0);
        if (wavelength <= 0.0) fail("a positive number in 'wavelength'");
        one.wavelength = wavelength;
    }

    [[nodiscard]] frame frameof(const json& plane) const
    {
        frame one;
        one.origin = vectorin(plane, "origin");
        one.fast = direction(vectorin(plane, "fast_axis"), "fast_axis");
        one.slow = direction(vectorin(plane, "slow_axis"), "slow_axis");
        constexpr double nearlyparallel = 0.5; // sine of the angle between the axes
        if (one.fast.cross(one.slow).length() < nearlyparallel)
            fail("'fast_axis' and 'slow_axis' at right angles");
        return one;
    }

    // Panels hang on a tree of planes, each given in the frame of the one above; without a tree, in
    // the laboratory.
    void readdetector(dialsinstrument& one, const json* detector) const
    {
        const json& panels = member(*detector, "panels", "the detector");
        if (!panels.is_array() || panels.empty()) fail("panels in 'panels'");
        for (const json& panel : panels) one.panels.push_back(panelof(panel));
        if (!detector->contains("hierarchy") || !detector->at("hierarchy").is_object()) return;
        std::vector<bool> hung(one.panels.size(), false);
        constexpr int deepest = 100;
        hang(one, detector->at("hierarchy"), frame(), hung, deepest);
    }

    [[nodiscard]] detectorpanel panelof(const json& panel) const
    {
        const frame place = frameof(panel);
        detectorpanel one;
        one.origin = place.origin;
        one.fast = place.fast;
        one.slow = place.slow;
        const std::vector<double> size =
            numbers(member(panel, "pixel_size", "a panel"), 2, "pixel_size");
        one.fastsize = size[0];
        one.slowsize = size[1];
        const json strategy = panel.value("px_mm_strategy", json::object());
        if (strategy.is_object() && strategy.contains("type")
            && strategy.at("type") == "ParallaxCorrectedPxMmStrategy") {
            one.attenuation = number(panel, "mu", 0.0);
            one.thickness = number(panel, "thickness", 0.0);
        }
        return one;
    }

    void hang(dialsinstrument& one, const json& node, const frame& above, std::vector<bool>& hung,
              int deepest) const
    {
        if (deepest == 0) fail("a detector of fewer levels");
        const frame here = within(above, frameof(node));
        const json& children = member(node, "children", "the detector's hierarchy");
        if (!children.is_array()) fail("a list in 'children'");
        for (const json& child : children) {
            if (!child.is_object() || !child.contains("panel")) {
                hang(one, child, here, hung, deepest - 1);
                continue;
            }
            const int number = numberof(child, "panel");
            if (number < 0 || static_cast<std::size_t>(number) >= hung.size()
                || hung[static_cast<std::size_t>(number)])
                fail("each panel once in the detector's hierarchy");
            hung[static_cast<std::size_t>(number)] = true;
            detectorpanel& panel = one.panels[static_cast<std::size_t>(number)];
            const frame place = within(here, {panel.origin, panel.fast, panel.slow});
            panel.origin = place.origin;
            panel.fast = place.fast;
            panel.slow = place.slow;
        }
    }

    // One axis, or several, the innermost first: those before the one that is scanned make the fixed
    // rotation, those behind it the setting.
    void readgoniometer(dialsinstrument& one, const json* goniometer) const
    {
        one.rotation.axis = {1.0, 0.0, 0.0};
        if (goniometer == nullptr || !goniometer->is_object()) return;
        if (!goniometer->contains("axes")) {
            one.rotation.axis = direction(vectorin(*goniometer, "rotation_axis"), "rotation_axis");
            one.rotation.fixed = rotation(*goniometer, "fixed_rotation");
            one.rotation.setting = rotation(*goniometer, "setting_rotation");
            return;
        }
        const json& axes = goniometer->at("axes");
        if (!axes.is_array()) fail("a list in 'axes'");
        const std::vector<double> angles =
            numbers(member(*goniometer, "angles", "the goniometer"), axes.size(), "angles");
        const int scanned = numberof(*goniometer, "scan_axis");
        if (scanned < 0 || static_cast<std::size_t>(scanned) >= axes.size())
            fail("the number of an axis in 'scan_axis'");
        for (std::size_t i = 0; i < axes.size(); ++i) {
            const std::vector<double> x = numbers(axes[i], 3, "axes");
            const vector3 axis = direction({x[0], x[1], x[2]}, "axes");
            if (i == static_cast<std::size_t>(scanned)) {
                one.rotation.axis = axis;
                continue;
            }
            matrix3& whole =
                i < static_cast<std::size_t>(scanned) ? one.rotation.fixed : one.rotation.setting;
            whole = turn(axis, angles[i]).multiply(whole);
        }
    }

    [[nodiscard]] static matrix3 turn(const vector3& axis, double degrees)
    {
        return from_rows(rotated({1.0, 0.0, 0.0}, axis, degrees),
                         rotated({0.0, 1.0, 0.0}, axis, degrees),
                         rotated({0.0, 0.0, 1.0}, axis, degrees))
            .transpose();
    }

    // The oscillation is the angle at the start of the first image and the width of one; in newer
    // files, the angle at the start of every image.
    void readscan(dialsinstrument& one, const json* scan) const
    {
        if (scan == nullptr || !scan->is_object()) return;
        const std::vector<double> range =
            numbers(member(*scan, "image_range", "the scan"), 2, "image_range");
        one.rotation.firstframe = range[0] - 1.0; // frames count from 0 in the table
        if (scan->contains("oscillation")) {
            const std::vector<double> start = numbers(scan->at("oscillation"), 2, "oscillation");
            one.rotation.firstangle = start[0];
            one.rotation.framewidth = start[1];
            one.rotation.still = false;
            return;
        }
        const json& properties = member(*scan, "properties", "the scan");
        if (!properties.is_object() || !properties.contains("oscillation")) return;
        const json& angles = properties.at("oscillation");
        if (!angles.is_array() || angles.empty()) fail("angles in 'oscillation'");
        one.rotation.firstangle = number(angles[0], "angles in 'oscillation'");
        if (angles.size() > 1)
            one.rotation.framewidth =
                number(angles[1], "angles in 'oscillation'") - one.rotation.firstangle;
        else if (properties.contains("oscillation_width"))
            one.rotation.framewidth =
                numbers(properties.at("oscillation_width"), 1, "oscillation_width")[0];
        one.rotation.still = false;
    }

    const textfile& source_;
    json file_;
};

} // namespace

dialsinstrument readexperiments(const textfile& source)
{
    return experimentsreader(source).read();
}

} // namespace torvik::tools
