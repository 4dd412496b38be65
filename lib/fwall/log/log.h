// The log object: sends the reports of a process with contexts to the system log, the log daemon,
// or both, as the `logging` entries of the proxy's table say. A process has at most one; V_OpenLog
// or the first report makes it.
#pragma once

#include "lib/fwall/log/stdlog.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/ulib/report.h"

#include <cstdarg>
#include <cstdint>

// Replaces the log object, if there is one, by a new one.
//   ident              starts each line in the system log, null for the program's name; copied
//   service            its list decides where reports go; null: the system log only
//   logopt, facility   openlog's
// Ends the process with status 1 without memory: "Failed to create log object".
void V_OpenLog(const char *ident, CServiceContext *service, std::int32_t logopt,
               std::int32_t facility);

// Deletes the log object, if there is one.
void V_CloseLog();

namespace flatlink
{

// Async-signal-safe: reports the finished `text` as SendLog would with the current contexts, but
// does not report faults of the log itself, and never waits: a record for which there is no room is
// counted as lost.
void log_at_any_instant(events event, int priority, const char *text);

// Makes vSendLog pass its reports to the log object. Called by the service contexts.
void install_log();

} // namespace flatlink

class Log : public CStdLog
{
  public:
    // Arguments as for V_OpenLog. A service context without a name gets the name "unknown".
    Log(const char *ident, CServiceContext *service, std::int32_t log_options,
        std::int32_t log_facility);
    ~Log() override;

    // Report one message. The system log gets all messages; the log daemon gets those within the
    // connection's level, cut at 1023 characters, or `preformatted` instead if it is set. `%m` in
    // the format stands for the host's text for errno at the call.
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

    // True if a connection with this `level` logs the event: the event's level is not above it, or
    // `level` is negative.
    static bool WithinLogLevel(events event, std::int32_t level);

    // Does nothing: the table of levels is complete at compile time.
    static void UpdateLogLevelTable() {}

    // The mode that the `logging` and `log-enabled` entries of `list` choose; those of the name
    // `default_logging` for a null list. Faults go to the system log.
    static std::int32_t CheckLogConfig(cfgrec *list);

    // Turns this object into one made with these arguments, with sockets of its own, if at most the
    // mode would differ; otherwise returns false and changes nothing. Cheaper than a new object for
    // a process that was just forked.
    bool renew(const char *ident, CServiceContext *service, std::int32_t log_options,
               std::int32_t log_facility);

    std::int32_t logopt;
    std::int32_t facility; // 0 if the argument was not a facility
};
