// The forms in which the findings of a check are printed.
#pragma once

#include "flatctl/check/check_run.h"

struct request;

// Findings of each finding_level.
struct level_counts {
    std::size_t of[3] = {};

    void add(finding_level level) { ++of[static_cast<int>(level)]; }
    std::size_t errors() const { return of[0]; }
    std::size_t warnings() const { return of[1]; }
};

namespace flatlink
{

// Prints the findings in the form of --format, and for text the counts to the standard error
// stream.
void print_checked(const std::vector<checked_input> &all, const level_counts &counts,
                   const request &asked);

} // namespace flatlink
