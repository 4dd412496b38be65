// Reports of our own, at priority notice.
#pragma once

#include "lib/ulib/events.h"

namespace flatlink
{

// Reports through SendLog with the current contexts.
//   event   number that the report carries
//   line    line of netperm-table that the report is about, 0 for none
//   format  printf's; never text from outside
void notice(events event, int line, const char *format, ...) __attribute__((format(printf, 3, 4)));

// The same straight to the system log, without event and line: for code that runs while the log
// object is being built.
void syslog_notice(events event, int line, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

} // namespace flatlink
