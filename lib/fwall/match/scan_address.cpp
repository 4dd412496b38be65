#include "lib/fwall/match/scan_address.h"

using namespace flatlink;

// Not a digit in any base.
static constexpr unsigned NO_DIGIT = 99;

static unsigned digit_of(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned>(c - 'A' + 10);
    return NO_DIGIT;
}

// Reads one part of at most 32 bits. False without a digit, or when the value has more bits. Stops
// at a digit that the base does not have, which the caller refuses.
static bool take_part(const char *&text, u32 &part)
{
    unsigned base = 10;
    if (text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text += 2;
    } else if (text[0] == '0') {
        base = 8;
    }
    const char *first = text;
    std::uint64_t value = 0;
    for (; digit_of(*text) < base; ++text) {
        value = value * base + digit_of(*text);
        if (value > 0xFFFFFFFF)
            return false;
    }
    part = static_cast<u32>(value);
    return text != first;
}

static bool ends_address(char c)
{
    return c == '\0' || c == ' ' || (c >= '\t' && c <= '\r');
}

bool flatlink::scan_address(const char *text, u32 &addr_be)
{
    if (text == nullptr)
        return false;
    u32 address = 0; // the parts before the last, in the high octets
    u32 part = 0;
    int bits_left = 32;
    for (;;) {
        if (!take_part(text, part))
            return false;
        if (*text != '.')
            break;
        bits_left -= 8;
        if (part > 0xFF || bits_left == 0)
            return false;
        address |= part << bits_left;
        ++text;
    }
    if (!ends_address(*text) || std::uint64_t{part} >> bits_left != 0)
        return false;
    addr_be = network_order(address | part);
    return true;
}
