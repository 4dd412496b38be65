// explain access: the verdict of a proxy's checks for one client and one destination, what was
// compared on the way, and the smallest change that turns it.
#include "flatctl/access/access_change.h"
#include "flatctl/access/access_run.h"
#include "flatctl/access/proxy_options.h"
#include "flatctl/common/json_write.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/input.h"
#include "flatctl/input/memory_path.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "lib/fwall/access/access_watch.h"
#include "lib/fwall/access/policy.h"
#include "lib/kdev/vpn_device.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

using namespace flatlink;

namespace
{

struct explanation {
    const request &asked;
    input table;
    known_world world;
    proxy_options options;
    access_question_asked question;
};

// ---- the command line

bool is_host_text(std::string_view text)
{
    return !text.empty() && text.size() < 256 && std::ranges::all_of(text, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               c == '.' || c == '-' || c == '_';
    });
}

std::string read_client(explanation &run)
{
    const std::string &text = run.asked.client;
    const std::string address = text.substr(0, text.find('='));
    if (inet_pton(AF_INET, address.c_str(), &run.question.client_be) != 1)
        return "--client needs an address: 10.1.2.3 or 10.1.2.3=NAME";
    if (address.size() == text.size())
        return {};
    const std::string name = text.substr(address.size() + 1);
    run.world.hosts.insert(run.world.hosts.begin(), {name, run.question.client_be});
    return is_host_text(name) ? "" : "--client: the name is none";
}

std::string read_destination(explanation &run)
{
    const std::string &text = run.asked.dest;
    if (text.empty())
        return {};
    const std::size_t colon = text.rfind(':');
    const std::string port = colon == std::string::npos ? "" : text.substr(colon + 1);
    run.question.host = text.substr(0, colon);
    run.question.port = lenient_number(port);
    const bool is_port = !port.empty() && port.size() <= 5 && run.question.port <= 65535 &&
                         port.find_first_not_of("0123456789") == std::string::npos;
    return is_port && is_host_text(run.question.host) ? "" : "--dest needs HOST:PORT";
}

std::string read_identity(explanation &run)
{
    if (run.asked.identity.empty())
        return {};
    run.world.identity = (run.asked.identity[0] == '~' ? "" : "~") + run.asked.identity;
    return run.world.identity.size() <= VPN_IDENTITY_SIZE
               ? ""
               : "--identity: the firewall knows no name of more than " +
                     std::to_string(VPN_IDENTITY_SIZE) + " characters";
}

// ---- in the child

__attribute__((format(printf, 3, 0))) bool
tap_report(const UNIQUE_DATA_T & /*uniq*/, int /*priority*/, const char *format, va_list args)
{
    char text[1024]; // a longer report is cut
    (void)std::vsnprintf(text, sizeof text, format, args);
    std::fprintf(stderr, "%s\n", without_memory_path(text).c_str());
    return true;
}

std::string stage_text(const access_verdict &verdict)
{
    constexpr const char *names[] = {"client", "terms", "destination", "port"};
    return names[static_cast<int>(verdict.stage)];
}

// The keyword without its prefix.
std::string_view kind_of(const access_step &step)
{
    std::string_view kind = step.keyword;
    for (const std::string_view prefix : {"permit-", "deny-", "absorb-"})
        if (take_prefix(kind, prefix))
            break;
    return kind;
}

// The line that decided: an entry of ports refuses each port that is no item of it.
std::int32_t deciding_line(const access_verdict &verdict)
{
    if (verdict.line != 0 || verdict.permitted || verdict.stage != access_stage::PORT)
        return verdict.line;
    const auto last =
        std::ranges::find_if(verdict.steps.rbegin(), verdict.steps.rend(),
                             [](const access_step &step) { return kind_of(step) == "ports"; });
    return last == verdict.steps.rend() ? 0 : last->line;
}

std::string answer_of(const access_step &step)
{
    switch (static_cast<access_reason>(step.reason)) {
    case access_reason::NO_LOOK_UP:
        return "may not be looked up";
    case access_reason::NOT_KNOWN:
        return "the firewall knows no identity";
    case access_reason::NO_ARGUMENTS:
        return "has no argument";
    case access_reason::COMPARED:
        break;
    }
    return step.fits ? "fits" : "no";
}

