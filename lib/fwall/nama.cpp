#include "lib/fwall/nama.h"

#include "lib/fwall/notice.h"
#include "lib/ulib/wildcard.h"

#include <bitset>

namespace
{

using char_set = std::bitset<256>;

} // namespace

static char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

static unsigned char other_case(unsigned char c)
{
    const bool is_letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    return is_letter ? c ^ 0x20 : c;
}

int namatch(const char *pattern, const char *text)
{
    return wmatch(pattern, text);
}

// Adds the members at `set` and stops on the closing `]`, or on what makes the set a bad one: its
// end, or a top below its start.
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

// Compares one character with what stands at `pattern`, and moves that behind it if they fit.
static bool take_one(const char *&pattern, char c)
{
    if (*pattern == '[') {
        const char *end = set_match(pattern + 1, c, true);
        if (end == nullptr)
            return false;
        pattern = *end == '\0' ? end : end + 1; // a lone `[` has nothing behind it
        return true;
    }
    if (lower(*pattern) != lower(c))
        return false;
    ++pattern;
    return true;
}

// On a mismatch only the run of the last star is made longer: what stood before it can't do better
// than to match where it first did.
int nacasematch(const char *pattern, const char *text)
{
    if (pattern == nullptr)
        pattern = "";
    if (text == nullptr)
        text = "";
    const char *behind_star = nullptr;
    const char *run_end = nullptr;
    while (*text != '\0') {
        if (*pattern == '*') {
            behind_star = ++pattern;
            run_end = text;
        } else if (take_one(pattern, *text)) {
            ++text;
        } else if (behind_star != nullptr) {
            pattern = behind_star;
            text = ++run_end;
        } else {
            return 0;
        }
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == '\0' ? 1 : 0;
}
