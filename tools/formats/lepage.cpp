#include "formats/lepage.h"

#include "base/failure.h"
#include "lattice/readcell.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace torvik::tools {

namespace {

class parser {
public:
    explicit parser(const textfile& source) : source_(source) {}

    std::vector<lepagejob> parse()
    {
        for (line_ = 1; line_ <= source_.lines(); ++line_) {
            items_ = itemsof(source_.line(line_));
            if (!items_.empty()) takeline(lowered(items_.front().text));
        }
        if (jobs_.empty()) source_.fail(0, 0, "there is no job with CELL and CALC");
        return jobs_;
    }

private:
    void takeline(const std::string& word)
    {
        if (word == "metr")
            takemetric();
        else if (word == "cell")
            takecell();
        else if (word == "calc")
            calculate();
        else if (word == "quit")
            quit();
        else if (word != "noscreen")
            source_.fail(line_, items_.front().column,
                         "expected NOSCREEN, METR, CELL, CALC or QUIT");
    }

    void takemetric()
    {
        if (items_.size() != 2) source_.fail(line_, 0, "expected METR and one number");
        const double metric = source_.number(items_[1], line_, "a tolerance in degrees");
        if (!(metric > 0.0)) source_.fail(line_, items_[1].column, "expected a tolerance above 0");
        metric_ = metric;
    }

    void takecell()
    {
        if (items_.size() < 7 || items_.size() > 8)
            source_.fail(line_, 0, "expected CELL, six numbers and a letter");
        for (std::size_t i = 1; i < 7; ++i)
            static_cast<void>(source_.number(items_[i], line_, "a length or an angle"));
        constexpr std::string_view centrings = "PABCIFR";
        if (items_.size() == 8
            && (items_[7].text.size() != 1
                || centrings.find(items_[7].text[0]) == std::string_view::npos))
            source_.fail(line_, items_[7].column, "expected one of P, A, B, C, I, F and R");
        try {
            cell_ = cellfrom(std::string(source_.line(line_).substr(items_[1].column - 1)));
        } catch (const failure& why) {
            std::string sentence = why.what();
            sentence.pop_back(); // its full stop
            source_.fail(line_, items_[1].column, sentence);
        }
    }

    void calculate()
    {
        if (!cell_) source_.fail(line_, 0, "CALC without a CELL before it");
        jobs_.push_back({*cell_, metric_});
        cell_.reset();
    }

    void quit()
    {
        cell_.reset();
        metric_.reset();
    }

    const textfile& source_;
    std::size_t line_ = 1;
    std::vector<item> items_;
    std::optional<centred_cell> cell_;
    std::optional<double> metric_;
    std::vector<lepagejob> jobs_;
};

} // namespace

bool islepage(const textfile& source)
{
    for (std::size_t line = 1; line <= source.lines(); ++line) {
        const std::vector<item> items = itemsof(source.line(line));
        if (!items.empty() && lowered(items.front().text) == "cell") return true;
    }
    return false;
}

std::vector<lepagejob> readlepage(const textfile& source)
{
    return parser(source).parse();
}

} // namespace torvik::tools
