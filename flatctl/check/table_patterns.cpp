#include "flatctl/check/table_patterns.h"

#include "lib/fwall/match/alldi.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/kdev/vpn_device.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstring>
#include <set>

using namespace flatlink;

bool flatlink::is_host_name(std::string_view text)
{
    return !text.starts_with('.') && text.find("..") == std::string_view::npos &&
           std::ranges::all_of(text, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '.' || c == '-' || c == '_' || c == '*';
           });
}

// ---- stars in addresses

namespace
{

// The places in a dotted address at which a pattern may stand after some of its characters: in an
// octet, after digits that make a number, or none.
class address_places
{
  public:
    address_places() { at_[0][NO_DIGIT] = true; }

    void take(char c);
    bool is_at_end() const;

  private:
    static constexpr int OCTETS = 4, NUMBERS = 256, NO_DIGIT = NUMBERS;
    using places = bool[OCTETS][NUMBERS + 1];

    void take_digit(int octet, int number, int digit, places &next) const;
    void take_star();

    places at_ = {};
};

void address_places::take_digit(int octet, int number, int digit, places &next) const
{
    const int longer = number == NO_DIGIT ? digit : number * 10 + digit;
    if (at_[octet][number] && number != 0 && longer < NUMBERS)
        next[octet][longer] = true;
}

void address_places::take(char c)
{
    if (c == '*') {
        take_star();
        return;
    }
    places next = {};
    for (int octet = 0; octet < OCTETS; ++octet)
        for (int number = 0; number <= NO_DIGIT; ++number) {
            if (c >= '0' && c <= '9')
                take_digit(octet, number, c - '0', next);
            else if (c == '.' && at_[octet][number] && number != NO_DIGIT && octet + 1 < OCTETS)
                next[octet + 1][NO_DIGIT] = true;
        }
    std::memcpy(at_, next, sizeof at_);
}

// Any text: every place that comes after one of these.
void address_places::take_star()
{
    for (int octet = 0; octet < OCTETS; ++octet) {
        // Digits make a number larger, so one pass finds all that follow.
        const auto extend = [&](int number) {
            for (int digit = 0; digit < 10; ++digit)
                take_digit(octet, number, digit, at_);
        };
        extend(NO_DIGIT);
        for (int number = 1; number < NUMBERS; ++number)
            extend(number);
        const bool has_number =
            std::find(at_[octet], at_[octet] + NUMBERS, true) != at_[octet] + NUMBERS;
        if (octet + 1 < OCTETS && has_number)
            at_[octet + 1][NO_DIGIT] = true;
    }
}

bool address_places::is_at_end() const
{
    return std::find(at_[OCTETS - 1], at_[OCTETS - 1] + NUMBERS, true) != at_[OCTETS - 1] + NUMBERS;
}

} // namespace

// Whether an address, as the system writes it, may fit a pattern with stars.
static bool fits_address(std::string_view pattern)
{
    address_places places;
    for (const char c : pattern)
        places.take(c);
    return places.is_at_end();
}

// ---- patterns of hosts

// A destination may be any text that a client asks for; other addresses are the system's.
static bool fits_nothing(const host_pattern &pattern, std::string_view text,
                         std::string_view keyword)
{
    switch (pattern.kind) {
    case host_kind::BAD_MASK:
    case host_kind::TOO_LONG:
        return true;
    case host_kind::RANGE:
        return pattern.low > pattern.high;
    case host_kind::NAME:
        return keyword == "rev_dns" || !is_host_name(text);
    case host_kind::STARS:
        return keyword != "destination" && keyword != "afw-dest" && !fits_address(text);
    default:
        return false;
    }
}

// How an address pattern is read, where that is not what it says; otherwise the empty text.
static std::string other_reading(const host_pattern &pattern, std::string_view text)
{
    const auto shown = [](u32 number) { return format_address(network_order(number)); };
    if (pattern.kind == host_kind::RANGE) {
        const std::string range = shown(pattern.low) + "-" + shown(pattern.high);
        return range == text ? "" : range;
    }
    if (!pattern.is_exact)
        return shown(pattern.low);
    if (pattern.kind != host_kind::OCTETS || pattern.has_star)
        return {};
    if (pattern.high == 0)
        return "every address";
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return {};
    // The octets that the mask lacks count as a whole.
    const auto dots = [](std::string_view part) { return std::ranges::count(part, '.'); };
    const bool is_short = dots(text.substr(colon)) < dots(text.substr(0, colon));
    return is_short ? shown(pattern.low) + ":" + shown(pattern.high) : "";
}

