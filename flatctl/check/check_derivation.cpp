#include "flatctl/check/check_derivation.h"

#include "flatctl/account/line_classes.h"
#include "flatctl/account/node_classes.h"
#include "flatlink/records/records.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>

using namespace flatlink;

namespace
{

struct remark_row {
    remark kind;
    std::string_view code;
    bool is_about_value; // of its line
};

constexpr remark_row remark_rows[] = {
    {remark::MISSING, "D201", true},    {remark::STANDS, "D221", true},
    {remark::SHORTENED, "D203", true},  {remark::NO_WORD, "D220", true},
    {remark::NO_ADDRESS, "D202", true}, {remark::NO_NUMBER, "D223", true},
    {remark::CUT, "D240", true},        {remark::ABSENT, "D204", false},
    {remark::UNFIT, "D205", false},     {remark::RECURSIVE, "D210", false},
    {remark::DEEP, "D210", false},      {remark::LEFT_OUT, "D403", true},
};

struct reason_row {
    left_out why;
    std::string_view code;
    std::string_view text;
};

constexpr reason_row reason_rows[] = {
    {left_out::NO_NAME, "D403", "a link without a name"},
    {left_out::NO_INTERFACE, "D403", "an interface without a device, an address or a mask"},
    {left_out::NO_WORDS, "D403", "a proposal without its words"},
    {left_out::NO_PROPOSALS, "D403", "a policy without a proposal"},
    {left_out::SAME_ADDRESS, "D405", ""},
    {left_out::NO_ADDRESSES, "D403", "a pool without a mask or a range of addresses"},
};

// A list of records that links name.
struct named_list {
    const char *peer_key; // the child of a peer that names one
    const char *tree_key;
    std::string linkinfo::*name; // in a link
    std::set<std::string> (*names)();
};

template <const auto &records> std::set<std::string> names_of()
{
    std::set<std::string> names;
    for (const auto &record : records)
        names.insert(record->name);
    return names;
}

constexpr named_list named_lists[] = {
    {"ike", "vpn_ike", &linkinfo::ikepolicy, names_of<ikepolicy>},
    {"ipsec", "vpn_ipsec", &linkinfo::ipsecpolicy, names_of<ipsecpolicy>},
    {"vip", "vpn_mcpool", &linkinfo::modecfg, names_of<mcpools>},
};

// Links that name a record by another name than its own.
struct misnamed {
    std::int32_t line = 0; // the first that names it
    std::int32_t count = 0;
    std::string record;
    std::int32_t name_line = 0; // of the name that they take
};

class derivation_check
{
  public:
    derivation_check(conversion_log &log, frag *tree, const finding_taker &take,
                     const finding_counter &count)
        : log_(log), tree_(tree), take_(take), count_(count)
    {
    }

    void run(const std::function<bool(std::int32_t line)> &is_told, bool is_of_older_layout);

  private:
    void tell_remarks();
    void tell_rules();
    void tell_idle_rule(const rule_note &rule);
    std::int32_t line_of_rule(std::uint32_t index);
    void tell_equal_links(const rule_note &rule);
    void tell_names();
    void tell_misnamed(const named_list &list);
    void tell_split_names(const named_list &list);
    void tell_client_policy();
    void tell_equal_peers();
    void tell_dropped();
    std::string_view code_of(const classed_line &line, bool is_of_older_layout) const;
    void tell_left_over(const std::function<bool(std::int32_t line)> &is_told,
                        bool is_of_older_layout);

    conversion_log &log_;
    frag *tree_;
    const finding_taker &take_;
    const finding_counter &count_;
    std::map<std::uint32_t, std::int32_t> rule_lines_; // by index
};

frag *child_of(frag *node, const char *key)
{
    return node == nullptr ? nullptr : ffind(&node->child, key);
}

std::int32_t line_of(const frag *node)
{
    return node == nullptr ? 0 : origin_line(node);
}

std::string quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

} // namespace

// ---- values

void derivation_check::tell_remarks()
{
    for (const auto &[noted, count] : log_.remarks()) {
        const auto *row = std::ranges::find(remark_rows, noted.kind, &remark_row::kind);
        // A client may take addresses of any pool, or of none.
        const bool is_word = same_word(noted.text, "Any") || same_word(noted.text, "None");
        if (noted.kind == remark::STANDS &&
            (noted.text.empty() || (is_word && log_.key_of_line(noted.line).ends_with("_vip"))))
            continue;
        finding found{.line = noted.line,
                      .column = row->is_about_value ? AT_VALUE : 1,
                      .count = count,
                      .detail = noted.text};
        if (noted.kind == remark::LEFT_OUT)
            found.detail = "an entry of a pool without an address";
        take_(row->code, std::move(found));
    }
}

