#include "lib/ulib/address.h"

#include "lib/ulib/text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

using namespace flatlink;

bool flatlink::read_dotted(std::string_view text, u32 &number)
{
    number = 0;
    int dots = 0;
    for (std::size_t pos = 0;; ++pos) {
        const std::size_t first = pos;
        unsigned octet = 0;
        for (; pos < text.size() && text[pos] >= '0' && text[pos] <= '9' && pos - first < 3; ++pos)
            octet = octet * 10 + static_cast<unsigned>(text[pos] - '0');
        if (pos == first || octet > 255 || (text[first] == '0' && pos - first > 1))
            return false;
        number = number << 8 | octet;
        if (pos == text.size())
            return dots == 3;
        if (text[pos] != '.' || ++dots > 3)
            return false;
    }
}

bool flatlink::says_address(std::string_view text, u32 addr_be)
{
    constexpr std::string_view DIGITS = "0123456789";
    for (int bits = 24; bits >= 0; bits -= 8) {
        const std::size_t length = std::min(text.find_first_not_of(DIGITS), text.size());
        if (length == 0 || take_number(text) != (host_order(addr_be) >> bits & 0xFF))
            return false;
        if (bits > 0 && !take_prefix(text, "."))
            return false;
    }
    return text.find_first_not_of(" \t\r") == std::string_view::npos;
}

// The usual form is read here: the host's reader sets up a number conversion for each part.
u32 flatlink::parse_address(std::string_view text)
{
    u32 number = 0;
    return read_dotted(text, number) ? network_order(number) : inet_addr(std::string(text).c_str());
}

u32 flatlink::parse_network(const std::string &text)
{
    return network_order(inet_network(text.c_str()));
}

// The host's inet_ntop does it by printf; a proxy's child would touch twice the code for that.
std::string flatlink::format_address(u32 addr_be)
{
    std::string text;
    for (int bits = 24; bits >= 0; bits -= 8) {
        char digits[3];
        char *end = std::to_chars(digits, std::end(digits), host_order(addr_be) >> bits & 0xFF).ptr;
        text.append(digits, end).append(bits > 0 ? "." : "");
    }
    return text;
}
