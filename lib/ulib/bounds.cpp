#include "lib/ulib/bounds.h"

#include <algorithm>
#include <cstdio>

using namespace flatlink;

static std::vector<struck_bound> struck;

// Keys from hostile input may be very long or hold terminal control sequences.
static std::string shown_place(std::string_view place)
{
    constexpr std::size_t LONGEST = 200;
    std::string shown(place.substr(0, LONGEST));
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return shown;
}

void flatlink::start_bounds()
{
    struck.clear();
}

void flatlink::note_bound(std::string_view what, long long limit, std::string_view where,
                          long long seen)
{
    // A linear search: a program has about ten limits.
    const auto known =
        std::find_if(struck.begin(), struck.end(),
                     [what](const struck_bound &bound) { return bound.what == what; });
    if (known == struck.end())
        struck.push_back({std::string(what), limit, seen, shown_place(where)});
    else
        known->seen = std::max(known->seen, seen);
}

const std::vector<struck_bound> &flatlink::struck_bounds()
{
    return struck;
}

bool flatlink::report_bounds()
{
    for (const struck_bound &bound : struck)
        std::fprintf(stderr, "flatlink: more than %lld %s, seen %lld; the first left out at %s\n",
                     bound.limit, bound.what.c_str(), bound.seen, bound.where.c_str());
    return struck.empty();
}
