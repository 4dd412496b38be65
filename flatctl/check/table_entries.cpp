#include "flatctl/check/table_entries.h"

#include "lib/fwall/match/alldi.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>

using namespace flatlink;

// What of the runtime's own checks (settings.cpp, log_config.cpp) tells of an argument too many has
// no number here.
static constexpr table_keyword keywords[] = {
    {.name = "hosts", .takes_prefix = true},
    {.name = "destination", .takes_prefix = true},
    {.name = "ports", .takes_prefix = true},
    {.name = "proxy", .takes_prefix = true},
    {.name = "afw-dest", .args_max = 3},
    {.name = "rev_dns"},
    {.name = "directory", .of_start = true},
    {.name = "tmp-directory", .of_start = true},
    {.name = "userid", .of_start = true},
    {.name = "groupid", .of_start = true},
    {.name = "timeout"}, // proxies may read it for each client, too
    {.name = "child-limit", .of_start = true},
    {.name = "accept-count", .of_start = true},
    {.name = "bind-address", .of_start = true},
    {.name = "address-limit", .of_start = true},
    {.name = "rate-limit", .of_start = true},
    {.name = "stop-timeout", .of_start = true},
    {.name = "logging", .of_start = true, .first_counts = true},
    {.name = "log-enabled", .of_start = true, .first_counts = true},
    {.name = "denial-msg", .first_counts = true},
    {.name = "use_name_logs", .first_counts = true, .args_max = 1},
    {.name = "ruleNumber", .first_counts = true, .args_max = 1},
    {.name = "ruleName", .first_counts = true, .args_max = 1},
    {.name = "logLevel", .first_counts = true, .args_max = 1},
};

const table_keyword *flatlink::find_table_keyword(std::string_view keyword)
{
    const auto *found = std::ranges::find(keywords, keyword, &table_keyword::name);
    return found == std::end(keywords) ? nullptr : found;
}

// ---- patterns

// Whether a pattern of names holds what no name of a host has, such as the '/' of 10.0.0.0/8.
static bool fits_no_name(std::string_view pattern)
{
    return !std::ranges::all_of(pattern, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '-' || c == '_' || c == '*';
    });
}

static void check_host(const cfgrec &entry, int argument, const entry_fault_taker &take_fault)
{
    const char *text = entry.argv[argument];
    const std::string_view keyword = entry.keyword;
    if (keyword == "hosts" && text[0] == '~')
        return; // an identity may be any text
    if (keyword == "destination" && text[0] == '!')
        ++text;
    char room[HOST_TEXT_MAX + 1];
    const bool is_address_list = keyword == "rev_dns";
    const host_pattern pattern = is_address_list && std::strchr(text, '-') != nullptr
                                     ? compile_range(text)
                                     : compile_host_pattern(text, room);
    if (pattern.kind == host_kind::BAD_MASK || pattern.kind == host_kind::TOO_LONG ||
        (pattern.kind == host_kind::RANGE && pattern.low > pattern.high) ||
        (pattern.kind == host_kind::NAME && (is_address_list || fits_no_name(text))))
        take_fault("T119", entry, argument, text);
    else if (!pattern.is_exact)
        take_fault("T112", entry, argument,
                   std::string(text) + " is taken for " +
                       format_address(network_order(pattern.low)));
}

static void check_port(const cfgrec &entry, int argument, const entry_fault_taker &take_fault)
{
    constexpr int PORT_MAX = 65535;
    const char *text = entry.argv[argument];
    text += text[0] == '!' ? 1 : 0;
    if (isalldigits(text) && lenient_number(text) > PORT_MAX)
        take_fault("T119", entry, argument, text);
}

// How many of an entry's arguments are patterns of hosts.
static int host_count(const cfgrec &entry)
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

// ---- entries

static bool needs_patterns(std::string_view keyword)
{
    constexpr std::string_view of_patterns[] = {"hosts", "destination", "ports", "proxy",
                                                "rev_dns"};
    return std::ranges::find(of_patterns, keyword) != std::end(of_patterns);
}

static bool is_off(std::string_view text)
{
    constexpr std::string_view words[] = {"off", "no", "false", "0"};
    return std::ranges::any_of(words,
                               [text](std::string_view word) { return same_word(text, word); });
}

static void check_value(const cfgrec &entry, const entry_fault_taker &take_fault)
{
    const std::string_view keyword = entry.keyword;
    if (entry.argc == 0)
        return;
    const std::string text = entry.argv[0];
    if (keyword == "logLevel" && (text.empty() || !isalldigits(text.c_str())))
        take_fault("T111", entry, 0, text + " is no number");
    if (keyword == "use_name_logs" && !is_on(text.c_str()) && !is_off(text))
        take_fault("T111", entry, 0, text + " is no word that it knows");
}

static void check_entry(const cfgrec &entry, bool is_of_policy, const entry_fault_taker &take_fault)
{
    constexpr int KEYWORD = -1;
    const bool is_hosts = std::string_view(entry.keyword) == "hosts";
    if (needs_patterns(entry.keyword) && (is_hosts ? host_count(entry) : entry.argc) == 0)
        take_fault("T113", entry, KEYWORD, "");
    check_arguments(entry, take_fault);
    const table_keyword *row = find_table_keyword(entry.keyword);
    if (row == nullptr)
        return;
    constexpr std::int32_t PREFIXES = CFG_PERMIT | CFG_DENY | CFG_ABSORB;
    const std::int32_t allowed = row->takes_prefix ? CFG_PERMIT | CFG_DENY : 0;
    if ((entry.flags & PREFIXES & ~allowed) != 0)
        take_fault("T121", entry, KEYWORD, entry.keyword);
    if (row->of_start && is_of_policy)
        take_fault("T122", entry, KEYWORD, entry.keyword);
    if (row->args_max != 0 && entry.argc > row->args_max)
        take_fault("T111", entry, row->args_max,
                   std::string(entry.argv[row->args_max]) + " is one argument too many");
    check_value(entry, take_fault);
}

void flatlink::check_entries(const cfgrec *list, bool is_of_policy,
                             const entry_fault_taker &take_fault,
                             const later_entry_taker &take_later)
{
    std::map<const table_keyword *, const cfgrec *> firsts;
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next) {
        check_entry(*entry, is_of_policy, take_fault);
        const table_keyword *row = find_table_keyword(entry->keyword);
        if (row == nullptr || !row->first_counts)
            continue;
        const auto [first, is_first] = firsts.try_emplace(row, entry);
        if (!is_first)
            take_later(*first->second, *entry);
    }
}
