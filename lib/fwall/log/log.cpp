#include "lib/fwall/log/log.h"

#include "lib/fwall/log/context.h"
#include "lib/fwall/log/escape.h"
#include "lib/fwall/log/event_table.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/log_sender.h"
#include "lib/ulib/plain_format.h"
#include "lib/ulib/system_log.h"
#include "lib/ulib/text.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>
#include <syslog.h>
#include <unistd.h>

using namespace flatlink;

// Atomic because signal handlers read it.
static std::atomic<Log *> the_log = nullptr;

static char tag[1024]; // the process's one system log keeps a pointer to it
static bool is_tagged = false;

void V_OpenLog(const char *ident, CServiceContext *service, std::int32_t logopt,
               std::int32_t facility)
{
    Log *old = the_log.load();
    if (old != nullptr && old->renew(ident, service, logopt, facility)) {
        (void)log_connect(&old->stdlog); // else each record goes by the path
        return;
    }
    V_CloseLog();
    Log *log = new (std::nothrow) Log(ident, service, logopt, facility);
    if (log != nullptr) {
        (void)log_connect(&log->stdlog); // else each record goes by the path
        the_log = log;
        return;
    }
    system_log(REPORT_ERROR, "Failed to create log object");
    std::exit(1);
}

void V_CloseLog()
{
    delete the_log.exchange(nullptr);
}

__attribute__((format(printf, 5, 0))) static void to_log(CServiceContext *service,
                                                         CConnectionContext *connection,
                                                         const UNIQUE_DATA_T &uniq, int priority,
                                                         const char *format, va_list args)
{
    const int error = errno; // for %m
    if (the_log.load() == nullptr)
        V_OpenLog(nullptr, service, 0, LOG_USER);
    errno = error;
    the_log.load()->vSendLog(service, connection, &uniq, priority, format, args);
}

void flatlink::install_log()
{
    report_hook = to_log;
}

static std::int32_t mode_of(CServiceContext *service)
{
    return service == nullptr ? LOG_MODE_SYSLOG : Log::CheckLogConfig(service->GetProxyConfList());
}

Log::Log(const char *ident, CServiceContext *service, std::int32_t log_options,
         std::int32_t log_facility)
    : CStdLog(mode_of(service)), logopt(log_options),
      facility((log_facility & ~LOG_FACMASK) == 0 ? log_facility : 0)
{
    if (service != nullptr && text_of(service->GetProxyName()).empty())
        service->SetProxyName("unknown");
    set_text(tag, text_of(ident));
    is_tagged = ident != nullptr;
    const char *shown = is_tagged ? tag : nullptr;
    open_system_log(shown, logopt, facility);
    openlog(shown, logopt & ~LOG_NDELAY, facility); // for the proxy's own calls of syslog
}

bool Log::renew(const char *ident, CServiceContext *service, std::int32_t log_options,
                std::int32_t log_facility)
{
    if (ident == nullptr || !is_tagged || std::string_view(tag) != ident || log_options != logopt ||
        log_facility != facility ||
        (service != nullptr && text_of(service->GetProxyName()).empty()))
        return false;
    mode = mode_of(service);
    log_close(&stdlog);
    reopen_system_log();
    (void)log_open(&stdlog); // on failure each send tries again
    return true;
}

Log::~Log()
{
    closelog();
    close_system_log();
}

// The only place where a report is formatted. `%m` stands for the host's text for `error`.
__attribute__((format(printf, 4, 0))) static void
format_report(char *buffer, std::size_t size, int error, const char *format, va_list args)
{
    va_list own;
    va_copy(own, args); // a report may be formatted twice
    errno = error;
    if (!format_plain(buffer, size, format, own) && std::vsnprintf(buffer, size, format, own) < 0)
        buffer[0] = '\0';
    va_end(own);
}

// A function of its own: its buffer would take a page of each report's stack.
__attribute__((noinline, format(printf, 3, 0))) static void
to_system_log(int priority, int error, const char *format, va_list args)
{
    char text[2048];
    format_report(text, sizeof text, error, format, args);
    system_log(priority, "%s", text);
}

void Log::SendLog(CServiceContext *service, CConnectionContext *connection,
                  const UNIQUE_DATA_T *uniq, int priority, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vSendLog(service, connection, uniq, priority, format, args);
    va_end(args);
}

