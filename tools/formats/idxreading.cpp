// Reads an input file as the program does: the same free form, the same checks in the same order.
#include "base/failure.h"
#include "formats/idxfile.h"
#include "text/freeform.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <utility>

namespace torvik::tools {

namespace {

constexpr int mostreflections = 999;
constexpr int fewestreflections = 4;
constexpr std::size_t mostvolumes = 350;
constexpr double smallestminvolume = 1.1920928955078125e-07;
constexpr double smallestvolume = 1.1920928955078125e-05;
constexpr double smallestweights = 2.220446049250313e-16;

// What a file can set, with the program's defaults: a null value keeps what was set before.
struct settings {
    double kappaangle = defaultkappaangle;
    double wavelength = defaultwavelength;
    int log = 0;
    int extent = 2;
    double fraction = 0.5;
    int millerindex = 100;
    int savedbases = 16;
    std::array<double, 2> volumes = {smallestminvolume, 3.4028234663852886e+38};
    int lepage = 0;
    int sorting = 0;
    double criterion = 0.12;
    int periodogram = 0;
    std::array<double, 2> weights = {0.3, 0.7};
    int testvolumes = 0;
    std::array<double, mostvolumes> reciprocals = {}; // of the test volumes
    bool uservolumes = false;
    int reflections = 0;
};

// The shortest text that is read back as the same number; beyond a double's range as the program
// reads such a number again.
std::string shortest(double value)
{
    if (std::isinf(value)) return value > 0.0 ? "1e999" : "-1e999";
    char text[32];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return {text, error == std::errc{} ? end : text};
}

std::string shortest(int value)
{
    return std::to_string(value);
}

// The program does not see a byte order mark either.
std::string_view withoutmark(std::string_view text)
{
    constexpr std::string_view byteordermark = "\xEF\xBB\xBF";
    if (text.starts_with(byteordermark)) text.remove_prefix(byteordermark.size());
    return text;
}

// Lines of the text as free form has them: each ends with a line feed.
class linenumbers {
public:
    explicit linenumbers(std::string_view text) : text_(text), starts_{0}
    {
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] == '\n') starts_.push_back(i + 1);
    }
    // The line that holds the character at a position, from 1.
    [[nodiscard]] std::size_t at(std::size_t position) const
    {
        const auto next = std::upper_bound(starts_.begin(), starts_.end(), position);
        return static_cast<std::size_t>(next - starts_.begin());
    }
    [[nodiscard]] std::string_view line(std::size_t number) const
    {
        const std::size_t start = starts_[number - 1];
        return text_.substr(start, text_.find('\n', start) - start);
    }

private:
    std::string_view text_;
    std::vector<std::size_t> starts_;
};

class reading {
public:
    explicit reading(const textfile& source)
        : file_(source), source_{std::string(withoutmark(source.text()))},
          lines_(withoutmark(source.text()))
    {
    }

    idxfile read()
    {
        while (!onlyblanksleft(source_)) {
            start_ = source_.position;
            std::string first;
            const int status = readword(source_, first);
            if (status != readdone) failword(status);
            if (first.starts_with('_')) readkeyword();
            if (first.starts_with('#')) keepcomment();
        }
        finish();
        return std::move(result_);
    }

private:
    [[nodiscard]] std::size_t lineread() const // the last line that a read has touched
    {
        return lines_.at(source_.position > start_ ? source_.position - 1 : start_);
    }

    [[noreturn]] void failword(int status) const
    {
        if (status == readended)
            file_.fail(lines_.at(start_), 0, "a quote is opened and never closed");
        file_.fail(lineread(), 0, "expected a repeat count from 1 to 2147483647 before the '*'");
    }

    // The first item of the line that a read has failed on which is not of its kind.
    [[noreturn]] void failvalues(int status, const std::string& what, bool whole) const
    {
        if (status == readended) file_.fail(0, 0, "the file ends before " + what);
        const std::size_t line = lineread();
        for (const item& one : itemsof(lines_.line(line), " \t\r,")) {
            const bool good =
                whole ? wholein(one.text).has_value() : numberin(one.text).has_value();
            if (good || one.text.find('*') != std::string_view::npos) continue;
            file_.fail(line, one.column,
                       "expected " + what + ", found '" + std::string(one.text.substr(0, 40))
                           + "'");
        }
        file_.fail(line, 0, "expected " + what);
    }

    void refuse(bool condition, const std::string& what) const
    {
        if (condition) file_.fail(lineread(), 0, name_ + " " + what);
    }

    int one(int value)
    {
        const int status = readinteger(source_, value);
        if (status != readdone) failvalues(status, "a whole number for " + name_, true);
        return value;
    }

    double one(double value)
    {
        const int status = readreals(source_, {&value, 1});
        if (status != readdone) failvalues(status, "a number for " + name_, false);
        return value;
    }

