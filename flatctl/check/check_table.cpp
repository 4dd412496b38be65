#include "flatctl/check/check_message.h"
#include "flatctl/check/table_checker.h"
#include "flatctl/check/table_codes.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/memory_path.h"
#include "lib/fwall/match/src_patterns.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace flatlink;

cfg_list flatlink::read_entries_of(const std::string &name)
{
    cfgrec *list = cfg_read(name.c_str());
    return cfg_list(cfg_has(list) ? list : nullptr);
}

cfg_list flatlink::copy_of(const cfgrec *entry, int first, int count)
{
    return cfg_list(
        cfg_make(entry->keyword, entry->flags, entry->lineno, count, entry->argv + first));
}

namespace
{

table_checker *current = nullptr; // of this process

constexpr table_watch_calls WATCH = {
    .line = [](int number, std::string_view text) { current->words.begin_line(number, text); },
    .name = [](std::string_view name) { current->take_name(name); },
    .word = [](const char *begin, const char *end) { current->words.add_word(begin, end); },
    .fault = [](table_fault what, const char *at) { current->take_fault(what, at); },
    .value = [](value_fault what, const char *value) { current->take_value(what, value); },
    .overridden = [](const cfgrec &by,
                     const cfgrec &entry) { current->take_overridden(by, entry); },
};

__attribute__((format(printf, 3, 0))) bool tap_report(const UNIQUE_DATA_T &uniq, int /*priority*/,
                                                      const char *format, va_list args)
{
    char text[1024]; // a longer report is cut
    va_list again;
    va_copy(again, args);
    (void)std::vsnprintf(text, sizeof text, format, args);
    // Nearly every report of an entry begins with what it is about.
    const char *first = std::strchr(format, '%');
    std::string item;
    if (first != nullptr && (std::strncmp(first, "%s", 2) == 0 || first[1] == '.'))
        if (const char *argument = va_arg(again, const char *); argument != nullptr)
            item = argument;
    va_end(again);
    current->take_report(uniq, format, item, text);
    return true;
}

} // namespace

table_checker::table_checker(std::string_view table, const table_task &task, const child_port &port)
    : table_(table), task_(task), port_(port)
{
    for (std::size_t at = 0; at < table.size();
         at = table.find('\n', at), at += at < table.size()) {
        line_begins_.push_back(at);
        if (table.find('\n', at) == std::string_view::npos)
            break;
    }
}

// ---- findings

std::string_view table_checker::line_text(int line) const
{
    if (line < 1 || static_cast<std::size_t>(line) > line_begins_.size())
        return {};
    const std::string_view rest = table_.substr(line_begins_[static_cast<std::size_t>(line) - 1]);
    return rest.substr(0, rest.find('\n'));
}

void table_checker::send(const finding &found)
{
    port_.send(frame_kind::RECORD, packed_finding(found));
}

void table_checker::add(std::string_view code, int line, word_place place, std::string detail,
                        std::vector<std::int32_t> related)
{
    if (!told_.insert({code, line, code == "T106" ? 0 : place.column, detail}).second)
        return;
    finding found{.row = find_code(code),
                  .line = line,
                  .column = place.column,
                  .end = place.end,
                  .related = std::move(related),
                  .detail = std::move(detail),
                  .quoted = std::string(line_text(line).substr(0, SHOWN_LINE_MAX + 1))};
    const std::size_t count = ++counts_[found.row->code];
    if (count < FINDINGS_MAX)
        send(found);
    else if (count == FINDINGS_MAX)
        held_[found.row->code] = found;
    else
        ++held_[found.row->code].count;
}

void table_checker::take_name(std::string_view name)
{
    words.add_name(name);
    const auto is_of_no_name = [](char c) { return c < ' ' || c > '~' || c == '*'; };
    if (name[0] == '#')
        add("T124", words.line(), words.place_of(name.data()), "");
    else if (name != "*" && std::ranges::any_of(name, is_of_no_name))
        add("T109", words.line(), words.place_of(name.data()), std::string(name));
}

void table_checker::take_fault(table_fault what, const char *at)
{
    const word_place place = words.place_of(at);
    if (place.end != 0 || what == table_fault::NO_NEWLINE)
        add(code_of_fault(what), words.line(), place, "");
}

