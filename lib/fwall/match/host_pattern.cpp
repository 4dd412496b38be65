#include "lib/fwall/match/host_pattern.h"

#include "lib/fwall/match/scan_address.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstring>

using namespace flatlink;

hostent *proxy_hostent = nullptr;

static constexpr std::size_t RANGE_SIDE_MAX = 16;
static constexpr u32 ALL_BITS = 0xFFFFFFFF;

namespace
{

// Up to four numbers of a text, the first in the high octet.
struct octet_row {
    u32 value = 0;
    u32 given = 0; // all bits of the octets that the text has
    bool is_exact = true;
};

} // namespace

// Takes a number and the point after it.
//   is_exact  becomes false when the number is above 255, or something else stands in its place
static u32 take_octet(const char *&text, const char *ends, bool &is_exact)
{
    u32 value = 0;
    const char *const begin = text;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + static_cast<u32>(*text - '0');
        is_exact = is_exact && value < 256;
        value %= 256;
    }
    const std::size_t ignored = std::strcspn(text, ends);
    is_exact = is_exact && text != begin && ignored == 0;
    text += ignored;
    if (*text == '.')
        ++text;
    return value;
}

// Takes up to four numbers. `ends` are the characters that end a number: a point, which separates
// them, and optionally one that ends the row.
static octet_row take_octets(const char *&text, const char *ends)
{
    octet_row row;
    for (int bits = 24; bits >= 0 && *text != '\0' && *text != ends[1]; bits -= 8) {
        row.value |= take_octet(text, ends, row.is_exact) << bits;
        row.given |= 0xFFU << bits;
    }
    return row;
}

host_address flatlink::read_host_address(const char *text)
{
    host_address address{.text = text};
    if (read_dotted(text, address.number)) { // stricter than scan_address
        address.octets = address.number;
        address.given = ALL_BITS;
        address.is_number = address.is_dotted = true;
        return address;
    }
    const char *rest = text;
    const octet_row row = take_octets(rest, ".");
    address.octets = row.value;
    address.given = row.given;
    u32 addr_be = 0;
    address.is_number = scan_address(text, addr_be);
    address.number = host_order(addr_be);
    return address;
}

host_client::host_client(const char *host) : given(host)
{
    for (std::size_t i = 0; host[i] != '\0'; ++i) {
        if (i == HOST_TEXT_MAX) {
            is_too_long = true;
            break;
        }
        text[i] = lower_case(host[i]);
        is_address = is_address && (text[i] == '.' || (text[i] >= '0' && text[i] <= '9'));
        ++length;
    }
    text[length] = '\0';
    if (is_address)
        address = read_host_address(text);
}

bool flatlink::is_name_pattern(std::string_view text)
{
    return text.find_first_not_of(".*0123456789:-") != std::string_view::npos;
}

host_pattern flatlink::compile_octets(const char *text)
{
    const char *rest = text;
    const octet_row value = take_octets(rest, ".:");
    u32 mask = value.given;
    bool is_exact = value.is_exact;
    if (*rest == ':') {
        ++rest;
        // An octet that the mask lacks is compared as a whole, if the value has it.
        const octet_row given = take_octets(rest, ".");
        mask = given.value | (value.given & ~given.given);
        is_exact = is_exact && given.is_exact;
    }
    const bool never = (value.value & ~mask) != 0;
    return {.text = text,
            .low = value.value,
            .high = mask,
            .kind = never ? host_kind::BAD_MASK : host_kind::OCTETS,
            .is_exact = is_exact && *rest == '\0'};
}

// Reads one end of a range. False when it is no address, or too long.
static bool read_range_side(std::string_view text, u32 &number)
{
    if (text.size() > RANGE_SIDE_MAX)
        return false;
    char side[RANGE_SIDE_MAX + 1] = {};
    text.copy(side, text.size());
    u32 addr_be = 0;
    if (!scan_address(side, addr_be))
        return false;
    number = host_order(addr_be);
    return true;
}

host_pattern flatlink::compile_range(const char *text)
{
    host_pattern pattern{.text = text, .low = 1, .high = 0, .kind = host_kind::RANGE};
    const std::string_view sides(text);
    const std::size_t dash = sides.find('-');
    u32 low = 0, high = 0;
    if (dash != std::string_view::npos && read_range_side(sides.substr(0, dash), low) &&
        read_range_side(sides.substr(dash + 1), high)) {
        pattern.low = low;
        pattern.high = high;
    }
    return pattern;
}

