#include "flatlink/records/address_expr.h"

#include "lib/ulib/strlist.h"
#include "lib/ulib/text.h"
#include "lib/ulib/token.h"

#include <string_view>

using namespace flatlink;

std::string sraddrmask_fill(const std::string &text, const std::string &filler)
{
    constexpr int PARTS = 4;
    const std::string fillers = filler + "." + filler + "." + filler;
    const std::string whole = text.empty() ? filler + "." + fillers : text + "." + fillers;
    int count = 0;
    const heap_strlist words(tokens(whole.c_str(), ".", &count));
    std::string filled;
    for (int i = 0; i < PARTS && i < count; ++i) {
        if (i > 0)
            filled += '.';
        filled += words[static_cast<std::size_t>(i)][0] == '*' ? filler
                                                               : words[static_cast<std::size_t>(i)];
    }
    filled.resize(std::min(filled.size(), ADDRESS_PART_SIZE));
    return filled;
}

static u32 filled_address(std::string_view part, const std::string &filler)
{
    return parse_address(sraddrmask_fill(std::string(part), filler));
}

addrid sraddrmask(const char *text, u32 *addr, u32 *mask)
{
    *addr = *mask = 0;
    const std::string_view whole = text_of(text);
    if (whole.empty() || whole == "*")
        return ADDRID_SUBNET;

    addrid kind = ADDRID_HOST;
    std::size_t first_end = whole.find('-');
    if (first_end != std::string_view::npos) {
        kind = ADDRID_RANGE;
        *mask = filled_address(whole.substr(first_end + 1), "255");
    } else if ((first_end = whole.find(':')) != std::string_view::npos) {
        *mask = filled_address(whole.substr(first_end + 1), "0");
        kind = *mask == NOT_AN_ADDRESS ? ADDRID_HOST : ADDRID_SUBNET;
    } else {
        *mask = NOT_AN_ADDRESS;
    }
    *addr = filled_address(whole.substr(0, first_end), "0");

    if (kind == ADDRID_RANGE) {
        if (host_order(*addr) < host_order(*mask))
            return ADDRID_RANGE;
        *mask = NOT_AN_ADDRESS;
        return ADDRID_HOST;
    }
    if (*addr == 0 && *mask == NOT_AN_ADDRESS) {
        *mask = 0;
        return ADDRID_SUBNET;
    }
    *addr &= *mask;
    return kind;
}
