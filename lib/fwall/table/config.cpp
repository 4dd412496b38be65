#include "lib/fwall/table/config.h"

#include "lib/fwall/table/enargv.h"
#include "lib/fwall/table/line_pieces.h"
#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/location.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <optional>
#include <string>
#include <unistd.h>

using namespace flatlink;

static constexpr int ARGUMENTS_MAX = 256;       // with the terminating null
static constexpr int ARGUMENT_BYTES_MAX = 1024; // more than a line holds

namespace
{

using report_call __attribute__((format(printf, 3, 4))) = void (*)(events event, int line,
                                                                   const char *format, ...);

struct prefix_flag {
    std::string_view prefix;
    cfg_flag flag;
};

constexpr prefix_flag prefixes[] = {
    {"deny-", CFG_DENY},
    {"permit-", CFG_PERMIT},
    {"absorb-", CFG_ABSORB},
};

// The state of one pass over the file.
struct reading {
    const char *name = nullptr;
    const char *path = nullptr;
    report_call report = nullptr;
    std::int32_t lineno = 0;
    bool out_of_memory = false;
};

} // namespace

static std::optional<std::string> table_path;

int cfg_setpfile(const char *path)
{
    table_path.reset();
    if (path == nullptr)
        return 0;
    table_path = installed_local_path(path);
    return table_path ? 0 : 1;
}

// Reports a line that is dropped.
//   at  into the line, for the watch
static void drop_line(const reading &now, const char *what, table_fault kind, const char *at)
{
    if (table_watch != nullptr)
        table_watch->fault(kind, at);
    now.report(EVENT_BAD_ENTRY, now.lineno, "cfgerr: %s line %d %s", now.path, now.lineno, what);
}

// Removes the first word and one separator after it from the front of `text`. Returns the word;
// the empty view when there is none.
static std::string_view take_word(std::string_view &text, std::string_view separators)
{
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(std::min(word.size() + 1, text.size()));
    return word;
}

static bool is_for(std::string_view names, std::string_view name)
{
    const char *const begin = names.data();
    for (bool is_first = true;; is_first = false) {
        const std::string_view word = take_word(names, " \t,");
        if (table_watch != nullptr && word.empty() && is_first)
            table_watch->fault(table_fault::NO_NAME, begin);
        if (word.empty())
            return false;
        if (table_watch != nullptr)
            table_watch->name(word);
        if (word == name || word == "*")
            return true;
    }
}

static std::int32_t take_flags(std::string_view &keyword)
{
    for (const prefix_flag &row : prefixes)
        if (take_prefix(keyword, row.prefix))
            return row.flag;
    return 0;
}

// The record of a line's part after the colon, or null after a report.
static cfgrec *read_body(reading &now, std::string_view body)
{
    std::string_view keyword = take_word(body, " \t");
    if (keyword.empty() || keyword.find('\0') != std::string_view::npos) {
        drop_line(now, "malformed", table_fault::NO_ENTRY, keyword.data());
        return nullptr;
    }
    if (table_watch != nullptr)
        table_watch->word(keyword.data(), keyword.data() + keyword.size());
    if (body.empty()) {
        drop_line(now, "missing parameter", table_fault::NO_ARGUMENT, keyword.data());
        return nullptr;
    }
    const std::int32_t flags = take_flags(keyword);
    std::array<char *, ARGUMENTS_MAX> argv;
    std::array<char, ARGUMENT_BYTES_MAX> texts;
    const int argc = enargv(body, argv.data(), ARGUMENTS_MAX, texts.data(), ARGUMENT_BYTES_MAX);
    if (argc < 0) {
        drop_line(now, "too long or misquoted", table_fault::TOO_LONG, body.data());
        return nullptr;
    }
    cfgrec *record = cfg_make(keyword, flags, now.lineno, argc, argv.data());
    now.out_of_memory = record == nullptr;
    return record;
}

// The record of one line, or null if there is none for this name.
static cfgrec *read_line(reading &now, line_pieces &file, std::string_view line)
{
    if (table_watch != nullptr)
        table_watch->line(now.lineno, line.substr(0, line.find('\n')));
    if (line.starts_with('#'))
        return nullptr;
    // Without its end a line cannot be told from the first part of another: it is not obeyed.
    if (!line.ends_with('\n')) {
        drop_line(now, "too long",
                  line.size() < line_pieces::PIECE_MAX ? table_fault::NO_NEWLINE
                                                       : table_fault::TOO_LONG,
                  line.data());
        file.skip_line(); // or its rest would be read as a line
        return nullptr;
    }
    line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos)
        return nullptr;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        drop_line(now, "malformed", table_fault::NO_ENTRY, line.data());
        return nullptr;
    }
    return is_for(line.substr(0, colon), now.name) ? read_body(now, line.substr(colon + 1))
                                                   : nullptr;
}

static cfgrec *fail(const reading &now, cfgrec *list)
{
    if (now.out_of_memory)
        now.report(EVENT_NO_MEMORY, 0, "syserr: out of memory");
    else
        now.report(EVENT_NO_FILE, 0, "syserr: configuring %s, cannot open %s: %s", now.name,
                   now.path, std::strerror(errno));
    cfg_free(list);
    return cfg_failure();
}

static cfgrec *read_entries(const char *name, report_call report)
{
    if (!table_path && cfg_setpfile(NETPERM_TABLE) != 0)
        errno = ENOMEM;
    reading now{.name = name == nullptr ? "" : name,
                .path = table_path ? table_path->c_str() : NETPERM_TABLE,
                .report = report};
    line_pieces file(table_path ? open(now.path, O_RDONLY | O_CLOEXEC) : -1);
    cfg_builder list;
    std::string_view line;
    while (file.next(line)) {
        ++now.lineno;
        if (cfgrec *record = read_line(now, file, line); record != nullptr)
            list.add(record);
        else if (now.out_of_memory) // part of a table might permit what its rest denies
            break;
    }
    return file.failed() || now.out_of_memory ? fail(now, list.head) : list.head;
}

cfgrec *cfg_read(const char *name)
{
    return read_entries(name, notice);
}

cfgrec *cfg_read_no_SendLog(const char *name)
{
    return read_entries(name, syslog_notice);
}

bool is_on(const char *text)
{
    static constexpr std::string_view words[] = {"on", "yes", "true", "1", "*"};
    std::string_view setting = text_of(text);
    setting.remove_prefix(std::min(setting.find_first_not_of(" \t"), setting.size()));
    return std::any_of(std::begin(words), std::end(words),
                       [setting](std::string_view word) { return same_word(setting, word); });
}
