#include "lib/fwall/match/nama.h"

#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"
#include "lib/ulib/wildcard.h"

#include <bitset>
#include <cstring>
#include <memory>
#include <new>

using namespace flatlink;

namespace
{

using char_set = std::bitset<256>;

// The bad sets that a match has met in its pattern. A star retries the rest of the pattern at many
// positions; without this memo each retry would scan a bad set to the pattern's end and report it.
struct bad_sets {
    const char *pattern;
    std::unique_ptr<bool[]> met = nullptr; // by position; null before the first, or without memory

    bool has(const char *set) const { return met != nullptr && met[index(set)]; }
    void add(const char *set)
    {
        if (met == nullptr)
            met.reset(new (std::nothrow) bool[std::strlen(pattern) + 1]());
        if (met != nullptr)
            met[index(set)] = true;
    }
    std::size_t index(const char *set) const { return static_cast<std::size_t>(set - pattern); }
};

} // namespace

static unsigned char other_case(unsigned char c)
{
    const bool is_letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    return is_letter ? c ^ 0x20 : c;
}

int namatch(const char *pattern, const char *text)
{
    return wmatch(pattern, text);
}

// Adds the members at `set`. Stops at the closing `]`, or at what makes the set bad: the end of the
// text, or a range whose top lies below its start.
static const char *take_members(const char *set, bool no_case, char_set &members)
{
    const char *first = set;
    while (*set != '\0' && (*set != ']' || set == first)) {
        const auto low = static_cast<unsigned char>(*set++);
        auto high = low;
        if (*set == '-') {
            high = static_cast<unsigned char>(*++set);
            if (high == '\0' || high == ']' || high < low)
                break;
            ++set;
        }
        for (unsigned c = low; c <= high; ++c) {
            members.set(c);
            if (no_case)
                members.set(other_case(static_cast<unsigned char>(c)));
        }
    }
    return set;
}

const char *set_match(const char *set, char c, bool no_case)
{
    char_set members;
    const bool inverted = *set == '^';
    const char *end = take_members(inverted ? set + 1 : set, no_case, members);
    if (*end != ']') {
        notice(EVENT_BAD_ENTRY, 0, "bad pattern [%s", set);
        return set;
    }
    return members.test(static_cast<unsigned char>(c)) != inverted ? end : nullptr;
}

// Compares one character with the set at `pattern`, and on a match moves `pattern` past the set.
static bool take_set(const char *&pattern, char c, bad_sets &bad)
{
    const char *set = pattern + 1;
    const char *end = bad.has(set) ? set : set_match(set, c, true);
    if (end == nullptr)
        return false;
    if (end == set) // bad: a good set has a member before its end
        bad.add(set);
    pattern = *end == '\0' ? end : end + 1; // nothing follows a lone `[`
    return true;
}

// The same for whatever stands at `pattern`.
static bool take_one(const char *&pattern, char c, bad_sets &bad)
{
    if (*pattern == '[')
        return take_set(pattern, c, bad);
    if (lower_case(*pattern) != lower_case(c))
        return false;
    ++pattern;
    return true;
}

// On a mismatch only the last star's run grows: the part before that star matched at its earliest
// position already, and a later one leaves less text for the rest.
int nacasematch(const char *pattern, const char *text)
{
    if (pattern == nullptr)
        pattern = "";
    if (text == nullptr)
        text = "";
    bad_sets bad{pattern};
    const char *after_star = nullptr;
    const char *run_end = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            after_star = ++pattern;
            run_end = text;
        } else if (take_one(pattern, *text, bad)) {
            ++text;
        } else if (after_star != nullptr) {
            pattern = after_star;
            text = ++run_end;
        } else {
            return 0;
        }
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == '\0' ? 1 : 0;
}
