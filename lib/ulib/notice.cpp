#include "lib/ulib/notice.h"

#include "lib/ulib/report.h"
#include "lib/ulib/system_log.h"

#include <cstdarg>

using namespace flatlink;

void flatlink::notice(events event, int line, const char *format, ...)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    uniq.line = line;
    va_list args;
    va_start(args, format);
    vSendLog(servContext, connContext, uniq, REPORT_NOTICE, format, args);
    va_end(args);
}

void flatlink::syslog_notice(events event, int line, const char *format, ...)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    uniq.line = line;
    va_list args;
    va_start(args, format);
    if (!is_tapped(uniq, REPORT_NOTICE, format, args))
        vsystem_log(REPORT_NOTICE, format, args);
    va_end(args);
}