// A text with or without stars.
static host_pattern compile_text(host_kind kind, const char *copy, std::string_view text)
{
    const std::size_t first = text.find('*'), last = text.rfind('*');
    host_pattern pattern{.text = copy, .kind = kind};
    pattern.has_star = first != std::string_view::npos;
    pattern.one_star = first == last;
    pattern.length = static_cast<std::uint16_t>(text.size());
    pattern.head = static_cast<std::uint16_t>(pattern.has_star ? first : text.size());
    pattern.tail = static_cast<std::uint16_t>(pattern.has_star ? text.size() - last - 1 : 0);
    return pattern;
}

// Turns whole octets followed by one star, as in 10.1.*, into a comparison of numbers: for dotted
// addresses both give the same answer. Other texts, such as five octets, still meet the star.
static void find_starred_octets(host_pattern &pattern)
{
    const std::string_view text(pattern.text, pattern.length);
    if (!pattern.one_star || !text.ends_with(".*") || text.size() > sizeof "255.255.255.*" - 1)
        return;
    char whole[INET_ADDRSTRLEN + sizeof ".0.0.0"] = {};
    char *end = std::copy(text.begin(), text.end() - 2, whole);
    int bits = 32;
    for (auto points = std::count(text.begin(), text.end(), '.'); points < 4; ++points, bits -= 8)
        end = std::copy_n(".0", 2, end);
    u32 number = 0;
    if (bits == 32 || !read_dotted(whole, number))
        return;
    pattern.low = number;
    pattern.high = ALL_BITS << (32 - bits);
    pattern.kind = host_kind::OCTETS;
}

host_pattern flatlink::compile_host_pattern(const char *text, char *room)
{
    const std::string_view all(text);
    if (all == "*")
        return {.text = text, .kind = host_kind::EVERY};
    host_pattern pattern{.text = text, .wants_name = is_name_pattern(all)};
    if (all.size() > HOST_TEXT_MAX)
        return pattern;
    if (pattern.wants_name) {
        char *end =
            std::transform(all.begin(), all.end(), room, static_cast<char (*)(char)>(lower_case));
        *end = '\0';
        pattern = compile_text(host_kind::NAME, room, {room, all.size()});
        pattern.wants_name = true;
        return pattern;
    }
    if (all.find('-') != std::string_view::npos)
        return compile_range(text);
    if (all.find('*') == std::string_view::npos)
        return compile_octets(text);
    pattern = compile_text(host_kind::STARS, text, all);
    find_starred_octets(pattern);
    return pattern;
}

bool host_pattern::fits_address(const host_address &address) const
{
    switch (kind) {
    case host_kind::EVERY:
        return true;
    case host_kind::RANGE:
        return address.is_number && !excludes(address.number);
    case host_kind::OCTETS:
        if (has_star)
            return address.is_dotted ? !excludes(address.number) : fits_text(address.text);
        return (((address.octets & high) ^ low) & address.given) == 0;
    case host_kind::STARS:
        return fits_text(address.text);
    case host_kind::BAD_MASK:
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: pat:mask can never match anything, %s", text);
        return false;
    default:
        return false;
    }
}

static bool fits_first_address(const host_pattern &pattern, const char *name)
{
    proxy_hostent = name_service->host_by_name(name);
    if (proxy_hostent == nullptr || !h_lengthCorrect(proxy_hostent->h_length, name) ||
        proxy_hostent->h_addr_list[0] == nullptr)
        return false;
    char address[INET_ADDRSTRLEN];
    (void)inet_ntop(AF_INET, proxy_hostent->h_addr_list[0], address, sizeof address); // has room
    return pattern.fits_address(read_host_address(address));
}

bool host_pattern::fits(const host_client &client) const
{
    if (kind == host_kind::EVERY)
        return true;
    if (kind == host_kind::TOO_LONG) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: pattern %s too long!", text);
        return false;
    }
    if (client.is_too_long) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: name %s too long!", client.given);
        return false;
    }
    if (wants_name)
        return fits_text(client.name());
    return client.is_address ? fits_address(client.address)
                             : fits_first_address(*this, client.text);
}