// ---- rules

// A side that is there and names no object has a finding of its own.
void derivation_check::tell_idle_rule(const rule_note &rule)
{
    auto *node = const_cast<frag *>(rule.rule);
    const bool is_proxy = is_of_type(node, "proxy");
    const frag *other = child_of(node, is_proxy ? "dst" : "dest");
    if (child_of(node, is_proxy ? "dest" : "dst") == nullptr && other != nullptr) {
        take_("D302", {.line = line_of(other), .detail = fragkeyname(node)});
        return;
    }
    if (rule.missing_side == nullptr || child_of(node, rule.missing_side) == nullptr)
        take_("D301", {.line = first_line_below(node)});
}

// Looked for once, since many rules can have links that equal those of one.
std::int32_t derivation_check::line_of_rule(std::uint32_t index)
{
    const auto [place, is_new] = rule_lines_.try_emplace(index, 0);
    if (is_new)
        place->second = first_line_below(log_.rules()[index].rule);
    return place->second;
}

void derivation_check::tell_equal_links(const rule_note &rule)
{
    std::int32_t equal = 0;
    std::set<std::uint32_t> rules;
    for (std::uint32_t i = rule.first_link; i < rule.first_link + rule.link_count; ++i) {
        const record_note *note = log_.links()[i].record;
        if (note == nullptr || !note->is_dropped || note->why != left_out::EQUAL_LINK)
            continue;
        ++equal;
        const record_note *kept = log_.note_of(note->kept);
        if (kept != nullptr && kept->link != NO_NOTE)
            rules.insert(log_.links()[kept->link].rule);
    }
    if (equal == 0)
        return;
    std::set<std::int32_t> rule_lines;
    for (const std::uint32_t index : rules)
        rule_lines.insert(line_of_rule(index));
    const bool is_all = equal == static_cast<std::int32_t>(rule.link_count);
    take_(is_all ? "D303" : "D311", {.line = first_line_below(rule.rule),
                                     .count = equal,
                                     .related = {rule_lines.begin(), rule_lines.end()},
                                     .detail = fragkeyname(rule.rule)});
}

void derivation_check::tell_rules()
{
    for (const rule_note &rule : log_.rules()) {
        if (rule.link_count == 0)
            tell_idle_rule(rule);
        else
            tell_equal_links(rule);
    }
}

// ---- names of policies, pools and peers

void derivation_check::tell_misnamed(const named_list &list)
{
    const std::set<std::string> names = list.names();
    std::map<std::string, misnamed> all;
    for (const auto &link : linkinfos) {
        const std::string &name = *link.*list.name;
        const record_note *note = log_.note_of(link.get());
        if (name.empty() || names.contains(name) || note == nullptr || note->link == NO_NOTE)
            continue;
        const frag *reference =
            child_of(const_cast<frag *>(log_.links()[note->link].peer), list.peer_key);
        frag *named = reference == nullptr ? nullptr : ffind(&tree_, reference->value);
        if (named == nullptr || !names.contains(named->name))
            continue;
        misnamed &one = all[name];
        ++one.count;
        if (one.line == 0 || origin_line(reference) < one.line)
            one.line = origin_line(reference);
        one.record = named->name;
        one.name_line = line_of(child_of(named, "name"));
    }
    for (const auto &[name, one] : all) {
        finding found{.line = one.line, .column = AT_VALUE, .count = one.count};
        if (one.name_line != 0)
            found.related.push_back(one.name_line);
        found.detail = quoted(name) + ", and the record is " + quoted(one.record);
        take_("D231", std::move(found));
    }
}

// Keys are split at each '_', also where it was meant as a part of the name.
void derivation_check::tell_split_names(const named_list &list)
{
    constexpr std::string_view of_records[] = {"name", "description", "select", "mask", "pfs"};
    frag *policies = ffind(&tree_, list.tree_key);
    for (frag *policy = policies == nullptr ? nullptr : policies->child; policy != nullptr;
         policy = policy->next) {
        for (frag *part = policy->child; part != nullptr; part = part->next) {
            const auto is_of_record = [part](std::string_view key) {
                return child_of(part, std::string(key).c_str()) != nullptr;
            };
            if (std::ranges::any_of(of_records, is_of_record))
                take_("D222", {.line = first_line_below(part), .detail = fragkeyname(part)});
        }
    }
}

void derivation_check::tell_client_policy()
{
    const frag *node = ffind(&tree_, "vpn_settings_ike");
    if (node == nullptr || clientIKEpolicy.empty() || ffind(&tree_, node->value) != nullptr ||
        names_of<ikepolicy>().contains(clientIKEpolicy))
        return;
    take_("D221", {.line = origin_line(node), .column = AT_VALUE, .detail = node->value});
}

