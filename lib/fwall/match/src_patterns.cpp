#include "lib/fwall/match/src_patterns.h"

#include "lib/fwall/match/inet_aton.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/ulib/text.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

static constexpr std::size_t TEXT_MAX = 511; // of hostmatch

namespace
{

enum class pattern_kind : std::uint8_t {
    unread,   // none of the others
    identity, // begins with `~`
    range,    // low to high; `*` is the range of all
    octets,   // the address under the mask `high` is `low`
    name,     // a name with or without stars
};

struct src_pattern {
    u32 low = 0;
    u32 high = 0;
    pattern_kind kind = pattern_kind::unread;
    bool starred = false;
    bool plain_middle = true; // one star, or none
    std::uint16_t length = 0;
    std::uint16_t head = 0; // characters in front of the first star; without one all
    std::uint16_t tail = 0; // characters behind the last star
    std::int32_t argument = 0;
    cfgrec *entry = nullptr;
    const char *text = nullptr; // lower case, in the block
};

} // namespace

// Layout of the block: this, the patterns, their texts.
struct alignas(src_pattern) src_patterns {
    int count;

    src_pattern *list() { return reinterpret_cast<src_pattern *>(this + 1); }
    const src_pattern *list() const { return reinterpret_cast<const src_pattern *>(this + 1); }
};

static_assert(std::is_trivially_destructible_v<src_pattern>, "free() is the whole release");

// An octet as it stands in the dotted text of an address, so without zeros in front.
static bool take_octet(std::string_view &text, u32 &octet)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), octet);
    const auto length = static_cast<std::size_t>(end - text.data());
    if (error != std::errc() || octet > 255 || (length > 1 && text[0] == '0'))
        return false;
    text.remove_prefix(length);
    return true;
}

// OCTET.OCTET.* and the like, and whole addresses, are compared with a dotted text as octets are
// with a number. Other patterns with stars are not.
static bool read_octets(std::string_view text, src_pattern &pattern)
{
    u32 octet = 0;
    for (int bits = 24; bits >= 0; bits -= 8) {
        if (!take_octet(text, octet))
            return false;
        pattern.low |= octet << bits;
        pattern.high |= 0xFFU << bits;
        if (text.empty() || (text == ".*" && bits > 0))
            return true;
        if (!text.starts_with('.'))
            return false;
        text.remove_prefix(1);
    }
    return false;
}

// OCTETS:MASK with four octets on both sides, none of them outside the mask.
static bool read_masked(std::string_view text, src_pattern &pattern)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos)
        return false;
    src_pattern value, mask;
    if (text.find('*') != std::string_view::npos || !read_octets(text.substr(0, colon), value) ||
        !read_octets(text.substr(colon + 1), mask) || value.high != 0xFFFFFFFF ||
        mask.high != 0xFFFFFFFF || (value.low & ~mask.low) != 0)
        return false;
    pattern.low = value.low;
    pattern.high = mask.low;
    return true;
}

static bool read_range(std::string_view text, src_pattern &pattern)
{
    constexpr std::size_t SIDE_MAX = 16; // of range_hostmatch
    const std::size_t dash = text.find('-');
    if (dash > SIDE_MAX || text.size() - dash - 1 > SIDE_MAX) // or there is none
        return false;
    char low[SIDE_MAX + 1] = {}, high[SIDE_MAX + 1] = {};
    text.copy(low, dash);
    text.copy(high, SIDE_MAX, dash + 1);
    u32 low_be = 0, high_be = 0;
    if (!scan_address(low, low_be) || !scan_address(high, high_be))
        return false;
    pattern.low = host_order(low_be);
    pattern.high = host_order(high_be);
    return true;
}

static src_pattern read_numeric(std::string_view text)
{
    src_pattern pattern;
    if (text == "*")
        return {.high = 0xFFFFFFFF, .kind = pattern_kind::range};
    if (read_range(text, pattern)) {
        pattern.kind = pattern_kind::range;
        return pattern;
    }
    pattern = {};
    if (read_masked(text, pattern) || (pattern = {}, read_octets(text, pattern))) {
        pattern.kind = pattern_kind::octets;
        return pattern;
    }
    return {};
}

