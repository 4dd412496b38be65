#include "lib/fwall/log/escape.h"

#include "lib/ulib/text.h"

#include <algorithm>
#include <limits>

using namespace flatlink;

static bool is_plain(char c, std::string_view extra)
{
    return c >= ' ' && c <= '~' && c != '%' && extra.find(c) == std::string_view::npos;
}

int hexescNonAsciiPlus(char *destination, const char *source, int limit, const char *extra)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    const std::string_view extras = text_of(extra);
    long count = 0;
    char *end = destination;
    for (const char c : text_of(source)) {
        const bool plain = is_plain(c, extras);
        count += plain ? 1 : 3;
        if (count >= limit)
            continue;
        if (plain) {
            *end++ = c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        *end++ = '%';
        *end++ = digits[byte / 16];
        *end++ = digits[byte % 16];
    }
    if (limit > 0)
        *end = '\0';
    return static_cast<int>(std::min(count, long{std::numeric_limits<int>::max()}));
}

int hexescNonAscii(char *destination, const char *source, int limit)
{
    return hexescNonAsciiPlus(destination, source, limit, "");
}