void derivation_check::tell_equal_peers()
{
    std::map<std::string_view, std::int32_t> lines;
    for (const char *type : {"net_vpnnetwork", "net_vpnclient"}) {
        frag *peers = ffind(&tree_, type);
        for (frag *peer = peers == nullptr ? nullptr : peers->child; peer != nullptr;
             peer = peer->next) {
            const frag *name = child_of(peer, "name");
            if (name == nullptr || name->value == nullptr)
                continue;
            const std::int32_t line = origin_line(name);
            const auto [first, is_new] = lines.try_emplace(name->value, line);
            if (!is_new)
                take_("D320", {.line = std::max(line, first->second),
                               .column = AT_VALUE,
                               .related = {std::min(line, first->second)},
                               .detail = name->value});
        }
    }
}

void derivation_check::tell_names()
{
    for (const named_list &list : named_lists) {
        tell_misnamed(list);
        tell_split_names(list);
    }
    tell_client_policy();
    tell_equal_peers();
}

// ---- records and lines

void derivation_check::tell_dropped()
{
    std::vector<std::pair<std::string_view, finding>> all;
    bool lacks_words = false;
    for (const record_note &note : log_.records()) {
        const auto *reason = std::ranges::find(reason_rows, note.why, &reason_row::why);
        if (!note.is_dropped || reason == std::end(reason_rows))
            continue;
        std::set<std::int32_t> lines;
        for (const field_note &field : note.fields)
            for (const std::int32_t line : log_.lines_of(field.origins))
                lines.insert(std::abs(line));
        finding found{.detail = std::string(reason->text)};
        if (!lines.empty())
            found.line = *lines.begin();
        if (lines.size() > 1)
            found.related = {std::next(lines.begin()), lines.end()};
        lacks_words = lacks_words || note.why == left_out::NO_WORDS;
        all.emplace_back(reason->code, std::move(found));
    }
    // A policy without lines of its own has those of its proposals.
    if (lacks_words)
        std::erase_if(all, [](const auto &one) { return one.second.line == 0; });
    std::ranges::sort(all, {}, [](const auto &one) {
        return std::tie(one.second.line, one.second.detail, one.second.related);
    });
    for (auto &[code, found] : all)
        take_(code, std::move(found));
}

// The code of a finding about a line of which nothing else was told; empty for none. In the current
// layout, lines that decide about it are just its mark.
std::string_view derivation_check::code_of(const classed_line &line, bool is_of_older_layout) const
{
    if (line.kind == line_class::NO_LINK)
        return {}; // told of the rule's first line
    if (line.kind == line_class::LAYOUT && is_of_older_layout)
        return "D407";
    const std::uint16_t marks = log_.lines()[static_cast<std::size_t>(line.line)].marks;
    if (line.kind != line_class::DECIDES || (marks & LINE_READ) != 0)
        return row_of(line.kind).code;
    // Without it something would not be there, which is meant of objects, and of that mark.
    const std::string key = log_.key_of_line(line.line);
    constexpr std::ptrdiff_t MARKS_OF_A_PART = 3; // of net_TYPE_NAME_PART
    const bool is_of_object =
        key.starts_with("net_group_") ||
        (key.starts_with("net_") && std::ranges::count(key, '_') <= MARKS_OF_A_PART);
    if (is_of_object || key.starts_with("def_proxy"))
        return {};
    return is_of_older_layout ? "D407" : "D401";
}

// There may be millions, so what is not kept is counted only.
void derivation_check::tell_left_over(const std::function<bool(std::int32_t line)> &is_told,
                                      bool is_of_older_layout)
{
    std::map<std::string_view, std::size_t> counts;
    for (const classed_line &line : account_of(log_, tree_)) {
        const std::string_view code = code_of(line, is_of_older_layout);
        if (!code.empty() && !is_told(line.line) && ++counts[code] <= FINDINGS_MAX)
            take_(code, {.line = line.line});
    }
    for (const auto &[code, count] : counts)
        if (count > FINDINGS_MAX)
            count_(code, count - FINDINGS_MAX);
}

void derivation_check::run(const std::function<bool(std::int32_t line)> &is_told,
                           bool is_of_older_layout)
{
    tell_remarks();
    tell_rules();
    tell_names();
    tell_dropped();
    tell_left_over(is_told, is_of_older_layout);
}

void flatlink::check_derivation(conversion_log &log, frag *tree, bool is_of_older_layout,
                                const std::function<bool(std::int32_t line)> &is_told,
                                const finding_taker &take, const finding_counter &count)
{
    derivation_check(log, tree, take, count).run(is_told, is_of_older_layout);
}
