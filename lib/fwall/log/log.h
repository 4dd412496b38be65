// The log object: takes the reports of a process that has contexts to the system log, to the log
// daemon, or to both, as the `logging` entries of the proxy's table say. A process has at most
// one; it is made by V_OpenLog or by the first report.
#pragma once

#include "lib/fwall/log/stdlog.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/ulib/report.h"

#include <cstdarg>
#include <cstdint>

// Deletes the log object, if there is one, and makes a new one.
//   ident              opens each line in the system log, null for the program's name; copied
//   service            its list decides where reports go; null: the system log alone
//   logopt, facility   openlog's
// Ends the process with status 1 without memory: "Failed to create log object".
void V_OpenLog(const char *ident, CServiceContext *service, std::int32_t logopt,
               std::int32_t facility);

// Deletes the log object, if there is one.
void V_CloseLog();

namespace flatlink
{

// For signal handlers, which may have interrupted anything: reports the finished `text` as SendLog
// would with the current contexts, but for trouble with the log, which is not told. Does not wait:
// what has no room is counted as lost.
void log_at_any_instant(events event, int priority, const char *text);

// Makes vSendLog hand its reports to the log object. Called by the service contexts.
void install_log();

} // namespace flatlink

class Log : public CStdLog
{
  public:
    // As V_OpenLog. A service context without a name gets the name "unknown".
    Log(const char *ident, CServiceContext *service, std::int32_t log_options,
        std::int32_t log_facility);
    ~Log() override;

    // Report one message. The system log gets all of them; the log daemon gets those within the
    // connection's level, cut at 1023 characters, and `preformatted` instead if it is set.
    // `%m` in the format stands for the host's words for errno at the call.
    void SendLog(CServiceContext *service, CConnectionContext *connection,
                 const UNIQUE_DATA_T *uniq, int priority, const char *format, ...)
        __attribute__((format(printf, 6, 7)));
    void vSendLog(CServiceContext *service, CConnectionContext *connection,
                  const UNIQUE_DATA_T *uniq, int priority, const char *format, va_list args)
        __attribute__((format(printf, 6, 0)));

    // Sends the finished `text` to the log daemon, whatever its level; `connection` may be null.
    // Without `service` or `uniq`: "Failed to send standard log message: null parameter".
    void SendLogFormatted(CServiceContext *service, CConnectionContext *connection,
                          const UNIQUE_DATA_T *uniq, int priority, const char *text);

    // True if a connection of `level` wants the event: its level is at most that, or `level` is
    // negative.
    static bool WithinLogLevel(events event, std::int32_t level);

    // The table of levels is in order from the start; nothing is left to do.
    static void UpdateLogLevelTable() {}

    // The mode that the `logging` and `log-enabled` entries of `list` choose; those of the name
    // `default_logging` for a null list. Faults go to the system log.
    static std::int32_t CheckLogConfig(cfgrec *list);

    // Becomes what a new object of these arguments is, with sockets of its own, when only the mode
    // may differ; false otherwise, and then nothing has changed. Costs a process that was just
    // forked less than a new object.
    bool renew(const char *ident, CServiceContext *service, std::int32_t log_options,
               std::int32_t log_facility);

    std::int32_t logopt;
    std::int32_t facility; // 0 if what was given is none
};
