#include "lib/ulib/addr_mask.h"

#include "lib/ulib/strlist.h"
#include "lib/ulib/text.h"
#include "lib/ulib/token.h"

using namespace flatlink;

static std::string or_default(const char *text, std::string_view fallback)
{
    return std::string(text_of(text).empty() ? fallback : text_of(text));
}

static std::string octet_text(std::string_view word, std::string_view wild, bool mask_mode)
{
    if (word.starts_with('*') || word.starts_with('0'))
        return std::string(wild);
    return std::string(mask_mode ? "255" : word);
}

static std::string expanded(const char *text, const char *fill, const char *wild)
{
    constexpr int OCTETS = 4;
    const std::string fill_text = or_default(fill, "255");
    const std::string wild_text = or_default(wild, "0");
    const bool mask_mode = text_of(wild).empty();
    const bool no_text = text_of(text).empty();
    const std::string fills = "." + fill_text + "." + fill_text + "." + fill_text;
    if (no_text)
        return fill_text + fills;

    int count = 0;
    const heap_strlist words(tokens((text + fills).c_str(), ".", &count));
    std::string result;
    for (int i = 0; i < OCTETS; ++i) {
        // Fewer than four words: a text of nothing but separators holds no octet of its own.
        std::string_view word = fill_text;
        if (i < count)
            word = words[static_cast<std::size_t>(i)];
        result += i == 0 ? "" : ".";
        result += octet_text(word, wild_text, mask_mode);
    }
    return result;
}

char *wnet(const char *text, const char *fill, const char *wild)
{
    static char shared[128];
    shared[expanded(text, fill, wild).copy(shared, sizeof shared - 1)] = '\0';
    return shared;
}

int waddrmask(const char *text, u32 *addrout, u32 *maskout)
{
    if (addrout == nullptr || maskout == nullptr)
        return -1;
    const std::string_view whole = text_of(text);
    const std::size_t colon = whole.find(':');
    const std::string address(whole.substr(0, colon));
    const bool mask_given = colon != std::string_view::npos;
    const std::string mask(mask_given ? whole.substr(colon + 1) : whole);
    *maskout = parse_address(wnet(mask.c_str(), "255", mask_given ? "0" : nullptr));
    *addrout = parse_address(wnet(address.c_str(), nullptr, "0"));
    return mask_given ? 1 : 0;
}