static bool is_option(const policy_option *rows, const char *word)
{
    for (; rows != nullptr && rows->name != nullptr; ++rows)
        if (std::strcmp(rows->name, word) == 0)
            return true;
    return std::strcmp(word, "-policy") == 0;
}

void table_checker::take_value(value_fault what, const char *value)
{
    if (is_muted_ || (entry_ == nullptr && !is_starting_))
        return; // told where the entry is known
    if (what == value_fault::LIKE_OPTION && !is_option(rows_, value))
        return;
    const value_code &row = code_of_value(what);
    int line = entry_ == nullptr ? 0 : entry_->lineno;
    for (const cfgrec *entry = proxy_confp; line == 0 && entry != nullptr; entry = entry->next)
        for (int i = 0; i < entry->argc; ++i)
            line = entry->argv[i] == value ? entry->lineno : line;
    add(row.code, line, words.argument(line, value), value + std::string(row.words));
}

// A line for every name may repeat, as a default, what an earlier line says for one.
void table_checker::take_overridden(const cfgrec &by, const cfgrec &entry)
{
    if (!words.is_for_all(entry.lineno))
        add("T110", entry.lineno, words.argument(entry.lineno, entry.keyword), entry.keyword,
            {by.lineno});
}

void table_checker::take_report(const UNIQUE_DATA_T &uniq, std::string_view format,
                                const std::string &item, const std::string &text)
{
    const report_code *row = code_of_report(format);
    const int line = uniq.line == 0 && entry_ != nullptr ? entry_->lineno : uniq.line;
    const word_place place = words.argument(line, item);
    const std::string told =
        text.substr(text.find(": ") == std::string::npos ? 0 : text.find(": ") + 2);
    if (row == nullptr) {
        if (!is_starting_)
            return; // the name service's and the like: nothing of the table
        finding cause{.row = find_code("T203"),
                      .line = line,
                      .column = place.column,
                      .end = place.end,
                      .detail = told};
        cause.quoted = line_text(line).substr(0, SHOWN_LINE_MAX + 1);
        port_.send(frame_kind::RECORD, packed_cause(cause));
        return;
    }
    if (is_muted_ && !format.starts_with("cfgerr: Too many"))
        return;
    const bool is_denied = entry_ != nullptr && (entry_->flags & CFG_DENY) != 0;
    if (row->code.empty() || (row->code == "T116" && !options_known_) ||
        (row->code == "T114" && is_denied) ||
        (format.starts_with("cfgerr: could not find %s") && !policies_known_))
        return;
    const bool is_of_line = row->code == "T114" || row->code == "T113";
    add(row->code, line, is_of_line ? words.argument(line, "") : place, is_of_line ? "" : told);
}

// ---- the table as a whole

// Of the entry that an option stands for, only the text of an argument is known.
entry_fault_taker table_checker::fault_taker(bool is_of_option)
{
    return [this, is_of_option](std::string_view code, const cfgrec &entry, int argument,
                                std::string detail) {
        const int line = entry.lineno;
        if ((code == "T122" || code == "T206") && words.is_for_all(line))
            return; // it is for others, too
        const word_place place = argument < 0    ? words.argument(line, "")
                                 : !is_of_option ? words.argument(line, argument)
                                                 : words.argument(line, entry.argv[argument]);
        add(code, line, place, std::move(detail));
    };
}

const policy_option *table_checker::options_of(const std::string &name) const
{
    if (task_.options == nullptr)
        return nullptr;
    const auto found = task_.options->find(name);
    return found == task_.options->end() ? nullptr : found->second.rows.data();
}

// What follows the name of a policy is an option, in each proxy.
void table_checker::tell_stray_word(const std::string &name, const cfgrec &hosts)
{
    const int word = pattern_count(hosts) + 2;
    if (options_of(name) == nullptr && word < hosts.argc && hosts.argv[word][0] != '-')
        add("T116", hosts.lineno, words.argument(hosts.lineno, word), hosts.argv[word]);
}