    std::array<double, 2> two(std::array<double, 2> values)
    {
        const int status = readreals(source_, values);
        if (status != readdone) failvalues(status, "two numbers for " + name_, false);
        return values;
    }

    // Keeps a keyword, in place of what it said before.
    void keep(const std::string& values)
    {
        std::erase_if(result_.keywords, [&](const keyword& old) { return old.name == name_; });
        result_.keywords.push_back({name_, values});
    }

    void readwhole(int& value, int least, int most)
    {
        const int given = one(value);
        const std::string range = std::to_string(least) + " to " + std::to_string(most);
        refuse(given < least || given > most,
               "is " + std::to_string(given) + "; the program takes " + range);
        value = given;
        keep(shortest(value));
    }

    void readreal(double& value, double least, double most)
    {
        const double given = one(value);
        refuse(given > most || given < least, "is " + shortest(given) + "; the program takes "
                                                  + shortest(least) + " to " + shortest(most));
        value = given;
        keep(shortest(value));
    }

    void readwavelength()
    {
        constexpr double longest = 99999999.0;
        const double given = one(set_.wavelength);
        refuse(given > longest || given <= 0.0,
               "is " + shortest(given) + "; the program takes numbers above 0, up to 99999999");
        set_.wavelength = given;
        keep(shortest(given));
    }

    void readkappaangle()
    {
        set_.kappaangle = one(set_.kappaangle);
        keep(shortest(set_.kappaangle));
    }

    void readvolumelimits()
    {
        const auto [least, most] = two(set_.volumes);
        refuse(least < smallestminvolume, "has a minimum that is not above 0");
        refuse(least > most, "has a minimum above the maximum");
        refuse(most / least < 1.5, "has a maximum below 1.5 times the minimum");
        set_.volumes = {least, most};
        keep(shortest(least) + " " + shortest(most));
    }

    void readweights()
    {
        const auto [first, second] = two(set_.weights);
        refuse(first < 0.0 || second < 0.0, "has a negative weight");
        refuse(first + second < smallestweights, "has no weight above 0");
        set_.weights = {first, second};
        keep(shortest(first) + " " + shortest(second));
    }

    void readrankingfunction()
    {
        const int given = one(-9); // a null value is the default, whatever was set before
        refuse(!((-9 <= given && given <= 0) || given == 10),
               "is " + std::to_string(given) + "; the program takes -9 to 0, and 10");
        keep(shortest(given));
    }

    void readperiodogram()
    {
        int type = set_.periodogram;
        readwhole(type, -4, 4);
        refuse(type != 0 && set_.uservolumes, "must be 0 with volumes given by the user");
        set_.periodogram = type;
    }

    void readtestvolumes()
    {
        refuse(set_.periodogram != 0, "needs a type of periodogram of 0");
        // As the program has it: a null volume of a second list takes the reciprocal of the first.
        std::array<double, mostvolumes>& volumes = set_.reciprocals;
        const int status = readcountandreals(source_, set_.testvolumes, volumes);
        if (status != readdone)
            failvalues(status, "a count and as many numbers for " + name_, false);
        refuse(set_.testvolumes <= 0, "has a count below 1");
        refuse(set_.testvolumes > static_cast<int>(mostvolumes),
               "has more volumes than the 350 that the program takes");
        std::string values = std::to_string(set_.testvolumes);
        for (double& volume :
             std::span(volumes).first(static_cast<std::size_t>(set_.testvolumes))) {
            refuse(volume < smallestvolume, "has a volume below 1.1920928955078125e-05");
            values += (values.find('\n') == std::string::npos ? "\n" : " ") + shortest(volume);
            volume = 1.0 / volume;
        }
        set_.uservolumes = true;
        keep(values);
    }

    void readcount()
    {
        const int N = one(set_.reflections);
        refuse(N > mostreflections, "is " + std::to_string(N) + "; the program takes up to 999");
        refuse(N < fewestreflections, "is " + std::to_string(N) + "; the program needs 4");
        set_.reflections = N;
        set_.fraction = std::min(0.5, 12.0 / N);
        std::erase_if(result_.keywords, [](const keyword& old) {
            return old.name == "_FractionOfSupportingReflections";
        });
        result_.reflections.resize(static_cast<std::size_t>(N));
    }

    void readlist(listkind kind)
    {
        // The program keeps vectors: where a value is null, that of the vector before stands.
        const std::vector<vector3> before = kind == listkind::vectors
                                                ? vectorsby(result_, listwavelength_, listaxis_)
                                                : std::vector<vector3>{};
        for (std::size_t i = 0; i < result_.reflections.size(); ++i) {
            std::array<double, 3> values = {};
            if (kind == listkind::vectors) values = {before[i].x, before[i].y, before[i].z};
            const int status = readreals(source_, values);
            const std::string what = "the three numbers of reflection " + std::to_string(i + 1)
                                     + " of " + std::to_string(set_.reflections);
            if (status != readdone) failvalues(status, what, false);
            for (const double value : values)
                if (!std::isfinite(value)) file_.fail(lineread(), 0, "a number is too large");
            result_.reflections[i] = values;
        }
        result_.kind = kind;
        listwavelength_ = set_.wavelength;
        listaxis_ = set_.kappaangle;
    }

