// The choice between the log daemon and the system log. It runs while the log object is being
// built, so it reports to the system log and leaves the cursor of cfg_get alone.
#include "lib/fwall/log/log.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/events.h"
#include "lib/ulib/report.h"
#include "lib/ulib/system_log.h"

#include <cstring>

using namespace flatlink;

namespace
{

struct mode_word {
    const char *word;
    std::int32_t mode;
};

constexpr mode_word mode_words[] = {
    {"slf", LOG_MODE_STDLOG},
    {"normal", LOG_MODE_SYSLOG},
    {"both", LOG_MODE_STDLOG | LOG_MODE_SYSLOG},
    {"none", 0},
};

} // namespace

// Straight to the system log; see above.
__attribute__((format(printf, 2, 3))) static void report(int line, const char *format, ...)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = EVENT_BAD_ENTRY;
    uniq.line = line;
    va_list args;
    va_start(args, format);
    if (!is_tapped(uniq, REPORT_ERROR, format, args))
        vsystem_log(REPORT_ERROR, format, args);
    va_end(args);
}

static std::int32_t mode_of_word(const char *word, std::int32_t line)
{
    for (const mode_word &row : mode_words)
        if (std::strcmp(row.word, word) == 0)
            return row.mode;
    report(line, "cfgerr: invalid value %s for logging keyword, line %d", word, line);
    return LOG_MODE_STDLOG;
}

static std::int32_t mode_of_list(cfgrec *list)
{
    const cfgrec *logging = cfg_first("logging", list);
    const cfgrec *enabled = cfg_first("log-enabled", list);
    if (table_watch != nullptr && logging == nullptr && enabled != nullptr && enabled->argc > 0)
        table_watch->value(value_fault::NO_EFFECT, enabled->argv[0]);
    if (logging == nullptr)
        return LOG_MODE_STDLOG;
    if (enabled != nullptr && enabled->argc >= 2) {
        report(enabled->lineno, "cfgerr: log-enabled keyword expects only one value, line %d",
               enabled->lineno);
        return LOG_MODE_STDLOG;
    }
    if (enabled != nullptr && enabled->argc == 1 && std::strcmp(enabled->argv[0], "no") == 0)
        return 0;
    if (table_watch != nullptr && enabled != nullptr && enabled->argc == 1 &&
        std::strcmp(enabled->argv[0], "yes") != 0)
        table_watch->value(value_fault::NOT_KNOWN, enabled->argv[0]);
    if (logging->argc != 1)
        report(logging->lineno, "cfgerr: logging keyword expects only one value, line %d",
               logging->lineno);
    return logging->argc == 0 ? LOG_MODE_STDLOG : mode_of_word(logging->argv[0], logging->lineno);
}

std::int32_t Log::CheckLogConfig(cfgrec *list)
{
    if (list != nullptr)
        return mode_of_list(list);
    cfgrec *defaults = cfg_read_no_SendLog("default_logging");
    const std::int32_t mode = mode_of_list(defaults);
    cfg_free(defaults);
    return mode;
}
