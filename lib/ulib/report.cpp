#include "lib/ulib/report.h"

#include "lib/ulib/notice.h"
#include "lib/ulib/system_log.h"

#include <cstdlib>

using namespace flatlink;

CServiceContext *servContext = nullptr;
CConnectionContext *connContext = nullptr;
log_hook flatlink::report_hook = nullptr;
report_tap_call flatlink::report_tap = nullptr;

bool flatlink::is_tapped(const UNIQUE_DATA_T &uniq, int priority, const char *format, va_list args)
{
    if (report_tap == nullptr)
        return false;
    va_list copy;
    va_copy(copy, args);
    const bool is_kept = report_tap(uniq, priority, format, copy);
    va_end(copy);
    return is_kept;
}

void vSendLog(CServiceContext *service, CConnectionContext *connection, const UNIQUE_DATA_T &uniq,
              int priority, const char *format, va_list args)
{
    if (is_tapped(uniq, priority, format, args))
        return;
    if (service == nullptr || connection == nullptr || report_hook == nullptr) {
        vsystem_log(priority, format, args);
        return;
    }
    report_hook(service, connection, uniq, priority, format, args);
}

void SendLog(CServiceContext *service, CConnectionContext *connection, const UNIQUE_DATA_T &uniq,
             int priority, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    vSendLog(service, connection, uniq, priority, format, args);
    va_end(args);
}

void outofcore()
{
    notice(EVENT_NO_MEMORY, 0, "libtoken: out of memory");
    std::exit(0);
}
