#include "flatctl/account/ledger.h"

#include "flatctl/account/line_classes.h"
#include "flatctl/account/node_classes.h"
#include "flatctl/account/watched_run.h"
#include "flatctl/common/json_write.h"
#include "flatctl/common/line_list.h"
#include "flatctl/common/request.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/world.h"
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
        if (link.record->is_dropped)
            ++missing[link.record->why];
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

// An earlier link that stands for others.
struct standing_link {
    std::size_t count = 0;      // of the others
    const frag *rule = nullptr; // its own
    std::int32_t line = 0;      // the first of that rule
};

// Links of one rule that earlier links stand for.
struct equal_links {
    const rule_note *rule;
    std::map<std::size_t, standing_link> by_number; // of the link in the output
};

std::vector<equal_links> links_left_out(const conversion_log &log)
{
    std::unordered_map<const void *, std::size_t> numbers;
    for (const auto &link : linkinfos)
        numbers.emplace(link.get(), numbers.size() + 1);
    std::unordered_map<const frag *, std::int32_t> rule_lines; // many may equal links of one rule
    std::vector<equal_links> all;
    for (const link_note &link : log.links()) {
        const record_note &note = *link.record;
        if (!note.is_dropped || note.why != left_out::EQUAL_LINK)
            continue;
        const rule_note &rule = log.rules()[link.rule];
        if (all.empty() || all.back().rule != &rule)
            all.push_back({&rule, {}});
        standing_link &standing = all.back().by_number[numbers[note.kept]];
        ++standing.count;
        standing.rule = log.rules()[log.links()[log.note_of(note.kept)->link].rule].rule;
        if (const auto [line, is_new] = rule_lines.try_emplace(standing.rule, 0); is_new)
            line->second = first_line_below(standing.rule);
        standing.line = rule_lines[standing.rule];
    }
    return all;
}

// ---- text

void print_classes(const std::vector<classed_line> &lines, std::FILE *out)
{
    constexpr std::size_t LISTED_MAX = 40; // more lines of a class are only counted
    std::map<line_class, std::vector<std::int32_t>> classes;
    for (const classed_line &line : lines)
        classes[line.kind].push_back(line.line);
    std::fprintf(out, "input   %zu keys, each in one class\n", lines.size());
    for (const class_row &row : class_rows()) {
        const std::vector<std::int32_t> &of_class = classes[row.kind];
        if (of_class.empty())
            continue;
        std::fprintf(out, "%8zu  %s", of_class.size(), std::string(row.text).c_str());
        if (row.kind != line_class::USED && row.kind != line_class::DECIDES)
            std::fprintf(out, ": %s", line_ranges(of_class, LISTED_MAX).c_str());
        std::fputc('\n', out);
    }
}

// How many lines of the output each family has.
class family_sizes
{
  public:
    void add(std::string_view line);
    void print(const conversion_log &log, std::FILE *out) const;

  private:
    std::size_t sizes_[std::size(families)] = {};
    std::size_t last_ = 0; // the lines of a family come one after another
};

void family_sizes::add(std::string_view line)
{
    const auto has_prefix = [line](const family_row &row) { return line.starts_with(row.prefix); };
    if (!has_prefix(families[last_])) {
        const auto *family = std::ranges::find_if(families, has_prefix);
        if (family == std::end(families))
            return;
        last_ = static_cast<std::size_t>(family - families);
    }
    ++sizes_[last_];
}

void family_sizes::print(const conversion_log &log, std::FILE *out) const
{
    std::fprintf(out, "output  %zu lines\n", log.output().size());
    for (std::size_t i = 0; i < std::size(families); ++i)
        if (sizes_[i] > 0)
            std::fprintf(out, "%8zu  %s\n", sizes_[i], families[i].text(log).c_str());
}

void print_text(const conversion_log &log, const std::vector<classed_line> &lines,
                const family_sizes &sizes, std::FILE *out)
{
    print_classes(lines, out);
    sizes.print(log, out);
    const std::vector<equal_links> missing = links_left_out(log);
    if (!missing.empty())
        std::fputs("links left out, since an earlier one says the same\n", out);
    for (const equal_links &of_rule : missing) {
        std::fprintf(out, "  of %s:", shown_line(fragkeyname(of_rule.rule->rule)).c_str());
        const char *mark = " ";
        for (const auto &[number, standing] : of_rule.by_number) {
            std::fprintf(out, "%s%zu equal vlink_%zu (%s, :%d)", mark, standing.count, number,
                         shown_line(fragkeyname(standing.rule)).c_str(), standing.line);
            mark = ", ";
        }
        std::fputc('\n', out);
    }
}

