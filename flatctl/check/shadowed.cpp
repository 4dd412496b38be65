#include "flatctl/check/shadowed.h"

#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/address.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/report.h"

#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <set>
#include <unordered_map>

using namespace flatlink;

namespace
{

constexpr std::size_t NONE = std::numeric_limits<std::size_t>::max();
constexpr u32 LAST_ADDRESS = 0xFFFFFFFF;

// A compiled pattern, and the addresses that it fits when these are a range.
struct shadow_pattern {
    std::size_t entry;
    src_pattern compiled;
    std::string text;
    std::unique_ptr<char[]> room; // of a name, in lower case
    bool is_range = false;
    bool is_dead = false; // fits nothing
    u32 low = 0, high = 0;
};

struct address_class {
    u32 low;
    u32 client;        // one of the class
    std::size_t taker; // entry that takes a client without name; NONE for none
    bool is_told;      // false: each address tried fits a pattern that is no range
};

// ---- the client without a name

// Every pattern of names has a character that is none of these, so this name fits none.
constexpr const char *NO_NAME = "0";

hostent *nameless(const void * /*addr*/, socklen_t /*size*/, int /*family*/)
{
    static std::array<char, 2> name = {NO_NAME[0], '\0'};
    static std::array<char *, 1> none;
    static hostent answer{name.data(), none.data(), AF_INET, 4, none.data()};
    return &answer;
}

constexpr name_service_calls NAMELESS = {
    .host_by_name = [](const char *) -> hostent * { return nullptr; },
    .host_by_address = nameless,
    .service_by_name = [](const char *, const char *) -> servent * { return nullptr; },
};

class shadow_search
{
  public:
    explicit shadow_search(cfgrec *list) : list_(list) {}
    shadow_result run();

  private:
    void take_patterns();
    void make_classes();
    void ask(address_class &one);
    bool is_settled(u32 client) const;
    bool is_reached(const shadow_pattern &pattern) const;
    std::size_t earlier_name(const shadow_pattern &pattern) const;
    std::size_t first_class(const shadow_pattern &pattern) const;
    shadowed_line describe(std::size_t entry) const;

