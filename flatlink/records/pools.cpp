#include "flatlink/records/pools.h"

#include <algorithm>

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "lib/ulib/text.h"

namespace
{

struct pool_field {
    std::string_view key;
    void (*store)(mcpool &pool, std::string_view value);
};

// A key that ends in a number: "addr_3".
struct entry_field {
    std::string_view stem;
    void (*store)(mcpool &pool, std::int32_t number, u32 addr);
};

template <auto member> void store_text(mcpool &pool, std::string_view value)
{
    pool.*member = value;
}

template <auto member> void store_number(mcpool &pool, std::string_view value)
{
    pool.*member = lenient_number(value);
}

constexpr pool_field pool_fields[] = {
    {"name", [](mcpool &, std::string_view) {}}, // the name in the key is the pool's
    {"description", store_text<&mcpool::description>},
    {"mask",
     [](mcpool &pool, std::string_view value) { pool.mask = network_of(std::string(value)); }},
    {"expiry", store_number<&mcpool::expiry>},
    {"stale_limit", store_number<&mcpool::stale_limit>},
    {"ifname", store_text<&mcpool::ifname>},
};

constexpr entry_field entry_fields[] = {
    {"addr_", [](mcpool &pool, std::int32_t n, u32 addr) { pool.addr[n].addr = addr; }},
    {"addr2_", [](mcpool &pool, std::int32_t n, u32 addr) { pool.addr[n].addr2 = addr; }},
    {"nbns_", [](mcpool &pool, std::int32_t n, u32 addr) { pool.nbns[n] = addr; }},
    {"dns_", [](mcpool &pool, std::int32_t n, u32 addr) { pool.dns[n] = addr; }},
};

constexpr std::string_view NET_STEM = "net_";

constexpr struct {
    std::string_view ending;
    u32 mcpool_net::*field;
} net_fields[] = {{"_addr", &mcpool_net::addr}, {"_mask", &mcpool_net::mask}};

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

void complain_of_field(std::string_view field, std::string_view value, const std::string &where)
{
    complain("vpndata: Unrecognized VPN field (" + std::string(field) + "=" + std::string(value) +
             ") on mcpool_" + where);
}

} // namespace

static int store_network(mcpool &pool, std::string_view behind_stem, std::string_view value)
{
    std::string_view ending = behind_stem;
    const auto number = static_cast<std::int32_t>(take_number(ending));
    if (number < 0)
        return 1;
    for (const auto &field : net_fields) {
        if (field.ending == ending) {
            pool.net[number].*field.field = address_of(std::string(value));
            return 0;
        }
    }
    complain_of_field(ending, value, pool.name + "_net_" + std::to_string(number));
    return 1;
}

static int store_field(mcpool &pool, std::string_view key, std::string_view value)
{
    for (const pool_field &field : pool_fields) {
        if (field.key == key) {
            field.store(pool, value);
            return 0;
        }
    }
    std::string_view behind_stem = key;
    for (const entry_field &field : entry_fields) {
        if (!take_prefix(behind_stem, field.stem))
            continue;
        const std::int32_t number = lenient_number(behind_stem);
        if (number < 0)
            return 1;
        field.store(pool, number, address_of(std::string(value)));
        return 0;
    }
    if (take_prefix(behind_stem, NET_STEM))
        return store_network(pool, behind_stem, value);
    complain_of_field(key, value, pool.name);
    return 1;
}

static int store_line(std::string_view rest, const std::string &name)
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
    return store_field(pool_named(name), line.key, line.value);
}

int add_partial_mcpool(std::string_view rest)
{
    return within_memory(POOL_NAME_FAILURE, [rest](const char *&message) {
        const std::string name(rest.substr(0, rest.find('_')));
        message = SPACED_MALLOC_FAILURE;
        return store_line(rest, name);
    });
}

// ---- finishing

static bool is_no_address(u32 addr)
{
    return addr == 0 || addr == NOT_AN_ADDRESS;
}

// Removes the entries that `is_useless` names; the others move up, to the numbers from 0. Lines
// that come later address them by these.
template <typename entry_type, typename predicate>
static void close_up(std::map<std::int32_t, entry_type> &entries, predicate is_useless)
{
    std::map<std::int32_t, entry_type> kept;
    for (const auto &[number, entry] : entries)
        if (!is_useless(entry))
            kept.emplace_hint(kept.end(), static_cast<std::int32_t>(kept.size()), entry);
    entries = std::move(kept);
}

// A network of all zeros means every network, and then no other counts.
static void finish_networks(mcpool &pool)
{
    const auto everything = std::find_if(pool.net.begin(), pool.net.end(), [](const auto &entry) {
        return entry.second.addr == 0 && entry.second.mask == 0;
    });
    if (everything != pool.net.end()) {
        pool.net = {{0, mcpool_net{0, 0}}};
        return;
    }
    close_up(pool.net, [](const mcpool_net &net) {
        return net.addr == NOT_AN_ADDRESS || (net.addr == 0 && net.mask == NOT_AN_ADDRESS);
    });
}

// False when the pool has nothing to give.
static bool finish_pool(mcpool &pool)
{
    close_up(pool.addr, [](const mcpool_range &range) { return is_no_address(range.addr); });
    if (pool.mask == 0 || pool.addr.empty())
        return false;
    finish_networks(pool);
    close_up(pool.dns, is_no_address);
    close_up(pool.nbns, is_no_address);
    return true;
}

void finish_mcpools()
{
    names.forget();
    std::erase_if(mcpools, [](const auto &pool) { return !finish_pool(*pool); });
    std::stable_sort(mcpools.begin(), mcpools.end(),
                     [](const auto &a, const auto &b) { return a->seq < b->seq; });
    std::int32_t seq = 0;
    for (const auto &pool : mcpools)
        pool->seq = ++seq;
}

// ---- the way out

static void save_servers(const record_writer &out, const std::string &stem,
                         const std::map<std::int32_t, u32> &servers)
{
    int number = 0;
    for (const auto &entry : servers)
        out.address(stem + std::to_string(++number), entry.second);
}

void save_mcpools(std::FILE *stream, const record_list<mcpool> &list)
{
    for (const auto &pool : list) {
        const record_writer out(stream, numbered("mcpool", pool->seq));
        out.text("name", pool->name);
        out.text("description", pool->description);
        out.address("mask", pool->mask);
        out.number("expiry", pool->expiry);
        out.number("stale_limit", pool->stale_limit);
        out.text("ifname", pool->ifname);
        int number = 0;
        for (const auto &entry : pool->addr) {
            const std::string ending = std::to_string(++number);
            out.address("addr_" + ending, entry.second.addr);
            out.address("addr2_" + ending, entry.second.addr2);
        }
        save_servers(out, "nbns_", pool->nbns);
        save_servers(out, "dns_", pool->dns);
        number = 0;
        for (const auto &entry : pool->net) {
            const std::string stem = "net_" + std::to_string(++number);
            out.address(stem + "_addr", entry.second.addr);
            out.address(stem + "_mask", entry.second.mask);
        }
    }
}