// Each `hosts` line alone, as the collection of policy names sees it.
void table_checker::check_policies(const std::string &name, cfgrec *list)
{
    auto names = std::make_unique<std::array<char *, POLICY_SLOTS>>();
    for (cfgrec *entry = cfg_first("hosts", list); entry != nullptr;
         entry = cfg_next("hosts", entry)) {
        entry_ = entry;
        const cfg_list alone = copy_of(entry, 0, entry->argc);
        proxy_confp = alone.get();
        if (cfg_findPolicyNames(names->data()) == 1) {
            const std::string policy = names->front();
            named_policies_.insert(policy);
            name_policy(policy);
            const std::string in_table = policy_name;
            asked_.take_policy(name, in_table);
            if (words.first_line(in_table) == 0)
                add("T202", entry->lineno, words.argument(entry->lineno, policy),
                    "no line is for " + in_table);
            tell_stray_word(name, *entry);
        }
        for (char *const *one = names->data(); *one != nullptr; ++one)
            std::free(*one);
    }
    entry_ = nullptr;
    proxy_confp = nullptr;
}

// What follows the patterns of each `hosts` line, as it is read for a client. Calls visit(made) for
// the entries that its options stand for.
void table_checker::visit_options(cfgrec *list, const entry_visitor &visit)
{
    cfgrec *const before = std::exchange(proxy_confp, list);
    const bool was_muted = is_muted_;
    is_muted_ = true;
    policies_known_ = cfg_bldCFGlist() >= 0;
    is_muted_ = was_muted;
    for (cfgrec *entry = cfg_first("hosts", list); entry != nullptr;
         entry = cfg_next("hosts", entry)) {
        entry_ = entry;
        policy_confp = nullptr;
        (void)get_policy(entry, rows_); // what it reports is told
        // After them come those of policies.
        for (const cfgrec *made = policy_confp; made != nullptr && made->lineno == entry->lineno;
             made = made->next)
            visit(*made);
        cfg_free(policy_confp);
    }
    entry_ = nullptr;
    policy_confp = nullptr;
    proxy_confp = before;
}

static bool counts_once(const cfgrec &entry, const own_keyword *own)
{
    const table_keyword *row = find_table_keyword(entry.keyword);
    return (row != nullptr && row->first_counts) || (own != nullptr && own->first_counts);
}

// The entries that the options of one line stand for have no arguments where that was told.
void table_checker::check_options(const std::string &name, cfgrec *list)
{
    rows_ = options_of(name);
    options_known_ = rows_ != nullptr;
    const entry_fault_taker take_fault = fault_taker(true);
    std::map<std::pair<int, std::string>, bool> seen; // by line and keyword
    visit_options(list, [&](const cfgrec &made) {
        check_arguments(made, take_fault);
        const own_keyword *own = asked_.find_own(name, made.keyword);
        if (own != nullptr && made.argc > 0)
            check_own_entry(made, *own, take_fault);
        if (counts_once(made, own) && seen[{made.lineno, made.keyword}])
            add("T110", made.lineno, words.argument(made.lineno, ""), made.keyword);
        seen[{made.lineno, made.keyword}] = true;
    });
}

void table_checker::collect_shadowed(const std::string &name, cfgrec *list)
{
    const shadow_result result = find_shadowed(list);
    if (!result.is_done)
        add("T205", 0, {}, "the hosts lines of " + name + " are too many to be compared");
    reachable_.insert(result.reachable.begin(), result.reachable.end());
    for (const shadowed_line &one : result.shadowed)
        shadowed_.try_emplace(one.line, 0, one);
    proxy_confp = nullptr;
}

// A line is unreachable when it is so for each name that it is for.
void table_checker::tell_shadowed()
{
    for (const auto &[line, found] : shadowed_) {
        const shadowed_line &one = found.second;
        if (reachable_.contains(line))
            continue;
        add("T201", line, words.arguments(line, 0, one.last_pattern),
            one.client.empty() ? "" : one.client + " for one", one.takers);
    }
}

void table_checker::tell_unused_policies()
{
    std::set<std::string> used;
    for (const std::string &name : named_policies_) {
        name_policy(name);
        used.insert(policy_name);
    }
    for (const std::string &name : words.names())
        if (is_policy(name) && !used.contains(name))
            add("T204", words.first_line(name), {}, name);
}

