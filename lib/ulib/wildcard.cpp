#include "lib/ulib/wildcard.h"

#include "lib/ulib/strlist.h"
#include "lib/ulib/text.h"
#include "lib/ulib/token.h"

using namespace flatlink;

// On a mismatch only the last star's run grows: the part before that star matched at its earliest
// position already, which leaves the most text for the rest.
static bool matches(std::string_view pattern, std::string_view text)
{
    constexpr std::size_t NONE = std::string_view::npos;
    std::size_t at = 0;
    std::size_t after_star = NONE;
    std::size_t run_end = 0;
    std::size_t pos = 0;
    while (pos < text.size()) {
        if (at < pattern.size() && pattern[at] == '*') {
            after_star = ++at;
            run_end = pos;
        } else if (at < pattern.size() && pattern[at] == text[pos]) {
            ++at;
            ++pos;
        } else if (after_star != NONE) {
            at = after_star;
            pos = ++run_end;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', at) == NONE;
}

int wmatch(const char *pattern, const char *text)
{
    return matches(text_of(pattern), text_of(text)) ? 1 : 0;
}

int wtmatch(const char *patternlist, const char *text)
{
    int number = 0;
    const heap_strlist patterns(tokens(patternlist, " ", &number));
    while (number > 0 && wmatch(patterns[static_cast<std::size_t>(number - 1)], text) == 0)
        --number;
    return number;
}
