#include "flatctl/check/table_entries.h"

#include "flatctl/check/table_patterns.h"
#include "lib/fwall/match/alldi.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <iterator>

using namespace flatlink;

// What of the runtime's own checks (settings.cpp, log_config.cpp) tells of an argument too many has
// no number here.
static constexpr table_keyword keywords[] = {
    {.name = "hosts", .takes_prefix = true, .of_start = true},
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
    {.name = "log-enabled", .of_start = true, .first_counts = true, .needs_argument = true},
    {.name = "denial-msg", .first_counts = true},
    {.name = "use_name_logs",
     .of_start = true,
     .first_counts = true,
     .needs_argument = true,
     .args_max = 1},
    {.name = "ruleNumber", .first_counts = true, .needs_argument = true, .args_max = 1},
    {.name = "ruleName", .first_counts = true, .needs_argument = true, .args_max = 1},
    {.name = "logLevel", .first_counts = true, .needs_argument = true, .args_max = 1},
};

const table_keyword *flatlink::find_table_keyword(std::string_view keyword)
{
    const auto *found = std::ranges::find(keywords, keyword, &table_keyword::name);
    return found == std::end(keywords) ? nullptr : found;
}

// The letters of a keyword, without their case.
static std::string letters_of(std::string_view keyword)
{
    std::string letters = lower_case(keyword);
    std::erase_if(letters, [](char c) { return c < 'a' || c > 'z'; });
    return letters;
}

const table_keyword *flatlink::find_meant_keyword(std::string_view keyword)
{
    if (find_table_keyword(keyword) != nullptr)
        return nullptr;
    const std::string letters = letters_of(keyword);
    const auto *found = std::ranges::find_if(
        keywords, [&](const table_keyword &row) { return letters_of(row.name) == letters; });
    return found == std::end(keywords) ? nullptr : found;
}

bool flatlink::is_no_keyword(std::string_view keyword)
{
    return letters_of(keyword).empty() || keyword.starts_with("permit-") ||
           keyword.starts_with("deny-") || keyword.starts_with("absorb-");
}

// ---- numbers

bool flatlink::is_whole_number(std::string_view text)
{
    if (text.starts_with('-') || text.starts_with('+'))
        text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool flatlink::is_in_range(std::string_view text)
{
    std::string_view rest = text;
    return take_number(rest) == lenient_number(text);
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

static std::string fault_of_level(const std::string &text)
{
    constexpr int LEVEL_MAX = 5;
    if (text.empty() || !isalldigits(text.c_str()))
        return " is no number";
    return lenient_number(text) > LEVEL_MAX ? " is above the last level, 5" : "";
}

static std::string fault_of_word(const std::string &text)
{
    return is_on(text.c_str()) || is_off(text) ? "" : " is no word that it knows";
}

static std::string fault_of_count(const std::string &text)
{
    return is_whole_number(text) && lenient_number(text) < 1 ? " counts as 1" : "";
}

static std::string fault_of_account(const std::string &text)
{
    return isalldigits(text.c_str()) && !is_in_range(text) ? " is beyond the range of a number"
                                                           : "";
}

static std::string fault_of_address(const std::string &text)
{
    const u32 address_be = parse_address(text.c_str());
    const std::string read = format_address(address_be);
    return address_be == NOT_AN_ADDRESS || read == text ? "" : " is taken for " + read;
}

// Values of which the runtime's own checks tell nothing.
static constexpr struct {
    std::string_view keyword;
    std::string (*fault)(const std::string &text);
} value_checks[] = {
    {"logLevel", fault_of_level},     {"use_name_logs", fault_of_word},
    {"accept-count", fault_of_count}, {"userid", fault_of_account},
    {"groupid", fault_of_account},    {"bind-address", fault_of_address},
};

static void check_value(const cfgrec &entry, const entry_fault_taker &take_fault)
{
    for (const auto &[keyword, fault] : value_checks)
        if (entry.argc > 0 && keyword == entry.keyword)
            if (const std::string found = fault(entry.argv[0]); !found.empty())
                take_fault("T111", entry, 0, entry.argv[0] + found);
}

void flatlink::check_entry(const cfgrec &entry, bool is_of_policy,
                           const entry_fault_taker &take_fault)
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
    if (row->needs_argument && entry.argc == 0)
        take_fault("T104", entry, KEYWORD, "");
    if (row->args_max != 0 && entry.argc > row->args_max)
        take_fault("T111", entry, row->args_max,
                   std::string(entry.argv[row->args_max]) + " is one argument too many");
    check_value(entry, take_fault);
}
