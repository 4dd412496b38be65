// The limits that a piece of work has hit, collected so that its caller can tell whether the result
// is complete. Code that leaves something out notes it here; the program asks at the end. Without
// limits an input of a few kilobytes could demand unbounded work, memory or disk space.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// One limit that was hit.
struct struck_bound {
    std::string what;    // the thing there were too many of, in the plural: "links"
    long long limit = 0; // how many are allowed
    long long seen = 0;  // how many were seen before the work stopped counting; above `limit`
    std::string where;   // the key or place in the input where the limit was first hit
};

namespace flatlink
{

// Starts a new piece of work, with no limit hit.
void start_bounds();

// Notes that something was left out. The first note about `what` sets limit and place; later ones
// only raise `seen`, so that each hit may be noted.
void note_bound(std::string_view what, long long limit, std::string_view where, long long seen);

// The limits that were hit, in the order of their first hits; empty: the result is complete. Valid
// until the next note or start.
const std::vector<struck_bound> &struck_bounds();

// Writes a line for each of them to the standard error stream. Returns true when there is none.
bool report_bounds();

} // namespace flatlink
