#include "lib/fwall/match/hnam.h"

#include "lib/fwall/match/inet_aton.h"
#include "lib/fwall/match/nama.h"
#include "lib/ulib/address.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <array>
#include <cstring>

hostent *proxy_hostent = nullptr;

static constexpr std::size_t TEXT_MAX = 511;
static constexpr std::size_t RANGE_SIDE_MAX = 16;
static constexpr char ADDRESS_CHARS[] = ".0123456789";
static constexpr char NUMERIC_CHARS[] = ".*0123456789:-";

namespace
{

using octets = std::array<std::uint8_t, 4>;

} // namespace

static bool holds_only(const char *text, const char *chars)
{
    return text[std::strspn(text, chars)] == '\0';
}

// Takes a decimal number, modulo 256, and what else stands before the next point or an end; the
// point as well.
static std::uint8_t take_octet(const char *&text, const char *ends)
{
    unsigned value = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        value = (value * 10 + static_cast<unsigned>(*text - '0')) % 256;
    text += std::strcspn(text, ends);
    if (*text == '.')
        ++text;
    return static_cast<std::uint8_t>(value);
}

// Reads the two sides of PATTERN[:MASK].
static void read_mask_pattern(const char *pattern, octets &value, octets &mask)
{
    value = mask = {};
    std::size_t i = 0;
    for (; i < value.size() && *pattern != '\0' && *pattern != ':'; ++i) {
        value[i] = take_octet(pattern, ".:");
        mask[i] = 0xFF;
    }
    if (*pattern != ':')
        return;
    ++pattern;
    for (i = 0; i < mask.size() && *pattern != '\0'; ++i)
        mask[i] = take_octet(pattern, ".");
}

int maskmatch(const char *pattern, const char *address)
{
    if (std::strchr(pattern, '*') != nullptr)
        return namatch(pattern, address);
    octets value, mask;
    read_mask_pattern(pattern, value, mask);
    for (std::size_t i = 0; i < value.size(); ++i) {
        if ((value[i] & ~mask[i]) == 0)
            continue;
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: pat:mask can never match anything, %s", pattern);
        return 0;
    }
    for (std::size_t i = 0; i < value.size() && *address != '\0'; ++i)
        if ((take_octet(address, ".") & mask[i]) != value[i])
            return 0;
    return 1;
}

// An end of a range as a number. False when it is none, or too long.
static bool range_side(const char *text, std::size_t length, u32 &number)
{
    if (length > RANGE_SIDE_MAX)
        return false;
    char side[RANGE_SIDE_MAX + 1] = {};
    std::memcpy(side, text, length);
    u32 addr_be = 0;
    if (!scan_address(side, addr_be))
        return false;
    number = host_order(addr_be);
    return true;
}

int range_hostmatch(const char *pattern, const char *address)
{
    const char *dash = std::strchr(pattern, '-');
    u32 addr_be = 0, low = 0, high = 0;
    if (dash == nullptr || !scan_address(address, addr_be) ||
        !range_side(pattern, static_cast<std::size_t>(dash - pattern), low) ||
        !range_side(dash + 1, std::strlen(dash + 1), high))
        return 0;
    const u32 number = host_order(addr_be);
    return low <= number && number <= high ? 1 : 0;
}

int ip_match(const char *pattern, const char *address)
{
    return std::strchr(pattern, '-') != nullptr ? range_hostmatch(pattern, address)
                                                : maskmatch(pattern, address);
}

// Copies a text of at most TEXT_MAX characters in lower case; false for a longer one.
static bool copy_lower(const char *text, char (&copy)[TEXT_MAX + 1])
{
    for (std::size_t i = 0; i <= TEXT_MAX; ++i) {
        copy[i] = lower_case(text[i]);
        if (text[i] == '\0')
            return true;
    }
    return false;
}

static int match_first_address(const char *pattern, const char *name)
{
    proxy_hostent = name_service->host_by_name(name);
    if (proxy_hostent == nullptr || !h_lengthCorrect(proxy_hostent->h_length, name) ||
        proxy_hostent->h_addr_list[0] == nullptr)
        return 0;
    char address[INET_ADDRSTRLEN];
    (void)inet_ntop(AF_INET, proxy_hostent->h_addr_list[0], address, sizeof address); // has room
    return ip_match(pattern, address);
}

int hostmatch(const char *pattern, const char *host)
{
    if (pattern == nullptr || host == nullptr)
        return 0;
    if (std::strcmp(pattern, "*") == 0)
        return 1;
    char low_pattern[TEXT_MAX + 1], low_host[TEXT_MAX + 1];
    if (!copy_lower(pattern, low_pattern)) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: pattern %s too long!", pattern);
        return 0;
    }
    if (!copy_lower(host, low_host)) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: name %s too long!", host);
        return 0;
    }
    if (!holds_only(low_pattern, NUMERIC_CHARS))
        return namatch(low_pattern, low_host);
    return holds_only(low_host, ADDRESS_CHARS) ? ip_match(low_pattern, low_host)
                                               : match_first_address(low_pattern, low_host);
}