// Stores the text in lower case at `place`, which is left behind it.
static src_pattern read_name(std::string_view text, char *&place)
{
    src_pattern pattern{.kind = pattern_kind::name, .text = place};
    for (const char c : text)
        *place++ = lower_case(c);
    *place++ = '\0';
    const std::size_t first = text.find('*');
    const std::size_t last = text.rfind('*');
    pattern.starred = first != std::string_view::npos;
    pattern.plain_middle = first == last;
    pattern.length = static_cast<std::uint16_t>(text.size());
    pattern.head = static_cast<std::uint16_t>(pattern.starred ? first : text.size());
    pattern.tail = static_cast<std::uint16_t>(pattern.starred ? text.size() - last - 1 : 0);
    return pattern;
}

static src_pattern read_pattern(std::string_view text, char *&place)
{
    if (text.starts_with('~'))
        return {.kind = pattern_kind::identity};
    if (text.size() > TEXT_MAX)
        return {};
    if (text.find_first_not_of(".*0123456789:-") != std::string_view::npos)
        return read_name(text, place);
    return read_numeric(text);
}

static int pattern_count(const cfgrec &entry)
{
    int count = 0;
    while (count < entry.argc && entry.argv[count][0] != '-')
        ++count;
    return entry.argc == 0 ? 1 : count; // without arguments there is a fault to report
}

// The block for the records from `first` up to `behind`.
static src_patterns *make_block(const cfgrec *first, const cfgrec *behind)
{
    int count = 0;
    std::size_t text_bytes = 0;
    for (const cfgrec *entry = first; entry != behind; entry = entry->next) {
        count += pattern_count(*entry);
        for (int i = 0; i < entry->argc && entry->argv[i][0] != '-'; ++i)
            text_bytes += std::strlen(entry->argv[i]) + 1;
    }
    const auto size = static_cast<std::size_t>(count) * sizeof(src_pattern);
    void *block = std::malloc(sizeof(src_patterns) + size + text_bytes);
    return block == nullptr ? nullptr : new (block) src_patterns{count};
}

static void prepare_run(cfgrec *first, const cfgrec *behind)
{
    first->patterns = make_block(first, behind);
    if (first->patterns == nullptr)
        return;
    src_pattern *next = first->patterns->list();
    char *place = reinterpret_cast<char *>(next + first->patterns->count);
    for (cfgrec *entry = first; entry != behind; entry = entry->next) {
        const int count = pattern_count(*entry);
        for (int i = 0; i < count; ++i, ++next) {
            // NOLINTNEXTLINE(clang-analyzer-cplusplus.PlacementNew): it lies behind the head
            new (next)
                src_pattern(entry->argc == 0 ? src_pattern{} : read_pattern(entry->argv[i], place));
            next->entry = entry;
            next->argument = i;
        }
    }
}

void prepare_src_patterns(cfgrec *list)
{
    cfgrec *entry = cfg_first("hosts", list);
    while (entry != nullptr) {
        cfgrec *last = entry->run_last == nullptr ? entry : entry->run_last;
        prepare_run(entry, last->next);
        entry = cfg_next("hosts", last);
    }
}

static src_answer answer_of(const src_pattern &pattern, const src_client &client)
{
    switch (pattern.kind) {
    case pattern_kind::range:
        return pattern.low <= client.address && client.address <= pattern.high ? src_answer::yes
                                                                               : src_answer::no;
    case pattern_kind::octets:
        return (client.address & pattern.high) == pattern.low ? src_answer::yes : src_answer::no;
    case pattern_kind::identity:
        return client.has_identity ? src_answer::ask_identity : src_answer::no;
    case pattern_kind::name:
        return src_answer::ask_name;
    default:
        return src_answer::ask;
    }
}

src_candidate src_next_candidate(const src_patterns *prepared, const src_client &client, int &at)
{
    while (at < prepared->count) {
        const src_pattern &pattern = prepared->list()[at++];
        if (const src_answer answer = answer_of(pattern, client); answer != src_answer::no)
            return {answer, pattern.entry, pattern.argument};
    }
    return {};
}

bool src_name_fits(const src_patterns *prepared, int at, std::string_view name)
{
    const src_pattern &pattern = prepared->list()[at - 1];
    const std::string_view text(pattern.text, pattern.length);
    if (!pattern.starred)
        return name == text;
    // A head or tail of fixed characters settles most names.
    if (name.size() < std::size_t{pattern.head} + pattern.tail ||
        !name.ends_with(text.substr(text.size() - pattern.tail)) ||
        !name.starts_with(text.substr(0, pattern.head)))
        return false;
    return pattern.plain_middle || namatch(pattern.text, name.data()) != 0;
}
