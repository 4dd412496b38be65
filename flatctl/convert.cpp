// convert: writes a database in another notation, layout or form. What the form does not hold is
// found by reading the text back, and refused unless --lossy accepts it.
#include "flatctl/common/json_write.h"
#include "flatctl/common/setting_output.h"
#include "flatctl/common/text_write.h"
#include "flatctl/forms/forms.h"
#include "flatctl/forms/kept_copy.h"
#include "flatctl/input/input.h"
#include "flatctl/input/kind.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "flatlink/plain_file.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/bounds.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

using namespace flatlink;

namespace
{

constexpr std::size_t LOSSES_MAX = 1000; // listed; the rest is counted

struct conversion {
    const request &asked;
    const form_row *form = nullptr;
    known_world world = {};
    input database = {};
    plain_file target = {}; // what is replaced or made
    std::string target_shown = {};

    std::string text = {};                  // the result
    std::vector<std::string> look_ups = {}; // that it depends on
    std::size_t values = 0;
    std::string notation = {}, layout = {}; // of the database
    tree_comparison lost = {};
    tree_comparison read_back = {}; // what the second child finds
    bool is_read_back = false;      // by a second child
    bool is_verified = false;

    bool is_printed() const { return asked.output == "-"; }
};

// ---- in the child

// Frames of kind `record`: V values, L a loss, N losses, R rearranged nodes, O notation, Y layout.
void send_comparison(child_port &port, const tree_comparison &found)
{
    for (const tree_difference &loss : found.differences)
        port.send(frame_kind::RECORD, 'L' + loss.key + '\0' + loss.what);
    port.send(frame_kind::RECORD, 'N' + std::to_string(found.count));
    port.send(frame_kind::RECORD, 'R' + std::to_string(found.rearranged));
}

int load_checked(const conversion &run, child_port &port)
{
    enter_world(run.world, port);
    start_bounds();
    input_facts facts;
    if (const int error = load_any_form(run.database.fd.get(), &facts); error != 0) {
        std::fprintf(stderr, "%s\n", std::strerror(error));
        return STATUS_UNREADABLE;
    }
    port.send(frame_kind::RECORD, 'O' + facts.notation);
    port.send(frame_kind::RECORD, 'Y' + facts.layout);
    switch (kind_of_tree(def_database)) {
    case input_kind::DATABASE:
        return STATUS_FINE;
    case input_kind::FLAT_DATA:
        std::fputs("error D102: it is flat VPN data already\n", stderr);
        return STATUS_FOUND;
    case input_kind::UNKNOWN:
        std::fputs("error D101: no line of it is a key of a firewall configuration\n", stderr);
        return STATUS_FOUND;
    }
    return STATUS_FAULT;
}

int convert_in_child(const conversion &run, child_port &port)
{
    if (const int status = load_checked(run, port); status != STATUS_FINE)
        return status;
    port.send(frame_kind::RECORD, 'V' + std::to_string(count_values(def_database)));
    std::string text = text_in_form(*run.form, false);
    const bool is_whole = report_bounds();
    tree_comparison lost = compare_with_text(*run.form, text, LOSSES_MAX);
    // With the loss accepted, what the form would misread is better left out.
    if (lost.count > 0 && run.asked.lossy && run.form->is_tree) {
        text = text_in_form(*run.form, true);
        lost = compare_with_text(*run.form, text, LOSSES_MAX);
    }
    send_comparison(port, lost);
    if (!is_whole || (lost.count > 0 && !run.asked.lossy))
        return STATUS_FOUND;
    port.send(frame_kind::DATA, text);
    return STATUS_FINE;
}

// Once more from the start, with the text that the first child made.
int verify_in_child(const conversion &run, child_port &port)
{
    if (const int status = load_checked(run, port); status != STATUS_FINE)
        return status;
    if (!run.form->is_tree && text_in_form(*run.form, false) != run.text) {
        std::fputs("the derivation gave another result the second time\n", stderr);
        return STATUS_FAULT;
    }
    send_comparison(port, compare_with_text(*run.form, run.text, LOSSES_MAX));
    return STATUS_FINE;
}

// ---- in the parent

void take_record(std::string_view bytes, tree_comparison &lost, conversion &run)
{
    const std::string text(bytes.substr(std::min<std::size_t>(bytes.size(), 1)));
    if (bytes.starts_with('V'))
        run.values = std::strtoull(text.c_str(), nullptr, 10);
    if (bytes.starts_with('O'))
        run.notation = text;
    if (bytes.starts_with('Y'))
        run.layout = text;
    if (bytes.starts_with('N'))
        lost.count = std::strtoull(text.c_str(), nullptr, 10);
    if (bytes.starts_with('R'))
        lost.rearranged = std::strtoull(text.c_str(), nullptr, 10);
    if (const std::size_t end = text.find('\0'); bytes.starts_with('L') && end != std::string::npos)
        lost.differences.push_back({text.substr(0, end), text.substr(end + 1)});
}

int run_step(conversion &run, int (*work)(const conversion &, child_port &), tree_comparison &lost)
{
    side_frames side(run.database, run.asked.quiet);
    const child_result result = run_child(
        run.database.limits, run.database.fd.get(),
        [&](child_port &port) { return work(run, port); },
        [&](frame_kind kind, std::string_view bytes) {
            if (kind == frame_kind::DATA)
                run.text += bytes;
            if (kind == frame_kind::RECORD)
                take_record(bytes, lost, run);
            if (kind == frame_kind::NAME && run.is_read_back)
                return; // the first child's again
            if (kind == frame_kind::NAME)
                run.look_ups.emplace_back(bytes);
            side.take(kind, bytes);
        });
    return side.end(result);
}

bool same_losses(const tree_comparison &a, const tree_comparison &b)
{
    return a.count == b.count &&
           std::ranges::equal(a.differences, b.differences, [](const auto &x, const auto &y) {
               return x.key == y.key && x.what == y.what;
           });
}

// Reads the text back in a second child; what it lacks must be what was accepted.
int verify(conversion &run)
{
    if (lseek(run.database.fd.get(), 0, SEEK_SET) != 0) {
        tell(run.database.shown + ": cannot be read twice for --verify");
        return STATUS_UNREADABLE;
    }
    run.is_read_back = true;
    if (const int status = run_step(run, verify_in_child, run.read_back); status != STATUS_FINE)
        return status;
    if (same_losses(run.read_back, run.lost)) {
        run.is_verified = true;
        return STATUS_FINE;
    }
    tell(run.database.shown + ": what is read back is not the same; nothing was written");
    return STATUS_FAULT;
}

std::string open_target(conversion &run)
{
    const std::string &path = run.asked.in_place ? run.asked.operands[0] : run.asked.output;
    run.target_shown = shown(path);
    fault found = open_plain_file(path.c_str(), run.target);
    if (!found && run.target.fd)
        found = lock_plain_file(run.target);
    return found ? run.target_shown + ": " + found.words() : "";
}

int write_target(conversion &run)
{
    if (run.is_printed()) {
        if (!run.asked.quiet)
            setting_output(run.asked.reveal).take(run.text);
        return STATUS_FINE;
    }
    std::string kept;
    std::string error = check_unchanged(run.target) ? run.target_shown + ": it has changed" : "";
    if (error.empty() && run.asked.in_place)
        error = keep_copy(run.target, kept);
    if (error.empty())
        error = replace_and_compare(run.target, run.text);
    if (!error.empty()) {
        tell(error + (kept.empty() ? "" : "; the old content is in " + shown(kept)));
        return STATUS_UNREADABLE;
    }
    if (!kept.empty() && !run.asked.quiet)
        tell("the old content is in " + shown(kept) + "; flatctl undo puts it back");
    return STATUS_FINE;
}

void write_differences(json_writer &out, std::string_view name, const tree_comparison &found)
{
    out.open(name, '[');
    for (const tree_difference &one : found.differences)
        out.open("", '{').text("key", one.key).text("what", one.what).close('}');
    out.close(']');
}

void report_json(const conversion &run, bool is_written)
{
    json_writer out(stdout, "convert/1");
    out.open("input", '{').text("path", run.database.path);
    out.text("notation", run.notation).text("layout", run.layout).close('}');
    out.open("output", '{');
    out.text("path", run.asked.in_place ? run.asked.operands[0] : run.asked.output);
    out.text("form", run.form->name).boolean("written", is_written);
    out.number("values", static_cast<std::int64_t>(run.values)).close('}');
    out.open("verify", '{').boolean("done", run.is_verified);
    out.boolean("same", run.is_verified && run.lost.count == 0);
    write_differences(out, "differences", run.read_back);
    out.close('}');
    write_differences(out, "lost", run.lost);
    out.number("losses", static_cast<std::int64_t>(run.lost.count));
    write_look_ups(out, run.look_ups);
    out.finish();
}

void report_text(const conversion &run, bool is_written)
{
    const std::string form(run.form->name);
    for (const tree_difference &loss : run.lost.differences)
        tell(run.database.shown + ": " + (is_written ? "changed" : form + " does not hold") + ": " +
             shown_line(loss.key) + ": " + shown_line(loss.what));
    if (run.lost.count > run.lost.differences.size())
        tell("and " + std::to_string(run.lost.count - run.lost.differences.size()) + " more");
    if (!is_written) {
        if (run.lost.count > 0)
            tell("nothing was written; --lossy accepts the loss");
        else if (run.asked.in_place && run.target.fd)
            tell(run.target_shown + ": not changed");
        return;
    }
    if (run.lost.rearranged > 0)
        tell(form +
             " orders and counts lists in its own way: " + std::to_string(run.lost.rearranged) +
             " nodes are new or in another place, and what follows from them can differ");
    std::string line = run.is_printed() ? "" : "wrote " + run.target_shown + ", ";
    line += run.form->is_tree ? std::to_string(run.values) + " values"
                              : std::to_string(std::ranges::count(run.text, '\n')) + " lines";
    if (run.is_verified)
        line += run.lost.count != 0 ? "; read back: all but the loss"
                : run.form->is_tree ? "; read back: the same tree"
                                    : "; read back: the same records";
    if (run.is_printed())
        tell(line);
    else
        put(line + "\n");
}

// Returns the status of the steps up to the written file.
int convert(conversion &run)
{
    std::string error = read_world(run.asked, run.world);
    if (error.empty() && !run.is_printed())
        error = open_target(run); // locked first, so that what is written over is what was read
    if (error.empty())
        error = open_input(run.asked.operands[0], run.asked, run.database);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    int status = run_step(run, convert_in_child, run.lost);
    if (status == STATUS_FINE && run.asked.verify)
        status = verify(run);
    return status == STATUS_FINE ? write_target(run) : status;
}

} // namespace

int flatlink::run_convert(const request &asked)
{
    conversion run{.asked = asked, .form = find_form(asked.to)};
    if (run.form == nullptr || asked.in_place == !asked.output.empty()) {
        tell(run.form == nullptr ? "convert needs --to FORM"
                                 : "convert needs one of -o FILE and --in-place");
        return STATUS_USAGE;
    }
    if (run.is_printed() && asked.format == "json") {
        tell("convert prints one of the result and a report of it: -o - has no --format json");
        return STATUS_USAGE;
    }
    const int status = convert(run);
    if (asked.format == "json")
        report_json(run, status == STATUS_FINE);
    else if (!asked.quiet)
        report_text(run, status == STATUS_FINE);
    return status;
}
