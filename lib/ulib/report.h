// The one call through which all library code reports, and the exit on exhausted memory. Without a
// service and a connection context reports go to the system log; with both, to the hook that the
// context code installs.
#pragma once

#include <cstdarg>
#include <cstdint>

class CServiceContext;
class CConnectionContext;

// What a caller passes with each report. Start from UNIQUE_DATA and set `event` and `line`.
// Pointers are borrowed for the length of the call.
struct UNIQUE_DATA_T {
    std::int32_t size = 356; // the record's size where pointers take 32 bits; kept for receivers
    std::int32_t version = 1;
    std::int32_t event = 501;
    const char *aux_tag_ptr = nullptr; // at most 20 characters are carried
    std::int32_t aux1 = -1;
    std::int32_t aux2 = -1;
    std::int32_t aux3 = -1;
    const char *preformatted = nullptr; // set: the finished text, instead of format and arguments
    std::int32_t line = 0; // line of netperm-table that the report is about, 0 for none
    char aux_name[64] = {};
    char aux_note[256] = {};
};

inline constexpr UNIQUE_DATA_T UNIQUE_DATA{};

// Priority of the libraries' own reports (syslog's notice), and of faults of the log itself.
inline constexpr int REPORT_NOTICE = 5;
inline constexpr int REPORT_ERROR = 3;

// The current contexts; borrowed, null until a program sets them.
extern CServiceContext *servContext;
extern CConnectionContext *connContext;

// Takes a report when both contexts are set. Installed by the code that creates contexts, so that a
// program without contexts does not link the log object. Null: system log only.
using log_hook = void (*)(CServiceContext *service, CConnectionContext *connection,
                          const UNIQUE_DATA_T &uniq, int priority, const char *format,
                          va_list args);

namespace flatlink
{

extern log_hook report_hook;

} // namespace flatlink

// Sees each report before it goes to a log, with or without contexts: for a program that collects
// reports itself. Null by default. Arguments are borrowed for the call. Returns true to keep the
// report out of the logs.
using report_tap_call = bool (*)(const UNIQUE_DATA_T &uniq, int priority, const char *format,
                                 va_list args);

namespace flatlink
{

extern report_tap_call report_tap;

// Passes a report to the tap, with a copy of `args`; returns false without a tap. For code that
// writes to a log without vSendLog.
bool is_tapped(const UNIQUE_DATA_T &uniq, int priority, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));

} // namespace flatlink

// Reports one message.
//   priority  a syslog priority, 0 to 7
//   format    printf's; never text from outside
void SendLog(CServiceContext *service, CConnectionContext *connection, const UNIQUE_DATA_T &uniq,
             int priority, const char *format, ...) __attribute__((format(printf, 5, 6)));
void vSendLog(CServiceContext *service, CConnectionContext *connection, const UNIQUE_DATA_T &uniq,
              int priority, const char *format, va_list args) __attribute__((format(printf, 5, 0)));

// Reports "libtoken: out of memory" (event 13507) and ends the process with status 0.
[[noreturn]] void outofcore();
