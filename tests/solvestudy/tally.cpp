#include "tally.h"

#include <algorithm>
#include <cstdio>

namespace torvik::study {

namespace {

template <class... values>
std::string formatted(const char* format, values... v)
{
    char text[256];
    std::snprintf(text, sizeof text, format, v...);
    return text;
}

std::string percent(double fraction)
{
    return formatted("%.1f", 100.0 * fraction);
}

std::string between(const limits& of)
{
    return formatted("%.0f-%.0f", 100.0 * of.low, 100.0 * of.high);
}

std::string milliseconds(double x)
{
    return formatted(x < 10.0 ? "%.2f" : x < 100.0 ? "%.1f" : "%.0f", x);
}

void append(std::vector<double>& to, const std::vector<double>& from)
{
    to.insert(to.end(), from.begin(), from.end());
}

struct column {
    const char* title;
    int width; // of the padded line; negative: to the left
};

constexpr column columns[] = {
    {"row", -58},   {"lists", 6},   {"right %", 8},    {"limits", 7},
    {"wrong", 6},   {"limit %", 8}, {"ambiguous", 10}, {"with truth", 11},
    {"refused", 8}, {"best %", 7},  {"undet.", 7},     {"true/spanned/wrong", 19},
    {"error", 6},   {"median", 7},  {"95 %", 7},       {"max ms", 7},
    {"hash", 17},
};

std::string line_of(const std::vector<std::string>& cells, bool markdown)
{
    std::string line = markdown ? "|" : "";
    for (std::size_t i = 0; i < cells.size(); ++i)
        line +=
            markdown ? " " + cells[i] + " |" : formatted("%*s", columns[i].width, cells[i].c_str());
    return line;
}

} // namespace

void tally::add(const judgement& one)
{
    ++lists;
    milliseconds.push_back(one.milliseconds);
    if (one.interrupted) ++interrupted;
    if (one.failed) ++failed;
    hash.add(one.hash);
    const bool solved = one.how == outcome::right || one.how == outcome::wrong;
    if (!one.determined) {
        ++undetermined;
        if (one.how == outcome::right) ++undetermined_true;
        if (one.spanned) ++undetermined_spanned;
        if (solved && one.how == outcome::wrong && !one.spanned) ++undetermined_wrong;
        return;
    }
    switch (one.how) {
    case outcome::right: ++right; break;
    case outcome::wrong: ++wrong; break;
    case outcome::ambiguous: ++ambiguous; break;
    case outcome::refused: ++refused; break;
    }
    if (one.competes) ++competes;
    if (one.first) ++first;
    if (one.error_ratio) error_ratios.push_back(*one.error_ratio);
}

void tally::add(const tally& other)
{
    lists += other.lists;
    right += other.right;
    wrong += other.wrong;
    ambiguous += other.ambiguous;
    competes += other.competes;
    refused += other.refused;
    first += other.first;
    interrupted += other.interrupted;
    failed += other.failed;
    undetermined += other.undetermined;
    undetermined_true += other.undetermined_true;
    undetermined_spanned += other.undetermined_spanned;
    undetermined_wrong += other.undetermined_wrong;
    append(milliseconds, other.milliseconds);
    append(error_ratios, other.error_ratios);
    hash.add(other.hash.value());
}

double quantile(std::vector<double> values, double part)
{
    if (values.empty()) return 0.0;
    const auto at =
        static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + at, values.end());
    return values[static_cast<std::size_t>(at)];
}

std::string head_line(bool markdown)
{
    std::vector<std::string> titles;
    std::string rule = "\n|";
    for (const column& one : columns) {
        titles.emplace_back(one.title);
        rule += one.width < 0 ? "---|" : "--:|";
    }
    return line_of(titles, markdown) + (markdown ? rule : "");
}

std::string row_line(const std::string& name, const tally& sums, bool markdown)
{
    const int n = sums.determined();
    const double all = std::max(n, 1);
    return line_of(
        {name, std::to_string(sums.lists), percent(sums.right / all),
         between(wilson(sums.right, n)), std::to_string(sums.wrong),
         percent(wilson(sums.wrong, n).high), std::to_string(sums.ambiguous),
         std::to_string(sums.competes), std::to_string(sums.refused), percent(sums.first / all),
         std::to_string(sums.undetermined),
         formatted("%d/%d/%d", sums.undetermined_true, sums.undetermined_spanned,
                   sums.undetermined_wrong),
         sums.error_ratios.empty() ? "-" : formatted("%.2f", quantile(sums.error_ratios, 0.5)),
         milliseconds(quantile(sums.milliseconds, 0.5)),
         milliseconds(quantile(sums.milliseconds, 0.95)),
         milliseconds(quantile(sums.milliseconds, 1.0)),
         formatted("%016llx", static_cast<unsigned long long>(sums.hash.value()))},
        markdown);
}

} // namespace torvik::study
