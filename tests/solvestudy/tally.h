// Counts of judgements, and the lines that report them.
#pragma once

#include "judge.h"

#include <string>
#include <vector>

namespace torvik::study {

// Judgements of lists of one kind. The counts of verdicts leave out undetermined lists.
struct tally {
    int lists = 0; // all
    int right = 0;
    int wrong = 0;
    int ambiguous = 0;
    int competes = 0; // of the ambiguous: a true lattice is among those that compete
    int refused = 0;
    int first = 0; // the best lattice is true, whatever the verdict
    int interrupted = 0;
    int failed = 0;
    // Lists whose inliers do not span the lattice, and what they were solved as.
    int undetermined = 0;
    int undetermined_true = 0;
    int undetermined_spanned =
        0; // the lattice that the inliers span: no other answer is in the data
    int undetermined_wrong = 0;
    std::vector<double> milliseconds; // of all lists
    std::vector<double> error_ratios; // of right answers
    hasher hash;

    void add(const judgement& one);
    void add(const tally& other);
    [[nodiscard]] int determined() const
    {
        return lists - undetermined;
    }
};

// The value below which a part of the values lies; 0 if there are none.
double quantile(std::vector<double> values, double part);

// Lines of a table: of Markdown, or with padded columns. The limits are of 95 % confidence.
std::string head_line(bool markdown);
std::string row_line(const std::string& name, const tally& sums, bool markdown);

} // namespace torvik::study
