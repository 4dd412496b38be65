// The bounds that a piece of work came up against, gathered so that its caller can tell whether
// the result is whole. The code that leaves something out notes it here; the program asks at the
// end. Without bounds an input of a few kilobytes could ask for work, memory or disk without end.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// One bound that left something out.
struct struck_bound {
    std::string what;    // what there was too much of, in the plural: "links"
    long long limit = 0; // how much of it there may be
    long long seen = 0;  // how much there was, as far as the work went; above `limit`
    std::string where;   // a key or place in the input where the bound struck first
};

namespace flatlink
{

// Begins another piece of work: nothing has been left out of it.
void start_bounds();

// Notes that something was left out. The first note about `what` gives limit and place; later ones
// raise `seen` alone, so that a bound may be noted each time that it strikes.
void note_bound(std::string_view what, long long limit, std::string_view where, long long seen);

// The bounds that struck, in the order in which they first did; empty: the result is whole. Valid
// until the next note or start.
const std::vector<struck_bound> &struck_bounds();

// Writes a line for each of them to the standard error stream. True when there was none.
bool report_bounds();

} // namespace flatlink
