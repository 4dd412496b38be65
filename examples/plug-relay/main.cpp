// A generic relay of TCP connections: asks whether the client may use it, finds out where the
// connection is to go and whether that is allowed, and carries the bytes across.
//   plug-relay -daemon PORT
// Its entries of netperm-table, beside those of every proxy (lib/fwall/serve/init.h, srcchk.h,
// chkdest.h):
//   relay-to HOST PORT   where all connections go; without it, where each was going when the
//                        packet filter redirected it to the relay
//   timeout SECONDS      longest time in which no byte moves
// Options of its hosts lines: -dest ITEM or { ITEMS }, -ports ITEM or { ITEMS }, -relay-to { HOST
// PORT }, -timeout SECONDS; they go before the entry of their name.
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/dsthost.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/address.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/pmsg.h"
#include "lib/ulib/socket.h"
#include "lib/ulib/text.h"
#include "relay.h"

#include <cinttypes>
#include <cstring>
#include <ctime>
#include <string>
#include <unistd.h>

static constexpr auto EVENT_RELAY_END = static_cast<events>(4001);

static constexpr policy_option options[] = {
    {.name = "-dest", .kind = POLICY_ARG_LIST, .expansion = "permit-destination"},
    {.name = "-ports", .kind = POLICY_ARG_LIST, .expansion = "permit-ports"},
    {.name = "-relay-to", .kind = POLICY_ARG_LIST, .expansion = "relay-to"},
    {.name = "-timeout", .kind = POLICY_ARG_ONE, .expansion = "timeout"},
    {},
};

struct destination {
    std::string host; // name or dotted address; empty for none
    int port = 0;
};

static destination find_destination(int client)
{
    const cfgrec *entry = cfg_first("relay-to", policy_confp);
    if (entry == nullptr) {
        destination asked;
        asked.host = text_of(getdsthost(client, &asked.port));
        return asked;
    }
    if (entry->argc == 2)
        return {entry->argv[0], str_to_port(entry->argv[1])};
    notice(EVENT_BAD_ENTRY, entry->lineno, "cfgerr: relay-to needs a host and a port, line %d",
           entry->lineno);
    return {};
}

static bool is_allowed(const destination &to)
{
    const int answer = to.host.empty() || to.port < 1 || to.port > 65535
                           ? DST_REFUSED
                           : permit_dst_chk(to.host.c_str(), to.port, policy_confp);
    if (answer == DST_NO_ADDRESS)
        notice(EVENT_NO_NAME, 0, "no address of host=%s", to.host.c_str());
    else if (answer != DST_ALLOWED)
        notice(EVENT_DEST_BLOCKED, 0, "deny host=%s/%s connect to %s/%d", proxy_rladdr,
               proxy_riaddr, to.host.empty() ? "(nowhere)" : to.host.c_str(), to.port);
    return answer == DST_ALLOWED;
}

// The connected socket, whose address becomes the log's destination; negative behind a report.
static int connect_to(const destination &to)
{
    sockaddr_in server{};
    const int fd = cli_conn(to.host.c_str(), AF_INET, htons(static_cast<in_port_t>(to.port)),
                            reinterpret_cast<sockaddr *>(&server));
    SetDstIPAddress(connContext, dotted(server.sin_addr.s_addr).c_str());
    SetDstPort(connContext, to.port);
    return fd;
}

static int idle_limit_s()
{
    const cfgrec *entry = cfg_first("timeout", policy_confp);
    return entry != nullptr && entry->argc == 1 ? lenient_number(entry->argv[0]) : proxy_timeout;
}

static void report_end(const relay_result &result, const destination &to, std::time_t begun)
{
    if (result.idle)
        notice(EVENT_IDLE, 0, "idle timed out duration=%d seconds", idle_limit_s());
    notice(
        EVENT_RELAY_END, 0,
        "exit host=%s/%s dest=%s/%d in=%" PRIu64 " out=%" PRIu64 " duration=%ld%s%s", proxy_rladdr,
        proxy_riaddr, to.host.c_str(), to.port, result.from_client, result.from_server,
        static_cast<long>(std::time(nullptr) - begun),
        result.error == 0 ? "" : " error=", result.error == 0 ? "" : std::strerror(result.error));
}

// Serves one client. Returns the status of the process.
static int serve(int client)
{
    const std::time_t begun = std::time(nullptr);
    if (rule_src_chk(client, options, "", true) == 0)
        return 1;
    const destination to = find_destination(client);
    const int server = is_allowed(to) ? connect_to(to) : -1;
    if (server < 0)
        return 1;
    report_end(relay(client, server, idle_limit_s()), to, begun);
    (void)close(server); // both ways have ended
    return 0;
}

int main(int argc, char **argv)
{
    servContext = InitServiceContextG();
    connContext = InitConnectionContextG();
    uselog = 1;
    proxy_init(&argc, &argv); // a daemon comes back in a child for each connection
    return serve(STDIN_FILENO);
}
