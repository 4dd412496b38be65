// explain link: the rule, the steps and the lines of a database that a link comes from.
#include "flatctl/account/conversion_log.h"
#include "flatctl/account/ledger.h"
#include "flatctl/common/json_write.h"
#include "flatctl/common/line_list.h"
#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"
#include "flatctl/explain_input.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "flatlink/derive/run_state.h"
#include "flatlink/records/names.h"
#include "flatlink/records/records.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

using namespace flatlink;

namespace
{

// A line of the output, with what is noted about it.
struct field_line {
    std::string_view text; // key=value
    std::string_view field;
    const field_note *note; // null: no line of the input set it
};

struct explained_link {
    std::size_t number;  // in the output, from 1
    std::size_t derived; // from 1
    const linkinfo *record;
    const link_note *note;
    std::size_t first_line = 0, last_line = 0; // of the output
    std::vector<field_line> fields;
    std::vector<std::size_t> equal; // indices of links that it stands for
};

// A side of a link may be one that no line of the input makes.
std::string name_of(const frag *node)
{
    if (node == nullptr)
        return "a word of a list";
    return node == vpn_flocal    ? "the firewall itself"
           : node == vpn_fremote ? "any client"
                                 : shown_line(fragkeyname(node));
}

// The lines of what a rule says, without those that none of its fields needs.
std::vector<std::int32_t> lines_of_rule(const frag *rule)
{
    std::vector<std::int32_t> lines;
    for (const frag *child = rule->child; child != nullptr; child = child->next)
        if (origin_line(child) != 0)
            lines.push_back(origin_line(child));
    std::ranges::sort(lines);
    return lines;
}

// What the rule names on its two sides.
std::string text_of_sides(const frag *rule)
{
    std::string text;
    for (const frag *child = rule->child; child != nullptr; child = child->next) {
        const std::string_view name = child->name;
        if (child->value != nullptr && (name == "src" || name == "dst" || name == "dest"))
            text += (text.empty() ? ":" : "   :") + std::to_string(origin_line(child)) + " " +
                    shown_line(child->value);
    }
    return text;
}

std::string places(std::span<const std::int32_t> lines)
{
    std::string text;
    for (const std::int32_t line : lines)
        text += (text.empty() ? ":" : " -> :") + std::to_string(std::abs(line));
    return text;
}

bool is_asked_for(const std::string &wanted, std::size_t number, const linkinfo &link)
{
    return wanted == std::to_string(number) || wanted == link.description || wanted == link.lname;
}

// ---- what is asked for

constexpr std::size_t EXPLAINED_MAX = 100; // more of one name are no explanation

std::vector<explained_link> find_links(const conversion_log &log, std::string_view output,
                                       const std::string &wanted)
{
    std::vector<explained_link> found;
    std::unordered_map<const void *, std::size_t> place_of; // in `found`
    std::size_t number = 0;
    for (const auto &link : linkinfos) {
        const record_note *note = log.note_of(link.get());
        if (!is_asked_for(wanted, ++number, *link) || note == nullptr)
            continue;
        if (found.size() == EXPLAINED_MAX) {
            std::fprintf(stderr, "the first %zu links of that name; ask for others by number\n",
                         EXPLAINED_MAX);
            break;
        }
        place_of.emplace(link.get(), found.size());
        found.push_back({number,
                         note->link + std::size_t{1},
                         link.get(),
                         &log.links()[note->link],
                         0,
                         0,
                         {},
                         {}});
    }
    for (std::size_t i = 0; i < log.links().size(); ++i) {
        const record_note &note = *log.links()[i].record;
        const auto place = place_of.find(note.kept);
        if (note.is_dropped && place != place_of.end())
            found[place->second].equal.push_back(i);
    }
    for (const written_record &written : log.written()) {
        const auto place = place_of.find(written.record);
        for (std::uint32_t i = written.begin; i < written.begin + written.count; ++i) {
            const std::string_view text = output.substr(0, output.find('\n'));
            output.remove_prefix(text.size() + 1);
            if (place == place_of.end())
                continue;
            explained_link &link = found[place->second];
            if (link.fields.empty())
                link.first_line = i + std::size_t{1};
            link.last_line = i + std::size_t{1};
            const std::uint32_t field = log.output()[i].field;
            link.fields.push_back(
                {text, log.field_key(field), conversion_log::note_in(written.note, field)});
        }
    }
    return found;
}

// ---- text

// Steps in words; null for those that the others tell.
std::string text_of(const step &at)
{
    switch (at.kind) {
    case derivation_step::RULE:
        break;
    case derivation_step::PAIR:
        return name_of(at.first) + " with " + name_of(at.second);
    case derivation_step::CHAINED:
        return "two peers: " + name_of(at.first) + " and " + name_of(at.second) +
               " each meet what the other offers";
    case derivation_step::OFFER:
        return "links of " + name_of(at.first) + " with " + name_of(at.second);
    case derivation_step::TRUSTED:
        return "remote " + name_of(at.first) + ", local " + name_of(at.second);
    }
    return {};
}

std::string text_of_side(const conversion_log &log, const explained_link &link,
                         const std::string &address, std::uint8_t type, const char *field,
                         const frag *obj)
{
    const field_note *note = log.note_of(link.record, field);
    std::string text = shown_line(address) + " " + std::string(parsenumtoname(addrid_list, type));
    if (note != nullptr && note->origins.count > 0)
        text += "   " + places(log.lines_of(note->origins));
    return text + "   " + name_of(obj);
}

std::string text_of_fields(const conversion_log &log, const explained_link &link)
{
    std::string with_lines, others;
    for (const field_line &line : link.fields) {
        const std::string shown_text = shown_setting(line.text, false);
        const std::string text = shown_text.substr(shown_text.find(line.field));
        const bool has_lines = line.note != nullptr && line.note->origins.count > 0;
        if (has_lines)
            with_lines +=
                "\n             " + text + "   " + places(log.lines_of(line.note->origins));
        else
            others += "\n             " + text;
    }
    return "  fields     " + (with_lines.empty() ? "" : with_lines.substr(14)) + "\n  usual      " +
           (others.empty() ? "" : others.substr(14)) + "\n";
}

std::string text_of_equal(const conversion_log &log, const explained_link &link)
{
    const rule_note &own = log.rules()[link.note->rule];
    const std::string own_name = name_of(own.rule);
    if (link.equal.empty())
        return "  without    " + own_name + " there is no such link\n";
    std::map<std::uint32_t, std::size_t> counts;
    for (const std::size_t i : link.equal)
        ++counts[log.links()[i].rule];
    std::string text;
    for (const auto &[rule, count] : counts) {
        const std::vector<std::int32_t> lines = lines_of_rule(log.rules()[rule].rule);
        text += "  same       " + std::to_string(count) + " of " + name_of(log.rules()[rule].rule) +
                " (" + places(std::span(lines).first(lines.empty() ? 0 : 1)) +
                ") equal this one and are left out\n";
    }
    if (!counts.contains(link.note->rule))
        text += "  without    " + own_name + " the first of them stands in its place\n";
    return text;
}

void print_text(const conversion_log &log, const explained_link &link, std::FILE *out)
{
    constexpr std::size_t LISTED_MAX = 20;
    const rule_note &rule = log.rules()[link.note->rule];
    const linkinfo &record = *link.record;
    std::string text =
        "vlink_" + std::to_string(link.number) + "  " + shown_line(record.description) + ": " +
        shown_line(record.lnetwork_start_address) + " -> " +
        shown_line(record.rnetwork_start_address) + "   lines " + std::to_string(link.first_line) +
        "-" + std::to_string(link.last_line) + " of the output\n";
    text += "  rule       " + name_of(rule.rule) + "   lines " +
            line_ranges(lines_of_rule(rule.rule), LISTED_MAX) + "\n";
    text += "  sides      " + text_of_sides(rule.rule) + "\n";
    std::size_t number = 0;
    for (const step &at : link.note->path) {
        const std::string step_text = text_of(at);
        if (step_text.empty())
            continue;
        std::string title = "step " + std::to_string(++number);
        title.resize(std::max<std::size_t>(title.size() + 1, 11), ' ');
        text += "  " + title + step_text + "\n";
    }
    text += "  remote     " +
            text_of_side(log, link, record.rnetwork_start_address, record.rnetwork_type,
                         "rnetwork_start_address", link.note->remote) +
            "\n";
    text += "  local      " +
            text_of_side(log, link, record.lnetwork_start_address, record.lnetwork_type,
                         "lnetwork_start_address", link.note->local) +
            "\n";
    text += text_of_fields(log, link) + text_of_equal(log, link);
    std::fwrite(text.data(), 1, text.size(), out);
}

// ---- JSON

constexpr std::string_view step_words[] = {"rule", "pair", "chained", "offer", "link"};

void write_key(json_writer &json, std::string_view name, const frag *node)
{
    if (node != nullptr)
        json.text(name, fragkeyname(node));
}

void write_side(json_writer &json, const conversion_log &log, const explained_link &link,
                std::string_view side, const std::string &address, std::uint8_t type)
{
    json.open(side, '{').text("text", address).text("type", parsenumtoname(addrid_list, type));
    write_origins(json, log,
                  log.note_of(link.record, std::string(1, side[0]) + "network_start_address"));
    json.close('}');
}

void write_link(json_writer &json, const conversion_log &log, const explained_link &link)
{
    const rule_note &rule = log.rules()[link.note->rule];
    json.number("link", static_cast<std::int64_t>(link.number));
    json.open("output", '[').number("", static_cast<std::int64_t>(link.first_line));
    json.number("", static_cast<std::int64_t>(link.last_line)).close(']');
    json.number("derived", static_cast<std::int64_t>(link.derived));
    json.open("rule", '{').text("key", fragkeyname(rule.rule)).open("lines", '[');
    for (const std::int32_t line : lines_of_rule(rule.rule))
        json.number("", line);
    json.close(']').close('}').open("steps", '[');
    for (const step &at : link.note->path) {
        json.open("", '{').text("call", step_words[static_cast<std::size_t>(at.kind)]);
        write_key(json, "first", at.first);
        write_key(json, "second", at.second);
        json.close('}');
    }
    json.close(']');
    const linkinfo &record = *link.record;
    write_side(json, log, link, "remote", record.rnetwork_start_address, record.rnetwork_type);
    write_side(json, log, link, "local", record.lnetwork_start_address, record.lnetwork_type);
    json.open("fields", '[');
    for (const field_line &line : link.fields) {
        const std::string_view value = line.text.substr(line.text.find('=') + 1);
        json.open("", '{').text("key", line.field);
        json.text("value", is_secret_key(line.text.substr(0, line.text.find('=')))
                               ? hidden_secret(value)
                               : value);
        write_origins(json, log, line.note);
        json.close('}');
    }
    json.close(']').open("same", '[');
    for (const std::size_t i : link.equal)
        json.number("", static_cast<std::int64_t>(i) + 1);
    json.close(']');
}

int explain_in_child(const explain_input &run, child_port &port)
{
    conversion_log log(true);
    std::string output;
    const int status = convert_explained(run, port, log, output);
    if (status != STATUS_FINE)
        return status;
    const std::vector<explained_link> found = find_links(log, output, run.wanted);
    if (found.empty()) {
        std::fprintf(stderr, "no link has the number or name '%s'; there are %zu\n",
                     shown_line(run.wanted).c_str(), linkinfos.size());
        return STATUS_FOUND;
    }
    std::FILE *out = port.stream(frame_kind::DATA);
    for (const explained_link &link : found) {
        if (run.asked.format == "json") {
            json_writer json(out, "explain-link/1");
            write_link(json, log, link);
            write_look_ups(json, look_ups_so_far());
            json.finish();
        } else {
            print_text(log, link, out);
        }
    }
    std::fclose(out);
    return STATUS_FINE;
}

} // namespace

int flatlink::run_explain_link(const request &asked)
{
    return explain_database(asked, explain_in_child);
}