void Log::vSendLog(CServiceContext *service, CConnectionContext *connection,
                   const UNIQUE_DATA_T *uniq, int priority, const char *format, va_list args)
{
    const int error = errno;
    if ((mode & LOG_MODE_SYSLOG) != 0)
        to_system_log(priority, error, format, args);
    if ((mode & LOG_MODE_STDLOG) == 0)
        return;
    if (uniq != nullptr && connection != nullptr &&
        !WithinLogLevel(static_cast<events>(uniq->event), connection->GetLogLevel()))
        return;
    if (uniq != nullptr && uniq->preformatted != nullptr) {
        SendLogFormatted(service, connection, uniq, priority, uniq->preformatted);
        return;
    }
    char text[sizeof(DaemonMsg::text)];
    format_report(text, sizeof text, error, format, args);
    SendLogFormatted(service, connection, uniq, priority, text);
}

template <std::size_t size> static void set_escaped(char (&field)[size], const char *text)
{
    (void)hexescNonAsciiPlus(field, text, size, ","); // may be cut
}

static void fill_connection(DaemonMsg &record, const CConnectionContext &connection)
{
    connection.GetConnectionID(record.connection_id, sizeof record.connection_id);
    connection.GetRuleNumber(record.rule_number, sizeof record.rule_number);
    connection.GetRuleLabel(record.rule_label, sizeof record.rule_label);
    record.src_port = static_cast<std::uint16_t>(connection.GetSrcPort());
    record.dst_port = static_cast<std::uint16_t>(connection.GetDstPort());
    record.mapped_dst_port = static_cast<std::uint16_t>(connection.GetMappedDstPort());
    set_text(record.src_ip, text_of(connection.GetSrcIPAddress()));
    set_text(record.dst_ip, text_of(connection.GetDstIPAddress()));
    set_escaped(record.user, connection.GetUser());
}

static void fill_unique(DaemonMsg &record, const UNIQUE_DATA_T &uniq)
{
    record.event = uniq.event;
    record.aux1 = uniq.aux1;
    record.aux2 = uniq.aux2;
    record.aux3 = uniq.aux3;
    record.line = uniq.line;
    set_text(record.aux_tag, text_of(uniq.aux_tag_ptr));
    std::copy_n(uniq.aux_name, sizeof record.aux_name, record.aux_name); // not escaped
    char note[sizeof uniq.aux_note + 1]; // the field may lack a NUL terminator
    set_text(note, field_text(uniq.aux_note));
    set_escaped(record.aux_note, note);
}

// Async-signal-safe: touches only its arguments and the record.
static DaemonMsg make_record(const CServiceContext &service, const CConnectionContext *connection,
                             const UNIQUE_DATA_T &uniq, int priority, const char *text)
{
    DaemonMsg record;
    record.time = static_cast<std::uint32_t>(std::time(nullptr));
    record.priority = priority;
    record.service = service.GetServiceType();
    record.protocol = service.GetProtocol();
    set_text(record.proxy_name, text_of(service.GetProxyName()));
    record.pid = getpid();
    set_escaped(record.text, text);
    record.text_length = static_cast<std::int32_t>(field_text(record.text).size());
    if (connection != nullptr)
        fill_connection(record, *connection);
    fill_unique(record, uniq);
    return record;
}

void Log::SendLogFormatted(CServiceContext *service, CConnectionContext *connection,
                           const UNIQUE_DATA_T *uniq, int priority, const char *text)
{
    if (uniq == nullptr || service == nullptr) {
        system_log(REPORT_ERROR, "Failed to send standard log message: null parameter");
        return;
    }
    (void)log_daemonmsg(
        make_record(*service, connection, *uniq, priority, text)); // it has reported
}

void flatlink::log_at_any_instant(events event, int priority, const char *text)
{
    const Log *log = the_log.load();
    if (servContext == nullptr || connContext == nullptr || log == nullptr) {
        system_log_at_any_instant(priority, text);
        return;
    }
    if ((log->mode & LOG_MODE_SYSLOG) != 0)
        system_log_at_any_instant(priority, text);
    if ((log->mode & LOG_MODE_STDLOG) == 0 ||
        !Log::WithinLogLevel(event, connContext->GetLogLevel()))
        return;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    const DaemonMsg record = make_record(*servContext, connContext, uniq, priority, text);
    if (!log_send_at_once(&record, sizeof record, log->stdlog))
        count_lost(LOST_RECORDS);
}

bool Log::WithinLogLevel(events event, std::int32_t level)
{
    return level < 0 || lookup_loglevel_byid(event) <= level;
}
