#include "formats/resultsfile.h"

#include "base/failure.h"

#include <cstddef>

namespace torvik::tools {

namespace {

constexpr std::string_view rule = "----"; // lines of dashes part what the file holds

// Reads the file from its first line to its last.
class parser {
public:
    explicit parser(const textfile& source) : source_(source) {}

    resultsfile parse()
    {
        readhead();
        while (!ended()) {
            const std::string_view heading = trimmed(line());
            if (heading == "Solutions ordered by quality")
                readlist(results_.byquality);
            else if (heading == "Solutions ordered by cell volume")
                readlist(results_.byvolume);
            else if (heading == "Relationships (volume based numbering)")
                readrelations();
            else
                ++at_;
        }
        checkcount();
        return results_;
    }

private:
    [[nodiscard]] std::string_view line() const
    {
        return source_.line(at_);
    }
    [[nodiscard]] bool ended() const
    {
        return at_ > source_.lines();
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        source_.fail(ended() ? 0 : at_, 0,
                     ended() ? "the file ends before " + what + " is complete"
                             : "expected " + what);
    }

    // Numbers between blanks and bars.
    [[nodiscard]] std::vector<double> numbers(std::size_t count, const std::string& what) const
    {
        const std::vector<item> items = itemsof(line(), " \t|");
        if (ended() || items.size() != count) fail(what);
        std::vector<double> values;
        for (const item& one : items) values.push_back(source_.number(one, at_, "a number"));
        return values;
    }

    void skipempty()
    {
        while (!ended() && trimmed(line()).empty()) ++at_;
    }

    void expect(std::string_view start)
    {
        skipempty();
        if (ended() || !trimmed(line()).starts_with(start)) fail("'" + std::string(start) + "'");
        ++at_;
    }

    void readhead()
    {
        constexpr std::string_view title = ": Solutions for ";
        std::size_t split = std::string_view::npos;
        constexpr std::size_t headlines = 8; // the title is the fourth line
        for (; at_ <= headlines && !ended(); ++at_) {
            split = line().find(title);
            if (split != std::string_view::npos) break;
        }
        if (split == std::string_view::npos)
            source_.fail(0, 0,
                         "this is no results file: it has no line '" + std::string(title)
                             + "NAME' at its head");
        results_.program = trimmed(line().substr(0, split));
        results_.input = trimmed(line().substr(split + title.size()));
        for (++at_; !ended(); ++at_) {
            const std::string_view text = trimmed(line());
            if (text.starts_with("Date :")) {
                readdate(text);
                continue;
            }
            const std::size_t colon = text.rfind(':');
            if (colon == std::string_view::npos) continue;
            results_.parameters.emplace_back(trimmed(text.substr(0, colon)),
                                             trimmed(text.substr(colon + 1)));
            if (text.starts_with("Number of solutions")) break;
        }
        if (ended()) fail("the head");
        ++at_;
        results_.reflections = static_cast<int>(parameter("Number of reflections"));
        results_.criterion = parameter("Allowed deviation from integer index");
        announced_ = static_cast<std::size_t>(parameter("Number of solutions"));
    }

    void readdate(std::string_view text)
    {
        const std::vector<item> items = itemsof(text);
        constexpr std::size_t words = 6; // Date : 2026.11.21 Time : 08:47:21.693
        if (items.size() != words) fail("'Date : ... Time : ...'");
        results_.date = items[2].text;
        results_.time = items[5].text;
    }

    [[nodiscard]] double parameter(const std::string& name) const
    {
        for (const auto& [key, value] : results_.parameters)
            if (key == name) {
                const auto number = numberin(value);
                if (!number || *number < 0.0 || *number > 1e9)
                    source_.fail(0, 0, "expected a number behind '" + name + " :'");
                return *number;
            }
        source_.fail(0, 0, "the head lacks the line '" + name + " :'");
    }

    void readlist(std::vector<solution>& list)
    {
        ++at_;
        for (;;) {
            skipempty();
            while (!ended() && trimmed(line()).starts_with(rule)) ++at_;
            skipempty();
            if (ended() || !trimmed(line()).starts_with("Solution nr")) return;
            list.push_back(readsolution());
        }
    }

