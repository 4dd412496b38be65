#include "flatctl/check/check_table.h"

#include "flatctl/check/check_message.h"
#include "flatctl/check/shadowed.h"
#include "flatctl/check/table_codes.h"
#include "flatctl/check/table_words.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/memory_path.h"
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/report.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <tuple>

using namespace flatlink;

namespace
{

struct cfg_freer {
    void operator()(cfgrec *list) const { cfg_free(list); }
};
using cfg_list = std::unique_ptr<cfgrec, cfg_freer>;

cfg_list read_list(const std::string &name)
{
    cfgrec *list = cfg_read(name.c_str());
    return cfg_list(cfg_has(list) ? list : nullptr);
}

cfg_list copy_of(const cfgrec *entry, int first, int count)
{
    return cfg_list(
        cfg_make(entry->keyword, entry->flags, entry->lineno, count, entry->argv + first));
}

class table_checker
{
  public:
    table_checker(std::string_view table, const table_task &task, const child_port &port);

    void run(input_facts &facts);

    // For the calls of watch and tap.
    void take_fault(table_fault what, const char *at);
    void take_value(value_fault what, const char *value);
    void take_overridden(const cfgrec &by, const cfgrec &entry);
    void take_report(const UNIQUE_DATA_T &uniq, std::string_view format, const std::string &item,
                     const std::string &text);

    table_words words;

  private:
    void add(std::string_view code, int line, word_place place, std::string detail,
             std::vector<std::int32_t> related = {});
    void send(const finding &found);
    std::string_view line_text(int line) const;
    bool begins_step();
    bool is_policy(std::string_view name) const { return name.starts_with("policy-"); }

    void read_all();
    void check_list(const std::string &name);
    void check_patterns(const cfgrec *list);
    void check_pattern(const cfgrec *entry, int argument, const host_pattern &pattern);
    void check_policies(cfgrec *list);
    void check_options(const std::string &name, cfgrec *list);
    void collect_shadowed(const std::string &name, cfgrec *list);
    void tell_shadowed();
    void tell_unused_policies();
    void start(const std::string &name);
    void try_ports(cfgrec *list);

