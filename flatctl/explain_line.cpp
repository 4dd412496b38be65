// explain line: what becomes of a line of a database, told by its number or its key.
#include "flatctl/account/conversion_log.h"
#include "flatctl/account/line_classes.h"
#include "flatctl/check/findings.h"
#include "flatctl/common/json_write.h"
#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"
#include "flatctl/explain_input.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"

#include <algorithm>
#include <set>

using namespace flatlink;

namespace
{

std::vector<std::string_view> split_lines(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        lines.push_back(text.substr(0, text.find('\n')));
        text.remove_prefix(std::min(text.size(), lines.back().size() + 1));
    }
    return lines;
}

std::span<const line_use> uses_of(std::span<const line_use> all, std::int32_t line)
{
    return {std::ranges::lower_bound(all, line, {}, &line_use::input),
            std::ranges::upper_bound(all, line, {}, &line_use::input)};
}

// The line as a setting; its key alone when the tree of the current layout has lost it.
std::string text_of_line(const conversion_log &log, std::int32_t line)
{
    const frag *node = log.lines()[static_cast<std::size_t>(line)].node;
    const std::string key = log.key_of_line(line);
    return node == nullptr || node->value == nullptr
               ? shown_line(key)
               : shown_setting(key + "=" + node->value, false);
}

// How many links of the output have the object that the line names.
std::size_t links_of_named(const conversion_log &log, std::int32_t line)
{
    const frag *node = log.lines()[static_cast<std::size_t>(line)].node;
    const frag *named =
        node == nullptr || node->value == nullptr ? nullptr : ffind(&def_database, node->value);
    if (named == nullptr)
        return 0;
    return static_cast<std::size_t>(std::ranges::count_if(log.links(), [&](const link_note &link) {
        return !link.record->is_dropped &&
               (link.peer == named || link.remote == named || link.local == named);
    }));
}

void print_text(const conversion_log &log, const classed_line &line, std::span<const line_use> uses,
                const std::vector<std::string_view> &output, std::FILE *out)
{
    constexpr std::size_t LISTED_MAX = 40;
    const class_row &row = row_of(line.kind);
    std::string text = ":" + std::to_string(line.line) + " " + text_of_line(log, line.line) +
                       "   " + std::string(row.text);
    if (!row.code.empty())
        text += " (" + std::string(row.code) + ")";
    text += "\n";
    if (const std::size_t count = links_of_named(log, line.line); uses.empty() && count > 0)
        text += "  the object that it names is in " + std::to_string(count) +
                (count == 1 ? " link\n" : " links\n");
    for (const line_use &use : uses.first(std::min(uses.size(), LISTED_MAX)))
        text += "  output " + std::to_string(use.output) + "   " +
                shown_setting(output[static_cast<std::size_t>(use.output) - 1], false) + "\n";
    if (uses.size() > LISTED_MAX)
        text += "  and " + std::to_string(uses.size() - LISTED_MAX) + " more\n";
    std::fwrite(text.data(), 1, text.size(), out);
}

void print_json(const conversion_log &log, const classed_line &line, std::span<const line_use> uses,
                const std::vector<std::string_view> &output, std::FILE *out)
{
    const class_row &row = row_of(line.kind);
    json_writer json(out, "explain-line/1");
    json.number("line", line.line).text("key", log.key_of_line(line.line)).text("class", row.word);
    if (!row.code.empty())
        json.text("code", row.code);
    json.open("to", '[');
    for (const line_use &use : uses) {
        const std::string_view text = output[static_cast<std::size_t>(use.output) - 1];
        json.open("", '{').number("line", use.output);
        json.text("key", text.substr(0, text.find('='))).close('}');
    }
    json.close(']');
    write_look_ups(json, look_ups_so_far());
    json.finish();
}

// The lines that are asked for. One without '=' is a part of the key that the lines up to the next
// with '=' make, and counts by its own text, too.
std::set<std::int32_t> wanted_lines(const explain_input &run, const conversion_log &log,
                                    std::span<const classed_line> lines)
{
    std::set<std::int32_t> wanted;
    for (const classed_line &line : lines) {
        if (run.wanted == std::to_string(line.line))
            wanted.insert(line.line);
        if (line.kind == line_class::JOINED || run.wanted.empty())
            continue;
        const std::string key = log.key_of_line(line.line);
        if (key == run.wanted)
            wanted.insert(line.line);
        const std::vector<std::string_view> parts = split_lines(key);
        for (std::size_t i = 0; parts.size() > 1 && i < parts.size(); ++i)
            if (parts[i] == run.wanted)
                wanted.insert(line.line - static_cast<std::int32_t>(parts.size() - 1 - i));
    }
    return wanted;
}

int explain_in_child(const explain_input &run, child_port &port)
{
    conversion_log log(false);
    std::string output;
    const int status = convert_explained(run, port, log, output);
    if (status != STATUS_FINE)
        return status;
    std::vector<line_use> uses;
    const std::vector<classed_line> lines = account_of(log, def_database, &uses);
    const std::vector<std::string_view> output_lines = split_lines(output);
    std::FILE *out = port.stream(frame_kind::DATA);
    const std::set<std::int32_t> wanted = wanted_lines(run, log, lines);
    for (const classed_line &line : lines) {
        if (!wanted.contains(line.line))
            continue;
        const auto print = run.asked.format == "json" ? print_json : print_text;
        print(log, line, uses_of(uses, line.line), output_lines, out);
    }
    std::fclose(out);
    if (!wanted.empty())
        return STATUS_FINE;
    std::fprintf(stderr, "no line with a value has the number or key '%s'\n",
                 shown_line(run.wanted).c_str());
    return STATUS_FOUND;
}

} // namespace

int flatlink::run_explain_line(const request &asked)
{
    return explain_database(asked, explain_in_child);
}
