// The checker of one table, of which there is one in a process. check_table.cpp has what is seen
// when entries are read, table_start.cpp the steps of a proxy that may end it.
#pragma once

#include "flatctl/check/asked_keywords.h"
#include "flatctl/check/check_table.h"
#include "flatctl/check/own_entries.h"
#include "flatctl/check/shadowed.h"
#include "flatctl/check/table_entries.h"
#include "flatctl/check/table_patterns.h"
#include "flatctl/check/table_words.h"
#include "lib/fwall/access/policy.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/report.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

struct cfg_freer {
    void operator()(cfgrec *list) const { cfg_free(list); }
};
using cfg_list = std::unique_ptr<cfgrec, cfg_freer>;

class table_checker
{
  public:
    table_checker(std::string_view table, const table_task &task, const child_port &port);

    void run(input_facts &facts);

    // For the calls of watch and tap.
    void take_name(std::string_view name);
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
    entry_fault_taker fault_taker(bool is_of_option);
    const policy_option *options_of(const std::string &name) const;
    void tell_stray_word(const std::string &name, const cfgrec &hosts);
    void check_policies(const std::string &name, cfgrec *list);
    using entry_visitor = std::function<void(const cfgrec &entry)>;
    void visit_options(cfgrec *list, const entry_visitor &visit);
    void check_options(const std::string &name, cfgrec *list);
    void collect_shadowed(const std::string &name, cfgrec *list);
    void tell_shadowed();
    void tell_unused_policies();
    void tell_idle_entries();
    void tell_idle_logging();
    void check_entries(const std::string &name, const cfgrec *list);
    void start(const std::string &name);
    void read_settings(const std::string &name);
    void try_ports(const std::string &name, const cfgrec *entry);

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
    const policy_option *rows_ = nullptr; // of the proxy whose options are read
    asked_keywords asked_{task_.options};
    std::set<std::pair<int, std::string>> tried_; // items of ports, by line
};

namespace flatlink
{

// The entries of a name; null for none.
cfg_list read_entries_of(const std::string &name);

// An entry with `count` of the arguments, from `first` on.
cfg_list copy_of(const cfgrec *entry, int first, int count);

} // namespace flatlink