    std::string_view table_;
    const table_task &task_;
    const child_port &port_;
    std::vector<std::size_t> line_begins_;
    std::vector<std::string> checked_; // names, in the order of the table
    std::set<std::tuple<std::string_view, int, int, std::string>> told_;
    std::map<std::string_view, std::size_t> counts_; // by code
    std::map<std::string_view, finding> held_;       // the last that is sent, for those beyond it
    std::set<std::string> named_policies_;           // as their lines name them
    std::map<int, std::pair<int, shadowed_line>> shadowed_; // in how many lists
    std::set<int> reachable_;
    const cfgrec *entry_ = nullptr; // that is tried
    bool is_starting_ = false;
    bool is_muted_ = false; // what is reported was told before, but for a bound
    bool options_known_ = false;
    bool policies_known_ = true; // all that are named are in the table of policies
    int step_ = 0;
    std::set<std::pair<int, int>> tried_; // items of ports
};

table_checker *current = nullptr; // of this process

constexpr table_watch_calls WATCH = {
    .line = [](int number, std::string_view text) { current->words.begin_line(number, text); },
    .name = [](std::string_view name) { current->words.add_name(name); },
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

void table_checker::take_fault(table_fault what, const char *at)
{
    const word_place place = words.place_of(at);
    if (place.end != 0 || what == table_fault::NO_NEWLINE)
        add(code_of_fault(what), words.line(), place, "");
}

void table_checker::take_value(value_fault what, const char *value)
{
    if (entry_ == nullptr && !is_starting_)
        return; // told where the entry is known
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

void table_checker::check_pattern(const cfgrec *entry, int argument, const host_pattern &pattern)
{
    const word_place place = words.argument(entry->lineno, argument);
    const char *text = entry->argv[argument];
    if (pattern.kind == host_kind::BAD_MASK || pattern.kind == host_kind::TOO_LONG ||
        (pattern.kind == host_kind::RANGE && pattern.low > pattern.high))
        add("T119", entry->lineno, place, text);
    else if (!pattern.is_exact)
        add("T112", entry->lineno, place,
            std::string(text) + " is taken for " + format_address(network_order(pattern.low)));
}

// How many arguments of an entry are patterns of hosts; -1 where a keyword takes none, or what it
// lacks is told in another way.
int host_patterns(const cfgrec &entry)
{
    const std::string_view keyword = entry.keyword;
    if (keyword == "hosts")
        return pattern_count(entry);
    if (keyword == "destination" || keyword == "rev_dns")
        return entry.argc;
    return keyword == "afw-dest" && entry.argc > 0 ? 1 : -1;
}

void table_checker::check_patterns(const cfgrec *list)
{
    char room[HOST_TEXT_MAX + 1];
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next) {
        const std::string_view keyword = entry->keyword;
        const int count = host_patterns(*entry);
        if (count == 0 || (keyword == "ports" && entry->argc == 0))
            add("T113", entry->lineno, words.argument(entry->lineno, ""), "");
        for (int i = 0; i < count; ++i) {
            const char *text = entry->argv[i];
            if (keyword == "hosts" && text[0] == '~')
                continue;
            if (keyword == "destination" && text[0] == '!')
                ++text;
            const bool is_range = keyword == "rev_dns" && std::strchr(text, '-') != nullptr;
            check_pattern(entry, i,
                          is_range ? compile_range(text) : compile_host_pattern(text, room));
        }
    }
}

// Each `hosts` line alone, as the collection of policy names sees it.
void table_checker::check_policies(cfgrec *list)
{
    auto names = std::make_unique<std::array<char *, POLICY_SLOTS>>();
    for (cfgrec *entry = cfg_first("hosts", list); entry != nullptr;
         entry = cfg_next("hosts", entry)) {
        entry_ = entry;
        const cfg_list alone = copy_of(entry, 0, entry->argc);
        proxy_confp = alone.get();
        if (cfg_findPolicyNames(names->data()) == 1) {
            const std::string name = names->front();
            named_policies_.insert(name);
            name_policy(name);
            const std::string in_table = policy_name;
            if (words.first_line(in_table) == 0)
                add("T202", entry->lineno, words.argument(entry->lineno, name),
                    "no line is for " + in_table);
        }
        for (char *const *name = names->data(); *name != nullptr; ++name)
            std::free(*name);
    }
    entry_ = nullptr;
    proxy_confp = nullptr;
}

// What follows the patterns of each `hosts` line, as it is read for a client.
void table_checker::check_options(const std::string &name, cfgrec *list)
{
    const policy_option *rows = nullptr;
    if (task_.options != nullptr)
        if (const auto found = task_.options->find(name); found != task_.options->end())
            rows = found->second.rows.data();
    options_known_ = rows != nullptr;
    proxy_confp = list;
    is_muted_ = true;
    policies_known_ = cfg_bldCFGlist() >= 0;
    is_muted_ = false;
    for (cfgrec *entry = cfg_first("hosts", list); entry != nullptr;
         entry = cfg_next("hosts", entry)) {
        entry_ = entry;
        policy_confp = nullptr;
        (void)get_policy(entry, rows); // its reports are the result
        cfg_free(policy_confp);
    }
    entry_ = nullptr;
    policy_confp = proxy_confp = nullptr;
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

void table_checker::check_list(const std::string &name)
{
    const cfg_list list = read_list(name);
    if (list == nullptr)
        return;
    check_patterns(list.get());
    if (is_policy(name) || cfg_first("hosts", list.get()) == nullptr)
        return;
    check_policies(list.get());
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
        bytes += static_cast<double>(table_.size());
        if (bytes > TABLE_BYTES_MAX)
            break;
        checked_.push_back(name);
    }
    if (!task_.proxy.empty() && words.first_line(task_.proxy) == 0)
        checked_.push_back(task_.proxy); // it has the lines for all names
}

// ---- steps that may end the process

// False for a step that an earlier child took.
bool table_checker::begins_step()
{
    if (++step_ < task_.first_step)
        return false;
    port_.send(frame_kind::RECORD, packed_step(step_));
    return true;
}

void table_checker::try_ports(cfgrec *list)
{
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next) {
        const std::string_view keyword = entry->keyword;
        const bool is_block = keyword == "afw-dest";
        if (keyword != "ports" && !is_block)
            continue;
        for (int i = 0; i < (is_block ? 1 : entry->argc); ++i) {
            if (!tried_.insert({entry->lineno, i}).second || !begins_step())
                continue;
            entry_ = entry;
            const cfg_list alone = copy_of(entry, i, is_block ? entry->argc : 1);
            const char *mapped = nullptr, *reverse = nullptr;
            constexpr int NO_PORT = -1; // so that the destination is not compared
            if (is_block)
                (void)afwDestBlock("", NO_PORT, alone.get(), &mapped, &reverse);
            else
                (void)permit_port_chk(NO_PORT, alone.get());
            entry_ = nullptr;
        }
    }
}

void table_checker::start(const std::string &name)
{
    if (!is_policy(name) && begins_step()) {
        set_text(proxy_name, name);
        if (proxy_load_config() == 0) {
            bool is_faulty = false;
            (void)denial_file(is_faulty);
            (void)Log::CheckLogConfig(proxy_confp);
        }
        policy_confp = nullptr;
    }
    const cfg_list list = read_list(name);
    try_ports(list.get());
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
        for (const std::string &name : checked_)
            check_list(name);
        tell_shadowed();
        if (task_.proxy.empty())
            tell_unused_policies();
        const std::size_t wanted = words.names().size();
        if (task_.proxy.empty() && checked_.size() < wanted)
            add("T205", 0, {},
                std::to_string(checked_.size()) + " of " + std::to_string(wanted) +
                    " names were read");
    }
    is_starting_ = true;
    for (const std::string &name : checked_)
        start(name);
    for (const auto &[code, found] : held_)
        send(found);
}

} // namespace

void flatlink::check_table(std::string_view table, const table_task &task, input_facts &facts,
                           const child_port &port)
{
    const memory_path file(table);
    if (cfg_setpfile(file.path().c_str()) == 0)
        table_checker(table, task, port).run(facts);
}
