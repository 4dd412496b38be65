#include "flatctl/check/check_print.h"

#include "flatctl/common/json_write.h"
#include "flatctl/common/request.h"
#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

using namespace flatlink;

namespace
{

std::string sentence(const finding &found)
{
    std::string text(found.row->text);
    return found.detail.empty() ? text : text + ": " + found.detail;
}

// Columns that a text takes on the screen once it is shown.
std::size_t width_of(std::string_view bytes)
{
    const std::string text = shown(bytes);
    return text.size() - static_cast<std::size_t>(std::ranges::count_if(
                             text, [](char c) { return (c & 0xC0) == 0x80; }));
}

// The line of the finding, and what of it is meant.
std::string quotation(const finding &found)
{
    const std::string number = std::to_string(found.line);
    const std::string_view quoted = std::string_view(found.quoted).substr(0, SHOWN_LINE_MAX);
    const std::string line = shown_setting(quoted, false);
    const auto begin =
        std::min(static_cast<std::size_t>(std::max(found.column, 1) - 1), quoted.size());
    const auto end =
        std::clamp(static_cast<std::size_t>(std::max(found.end, 0)), begin, quoted.size());
    const std::size_t width = width_of(quoted.substr(begin, end - begin));
    return "  " + number + " | " + line + "\n  " + std::string(number.size(), ' ') + " | " +
           std::string(std::min(width_of(quoted.substr(0, begin)), line.size()), ' ') + "^" +
           std::string(width > 1 ? width - 1 : 0, '~') + "\n";
}

std::string listed(const std::vector<std::int32_t> &lines)
{
    constexpr std::size_t LISTED_MAX = 10;
    std::string text = lines.size() == 1 ? "line" : "lines";
    for (std::size_t i = 0; i < std::min(lines.size(), LISTED_MAX); ++i)
        text += " " + std::to_string(lines[i]);
    if (lines.size() > LISTED_MAX)
        text += " and " + std::to_string(lines.size() - LISTED_MAX) + " more";
    return text;
}

void print_finding(const checked_input &checked, const finding &found, const palette &colors)
{
    std::string place = checked.file.shown + ":";
    if (found.line != 0)
        place += std::to_string(found.line) + ":" + std::to_string(found.column) + ":";
    const auto meaning = static_cast<ink>(found.row->level);
    std::string text = place + " " + colors.painted(meaning, level_name(found.row->level)) + " " +
                       colors.painted(ink::CODE, found.row->code) + ": " +
                       shown_line(sentence(found));
    if (!found.also.empty())
        text += "  also " + listed(found.also);
    else if (found.count > 1)
        text += "  (" + std::to_string(found.count) + " times)";
    text += "\n";
    if (!found.quoted.empty())
        text += quotation(found);
    if (!found.related.empty())
        text += "    = see " + listed(found.related) + "\n";
    put(text + "    = " + std::string(found.row->follows) +
        "\n    = " + std::string(found.row->mend) + "\n");
}

std::string counted(std::int64_t number, std::string_view what)
{
    return ", " + std::to_string(number) + " " + std::string(what) + (number == 1 ? "" : "s");
}

void print_facts(const checked_input &checked)
{
    const input_facts &facts = checked.facts;
    if (facts.kind.empty())
        return;
    std::string text = checked.file.shown + ": " + facts.kind;
    if (!facts.notation.empty())
        text += ", " + facts.notation + " notation, " + facts.layout + " layout";
    text += counted(facts.lines, "line");
    if (facts.kind != "table")
        text += counted(facts.keys, "key");
    else
        text += counted(static_cast<std::int64_t>(facts.names.size()), "name");
    constexpr std::size_t LISTED_MAX = 20;
    for (std::size_t i = 0; i < std::min(facts.names.size(), LISTED_MAX); ++i)
        text += (i == 0 ? ": " : ", ") + shown_line(facts.names[i]);
    put(text + (facts.names.size() > LISTED_MAX ? ", ...\n" : "\n"));
}

void print_text(const checked_input &checked, const palette &colors)
{
    print_facts(checked);
    for (const finding &found : checked.findings)
        print_finding(checked, found, colors);
}

void write_finding(json_writer &out, const checked_input &checked, const finding &found)
{
    out.text("code", found.row->code).text("level", level_name(found.row->level));
    out.text("path", checked.file.path).number("line", found.line);
    out.number("column", found.column).number("end", std::max(found.end, found.column));
    out.text("text", sentence(found));
    out.text("follows", found.row->follows).text("mend", found.row->mend);
    out.open("related", '[');
    for (const std::int32_t line : found.related)
        out.open("", '{').number("line", line).close('}');
    out.close(']').number("count", found.count).open("also", '[');
    for (const std::int32_t line : found.also)
        out.number("", line);
    out.close(']');
}

void write_facts(json_writer &out, const checked_input &checked)
{
    const input_facts &facts = checked.facts;
    out.open("", '{').text("path", checked.file.path).text("kind", facts.kind);
    if (!facts.notation.empty())
        out.text("notation", facts.notation).text("layout", facts.layout);
    out.number("lines", facts.lines);
    if (facts.kind == "table") {
        out.open("names", '[');
        for (const std::string &name : facts.names)
            out.text("", name);
        out.close(']');
    } else {
        out.number("keys", facts.keys);
    }
    out.text("sha256", facts.sha256).close('}');
}

void print_json(const std::vector<checked_input> &all, const level_counts &counts)
{
    json_writer out(stdout, "check/1");
    out.open("inputs", '[');
    for (const checked_input &checked : all)
        write_facts(out, checked);
    out.close(']').open("findings", '[');
    for (const checked_input &checked : all) {
        for (const finding &found : checked.findings) {
            out.open("", '{');
            write_finding(out, checked, found);
            out.close('}');
        }
    }
    out.close(']').open("summary", '{');
    for (int level = 0; level < 3; ++level)
        out.number(level_name(static_cast<finding_level>(level)),
                   static_cast<std::int64_t>(counts.of[level]));
    out.close('}').finish();
}

void print_jsonl(const std::vector<checked_input> &all)
{
    for (const checked_input &checked : all) {
        for (const finding &found : checked.findings) {
            json_writer out(stdout, "check/1");
            write_finding(out, checked, found);
            out.finish();
        }
    }
}

// SARIF 2.1.0, as OASIS defines it.
void print_sarif(const std::vector<checked_input> &all)
{
    json_writer out(stdout, "");
    out.text("version", "2.1.0").open("runs", '[').open("", '{');
    out.open("tool", '{').open("driver", '{').text("name", "flatctl").open("rules", '[');
    for (const finding_row &row : finding_rows()) {
        out.open("", '{').text("id", row.code);
        out.open("shortDescription", '{').text("text", row.text).close('}').close('}');
    }
    out.close(']').close('}').close('}').open("results", '[');
    for (const checked_input &checked : all) {
        for (const finding &found : checked.findings) {
            out.open("", '{').text("ruleId", found.row->code);
            out.text("level", level_name(found.row->level));
            out.open("message", '{').text("text", sentence(found)).close('}');
            out.open("locations", '[').open("", '{').open("physicalLocation", '{');
            out.open("artifactLocation", '{').text("uri", checked.file.path).close('}');
            if (found.line != 0)
                out.open("region", '{')
                    .number("startLine", found.line)
                    .number("startColumn", found.column)
                    .number("endColumn", std::max(found.end, found.column) + 1) // after it
                    .close('}');
            out.close('}').close('}').close(']').close('}');
        }
    }
    out.close(']').close('}').close(']').finish();
}

} // namespace

void flatlink::print_checked(const std::vector<checked_input> &all, const level_counts &counts,
                             const request &asked)
{
    if (asked.format == "json") {
        print_json(all, counts);
    } else if (asked.format == "jsonl") {
        print_jsonl(all);
    } else if (asked.format == "sarif") {
        print_sarif(all);
    } else {
        const palette colors(asked.color, STDOUT_FILENO);
        for (const checked_input &checked : all)
            print_text(checked, colors);
        std::fflush(stdout);
        std::fprintf(stderr, "%zu errors, %zu warnings, %zu notes\n", counts.of[0], counts.of[1],
                     counts.of[2]);
    }
}