    cfgrec *list_;
    std::vector<cfgrec *> entries_;
    std::unordered_map<const cfgrec *, std::size_t> index_;
    std::vector<shadow_pattern> patterns_; // in the order of the list
    std::vector<const shadow_pattern *> odd_, starred_names_;
    std::unordered_map<std::string, std::size_t> first_names_; // entry by name or identity
    std::vector<address_class> classes_;
    std::vector<bool> reached_;
    std::size_t last_free_ = 0; // the latest entry that takes a class; NONE when one is left
};

void set_range(shadow_pattern &pattern)
{
    const host_pattern &host = pattern.compiled.host;
    if (host.kind == host_kind::EVERY) {
        pattern.is_range = true;
        pattern.high = LAST_ADDRESS;
    } else if (host.kind == host_kind::RANGE) {
        pattern.is_dead = host.low > host.high;
        pattern.is_range = true;
        pattern.low = host.low;
        pattern.high = host.high;
    } else if (host.kind == host_kind::OCTETS && (~host.high & (~host.high + 1)) == 0) {
        pattern.is_range = true; // the mask is ones, then zeros
        pattern.low = host.low;
        pattern.high = host.low | ~host.high;
    }
    pattern.is_dead =
        pattern.is_dead || host.kind == host_kind::BAD_MASK || host.kind == host_kind::TOO_LONG;
}

void shadow_search::take_patterns()
{
    for (cfgrec *entry = cfg_first("hosts", list_); entry != nullptr;
         entry = cfg_next("hosts", entry)) {
        const std::size_t number = entries_.size();
        index_[entry] = number;
        entries_.push_back(entry);
        for (int i = 0; i < pattern_count(*entry); ++i) {
            shadow_pattern pattern{.entry = number,
                                   .compiled = {},
                                   .text = entry->argv[i],
                                   .room = std::make_unique<char[]>(HOST_TEXT_MAX + 1)};
            pattern.compiled = compile_src_pattern(entry->argv[i], pattern.room.get());
            if (pattern.compiled.kind == src_kind::HOST)
                set_range(pattern);
            if (!pattern.compiled.host.wants_name)
                pattern.room.reset();
            else
                pattern.text = pattern.room.get();
            patterns_.push_back(std::move(pattern));
        }
    }
    for (const shadow_pattern &one : patterns_) {
        if (one.is_range || one.is_dead)
            continue;
        if (one.compiled.kind == src_kind::HOST && !one.compiled.host.wants_name)
            odd_.push_back(&one);
        else
            first_names_.try_emplace(one.text, one.entry);
        if (one.compiled.host.has_star && one.compiled.host.wants_name)
            starred_names_.push_back(&one);
    }
}

void shadow_search::make_classes()
{
    std::set<u32> edges{0};
    for (const shadow_pattern &one : patterns_) {
        if (!one.is_range || one.is_dead)
            continue;
        edges.insert(one.low);
        if (one.high != LAST_ADDRESS)
            edges.insert(one.high + 1);
    }
    for (const u32 edge : edges)
        classes_.push_back({edge, edge, NONE, false});
}

// Whether no pattern that is not a range fits the address.
bool shadow_search::is_settled(u32 client) const
{
    const std::string text = format_address(network_order(client));
    const host_address address = read_host_address(text.c_str());
    return std::ranges::none_of(
        odd_, [&](const shadow_pattern *one) { return one->compiled.host.fits_address(address); });
}

void shadow_search::ask(address_class &one)
{
    sockaddr_in client{}, local{};
    client.sin_family = AF_INET;
    client.sin_addr.s_addr = network_order(one.client);
    permit_confp = nullptr;
    (void)permit_src_addr_chk(&client, &local); // the entry is the answer
    one.is_told = true;
    one.taker = permit_confp == nullptr ? NONE : index_.at(permit_confp);
    if (one.taker != NONE)
        reached_[one.taker] = true;
    last_free_ = std::max(last_free_, one.taker);
}

std::size_t shadow_search::first_class(const shadow_pattern &pattern) const
{
    if (!pattern.is_range)
        return 0;
    const auto found = std::ranges::lower_bound(classes_, pattern.low, {}, &address_class::low);
    return static_cast<std::size_t>(found - classes_.begin());
}

// The entry whose name takes the clients of this one; NONE for none.
std::size_t shadow_search::earlier_name(const shadow_pattern &pattern) const
{
    constexpr double NAME_COMPARISONS_MAX = 1e9;
    const auto same = first_names_.find(pattern.text);
    if (same != first_names_.end() && same->second < pattern.entry)
        return same->second;
    if (!pattern.compiled.host.wants_name || pattern.compiled.host.has_star ||
        static_cast<double>(patterns_.size()) * static_cast<double>(starred_names_.size()) >
            NAME_COMPARISONS_MAX)
        return NONE;
    const auto taker = std::ranges::find_if(starred_names_, [&](const shadow_pattern *one) {
        return one->entry >= pattern.entry || one->compiled.host.fits_text(pattern.text);
    });
    const bool is_earlier = taker != starred_names_.end() && (*taker)->entry < pattern.entry;
    return is_earlier ? (*taker)->entry : NONE;
}

// Whether a client may come that this pattern is the first to fit.
bool shadow_search::is_reached(const shadow_pattern &pattern) const
{
    if (pattern.is_dead)
        return false;
    if (!pattern.is_range) {
        const bool is_odd =
            pattern.compiled.kind == src_kind::HOST && !pattern.compiled.host.wants_name;
        return last_free_ >= pattern.entry && (is_odd || earlier_name(pattern) == NONE);
    }
    if (reached_[pattern.entry] || odd_.empty())
        return reached_[pattern.entry];
    for (std::size_t i = first_class(pattern);
         i < classes_.size() && classes_[i].low <= pattern.high; ++i)
        if (!classes_[i].is_told)
            return true; // it may be; nothing is known
    return false;
}

shadowed_line shadow_search::describe(std::size_t entry) const
{
    constexpr std::size_t TAKERS_MAX = 5, CLASSES_MAX = 4096;
    const cfgrec *record = entries_[entry];
    shadowed_line found{record->lineno, pattern_count(*record) - 1, {}, ""};
    std::set<std::int32_t> takers;
    const auto first = std::ranges::lower_bound(patterns_, entry, {}, &shadow_pattern::entry);
    for (auto one = first; one != patterns_.end() && one->entry == entry; ++one) {
        const std::size_t namesake = one->is_range ? NONE : earlier_name(*one);
        if (namesake != NONE) {
            takers.insert(entries_[namesake]->lineno);
            continue;
        }
        const u32 high = one->is_range ? one->high : LAST_ADDRESS;
        const std::size_t begin = first_class(*one);
        for (std::size_t i = begin;
             !one->is_dead && i < classes_.size() && i < begin + CLASSES_MAX &&
             classes_[i].low <= high && takers.size() < TAKERS_MAX;
             ++i) {
            if (classes_[i].taker >= entry)
                continue;
            takers.insert(entries_[classes_[i].taker]->lineno);
            if (found.client.empty())
                found.client = format_address(network_order(classes_[i].client));
        }
    }
    found.takers.assign(takers.begin(), takers.end());
    return found;
}

shadow_result shadow_search::run()
{
    constexpr std::array<u32, 6> offsets = {0, 1, 77, 3001, 70'003, 9'000'011}; // into the class
    take_patterns();
    make_classes();
    shadow_result result;
    if (static_cast<double>(classes_.size()) * static_cast<double>(patterns_.size()) >
        SHADOW_COMPARISONS_MAX)
        return result;
    reached_.assign(entries_.size(), false);
    proxy_confp = list_;
    for (std::size_t i = 0; i < classes_.size(); ++i) {
        address_class &one = classes_[i];
        const u32 high = i + 1 < classes_.size() ? classes_[i + 1].low - 1 : LAST_ADDRESS;
        const auto tried = std::ranges::find_if(offsets, [&](u32 offset) {
            return offset <= high - one.low && is_settled(one.low + offset);
        });
        if (tried == offsets.end()) {
            last_free_ = NONE; // it may be
            continue;
        }
        one.client = one.low + *tried;
        ask(one);
    }
    std::vector<bool> is_open(entries_.size()), has_pattern(entries_.size());
    for (const shadow_pattern &one : patterns_) {
        has_pattern[one.entry] = has_pattern[one.entry] || !one.is_dead;
        is_open[one.entry] = is_open[one.entry] || is_reached(one);
    }
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (is_open[i])
            result.reachable.push_back(entries_[i]->lineno);
        else if (has_pattern[i])
            result.shadowed.push_back(describe(i));
    }
    result.is_done = true;
    return result;
}

} // namespace

shadow_result flatlink::find_shadowed(cfgrec *list)
{
    const name_service_calls *names = name_service;
    const report_tap_call tap = report_tap;
    name_service = &NAMELESS;
    report_tap = [](const UNIQUE_DATA_T &, int, const char *, va_list) { return true; };
    shadow_result result = shadow_search(list).run();
    name_service = names;
    report_tap = tap;
    return result;
}