void table_checker::tell_idle_entries()
{
    for (const auto &[line, entry] : asked_.idle_entries()) {
        const bool is_for_all = words.is_for_all(line);
        const bool may_repeat = entry.by != 0 || find_table_keyword(entry.keyword) != nullptr;
        if (is_for_all && (may_repeat || !task_.proxy.empty())) // a default, or others ask for it
            continue;
        const table_keyword *meant = find_meant_keyword(entry.keyword);
        add(entry.code, line, words.argument(line, ""),
            entry.keyword + (meant == nullptr ? "" : ", not " + std::string(meant->name)),
            entry.by == 0 ? std::vector<std::int32_t>{} : std::vector{entry.by});
    }
}

// The runtime reads the lines of default_logging where it has none for init-proxy, nor for all.
void table_checker::tell_idle_logging()
{
    const std::int32_t line = words.first_line("default_logging");
    const cfg_list first = line == 0 ? nullptr : read_entries_of("init-proxy");
    if (first != nullptr)
        add("T125", line, {}, "", {first->lineno});
}

void table_checker::check_entries(const std::string &name, const cfgrec *list)
{
    const entry_fault_taker take_fault = fault_taker(false);
    std::map<std::string_view, const cfgrec *> firsts;
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next) {
        check_entry(*entry, is_policy(name), take_fault);
        const own_keyword *own = asked_.find_own(name, entry->keyword);
        if (own != nullptr)
            check_own_entry(*entry, *own, take_fault);
        if (!counts_once(*entry, own))
            continue;
        const auto [first, is_first] = firsts.try_emplace(entry->keyword, entry);
        if (!is_first)
            take_overridden(*first->second, *entry);
    }
    check_items(list, take_fault);
}

// Policies come after the proxies that name them.
void table_checker::check_list(const std::string &name)
{
    const cfg_list list = read_entries_of(name);
    if (list == nullptr)
        return;
    check_entries(name, list.get());
    asked_.take_list(name, list.get());
    if (is_policy(name) || cfg_first("hosts", list.get()) == nullptr)
        return;
    check_policies(name, list.get());
    check_options(name, list.get());
    cfg_index_keywords(list.get());
    compile_host_patterns(list.get());
    collect_shadowed(name, list.get());
}

// The names that are checked: with --proxy that one and the policies.
void table_checker::read_all()
{
    cfg_free(cfg_read("")); // no line is for it alone, so each line's names are looked at
    checked_.clear();
    double bytes = static_cast<double>(table_.size());
    for (const std::string &name : words.names()) {
        if (!task_.proxy.empty() && !is_policy(name) && name != task_.proxy)
            continue;
        if (name.starts_with('#'))
            continue; // told as T124
        bytes += static_cast<double>(table_.size());
        if (bytes > TABLE_BYTES_MAX)
            break;
        checked_.push_back(name);
    }
    if (!task_.proxy.empty() && words.first_line(task_.proxy) == 0)
        checked_.push_back(task_.proxy); // it has the lines for all names
}

void table_checker::run(input_facts &facts)
{
    current = this;
    report_tap = tap_report;
    table_watch = &WATCH;
    read_all();
    if (task_.first_step == 0) {
        facts.names = words.names();
        port_.send(frame_kind::RECORD, packed_facts(facts));
        for (const bool is_of_policies : {false, true})
            for (const std::string &name : checked_)
                if (is_policy(name) == is_of_policies)
                    check_list(name);
        tell_shadowed();
        tell_idle_entries();
        tell_idle_logging();
        if (task_.proxy.empty())
            tell_unused_policies();
        const std::size_t wanted = static_cast<std::size_t>(std::ranges::count_if(
            words.names(), [](const std::string &name) { return !name.starts_with('#'); }));
        if (task_.proxy.empty() && checked_.size() < wanted)
            add("T205", 0, {},
                std::to_string(checked_.size()) + " of " + std::to_string(wanted) +
                    " names were read");
    }
    // Which policies are whose is known to each child, or they would number their steps otherwise.
    for (const std::string &name : checked_)
        if (task_.first_step != 0 && !is_policy(name))
            check_policies(name, read_entries_of(name).get());
    is_starting_ = true;
    for (const std::string &name : checked_)
        start(name);
    for (const auto &[code, found] : held_)
        send(found);
}

void flatlink::check_table(std::string_view table, const table_task &task, input_facts &facts,
                           const child_port &port)
{
    const memory_path file(table);
    if (cfg_setpfile(file.path().c_str()) == 0)
        table_checker(table, task, port).run(facts);
}
