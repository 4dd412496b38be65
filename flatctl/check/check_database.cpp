#include "flatctl/check/check_database.h"

#include "flatctl/check/check_derivation.h"
#include "flatctl/check/check_message.h"
#include "flatctl/check/check_run.h"
#include "flatctl/check/check_table.h"
#include "flatctl/common/request.h"
#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"
#include "flatctl/input/kind.h"
#include "flatlink/driver.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/line.h"
#include "flatlink/records/post_decode.h"
#include "lib/digest/sha256.h"
#include "lib/frag/import/import.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/origin.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <map>
#include <unistd.h>

using namespace flatlink;

namespace
{

// Gathers what one input gives. The calls of the import and of reports have no other place.
class checker
{
  public:
    checker(const input &database, const check_task &task, const child_port &port)
        : log(false), database_(database), task_(task), port_(port)
    {
    }

    int run(int first_step);
    void add(std::string_view code, std::int32_t line, std::string detail,
             std::int32_t related_line = 0);
    void add(std::string_view code, finding found);
    void take_report(const char *text);

    conversion_log log; // of the import, whose calls come here first

  private:
    bool read_text();
    void watch_import();
    bool check_kind();
    void check_nodes();
    bool may_be_misspelt() const;
    bool tell_secrets(const std::string &mode);
    void check_spelling(const frag *node);
    void check_access();
    void derive();
    void check_flat();
    void send_all();