static void check_identity(const cfgrec &entry, int argument, const entry_fault_taker &take_fault)
{
    const std::string_view text = entry.argv[argument];
    if (text.size() > VPN_IDENTITY_SIZE)
        take_fault("T119", entry, argument, std::string(text));
    else if (text.find('*') != std::string_view::npos)
        take_fault("T112", entry, argument, std::string(text) + " stands for that text alone");
}

static void check_host(const cfgrec &entry, int argument, const entry_fault_taker &take_fault)
{
    const char *text = entry.argv[argument];
    const std::string_view keyword = entry.keyword;
    if (keyword == "hosts" && text[0] == '~') {
        check_identity(entry, argument, take_fault);
        return;
    }
    if (keyword == "destination" && text[0] == '!')
        ++text;
    char room[HOST_TEXT_MAX + 1];
    const bool is_address_range = keyword == "rev_dns" && std::strchr(text, '-') != nullptr;
    const host_pattern pattern =
        is_address_range ? compile_range(text) : compile_host_pattern(text, room);
    if (fits_nothing(pattern, text, keyword))
        take_fault("T119", entry, argument, text);
    else if (const std::string other = other_reading(pattern, text); !other.empty())
        take_fault("T112", entry, argument,
                   (text[0] == '\0' ? "no text" : std::string(text)) + " is taken for " + other);
}

static void check_port(const cfgrec &entry, int argument, const entry_fault_taker &take_fault)
{
    constexpr int PORT_MAX = 65535;
    const char *text = entry.argv[argument];
    text += text[0] == '!' ? 1 : 0;
    if (isalldigits(text) && (text[0] == '\0' || lenient_number(text) > PORT_MAX))
        take_fault("T119", entry, argument, text);
}

int flatlink::host_count(const cfgrec &entry)
{
    const std::string_view keyword = entry.keyword;
    if (keyword == "hosts")
        return pattern_count(entry);
    if (keyword == "destination" || keyword == "rev_dns")
        return entry.argc;
    return keyword == "afw-dest" && entry.argc > 0 ? 1 : 0;
}

void flatlink::check_arguments(const cfgrec &entry, const entry_fault_taker &take_fault)
{
    const int hosts = host_count(entry);
    for (int i = 0; i < hosts; ++i)
        check_host(entry, i, take_fault);
    const std::string_view keyword = entry.keyword;
    const bool is_block = keyword == "afw-dest";
    if (keyword == "ports" || is_block)
        for (int i = is_block ? 1 : 0; i < (is_block ? std::min(entry.argc, 2) : entry.argc); ++i)
            check_port(entry, i, take_fault);
}

// ---- items that come too late

static bool takes_all(std::string_view keyword, std::string_view item)
{
    if (keyword == "ports")
        return item.starts_with('*') || same_word(item, "any");
    return item == "*";
}

static void check_items_of(const char *keyword, const cfgrec *list,
                           const entry_fault_taker &take_fault)
{
    std::set<std::string, std::less<>> seen;
    bool is_all_taken = false;
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next) {
        if (std::strcmp(entry->keyword, keyword) != 0)
            continue;
        for (int i = 0; i < entry->argc; ++i) {
            const std::string item = entry->argv[i] + (entry->argv[i][0] == '!' ? 1 : 0);
            if (is_all_taken || !seen.insert(item).second)
                take_fault("T206", *entry, i, entry->argv[i]);
            is_all_taken = is_all_taken || takes_all(keyword, item);
        }
    }
}

void flatlink::check_items(const cfgrec *list, const entry_fault_taker &take_fault)
{
    for (const char *keyword : {"destination", "ports", "proxy"})
        check_items_of(keyword, list, take_fault);
}
