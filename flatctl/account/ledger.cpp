#include "flatctl/account/ledger.h"

#include "flatctl/account/line_classes.h"
#include "flatctl/account/watched_run.h"
#include "flatctl/common/json_write.h"
#include "flatctl/common/line_list.h"
#include "flatctl/common/request.h"
#include "flatctl/common/text_write.h"
#include "flatlink/records/records.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/symbol.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

using namespace flatlink;

namespace
{

// A family of records in the output.
struct family_row {
    std::string_view prefix;
    std::string (*text)(const conversion_log &log);
};

std::string counted(std::size_t count, std::string_view one, std::string_view many)
{
    return std::to_string(count) + " " + std::string(count == 1 ? one : many);
}

std::string text_of_links(const conversion_log &log)
{
    std::map<left_out, std::size_t> missing;
    for (const link_note &link : log.links())
        if (const record_note *note = log.note_of(link.record); note->is_dropped)
            ++missing[note->why];
    std::string text = counted(linkinfos.size(), "link", "links");
    text += " (" + std::to_string(log.links().size()) + " derived";
    if (missing[left_out::EQUAL_LINK] > 0)
        text += ", " + std::to_string(missing[left_out::EQUAL_LINK]) + " equal earlier ones";
    if (missing[left_out::NO_NAME] > 0)
        text += ", " + std::to_string(missing[left_out::NO_NAME]) + " without a name";
    return text + ")";
}

template <typename list> std::string text_of_policies(const list &policies, std::string_view kind)
{
    std::size_t proposals = 0;
    for (const auto &policy : policies)
        proposals += policy->props.size();
    return counted(policies.size(), std::string(kind) + " policy",
                   std::string(kind) + " policies") +
           ", " + counted(proposals, "proposal", "proposals");
}

constexpr family_row families[] = {
    {"vpn_", [](const conversion_log &) { return std::string("settings"); }},
    {"vlink_", text_of_links},
    {"ikePolicy_", [](const conversion_log &) { return text_of_policies(ikepolicy, "IKE"); }},
    {"ipsecPolicy_", [](const conversion_log &) { return text_of_policies(ipsecpolicy, "IPsec"); }},
    {"mcpool_", [](const conversion_log &) { return counted(mcpools.size(), "pool", "pools"); }},
    {"netobj_list_",
     [](const conversion_log &) { return counted(intf_list.size(), "interface", "interfaces"); }},
    {"ip_", [](const conversion_log &) { return std::string("host names"); }},
};

// Links of one rule that an earlier link stands for.
struct equal_links {
    const rule_note *rule;
    std::map<std::size_t, std::size_t> count_by_number; // of the link that stands for them
};

std::vector<equal_links> links_left_out(const conversion_log &log)
{
    std::unordered_map<const void *, std::size_t> numbers;
    for (const auto &link : linkinfos)
        numbers.emplace(link.get(), numbers.size() + 1);
    std::vector<equal_links> all;
    for (const link_note &link : log.links()) {
        const record_note &note = *log.note_of(link.record);
        if (!note.is_dropped || note.why != left_out::EQUAL_LINK)
            continue;
        const rule_note &rule = log.rules()[link.rule];
        if (all.empty() || all.back().rule != &rule)
            all.push_back({&rule, {}});
        ++all.back().count_by_number[numbers[note.kept]];
    }
    return all;
}

// ---- text

void print_text(const conversion_log &log, const line_account &account, std::string_view output,
                std::FILE *out)
{
    constexpr std::size_t LISTED_MAX = 40; // more lines of a class are only counted
    std::map<line_class, std::vector<std::int32_t>> classes;
    for (const classed_line &line : account.lines)
        classes[line.kind].push_back(line.line);
    std::fprintf(out, "input   %zu keys, each in one class\n", account.lines.size());
    for (const class_row &row : class_rows()) {
        const std::vector<std::int32_t> &lines = classes[row.kind];
        if (lines.empty())
            continue;
        std::fprintf(out, "%8zu  %s", lines.size(), std::string(row.text).c_str());
        if (row.kind != line_class::USED && row.kind != line_class::DECIDES)
            std::fprintf(out, ": %s", line_ranges(lines, LISTED_MAX).c_str());
        std::fputc('\n', out);
    }
    const auto line_count = static_cast<std::size_t>(std::ranges::count(output, '\n'));
    std::fprintf(out, "output  %zu lines\n", line_count);
    std::map<std::string_view, std::size_t> sizes;
    for (std::size_t begin = 0; begin < output.size(); begin = output.find('\n', begin) + 1)
        for (const family_row &family : families)
            if (output.substr(begin).starts_with(family.prefix)) {
                ++sizes[family.prefix];
                break;
            }
    for (const family_row &family : families)
        if (sizes[family.prefix] > 0)
            std::fprintf(out, "%8zu  %s\n", sizes[family.prefix], family.text(log).c_str());
    const std::vector<equal_links> missing = links_left_out(log);
    if (!missing.empty())
        std::fputs("links left out, since an earlier one says the same\n", out);
    for (const equal_links &of_rule : missing) {
        std::fprintf(out, "  of %s:", shown_line(fragkeyname(of_rule.rule->rule)).c_str());
        for (const auto &[number, count] : of_rule.count_by_number)
            std::fprintf(out, " %zu as vlink_%zu", count, number);
        std::fputc('\n', out);
    }
}

// ---- JSON

constexpr std::array<std::string_view, 6> source_words = {"value",  "program", "value",
                                                          "remote", "local",   "rule"};

void write_ledger(json_writer &json, const conversion_log &log, const line_account &account)
{
    json.open("ledger", '[');
    auto use = account.uses.begin();
    for (const classed_line &line : account.lines) {
        const class_row &row = row_of(line.kind);
        json.open("", '{').number("line", line.line).text("key", log.key_of_line(line.line));
        json.text("class", row.word);
        if (!row.code.empty())
            json.text("code", row.code);
        json.open("to", '[');
        for (; use != account.uses.end() && use->input == line.line; ++use)
            json.number("", use->output);
        json.close(']').close('}');
    }
    json.close(']');
}

void write_output(json_writer &json, const conversion_log &log, std::string_view output)
{
    json.open("output", '[');
    std::int64_t number = 0;
    for (const output_note &written : log.output()) {
        const std::string_view line = output.substr(0, output.find('\n'));
        output.remove_prefix(line.size() + 1);
        json.open("", '{').number("line", ++number).text("key", line.substr(0, line.find('=')));
        const field_note *stored = log.note_of(written.record, written.field);
        json.open("from", '[');
        const bool has_origin = stored != nullptr && !stored->has_no_place;
        std::size_t count = 0;
        if (has_origin)
            for (const std::int32_t origin : log.lines_of(stored->origins)) {
                json.number("", origin < 0 ? -origin : origin);
                ++count;
            }
        json.close(']');
        json.text("how", !has_origin  ? "default"
                         : count == 0 ? "program"
                                      : source_words[static_cast<std::size_t>(stored->source)]);
        json.close('}');
    }
    json.close(']');
}

void write_left_out(json_writer &json, const conversion_log &log)
{
    json.open("dropped", '[');
    std::int64_t derived = 0;
    std::unordered_map<const void *, std::int64_t> numbers;
    for (const auto &link : linkinfos)
        numbers.emplace(link.get(), static_cast<std::int64_t>(numbers.size()) + 1);
    for (const link_note &link : log.links()) {
        ++derived;
        const record_note &note = *log.note_of(link.record);
        if (!note.is_dropped)
            continue;
        json.open("", '{').text("what", "link").number("derived", derived);
        const bool is_equal = note.why == left_out::EQUAL_LINK;
        json.text("code", is_equal ? "D311" : "D403");
        if (is_equal)
            json.text("equals", "vlink_" + std::to_string(numbers[note.kept]));
        json.close('}');
    }
    json.close(']');
}

void print_json(const conversion_log &log, const line_account &account, std::string_view output,
                std::FILE *out)
{
    std::map<line_class, std::int64_t> sizes;
    for (const classed_line &line : account.lines)
        ++sizes[line.kind];
    json_writer json(out, "preview/1");
    json.open("summary", '{').number("input", static_cast<std::int64_t>(account.lines.size()));
    for (const class_row &row : class_rows())
        json.number(row.word, sizes[row.kind]);
    json.number("output", static_cast<std::int64_t>(log.output().size()));
    json.number("derived", static_cast<std::int64_t>(log.links().size()));
    json.number("written", static_cast<std::int64_t>(linkinfos.size())).close('}');
    write_ledger(json, log, account);
    write_output(json, log, output);
    write_left_out(json, log);
    json.finish();
}

} // namespace

int flatlink::ledger_in_child(const input &database, const known_world &world, const request &asked,
                              child_port &port)
{
    conversion_log log(false);
    std::string output;
    const int status = run_watched(database, world, port, log, output);
    if (status != STATUS_FINE)
        return status;
    const line_account account = account_of(log, def_database);
    std::FILE *out = port.stream(frame_kind::DATA);
    if (asked.format == "json")
        print_json(log, account, output, out);
    else
        print_text(log, account, output, out);
    std::fclose(out);
    return STATUS_FINE;
}
