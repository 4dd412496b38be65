// Which `hosts` lines of a proxy no client can reach, because earlier lines take every client that
// they name. The answers are those of the source check itself: the addresses are cut at the edges
// of all patterns, so that within a class each pattern fits either every address or none, and the
// check is asked once for each class.
//
// A name or an identity may come with any address. So may an address pattern that is no range, such
// as one with a mask that has holes. A line with such a pattern is only called unreachable where no
// address is left to it, or an earlier line has the same name, or a pattern that fits it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct cfgrec;

struct shadowed_line {
    std::int32_t line;
    std::int32_t last_pattern;        // index of its last pattern among its arguments
    std::vector<std::int32_t> takers; // first lines that take its clients, by line
    std::string client;               // one that it names, and that another line takes
};

struct shadow_result {
    bool is_done = false; // false: the list has more classes and patterns than the bound allows
    std::vector<shadowed_line> shadowed;
    std::vector<std::int32_t> reachable; // all other lines that have a pattern
};

// Comparisons of a class with a pattern that one list may take: some seconds.
inline constexpr double SHADOW_COMPARISONS_MAX = 4e9;

namespace flatlink
{

// `list` holds a proxy's entries, with their keywords indexed and their patterns compiled. Sets
// `proxy_confp` and what a source check sets. Name service and watch are restored.
shadow_result find_shadowed(cfgrec *list);

} // namespace flatlink
