#include "lib/fwall/daemon.h"

#include "lib/fwall/notice.h"

#include <cstdlib>

int do_daemon(const char *port)
{
    notice(EVENT_SYSTEM, 0, "syserr: no daemon mode for port %s", port);
    std::exit(1);
}
