#include "lib/ulib/notice.h"

#include "lib/ulib/report.h"

#include <cstdarg>
#include <syslog.h>

void notice(events event, int line, const char *format, ...)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    uniq.line = line;
    va_list args;
    va_start(args, format);
    vSendLog(servContext, connContext, uniq, REPORT_NOTICE, format, args);
    va_end(args);
}

void syslog_notice(events event, int line, const char *format, ...)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    uniq.line = line;
    va_list args;
    va_start(args, format);
    if (!is_tapped(uniq, REPORT_NOTICE, format, args))
        vsyslog(REPORT_NOTICE, format, args);
    va_end(args);
}
