#include "flatlink/derive/pool_loader.h"

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/derive/link_lines.h"
#include "flatlink/derive/link_pairs.h"
#include "flatlink/derive/rule_walk.h"
#include "flatlink/records/line.h"
#include "flatlink/records/pools.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/netobj_text.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/address.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/text.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

namespace
{

constexpr std::size_t MASK_KEY_SIZE = 256;   // longest mask that is looked up by its short name
constexpr std::size_t OBJECT_KEY_SIZE = 127; // longest key of a pool's object; more is cut

// Entries of one kind in a pool; groups that double at each level would give any number.
constexpr int MAX_ENTRIES = 65'536;

struct key_map_row {
    const char *tree_key;
    std::string_view flat_key;
};

constexpr key_map_row mcpool_map[] = {
    {"name", "name"},     {"description", "description"}, {"mask", "mask"},
    {"ifname", "ifname"}, {"expiry", "expiry"},           {"stale-limit", "stale_limit"},
};

// What the entries of a child of the pool may be.
enum class entry_kind { RANGE, NETWORK, SERVER };

// One child of the pool whose entries are network objects. The keys of an entry's lines are
// `first` and `second` with the entry's number between the stem and the ending.
struct net_row {
    const char *key;
    entry_kind kind;
    std::string_view first_stem, first_ending;
    std::string_view second_stem, second_ending; // no stem: the entry has one line
};

constexpr net_row mcpool_net_map[] = {
    {"addr", entry_kind::RANGE, "addr_", "", "addr2_", ""},
    {"net", entry_kind::NETWORK, "net_", "_addr", "net_", "_mask"},
    {"dns", entry_kind::SERVER, "dns_", "", "", ""},
    {"nbns", entry_kind::SERVER, "nbns_", "", "", ""},
};

// The entries of one row of one pool, while they are fed.
struct entry_feeder {
    const net_row &row;
    std::string prefix; // of the pool's lines
    int counter = 0;
    int left_out = 0;

    void feed(const std::string &first, const std::string &second)
    {
        if (counter >= MAX_ENTRIES) {
            note_bound(std::string(row.key) + " entries of a pool", MAX_ENTRIES,
                       walk_place(nullptr), MAX_ENTRIES + ++left_out);
            return;
        }
        constexpr long long ENTRY_STEPS = 100;
        if (!take_steps(ENTRY_STEPS, nullptr))
            return;
        const std::string number = std::to_string(++counter);
        feed_line(row.first_stem, number, row.first_ending, first);
        if (!row.second_stem.empty())
            feed_line(row.second_stem, number, row.second_ending, second);
    }

  private:
    void feed_line(std::string_view stem, const std::string &number, std::string_view ending,
                   const std::string &value) const
    {
        std::string key(stem);
        key.append(number).append(ending);
        (void)add_partial_mcpool(make_line(prefix, key, value));
    }
};

// Of the pool being loaded, in the order of mcpool_net_map.
std::vector<entry_feeder> feeders;

} // namespace

// Feeds one network object that is a single text. Returns 0 when the row takes it or skips it as
// no address, 1 when it does not fit the row.
static int feed_object(entry_feeder &out, const std::string &text, const char *type)
{
    const address_parts parts = split_address(text);
    const bool is_network = same_word(type, "ipnet");
    if (out.row.kind == entry_kind::NETWORK) {
        if (!is_network)
            return 1;
        out.feed(parts.first, parts.second);
        return 0;
    }
    if (same_word(type, "ipaddr")) {
        out.feed(text, text); // a range of one
        return 0;
    }
    if (out.row.kind == entry_kind::SERVER)
        return 1;
    if (same_word(type, "iprange")) {
        out.feed(parts.first, parts.second);
        return 0;
    }
    if (is_network) {
        const u32 addr = parse_address(parts.first);
        const u32 mask = parse_address(parts.second);
        out.feed(format_address(addr & mask), format_address(addr | ~mask));
        return 0;
    }
    return same_word(type, "dns") || same_word(type, "pattern") ? 0 : 1;
}

static int feed_entries(frag **db, frag *obj, const char *word, entry_feeder &out)
{
    if (obj == nullptr || is_empty_group(word))
        return 1;
    const object_callback check = [&out](frag **tree, frag *member, const char *type) {
        note_expands(value_source::READ, member);
        return feed_entries(tree, member, type, out);
    };
    const char *type = type_of_key(obj);
    if (same_word(type, "group")) {
        enum_group(db, obj, check);
        return 0;
    }
    if (same_word(type, out.row.key)) {
        // An entry of the pool, or of another that it names: each names what follows.
        const walk_mark mark(obj);
        const open_object level(obj, false);
        const char *name = child_value(obj, "network");
        if (name == nullptr)
            note_absent(obj, "network");
        if (!mark.entered || !level.entered || name == nullptr)
            return 1;
        frag *named = ffind(db, name);
        if (named == nullptr)
            note_missing(name);
        return feed_entries(db, named, "mcp", out);
    }
    std::string key = fragkeyname(obj);
    if (key.size() > OBJECT_KEY_SIZE) {
        key.resize(OBJECT_KEY_SIZE);
        note_text_cut(key);
    }
    std::string &text = netobj_to_netperm(db, key.c_str());
    if (enum_pattern(db, &text, check, "MCPpat", &type) == 0)
        return 0;
    const int result = feed_object(out, std::string(text), type);
    const bool is_skipped = result == 0 && (same_word(type, "dns") || same_word(type, "pattern"));
    if (is_skipped || (result != 0 && !is_empty_group(type)))
        note_unfit(obj);
    return result;
}

int check_mcpool_net(frag **db, frag *obj, const char *word, std::uint32_t row)
{
    note_expands(value_source::READ, obj);
    return row < feeders.size() ? feed_entries(db, obj, word, feeders[row]) : 1;
}

// A mask may be a network mask object, by its key or by its own name; if it is none, the text
// stays as it is, for the parser to read as an address.
static std::string mask_text(frag **db, const char *value)
{
    std::string key = value;
    if (key.find('_') == std::string::npos)
        key = "net_ipmask_" + key.substr(0, MASK_KEY_SIZE);
    frag *mask = ffind(db, key.c_str());
    const frag *addr = mask == nullptr ? nullptr : ffind(&mask->child, "addr");
    if (addr == nullptr)
        return key;
    return std::string(text_of(addr->value));
}

static void load_fields(frag **db, frag *pool, const std::string &prefix)
{
    for (const key_map_row &row : mcpool_map) {
        const char *value = child_value(pool, row.tree_key);
        if (value == nullptr)
            continue;
        const std::string text = row.flat_key == "mask" ? mask_text(db, value) : value;
        (void)add_partial_mcpool(make_line(prefix, row.flat_key, text));
    }
}

int load_mcpool(frag **db, frag *pool)
{
    free_replaced_patterns();
    set_walk_origin(pool);
    const std::string prefix = std::string(pool->name) + "_";
    load_fields(db, pool, prefix);
    feeders.clear();
    for (const net_row &row : mcpool_net_map)
        feeders.push_back({row, prefix});
    for (std::uint32_t row = 0; row < feeders.size(); ++row)
        enum_rule_list(db, ffind(&pool->child, mcpool_net_map[row].key),
                       [row](frag **tree, frag *entry, const char *word) {
                           return check_mcpool_net(tree, entry, word, row);
                       });
    note_expands(value_source::PROGRAM, nullptr);
    return 0;
}
