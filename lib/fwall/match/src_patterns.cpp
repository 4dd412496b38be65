#include "lib/fwall/match/src_patterns.h"

#include "lib/fwall/table/cfgrec.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <new>
#include <type_traits>

using namespace flatlink;

static constexpr u32 ALL_BITS = 0xFFFFFFFF;

namespace
{

// A cheap test before the pattern: a key of the client, under the mask, must lie at most `span`
// above `low`. Kept in an array of their own, so that a walk past patterns that do not fit, which
// is most of them, touches few cache lines.
struct key_test {
    u32 mask = 0;
    u32 low = 0;
    u32 span = ALL_BITS; // with an empty mask: every key passes
    int key = 0;         // index into src_client::keys

    bool passes(u32 value) const { return (value & mask) - low <= span; }
};

} // namespace

// Layout of the block: this, the patterns, their tests, the texts of names.
struct alignas(src_pattern) src_patterns {
    int count;
    cfgrec *last;

    src_pattern *list() { return reinterpret_cast<src_pattern *>(this + 1); }
    key_test *tests() { return reinterpret_cast<key_test *>(list() + count); }
    char *texts() { return reinterpret_cast<char *>(tests() + count); }
};

static_assert(std::is_trivially_destructible_v<src_pattern>, "free() is the whole release");

src_pattern flatlink::compile_src_pattern(const char *argument, char *room)
{
    if (argument[0] == '~')
        return {.kind = src_kind::IDENTITY};
    return {.host = compile_host_pattern(argument, room), .kind = src_kind::HOST};
}

int flatlink::pattern_count(const cfgrec &entry)
{
    int count = 0;
    while (count < entry.argc && entry.argv[count][0] != '-')
        ++count;
    return count;
}

static std::size_t room_for(const char *argument)
{
    const std::string_view text(argument);
    return is_name_pattern(text) && text.size() <= HOST_TEXT_MAX ? text.size() + 1 : 0;
}

static src_patterns *make_block(cfgrec *first)
{
    int count = 0;
    std::size_t text_bytes = 0;
    cfgrec *last = first;
    for (cfgrec *entry = first; entry != nullptr; entry = cfg_next("hosts", entry)) {
        const int patterns = pattern_count(*entry);
        for (int i = 0; i < patterns; ++i)
            text_bytes += room_for(entry->argv[i]);
        count += entry->argc == 0 ? 1 : patterns;
        last = entry;
    }
    const auto size = static_cast<std::size_t>(count) * (sizeof(src_pattern) + sizeof(key_test));
    void *block = std::malloc(sizeof(src_patterns) + size + text_bytes);
    return block == nullptr ? nullptr : new (block) src_patterns{count, last};
}

// Extends the key of a name's ending by the character before it. A hash: endings that differ may
// share a key, so a pattern that passes its test is still compared.
static u32 longer_key(u32 key, char c)
{
    return key * 0x01000193 + static_cast<unsigned char>(c);
}

src_client::src_client(const host_address &address)
    : known_keys(address.is_dotted ? ADDRESS_KEY + 1 : IDENTITY_KEY + 1)
{
    keys[IDENTITY_KEY] = 1;
    keys[ADDRESS_KEY] = address.number;
}

void src_client::know_name(std::string_view text)
{
    name = text;
    if (known_keys <= ADDRESS_KEY)
        return; // known_keys counts from 0, so no key may follow an unknown one
    u32 key = 0;
    u32 *next = keys + NAME_KEYS + 1;
    for (auto c = text.rbegin(); c != text.rend(); ++c)
        *next++ = key = longer_key(key, *c);
    std::fill(next, std::end(keys), 0U); // the name has no ending of these lengths
    known_keys = static_cast<int>(std::size(keys));
}

// Tests the fixed ending of a name pattern: all of it, or what follows its last star.
static key_test test_of_name(const host_pattern &name)
{
    const int length = name.has_star ? name.tail : name.length;
    u32 key = 0;
    for (int i = 1; i <= length; ++i)
        key = longer_key(key, name.text[name.length - i]);
    return length == 0 ? key_test{} : key_test{ALL_BITS, key, 0, src_client::NAME_KEYS + length};
}

static key_test test_of(const src_pattern &pattern)
{
    const u32 low = pattern.host.low, high = pattern.host.high;
    if (pattern.kind == src_kind::IDENTITY)
        return {ALL_BITS, 1, 0, src_client::IDENTITY_KEY};
    if (pattern.kind != src_kind::HOST)
        return {};
    if (pattern.host.kind == host_kind::OCTETS)
        return {high, low, 0, src_client::ADDRESS_KEY};
    if (pattern.host.kind == host_kind::RANGE && low <= high)
        return {ALL_BITS, low, high - low, src_client::ADDRESS_KEY};
    return pattern.host.kind == host_kind::NAME ? test_of_name(pattern.host) : key_test{};
}

static void fill_block(src_patterns &made, cfgrec *first)
{
    int next = 0;
    char *room = made.texts();
    const auto add = [&](const src_pattern &pattern) {
        new (made.list() + next) src_pattern(pattern);
        new (made.tests() + next) key_test(test_of(pattern));
        ++next;
    };
    for (cfgrec *entry = first; entry != nullptr; entry = cfg_next("hosts", entry)) {
        if (entry->argc == 0)
            add({.entry = entry});
        const int patterns = pattern_count(*entry);
        for (int i = 0; i < patterns; ++i) {
            src_pattern pattern = compile_src_pattern(entry->argv[i], room);
            pattern.entry = entry;
            pattern.argument = i;
            room += room_for(entry->argv[i]);
            add(pattern);
        }
    }
}

void flatlink::compile_host_patterns(cfgrec *list)
{
    cfgrec *const first = cfg_first("hosts", list);
    if (first == nullptr)
        return;
    std::free(first->patterns);
    first->patterns = make_block(first);
    if (first->patterns != nullptr)
        fill_block(*first->patterns, first);
}

// The check of a pattern whose test passed, or waits for a key that is not known yet.
static bool may_fit(const src_pattern &pattern, const src_client &client)
{
    if (pattern.kind != src_kind::HOST || !pattern.host.wants_name)
        return true;
    if (pattern.host.kind != host_kind::NAME || client.name.empty())
        return client.lookup_allowed;
    return pattern.host.fits_text(client.name);
}

// The first index from `at` on whose test passes, or waits for a key that is not known yet; `count`
// for none.
static int skip_failed(const key_test *tests, int count, const src_client &client, int at)
{
    while (at < count && tests[at].key < client.known_keys) {
        // Neighbours mostly test the same key: load it once for a whole run of them.
        const int key = tests[at].key;
        const u32 value = client.keys[key];
        while (at < count && tests[at].key == key && !tests[at].passes(value))
            ++at;
        if (at < count && tests[at].key == key)
            break;
    }
    return at;
}

const src_pattern *flatlink::next_candidate(src_patterns *prepared, const src_client &client,
                                            int &at)
{
    const key_test *const tests = prepared->tests();
    const int count = prepared->count;
    for (int i = at; (i = skip_failed(tests, count, client, i)) < count; ++i) {
        const src_pattern &pattern = prepared->list()[i];
        if (!may_fit(pattern, client))
            continue;
        at = i + 1;
        return &pattern;
    }
    return nullptr;
}

cfgrec *flatlink::last_prepared(const src_patterns *prepared)
{
    return prepared->last;
}