std::string title_of(const explanation &run, const access_verdict &verdict)
{
    std::string text = verdict.permitted ? "permit  " : "deny  ";
    text += format_address(run.question.client_be);
    if (!run.question.host.empty())
        text += " -> " + run.question.host + ":" + std::to_string(run.question.port);
    return text + " through " + run.question.proxy;
}

std::string text_of_terms(const std::vector<std::int32_t> &lines)
{
    constexpr std::size_t LISTED_MAX = 40;
    std::string text = "  terms          lines";
    for (std::size_t i = 0; i < std::min(lines.size(), LISTED_MAX); ++i)
        text += " " + std::to_string(lines[i]);
    if (lines.size() > LISTED_MAX)
        text += " and " + std::to_string(lines.size() - LISTED_MAX) + " more";
    return text + "\n";
}

std::string text_of(const std::vector<std::string> &look_ups)
{
    std::string text = "  asked          ";
    for (const std::string &look_up : look_ups)
        text += (&look_up == look_ups.data() ? "" : ", ") + shown_line(look_up) +
                (look_up.find('=') == std::string::npos ? " (no answer)" : "");
    return text + (look_ups.empty() ? "no names\n" : "\n");
}

// What a step is about, where the one before was about another thing.
std::string label_of(const access_step &step, std::string_view &last)
{
    constexpr struct {
        std::string_view kind, label;
    } labels[] = {{"hosts", "client"},
                  {"rev_dns", "client"},
                  {"destination", "destination"},
                  {"afw-dest", "destination"},
                  {"ports", "port"}};
    const auto *row =
        std::ranges::find(labels, kind_of(step), [](const auto &one) { return one.kind; });
    const std::string_view label = row == std::end(labels) ? kind_of(step) : row->label;
    constexpr std::size_t WIDTH = 15;
    std::string text(label == std::exchange(last, label) ? "" : label);
    text.resize(std::max(text.size() + 1, WIDTH), ' ');
    return "  " + text;
}

std::string text_of_no_entry(const explanation &run, const access_verdict &verdict)
{
    if (verdict.no_address)
        return "  no address of the destination is known: that denies\n";
    if (deciding_line(verdict) != 0)
        return "                 no item is " + std::to_string(run.question.port) +
               ": that denies\n";
    return "  no entry decides about the " + stage_text(verdict) +
           (verdict.permitted ? ": that permits\n" : ": that denies\n");
}

void print_text(const explanation &run, const access_verdict &verdict,
                const std::vector<std::string> &look_ups, const std::vector<table_change> &changes,
                std::FILE *out)
{
    std::string text = title_of(run, verdict) + "\n";
    std::string_view label;
    for (std::size_t i = 0; i < verdict.steps.size(); ++i) {
        const access_step &step = verdict.steps[i];
        const bool is_decided_next = i + 1 < verdict.steps.size() && step.fits &&
                                     verdict.steps[i + 1].is_decision &&
                                     verdict.steps[i + 1].line == step.line;
        if (is_decided_next)
            continue; // said by the decision
        text += label_of(step, label) + "line " + std::to_string(step.line) + "  " +
                shown(step.keyword) + " ";
        text += shown_line(step.item);
        if (step.is_decision)
            text += step.fits ? "  fits, and permits" : "  fits, and denies";
        else
            text += (step.with.empty() ? "  " : "  with " + shown_line(step.with) + ": ") +
                    answer_of(step);
        text += "\n";
    }
    if (verdict.no_address || verdict.line == 0)
        text += text_of_no_entry(run, verdict);
    for (const table_change &change : changes)
        text += std::string("  would turn it  ") + (change.is_new ? "before line " : "line ") +
                std::to_string(change.line) + "   " + shown_line(change.text) + "\n";
    if (!changes.empty())
        text += std::string("                 (evaluated: ") +
                (verdict.permitted ? "deny)\n" : "permit)\n");
    if (!verdict.terms.empty())
        text += text_of_terms(verdict.terms);
    text += text_of(look_ups);
    std::fwrite(text.data(), 1, text.size(), out);
}

