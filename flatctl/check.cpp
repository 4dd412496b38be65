// check FILE...: all findings about each database or table, in one run, without touching any.
#include "flatctl/check_database.h"
#include "flatctl/json_write.h"
#include "flatctl/options.h"
#include "flatctl/secrets.h"
#include "flatctl/text_write.h"
#include "flatctl/verbs.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <unistd.h>

using namespace flatlink;

namespace
{

struct checked_input {
    input file;
    std::vector<finding> findings;
    std::map<const finding_row *, std::size_t> counts; // of those about the whole input
};

struct level_counts {
    std::size_t of[3] = {};

    void add(finding_level level) { ++of[static_cast<int>(level)]; }
    std::size_t errors() const { return of[0]; }
};

bool is_wanted(const request &asked, const finding &found)
{
    const std::string codes = "," + asked.only + ",";
    return asked.only.empty() ||
           codes.find("," + std::string(found.row->code) + ",") != std::string::npos;
}

std::string sentence(const finding &found)
{
    std::string text(found.row->text);
    return found.detail.empty() ? text : text + ": " + found.detail;
}

// ---- forms of the result

void print_text(const checked_input &checked, const request &asked)
{
    const palette colors(asked.color, STDOUT_FILENO);
    for (const finding &found : checked.findings) {
        std::string place = checked.file.shown + ":";
        if (found.line != 0)
            place += std::to_string(found.line) + ":" + std::to_string(found.column) + ":";
        const auto meaning = static_cast<ink>(found.row->level);
        put(place + " " + colors.painted(meaning, level_name(found.row->level)) + " " +
            colors.painted(ink::code, found.row->code) + ": " + shown_line(sentence(found)) + "\n");
        if (!found.quoted.empty()) {
            const std::string number = std::to_string(found.line);
            put("  " + number + " | " +
                shown_setting(found.quoted.substr(0, SHOWN_LINE_MAX), false) + "\n");
            const auto before = static_cast<std::size_t>(std::max(found.column, 1) - 1);
            put("  " + std::string(number.size(), ' ') + " | " +
                std::string(shown(found.quoted.substr(0, before)).size(), ' ') + "^\n");
        }
        if (found.related_line != 0)
            put("    = see line " + std::to_string(found.related_line) + "\n");
        put("    = " + std::string(found.row->follows) + "\n");
        put("    = " + std::string(found.row->mend) + "\n");
    }
}

void write_finding(json_writer &out, const checked_input &checked, const finding &found)
{
    out.text("code", found.row->code).text("level", level_name(found.row->level));
    out.text("path", checked.file.path).number("line", found.line).number("column", found.column);
    out.text("text", sentence(found));
    out.text("follows", found.row->follows).text("mend", found.row->mend);
    out.open("related", '[');
    if (found.related_line != 0)
        out.open("", '{').number("line", found.related_line).close('}');
    out.close(']');
}

void print_json(const std::vector<checked_input> &all, const level_counts &counts)
{
    json_writer out(stdout, "check/1");
    out.open("inputs", '[');
    for (const checked_input &checked : all)
        out.open("", '{').text("path", checked.file.path).close('}');
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
                    .close('}');
            out.close('}').close('}').close(']').close('}');
        }
    }
    out.close(']').close('}').close(']').finish();
}

// ---- one input

void add_for_whole(checked_input &checked, std::string_view code, std::string detail)
{
    const finding_row *row = find_code(code);
    if (++checked.counts[row] <= FINDINGS_MAX)
        checked.findings.push_back({row, 0, 1, 0, std::move(detail), ""});
}

int check_input(const request &asked, const known_world &world, checked_input &checked)
{
    std::string message; // begun
    const auto take_message = [&](std::string_view bytes) {
        for (const char c : bytes) {
            if (c != '\n') {
                message += c;
                continue;
            }
            add_for_whole(checked, "D404", message);
            message.clear();
        }
    };
    const child_result result = run_child(
        checked.file.limits, checked.file.fd.get(),
        [&](child_port &port) { return check_in_child(checked.file, world, port); },
        [&](frame_kind kind, std::string_view bytes) {
            finding found;
            if (kind == frame_kind::record && unpack_finding(bytes, found))
                checked.findings.push_back(found);
            if (kind == frame_kind::message)
                take_message(bytes);
            if (kind == frame_kind::name)
                add_for_whole(checked, "D602", std::string(bytes));
        });
    if (result.end != child_end::done)
        add_for_whole(checked,
                      result.end == child_end::no_time || result.end == child_end::no_memory
                          ? "D501"
                          : "D502",
                      words_for(result));
    std::erase_if(checked.findings, [&](const finding &found) { return !is_wanted(asked, found); });
    return result.end == child_end::done ? result.detail : STATUS_FOUND;
}

void print_all(const std::vector<checked_input> &all, const level_counts &counts,
               const request &asked)
{
    if (asked.format == "json")
        print_json(all, counts);
    else if (asked.format == "jsonl")
        print_jsonl(all);
    else if (asked.format == "sarif")
        print_sarif(all);
    else
        for (const checked_input &checked : all)
            print_text(checked, asked);
    std::fflush(stdout);
    if (asked.format == "text")
        std::fprintf(stderr, "%zu errors, %zu warnings, %zu notes\n", counts.of[0], counts.of[1],
                     counts.of[2]);
}

} // namespace

int flatlink::run_check(const request &asked)
{
    known_world world;
    if (const std::string error = read_world(asked, world); !error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    std::vector<checked_input> all(asked.operands.size());
    level_counts counts;
    int status = STATUS_FINE;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string error = open_database(asked.operands[i], asked, all[i].file);
        if (!error.empty())
            tell(error);
        all[i].file.limits.may_use_memory_files = true; // for the reader of a table
        status = std::max<int>(status, error.empty() ? check_input(asked, world, all[i])
                                                     : STATUS_UNREADABLE);
        for (const finding &found : all[i].findings)
            counts.add(found.row->level);
    }
    if (!asked.quiet)
        print_all(all, counts, asked);
    const bool is_bad = counts.errors() > 0 || (asked.strict && counts.of[1] > 0);
    return status == STATUS_FINE && is_bad ? STATUS_FOUND : status;
}