    [[nodiscard]] const std::map<std::string, std::function<void()>>& keywords()
    {
        if (!table_.empty()) return table_;
        const auto whole = [this](int& value, int least, int most) {
            return [this, &value, least, most] { readwhole(value, least, most); };
        };
        const auto real = [this](double& value, double least, double most) {
            return [this, &value, least, most] { readreal(value, least, most); };
        };
        const auto list = [this](listkind kind) { return [this, kind] { readlist(kind); }; };
        table_ = {
            {"_AngleOfKappaAxis", [this] { readkappaangle(); }},
            {"_CreateLogFile", whole(set_.log, 0, 1)},
            {"_ExtentOfTheSearch", whole(set_.extent, 0, 5)},
            {"_FractionOfSupportingReflections", real(set_.fraction, 1e-7, 1.0)},
            {"_MaxAllowedMillerIndex", whole(set_.millerindex, 4, 100)},
            {"_MaxNumberOfSavedBases", whole(set_.savedbases, 1, 128)},
            {"_MinMaxVolumeOfPrimitiveCell", [this] { readvolumelimits(); }},
            {"_NumberOfReflections", [this] { readcount(); }},
            {"_Reflections", list(listkind::vectors)},
            {"_ReflectionsThetaPhiChi", list(listkind::thetaphichi)},
            {"_ReflectionsThetaPhiKappa", list(listkind::thetaphikappa)},
            {"_SaveLePage", whole(set_.lepage, 0, 128)},
            {"_SortSolutionsByQualityVsVolume", whole(set_.sorting, 0, 3)},
            {"_TheMainCriterion", real(set_.criterion, 0.03, 0.3)},
            {"_TypeOfPeriodogram", [this] { readperiodogram(); }},
            {"_UserProvidedTestVolumes", [this] { readtestvolumes(); }},
            {"_Wavelength", [this] { readwavelength(); }},
            {"_WeightsForSortingBases", [this] { readweights(); }},
            {"_vonMisesTypeFunctionInRanking", [this] { readrankingfunction(); }},
        };
        return table_;
    }

    void failunknown(const std::string& given)
    {
        std::string what = "unknown keyword '" + given.substr(0, 60) + "'";
        for (const auto& [known, procedure] : keywords())
            if (lowered(known) == lowered(given)) what += "; it is spelt " + known;
        file_.fail(lines_.at(start_), 0, what);
    }

    void readkeyword()
    {
        stepback(source_); // a keyword is read again from the start of its last line
        start_ = source_.position;
        std::string word;
        const int status = readword(source_, word);
        if (status != readdone) failword(status);
        constexpr std::size_t longest = 128; // what stands behind is not looked at
        word.resize(std::min(word.size(), longest));
        const std::size_t first = word.find_first_not_of(' ');
        const std::size_t last = word.find_last_not_of(' ');
        name_ = first == std::string::npos ? "" : word.substr(first, last - first + 1);
        const auto found = keywords().find(name_);
        if (found == keywords().end()) failunknown(name_);
        found->second();
    }

    void keepcomment()
    {
        const std::string_view line = lines_.line(lines_.at(start_));
        const std::size_t sign = line.find('#');
        if (sign == std::string_view::npos) return; // a quoted sign on a later line
        std::string_view comment = line.substr(sign + 1);
        if (comment.starts_with(' ')) comment.remove_prefix(1);
        result_.comments.emplace_back(comment.substr(0, comment.find_last_not_of(" \t\r") + 1));
    }

    // Angles go with the wavelength and the axis that were in force when they were read.
    void finish()
    {
        if (result_.kind == listkind::vectors) return;
        setafterwards("_Wavelength", set_.wavelength, listwavelength_);
        setafterwards("_AngleOfKappaAxis", set_.kappaangle, listaxis_);
    }

    void setafterwards(const std::string& name, double last, double inforce)
    {
        if (last == inforce) return;
        name_ = name;
        keep(shortest(inforce));
    }

    const textfile& file_;
    freeformtext source_;
    linenumbers lines_;
    idxfile result_;
    settings set_;
    double listwavelength_ = defaultwavelength; // in force when the list was read
    double listaxis_ = defaultkappaangle;
    std::string name_;      // of the keyword being read
    std::size_t start_ = 0; // where its line begins
    std::map<std::string, std::function<void()>> table_;
};

} // namespace

idxfile readidx(const textfile& source)
{
    return reading(source).read();
}

} // namespace torvik::tools
