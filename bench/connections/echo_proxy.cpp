// A proxy that only echoes: measures the runtime's cost per connection, including the daemon loop,
// the source check and one record for the log daemon.
//   echo_proxy -daemon PORT
#include "bench/connections/echo.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/report.h"

#include <unistd.h>

using namespace flatlink;

static constexpr auto EVENT_CLIENT = static_cast<events>(4000);

int main(int argc, char **argv)
{
    servContext = InitServiceContextG();
    connContext = InitConnectionContextG();
    proxy_init(&argc, &argv);
    if (rule_src_chk(STDIN_FILENO, nullptr, "", true) == 0)
        return 1;
    notice(EVENT_CLIENT, 0, "connect host=%s/%s", proxy_rladdr, proxy_riaddr);
    echo(STDIN_FILENO);
    _exit(0); // a child with nothing left to flush
}
