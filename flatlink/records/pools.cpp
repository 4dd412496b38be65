#include "flatlink/records/pools.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/record_watch.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <span>
#include <vector>

using namespace flatlink;

namespace
{

constexpr field<mcpool> fields_of_pool[] = {
    {"name", identity<&mcpool::name>},
    {"description", as<as_text, &mcpool::description>},
    {"mask", as<network_mask, &mcpool::mask>},
    {"expiry", as<bounded_decimal, &mcpool::expiry>},
    {"stale_limit", as<bounded_decimal, &mcpool::stale_limit>},
    {"ifname", as<as_text, &mcpool::ifname>},
};

// How a field of the entry with a number is held. To store one makes the entry.
struct entry_form {
    void (*store)(mcpool &pool, std::int32_t number, std::string_view value);
    printed (*print)(const mcpool &pool, std::int32_t number);
};

// A field of an entry: its key is the entry's number between stem and ending.
struct entry_field {
    std::string_view stem, ending;
    entry_form held;
};

// The entries of one kind: their numbers, and what each holds.
struct entry_kind {
    std::vector<std::int32_t> (*numbers)(const mcpool &pool);
    std::span<const entry_field> fields;
};

template <auto entries> std::vector<std::int32_t> numbers_of(const mcpool &pool)
{
    std::vector<std::int32_t> numbers;
    for (const auto &entry : pool.*entries)
        numbers.push_back(entry.first);
    return numbers;
}

// As `as` of field.h, for an entry or a member of it.
template <typename codec, auto entries, auto... member>
constexpr entry_form in{[](mcpool &pool, std::int32_t number, std::string_view value) {
                            codec::read(((pool.*entries)[number].*....*member), value);
                        },
                        [](const mcpool &pool, std::int32_t number) {
                            return codec::print(((pool.*entries).at(number).*....*member));
                        }};

constexpr entry_field range_fields[] = {
    {"addr_", "", in<address, &mcpool::addr, &mcpool_range::addr>},
    {"addr2_", "", in<address, &mcpool::addr, &mcpool_range::addr2>},
};
constexpr entry_field nbns_fields[] = {{"nbns_", "", in<address, &mcpool::nbns>}};
constexpr entry_field dns_fields[] = {{"dns_", "", in<address, &mcpool::dns>}};
constexpr entry_field net_fields[] = {
    {"net_", "_addr", in<address, &mcpool::net, &mcpool_net::addr>},
    {"net_", "_mask", in<address, &mcpool::net, &mcpool_net::mask>},
};

// In the order of their lines.
constexpr entry_kind entry_kinds[] = {
    {numbers_of<&mcpool::addr>, range_fields},
    {numbers_of<&mcpool::nbns>, nbns_fields},
    {numbers_of<&mcpool::dns>, dns_fields},
    {numbers_of<&mcpool::net>, net_fields},
};

record_index<mcpool, &mcpool::name> names;

mcpool &pool_named(const std::string &name)
{
    if (mcpool *found = names.find(mcpools, name))
        return *found;
    auto pool = std::make_unique<mcpool>();
    pool->seq = mcpools.empty() ? 1 : mcpools.back()->seq + 1;
    pool->name = name;
    mcpools.push_back(std::move(pool));
    return *mcpools.back();
}

} // namespace

constinit const field_table<mcpool> flatlink::pool_fields = fields_of_pool;

// Numbers followed by an ending wrap, all others are clamped.
static std::int32_t take_entry_number(const entry_field &field, std::string_view &rest)
{
    return field.ending.empty() ? lenient_number(rest)
                                : static_cast<std::int32_t>(take_number(rest));
}

static int store_entry(mcpool &pool, std::string_view key, std::string_view value)
{
    std::string_view unknown = key;
    std::string where = pool.name;
    for (const entry_kind &kind : entry_kinds) {
        for (const entry_field &field : kind.fields) {
            std::string_view rest = key;
            if (!take_prefix(rest, field.stem))
                continue;
            const std::int32_t number = take_entry_number(field, rest);
            if (number < 0)
                return 1;
            if (field.ending.empty() || field.ending == rest) {
                note_stored(&pool, key, value);
                field.held.store(pool, number, value);
                return 0;
            }
            unknown = rest;
            where = pool.name + "_" + std::string(field.stem) + std::to_string(number);
        }
    }
    note_unknown();
    complain("vpndata: Unrecognized VPN field (" + std::string(unknown) + "=" + std::string(value) +
             ") on mcpool_" + where);
    return 1;
}