void print_json(const access_verdict &verdict, const std::vector<std::string> &look_ups,
                const std::vector<table_change> &changes, std::FILE *stream)
{
    json_writer out(stream, "explain-access/1");
    out.text("verdict", verdict.permitted ? "permit" : "deny");
    out.text("stage", stage_text(verdict)).number("line", deciding_line(verdict)).open("walk", '[');
    for (const access_step &step : verdict.steps) {
        out.open("", '{').number("line", step.line).text("kind", kind_of(step));
        out.text("keyword", step.keyword);
        out.text("item", step.item);
        if (step.is_decision)
            out.text("decides", step.fits ? "permit" : "deny");
        else
            out.text("with", step.with).text("answer", answer_of(step));
        out.close('}');
    }
    out.close(']').open("terms", '[');
    for (const std::int32_t line : verdict.terms)
        out.number("", line);
    out.close(']').open("turn", '[');
    for (const table_change &change : changes)
        out.open("", '{')
            .number("line", change.line)
            .boolean("new", change.is_new)
            .text("to", change.text)
            .close('}');
    out.close(']').open("asked", '[');
    for (const std::string &look_up : look_ups)
        out.text("", look_up.substr(0, look_up.find('=')));
    out.close(']').finish();
}

int explain_in_child(const explanation &run, child_port &port)
{
    enter_world(run.world, port);
    report_tap = tap_report;
    std::string table;
    char block[65536];
    ssize_t got = 0;
    while ((got = uninterrupted([&] { return read(run.table.fd.get(), block, sizeof block); })) > 0)
        table.append(block, static_cast<std::size_t>(got));
    const access_verdict verdict = run_access(table, run.question);
    if (!verdict.is_known)
        return STATUS_FOUND;
    if (verdict.differs) {
        std::fputs("the checks decide otherwise when they are watched\n", stderr);
        return STATUS_FAULT;
    }
    const std::span<const std::string> asked_so_far = look_ups_so_far();
    const std::vector<std::string> look_ups(asked_so_far.begin(), asked_so_far.end());
    report_tap = [](const UNIQUE_DATA_T &, int, const char *, va_list) {
        return true;
    }; // tried changes report nothing
    const std::vector<table_change> changes = changes_that_turn(table, run.question, verdict);
    std::FILE *out = port.stream(frame_kind::DATA);
    if (run.asked.format == "json")
        print_json(verdict, look_ups, changes, out);
    else
        print_text(run, verdict, look_ups, changes, out);
    std::fclose(out);
    return verdict.permitted ? STATUS_FINE : STATUS_FOUND;
}

} // namespace

int flatlink::run_explain_access(const request &asked)
{
    explanation run{asked, {}, {}, {}, {}};
    std::string error = asked.proxy.empty() || asked.client.empty()
                            ? "explain access needs --client and --proxy"
                            : read_client(run);
    if (error.empty())
        error = read_destination(run);
    if (error.empty())
        error = read_identity(run);
    if (!error.empty()) {
        tell(error);
        return STATUS_USAGE;
    }
    error = read_world(asked, run.world);
    if (error.empty() && !asked.options.empty())
        error = read_proxy_options(asked.options, run.options);
    else if (auto installed = installed_proxy_options(); installed.contains(asked.proxy))
        run.options = std::move(installed.at(asked.proxy));
    if (error.empty())
        error = open_input(asked.operands[0], asked, run.table);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    read_services(run.world);
    run.question.proxy = asked.proxy;
    run.question.options = run.options.rows.data();
    run.table.limits.may_use_memory_files = true;
    side_frames side(run.table, asked.quiet);
    const child_result result = run_child(
        run.table.limits, run.table.fd.get(),
        [&](child_port &port) { return explain_in_child(run, port); },
        [&](frame_kind kind, std::string_view bytes) {
            if (kind == frame_kind::DATA && !asked.quiet)
                put(bytes);
            side.take(kind, bytes);
        });
    return side.end(result);
}