    solution readsolution()
    {
        solution one;
        const std::vector<item> title = itemsof(line(), " \t."); // Solution nr 1 out of 2.
        constexpr std::size_t words = 6;
        if (title.size() != words) fail("'Solution nr K out of N.'");
        one.number = source_.whole(title[2], at_, "the number of a solution");
        ++at_;
        expect("Direct basis vectors");
        expect("transforms RL vectors");
        vector3 rows[3];
        for (vector3& row : rows) {
            const std::vector<double> x = numbers(3, "three components of a basis vector");
            row = {x[0], x[1], x[2]};
            ++at_;
        }
        one.basis = from_rows(rows[0], rows[1], rows[2]);
        expect("|   h   k   l |");
        expect(rule);
        while (!ended() && !trimmed(line()).starts_with(rule)) {
            one.reflections.push_back(readreflection());
            ++at_;
        }
        expect(rule);
        readcounts(one);
        expect("Primitive cell");
        for (std::size_t half = 0; half < 2; ++half) {
            const std::vector<double> x = numbers(3, "three lengths, then three angles");
            for (std::size_t i = 0; i < 3; ++i) one.cell[3 * half + i] = x[i];
            ++at_;
        }
        skipempty();
        const std::string_view text = trimmed(line());
        const std::size_t colon = text.rfind(':');
        const auto volume = colon == std::string_view::npos
                                ? std::nullopt
                                : numberin(trimmed(text.substr(colon + 1)));
        if (!text.starts_with("Volume of the cell") || !volume) fail("'Volume of the cell  :'");
        one.volume = *volume;
        ++at_;
        return one;
    }

    //   1  -h |  -3  -5  -4 |  -3.00  -4.98  -3.90  |  0.100
    reflectionline readreflection()
    {
        reflectionline one;
        const std::string_view text = line();
        const item number = columnsof(text, 1, 4);
        one.number = source_.whole(number, at_, "the number of a reflection");
        const std::string_view mark = columnsof(text, 7, 8).text;
        if (trimmed(text).size() == number.text.size()) return one;
        one.how = mark == "H-" ? fit::strict : mark == "-h" ? fit::loose : fit::poor;
        if (one.how == fit::poor && !mark.empty()) fail("'H-', '-h' or nothing");
        if (one.how != fit::poor)
            for (std::size_t i = 0; i < 3; ++i)
                one.hkl[i] =
                    source_.whole(columnsof(text, 11 + 4 * i, 14 + 4 * i), at_, "an index");
        for (std::size_t i = 0; i < 3; ++i)
            one.real[i] =
                source_.number(columnsof(text, 25 + 7 * i, 31 + 7 * i), at_, "a real index");
        one.error = source_.number(columnsof(text, 49, 60), at_, "an error");
        return one;
    }

    //   30h and  30H vectors out of  30.    Quality : 1.000
    void readcounts(solution& one)
    {
        const std::size_t h = line().find("h and");
        const std::size_t H = line().find("H vectors out of");
        const std::size_t colon = line().rfind(':');
        if (h == std::string_view::npos || H == std::string_view::npos
            || colon == std::string_view::npos || h > H)
            fail("'...h and ...H vectors out of ...    Quality : ...'");
        one.h = source_.whole(columnsof(line(), 1, h), at_, "a count");
        one.H = source_.whole(columnsof(line(), h + 6, H), at_, "a count");
        one.quality =
            source_.number(columnsof(line(), colon + 2, line().size()), at_, "the quality");
        ++at_;
    }

    void readrelations()
    {
        for (++at_; !ended(); ++at_) {
            const std::vector<item> pair = itemsof(line()); // 1 <=> 2
            if (pair.size() != 3 || pair[1].text != "<=>") continue;
            relation one;
            one.first = source_.whole(pair[0], at_, "the number of a solution");
            one.second = source_.whole(pair[2], at_, "the number of a solution");
            ++at_;
            expect("Basis");
            expect("Transformation matrix T:");
            vector3 rows[3];
            for (vector3& row : rows) {
                const std::vector<double> x = numbers(3, "three elements of a matrix");
                row = {x[0], x[1], x[2]};
                ++at_;
            }
            one.T = from_rows(rows[0], rows[1], rows[2]);
            skipempty();
            const std::string_view text = trimmed(line());
            const auto ratio = text.starts_with("Volume ratio :")
                                   ? numberin(trimmed(text.substr(text.rfind(':') + 1)))
                                   : std::nullopt;
            if (!ratio) fail("'Volume ratio :'");
            one.ratio = *ratio;
            results_.relations.push_back(one);
        }
    }

    void checkcount() const
    {
        for (const auto* list : {&results_.byquality, &results_.byvolume})
            if (!list->empty() && list->size() != announced_)
                source_.fail(0, 0,
                             "the head announces " + std::to_string(announced_)
                                 + " solutions, but there are " + std::to_string(list->size()));
        if (announced_ > 0 && results_.solutions().empty()) fail("the list of solutions");
    }

    const textfile& source_;
    std::size_t at_ = 1;
    std::size_t announced_ = 0;
    resultsfile results_;
};

} // namespace

resultsfile readresults(const textfile& source)
{
    return parser(source).parse();
}

const solution& solutionof(const resultsfile& results, int K)
{
    const std::vector<solution>& list = results.solutions();
    if (list.empty()) throw failure("The results have no solutions.");
    if (K < 1 || static_cast<std::size_t>(K) > list.size())
        throw failure("There is no solution " + std::to_string(K) + ": the results have "
                      + std::to_string(list.size()) + ".");
    return list[static_cast<std::size_t>(K) - 1];
}

} // namespace torvik::tools