static int store_line(std::string_view rest, const std::string &name, const char *&message)
{
    condfprintf(fout, "<<mcpool_%.*s\n", static_cast<int>(rest.size()), rest.data());
    line_parts line;
    if (name.size() < rest.size())
        line = split_line(rest.substr(name.size() + 1));
    if (!line.has_equals) {
        complain("vpndata: BAD format mcpool_" + std::string(rest));
        return 1;
    }
    if (line.value.empty())
        return 0;
    mcpool &pool = pool_named(name);
    if (find_row<mcpool>(pool_fields, line.key) == nullptr)
        return store_entry(pool, line.key, line.value);
    (void)store_field<mcpool>(pool_fields, pool, line.key, line.value, message);
    return 0;
}

int add_partial_mcpool(std::string_view rest)
{
    return within_memory(POOL_NAME_FAILURE, [rest](const char *&message) {
        const std::string name(rest.substr(0, rest.find('_')));
        message = SPACED_MALLOC_FAILURE;
        return store_line(rest, name, message);
    });
}

// ---- finishing

static bool is_no_address(u32 addr)
{
    return addr == 0 || addr == NOT_AN_ADDRESS;
}

static std::string key_of(const entry_field &field, std::size_t number)
{
    return std::string(field.stem) + std::to_string(number) + std::string(field.ending);
}

// Removes the entries for which `is_useless` is true and renumbers the others from 0. Later lines
// address them by the new numbers; their own lines count from 1.
template <auto entries, typename predicate>
static void close_up(mcpool &pool, std::span<const entry_field> fields, predicate is_useless)
{
    std::remove_reference_t<decltype(pool.*entries)> kept;
    for (const auto &[number, entry] : pool.*entries) {
        const bool is_kept = !is_useless(entry);
        if (is_kept)
            kept.emplace_hint(kept.end(), static_cast<std::int32_t>(kept.size()), entry);
        if (record_watch == nullptr)
            continue;
        for (const entry_field &field : fields) {
            const std::string key = key_of(field, static_cast<std::size_t>(number));
            if (is_kept)
                note_moved(&pool, key, &pool, key_of(field, kept.size()));
            else
                note_dropped(left_out::ENTRY_ADDRESS, &pool, nullptr, key);
        }
    }
    pool.*entries = std::move(kept);
}

// A network of all zeros means every network and makes all others redundant.
static void finish_networks(mcpool &pool)
{
    const auto everything = std::find_if(pool.net.begin(), pool.net.end(), [](const auto &entry) {
        return entry.second.addr == 0 && entry.second.mask == 0;
    });
    if (everything != pool.net.end()) {
        for (const entry_field &field : net_fields)
            note_moved(&pool, key_of(field, static_cast<std::size_t>(everything->first)), &pool,
                       key_of(field, 1));
        pool.net = {{0, mcpool_net{0, 0}}};
        return;
    }
    close_up<&mcpool::net>(pool, net_fields, [](const mcpool_net &net) {
        return net.addr == NOT_AN_ADDRESS || (net.addr == 0 && net.mask == NOT_AN_ADDRESS);
    });
}

// False when the pool has no addresses to assign.
static bool finish_pool(mcpool &pool)
{
    close_up<&mcpool::addr>(pool, range_fields,
                            [](const mcpool_range &range) { return is_no_address(range.addr); });
    if (pool.mask == 0 || pool.addr.empty())
        return false;
    finish_networks(pool);
    close_up<&mcpool::dns>(pool, dns_fields, is_no_address);
    close_up<&mcpool::nbns>(pool, nbns_fields, is_no_address);
    return true;
}

void finish_mcpools()
{
    names.invalidate();
    std::erase_if(mcpools, [](const auto &pool) {
        const bool is_useless = !finish_pool(*pool);
        if (is_useless)
            note_dropped(left_out::NO_ADDRESSES, pool.get());
        return is_useless;
    });
    std::stable_sort(mcpools.begin(), mcpools.end(),
                     [](const auto &a, const auto &b) { return a->seq < b->seq; });
    std::int32_t seq = 0;
    for (const auto &pool : mcpools)
        pool->seq = ++seq;
}

// ---- the way out

static void save_entries(const record_writer &out, const mcpool &pool, const entry_kind &kind)
{
    std::size_t written = 0;
    for (const std::int32_t number : kind.numbers(pool)) {
        ++written;
        for (const entry_field &field : kind.fields) {
            const printed value = field.held.print(pool, number);
            if (!value)
                continue;
            const std::string key = key_of(field, written);
            note_written(&pool, key, *value);
            out.text(key, *value);
        }
    }
}

void save_mcpools(std::FILE *stream, const record_list<mcpool> &list)
{
    for (const auto &pool : list) {
        const record_writer out(stream, numbered("mcpool", pool->seq));
        print_fields<mcpool>(out, pool_fields, *pool);
        for (const entry_kind &kind : entry_kinds)
            save_entries(out, *pool, kind);
    }
}