    const input &database_;
    const check_task &task_;
    const child_port &port_;
    input_facts facts_;
    std::string text_;
    std::vector<finding> found_;
    std::map<std::string_view, std::size_t> counts_; // by code
    std::vector<bool> is_told_;                      // by line, whether a finding names it
    const finding_row *last_row_ = nullptr;
    std::size_t *last_count_ = nullptr; // of that row
};

checker *current = nullptr; // of this process

std::string key_of(const frag *node)
{
    return fragkeyname(node);
}

constexpr import_observer OBSERVER = {
    .context = nullptr,
    .value_replaced =
        [](void *, const frag *node, std::int32_t old_line, std::int32_t new_line) {
            current->add("D111", old_line, key_of(node), new_line);
            current->log.line_replaced(old_line, node);
        },
    .value_kept =
        [](void *, const frag *node, std::int32_t line, std::int32_t ignored_line) {
            current->add("D116", ignored_line, key_of(node), line);
            current->log.line_replaced(ignored_line, node);
        },
    .lines_joined =
        [](void *, std::int32_t first, std::int32_t last) {
            current->add("D110", first, "", last);
            current->log.lines_joined(first, last);
        },
    .name_cut =
        [](void *, std::int32_t line, std::string_view kept) {
            current->add("D113", line, std::string(kept.substr(0, SHOWN_LINE_MAX)));
        },
    .ignored = [](void *, std::int32_t line) { current->add("D117", line, ""); },
    .unfinished = [](void *, std::int32_t line) { current->add("D118", line, ""); },
};

__attribute__((format(printf, 3, 0))) bool
tap_report(const UNIQUE_DATA_T & /*uniq*/, int /*priority*/, const char *format, va_list args)
{
    char text[1024]; // a longer report is cut
    (void)std::vsnprintf(text, sizeof text, format, args);
    current->take_report(text);
    return true;
}

void checker::add(std::string_view code, std::int32_t line, std::string detail,
                  std::int32_t related_line)
{
    finding found{.line = line, .detail = std::move(detail)};
    if (related_line != 0)
        found.related.push_back(related_line);
    add(code, std::move(found));
}

void checker::add(std::string_view code, finding found)
{
    const auto tell = [this](std::int32_t line) {
        const auto index = static_cast<std::size_t>(line);
        if (index >= is_told_.size())
            is_told_.resize(index + 1);
        is_told_[index] = true;
    };
    tell(found.line);
    std::ranges::for_each(found.related, tell);
    // Findings of one code come in runs, of which there may be one for each line.
    if (last_row_ == nullptr || last_row_->code != code) {
        last_row_ = find_code(code);
        last_count_ = &counts_[last_row_->code];
    }
    found.row = last_row_;
    if (++*last_count_ <= FINDINGS_MAX)
        found_.push_back(std::move(found));
}

// Those of a derivation have findings of their own: what it meets, and which bound it strikes.
void checker::take_report(const char *text)
{
    constexpr std::string_view of_derivation[] = {"vhltcfgerr: ", "DEBUG "};
    if (std::ranges::none_of(of_derivation, [text](std::string_view begin) {
            return std::string_view(text).starts_with(begin);
        }))
        add("D406", 0, text);
}

// Calls visit(node) for all nodes of the tree, until it returns false.
template <typename visitor> void visit_nodes(visitor visit)
{
    std::vector<const frag *> open{def_database};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (!visit(node))
                return;
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
}

bool checker::read_text()
{
    char block[65536];
    ssize_t got = 0;
    if (S_ISREG(database_.status.st_mode))
        text_.reserve(static_cast<std::size_t>(database_.status.st_size));
    sha256_context digest;
    sha256_init(digest);
    while ((got = uninterrupted([&] { return read(database_.fd.get(), block, sizeof block); })) >
           0) {
        text_.append(block, static_cast<std::size_t>(got));
        if (task_.wants_digest)
            sha256_update(digest, block, static_cast<std::size_t>(got));
    }
    if (task_.wants_digest)
        facts_.sha256 = sha256_final(digest);
    if (got < 0)
        std::perror("read");
    return got == 0;
}

// A key or a value that holds the blank that was meant to stand beside it.
void checker::check_spelling(const frag *node)
{
    const frag_notation notation = origin_notation(node);
    if (notation != frag_notation::FLAT && notation != frag_notation::SECTION)
        return;
    const std::size_t length = std::strlen(node->name);
    const bool key_ends_blank = length > 0 && is_ws(node->name[length - 1]);
    if (key_ends_blank || (node->value != nullptr && is_ws(node->value[0])))
        add("D112", origin_line(node), key_of(node));
}

// A NUL byte ends a value, and a newline between tags the line that it becomes.
static bool is_cut_when_written(const frag *node)
{
    const std::string_view value = node->value;
    const std::size_t newline = std::min(value.find('\n'), value.size());
    return value.size() < static_cast<std::size_t>(node->vlen) ||
           value.find_first_not_of(" \t\r\n", newline) != std::string_view::npos;
}

// Blanks beside a '=' and NUL bytes are rare, and the text is read faster than the tree.
bool checker::may_be_misspelt() const
{
    if (text_.find('\0') != std::string::npos || text_.find("</") != std::string::npos)
        return true;
    for (std::size_t at = text_.find('='); at != std::string::npos; at = text_.find('=', at + 1))
        if ((at > 0 && is_ws(text_[at - 1])) || (at + 1 < text_.size() && is_ws(text_[at + 1])))
            return true;
    return false;
}

// False when there is none.
bool checker::tell_secrets(const std::string &mode)
{
    bool is_found = false;
    visit_nodes([&](const frag *node) {
        if (node->value == nullptr || !is_secret_key(node->name))
            return true;
        is_found = true;
        add("D601", {.line = origin_line(node), .column = AT_VALUE, .detail = mode});
        return true;
    });
    return is_found;
}

void checker::check_nodes()
{
    for (const frag *node = def_database; node != nullptr; node = node->next) {
        if (node->name[0] != '#')
            continue;
        const frag *first = node; // the value that the line set
        while (first->value == nullptr && first->child != nullptr)
            first = first->child;
        add("D114", origin_line(first), key_of(first));
    }
    if (!may_be_misspelt())
        return;
    visit_nodes([this](const frag *node) {
        check_spelling(node);
        if (node->value != nullptr && is_cut_when_written(node))
            add("D240", {.line = origin_line(node), .column = AT_VALUE});
        return true;
    });
}

// False when there is nothing more to be checked.
bool checker::check_kind()
{
    constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
    if (text_.starts_with(BYTE_ORDER_MARK))
        add("D115", 1, "");
    input_kind kind = kind_of_tree(def_database);
    facts_.kind = kind == input_kind::FLAT_DATA ? "flat" : "database";
    take_tree_facts(def_database, facts_);
    if (task_.kind == "database")
        kind = input_kind::DATABASE;
    if (kind != input_kind::DATABASE) { // what else was found is about no database
        found_.clear();
        counts_.clear();
        last_row_ = nullptr;
    }
    if (kind == input_kind::UNKNOWN)
        add("D101", 0, "");
    if (kind == input_kind::FLAT_DATA)
        add("D102", 0, "");
    return kind == input_kind::DATABASE;
}

void checker::check_access()
{
    const mode_t mode = database_.status.st_mode;
    if (!S_ISREG(mode) && database_.path != "-")
        add("D103", 0, "");
    constexpr mode_t OTHERS_READ = 044, OTHERS_WRITE = 022;
    if (!S_ISREG(mode) || (mode & (OTHERS_READ | OTHERS_WRITE)) == 0)
        return;
    char text[16];
    (void)std::snprintf(text, sizeof text, "mode %04o", mode & 07777);
    if (!tell_secrets(text) && (mode & OTHERS_WRITE) != 0)
        add("D601", 0, text);
}

// The log hears of each line that is written.
void write_nowhere()
{
    const cookie_io_functions_t calls = {
        .read = nullptr,
        .write = [](void *, const char *, std::size_t size) { return static_cast<ssize_t>(size); },
        .seek = nullptr,
        .close = nullptr};
    std::FILE *stream = fopencookie(nullptr, "w", calls);
    if (stream == nullptr)
        throw std::bad_alloc();
    write_records(stream);
    (void)std::fclose(stream);
}

void checker::derive()
{
    log.import_ended(def_database);
    def_database = upgradeTo42(def_database);
    log.layout_reached(def_database);
    fout = nullptr;
    derive_from_tree(false);
    write_nowhere();
    log.records_written();
    check_derivation(
        log, def_database, facts_.layout != "current",
        [this](std::int32_t line) {
            return static_cast<std::size_t>(line) < is_told_.size() &&
                   is_told_[static_cast<std::size_t>(line)];
        },
        [this](std::string_view code, finding found) { add(code, std::move(found)); },
        [this](std::string_view code, std::size_t count) { counts_[code] += count; });
    for (const struck_bound &bound : struck_bounds())
        add("D501", 0,
            bound.what + ", of which there may be " + std::to_string(bound.limit) + ", at " +
                bound.where);
}

// Reads lines as the reader of flat data does; what it refuses it says on the error stream.
void checker::check_flat()
{
    for (std::string_view rest = text_; !rest.empty();) {
        const std::string line(rest.substr(0, rest.find('\n')));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        facts_.keys += line.find('=') != std::string::npos ? 1 : 0;
        if (!decode_vpn_buffer(line))
            decode_nonvpn_buffer(line);
    }
    (void)post_decode();
}

// Of a finding that is about the value of its line, or about what stands beside the '='.
void set_columns(finding &one, std::string_view line)
{
    const std::size_t equals = std::min(line.find('='), line.size());
    if (one.row->code == "D112")
        one.column = static_cast<std::int32_t>(equals) + 1;
    if (one.column != AT_VALUE)
        return;
    const bool has_value = equals + 1 < line.size();
    one.column = has_value ? static_cast<std::int32_t>(equals) + 2 : 1;
    one.end = has_value ? static_cast<std::int32_t>(line.size()) : 0;
}

// In the order of their lines, each with its line's text, which one pass over the input finds.
void checker::send_all()
{
    for (auto last = found_.rbegin(); last != found_.rend(); ++last) {
        std::size_t &count = counts_[last->row->code]; // the last one kept stands for the rest
        last->count += static_cast<std::int32_t>(count > FINDINGS_MAX ? count - FINDINGS_MAX : 0);
        count = 0;
    }
    std::ranges::stable_sort(found_, {}, &finding::line);
    std::size_t begin = 0;
    std::int32_t line = 1;
    for (finding &one : found_) {
        for (; line < one.line && begin < text_.size(); ++line)
            begin = std::min(text_.find('\n', begin), text_.size() - 1) + 1;
        if (one.line != 0 && begin < text_.size()) {
            const std::string_view all = std::string_view(text_).substr(begin);
            const std::string_view quoted = all.substr(0, all.find('\n'));
            one.quoted = quoted.substr(0, SHOWN_LINE_MAX + 1);
            set_columns(one, quoted);
        } else {
            one.column = std::max(one.column, 1);
        }
        port_.send(frame_kind::RECORD, packed_finding(one));
    }
    port_.send(frame_kind::RECORD, packed_facts(facts_));
}

int checker::run(int first_step)
{
    if (!read_text())
        return STATUS_UNREADABLE;
    current = this;
    facts_.lines = count_lines(text_);
    if (task_.kind == "flat" || task_.kind == "table" ||
        (task_.kind == "auto" && looks_like_table(text_))) {
        facts_.kind = task_.kind == "flat" ? "flat" : "table";
        if (task_.kind == "flat") {
            check_flat();
            send_all();
        } else {
            check_table(text_, {task_.proxy, &task_.options, first_step}, facts_, port_);
        }
        return STATUS_FINE;
    }
    import_watch = &OBSERVER; // in the place of the log's own
    importer reader(&def_database, 0);
    reader.feed(text_);
    reader.finish();
    import_watch = nullptr;
    report_tap = tap_report;
    start_bounds();
    check_nodes();
    const bool is_database = check_kind();
    if (is_database)
        derive();
    check_access(); // last: what else is wrong with a secret's line is told of it first
    send_all();
    return STATUS_FINE;
}

} // namespace

int flatlink::check_in_child(const input &database, const check_task &task,
                             const known_world &world, int first_step, child_port &port)
{
    enter_world(world, port);
    return checker(database, task, port).run(first_step);
}