// ---- JSON

void write_ledger(json_writer &json, const conversion_log &log,
                  const std::vector<classed_line> &lines, const std::vector<line_use> &uses)
{
    json.open("ledger", '[');
    auto use = uses.begin();
    for (const classed_line &line : lines) {
        const class_row &row = row_of(line.kind);
        json.open("", '{').number("line", line.line).text("key", log.key_of_line(line.line));
        json.text("class", row.word);
        if (!row.code.empty())
            json.text("code", row.code);
        json.open("to", '[');
        for (; use != uses.end() && use->input == line.line; ++use)
            json.number("", use->output);
        json.close(']').close('}');
    }
    json.close(']');
}

void write_output(json_writer &json, const conversion_log &log, std::string_view output)
{
    json.open("output", '[');
    for (const written_record &written : log.written()) {
        for (std::uint32_t i = written.begin; i < written.begin + written.count; ++i) {
            const std::string_view line = output.substr(0, output.find('\n'));
            output.remove_prefix(line.size() + 1);
            json.open("", '{').number("line", std::int64_t{i} + 1);
            json.text("key", line.substr(0, line.find('=')));
            write_origins(json, log, conversion_log::note_in(written.note, log.output()[i].field));
            json.close('}');
        }
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
        const record_note &note = *link.record;
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

void print_json(const conversion_log &log, const std::vector<classed_line> &lines,
                const std::vector<line_use> &uses, std::string_view output, std::FILE *out)
{
    std::map<line_class, std::int64_t> sizes;
    for (const classed_line &line : lines)
        ++sizes[line.kind];
    json_writer json(out, "preview/1");
    json.open("summary", '{').number("input", static_cast<std::int64_t>(lines.size()));
    for (const class_row &row : class_rows())
        json.number(row.word, sizes[row.kind]);
    json.number("output", static_cast<std::int64_t>(log.output().size()));
    json.number("derived", static_cast<std::int64_t>(log.links().size()));
    json.number("written", static_cast<std::int64_t>(linkinfos.size())).close('}');
    write_ledger(json, log, lines, uses);
    write_output(json, log, output);
    write_left_out(json, log);
    write_look_ups(json, look_ups_so_far());
    json.finish();
}

} // namespace

void flatlink::write_origins(json_writer &json, const conversion_log &log, const field_note *stored)
{
    constexpr std::array<std::string_view, 6> source_words = {"value",  "program", "value",
                                                              "remote", "local",   "rule"};
    const bool has_origin = stored != nullptr && !stored->has_no_place;
    const auto lines = has_origin ? log.lines_of(stored->origins) : std::span<const std::int32_t>();
    json.open("from", '[');
    for (const std::int32_t line : lines)
        json.number("", std::abs(line));
    json.close(']');
    json.text("how", !has_origin     ? "default"
                     : lines.empty() ? "program"
                                     : source_words[static_cast<std::size_t>(stored->source)]);
}

int flatlink::ledger_in_child(const input &database, const known_world &world, const request &asked,
                              child_port &port)
{
    conversion_log log(false);
    const bool is_json = asked.format == "json";
    std::string output; // for JSON, which names the keys of all lines
    family_sizes sizes;
    const int status = run_watched(database, world, port, log, [&](std::string_view line) {
        if (is_json)
            output.append(line).append(1, '\n');
        else
            sizes.add(line);
    });
    if (status != STATUS_FINE)
        return status;
    std::vector<line_use> uses;
    const std::vector<classed_line> lines =
        account_of(log, def_database, is_json ? &uses : nullptr);
    std::FILE *out = port.stream(frame_kind::DATA);
    if (is_json)
        print_json(log, lines, uses, output, out);
    else
        print_text(log, lines, sizes, out);
    std::fclose(out);
    return STATUS_FINE;
}
