// A generic relay of TCP connections: asks whether the client may use it, finds out where the
// connection is to go and whether that is allowed, and carries the bytes across.
//   plug-relay -daemon PORT
// Its entries of netperm-table, beside those of every proxy (lib/fwall/serve/init.h, srcchk.h,
// chkdest.h):
//   relay-to HOST PORT   where all connections go; without it, where each was going when the
//                        packet filter redirected it to the relay
//   timeout SECONDS      longest time in which no byte moves
//   session-timeout SECONDS   longest time from the client's arrival to its end; 0 and without it
//                        there is no limit. Anything but one number refuses the connection
//   userid, groupid      the identity of a connection's process, from before its first byte is read
// Options of its hosts lines: -dest ITEM or { ITEMS }, -ports ITEM or { ITEMS }, -relay-to { HOST
// PORT }, -timeout SECONDS, -session-timeout SECONDS; they go before the entry of their name.
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
#include "options.h"
#include "relay.h"
#include "rights.h"
#include "start.h"

#include <chrono>
#include <cinttypes>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace flatlink;

using steady = std::chrono::steady_clock;

static constexpr auto EVENT_RELAY_END = static_cast<events>(4001);
static constexpr auto EVENT_SESSION_TIME = static_cast<events>(6006);

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

// The connected socket, whose address becomes the log's destination; negative after a report.
static int connect_to(const destination &to)
{
    sockaddr_in server{};
    const int fd = cli_conn(to.host.c_str(), AF_INET, htons(static_cast<in_port_t>(to.port)),
                            reinterpret_cast<sockaddr *>(&server));
    SetDstIPAddress(connContext, format_address(server.sin_addr.s_addr).c_str());
    SetDstPort(connContext, to.port);
    return fd;
}

static int idle_limit_s()
{
    const cfgrec *entry = cfg_first("timeout", policy_confp);
    return entry != nullptr && entry->argc == 1 ? lenient_number(entry->argv[0]) : proxy_timeout;
}

// False after a report.
static bool find_session_limit(int &session_s)
{
    const cfgrec *entry = cfg_first("session-timeout", policy_confp);
    if (entry == nullptr)
        return true;
    const std::string_view text = entry->argc == 1 ? entry->argv[0] : "";
    if (!text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos) {
        session_s = lenient_number(text);
        return true;
    }
    notice(EVENT_BAD_ENTRY, entry->lineno, "cfgerr: session-timeout needs a number, line %d",
           entry->lineno);
    return false;
}

static void report_end(const relay_result &result, const destination &to,
                       const relay_limits &limits)
{
    using std::chrono::duration_cast, std::chrono::seconds;
    if (result.end == RELAY_IDLE)
        notice(EVENT_IDLE, 0, "idle timed out duration=%d seconds", limits.idle_s);
    if (result.end == RELAY_TIME_OVER)
        notice(EVENT_SESSION_TIME, 0, "session timed out duration=%d seconds", limits.session_s);
    notice(
        EVENT_RELAY_END, 0,
        "exit host=%s/%s dest=%s/%d in=%" PRIu64 " out=%" PRIu64 " duration=%ld%s%s", proxy_rladdr,
        proxy_riaddr, to.host.c_str(), to.port, result.from_client, result.from_server,
        static_cast<long>(duration_cast<seconds>(steady::now() - limits.begun).count()),
        result.error == 0 ? "" : " error=", result.error == 0 ? "" : std::strerror(result.error));
}

// A client that is told of a denial and does not read must not keep the process.
static void limit_sends(int client)
{
    const timeval limit{.tv_sec = proxy_timeout > 0 ? proxy_timeout : 0, .tv_usec = 0};
    (void)setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit); // fails for no socket
}

// Serves one client. Returns the status of the process.
static int serve(int client)
{
    relay_limits limits{.begun = steady::now()};
    limit_sends(client);
    if (rule_src_chk(client, plug_relay_options, "", true) == 0)
        return 1;
    const destination to = find_destination(client);
    // From here on nothing asks the firewall's device, which may be root's.
    if (!find_session_limit(limits.session_s) || !give_up_rights())
        return 1;
    const int server = is_allowed(to) ? connect_to(to) : -1;
    if (server < 0)
        return 1;
    limits.idle_s = idle_limit_s();
    report_end(relay(client, server, limits), to, limits);
    (void)close(server); // both ways have ended
    return 0;
}

int main(int argc, char **argv)
{
    if (const int status = answer_at_start(argc, argv); status >= 0)
        return status;
    servContext = InitServiceContextG();
    connContext = InitConnectionContextG();
    uselog = 1;
    if (const int status = start_relay(&argc, &argv); status != 0)
        return status;
    return serve(STDIN_FILENO); // a daemon comes here in a child for each connection
}
