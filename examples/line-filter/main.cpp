// A proxy that lets through the lines of a client that a list of patterns allows, and carries what
// the server answers back unchanged.
//   line-filter -daemon PORT
// Its entries of netperm-table, beside those of every proxy:
//   forward-to HOST PORT                where all lines go
//   [permit-|deny-]lines PATTERN...     first match decides (nacasematch); a line that none fits
//                                       is refused, as is one longer than LINE_MAX_BYTES
//   timeout SECONDS                     longest time in which no byte moves
// Option of its hosts lines: -lines PATTERN or { PATTERNS }, which go before the entries.
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/say.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/pmsg.h"
#include "lib/ulib/report.h"
#include "lib/ulib/socket.h"
#include "lib/ulib/usage.h"
#include "options.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <string>
#include <string_view>
#include <unistd.h>

using namespace flatlink;

// Longest line, without its end: what a client types by hand, and a bound on what is held for it.
static constexpr std::size_t LINE_MAX_BYTES = 1000;

// Events of this proxy, from the numbers that are free for proxies.
static constexpr auto EVENT_LINE_REFUSED = static_cast<events>(4000);
static constexpr auto EVENT_FILTER_END = static_cast<events>(4001);

static constexpr char USAGE[] = "usage: line-filter [-as NAME] -daemon PORT\n"
                                "       line-filter -version | --version | --help\n"
                                "Passes on the lines of a client that its entries of netperm-table "
                                "allow.\n";

struct session {
    int server = -1;
    std::string pending; // bytes of the client that do not make a whole line yet
    bool too_long = false;
    long passed = 0;
    long refused = 0;
};

// True when the first entry with a pattern that fits the line permits it.
static bool line_is_allowed(const std::string &line)
{
    for (const cfgrec *entry = cfg_first("lines", policy_confp); entry != nullptr;
         entry = cfg_next("lines", entry))
        for (int i = 0; i < entry->argc; ++i)
            if (nacasematch(entry->argv[i], line.c_str()) != 0)
                return entry->flags != CFG_DENY;
    return false;
}

static bool write_all(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t done = write(fd, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(done));
    }
    return true;
}

// Passes one line on, or tells the client that it does not go on. `line` has no newline; a carriage
// return at its end is not compared. False when the server or the client has gone.
static bool filter_line(session &now, std::string line)
{
    const std::string whole = line + "\n";
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    const bool readable = !now.too_long && line.find('\0') == std::string::npos;
    if (readable && line_is_allowed(line)) {
        ++now.passed;
        return write_all(now.server, whole);
    }
    ++now.refused;
    notice(EVENT_LINE_REFUSED, 0, "deny host=%s/%s line %ld: %s", proxy_rladdr, proxy_riaddr,
           now.passed + now.refused, now.too_long ? "too long" : "no pattern allows it");
    return fwall_say(STDOUT_FILENO, "line refused") == 0;
}

// Splits the client's bytes into lines. False when the session is over.
static bool take_client_bytes(session &now, std::string_view bytes)
{
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (now.pending.size() + piece.size() > LINE_MAX_BYTES)
            now.too_long = true;
        else
            now.pending += piece;
        if (end == std::string_view::npos)
            return true;
        bytes.remove_prefix(end + 1);
        const bool goes_on = filter_line(now, now.pending);
        now.pending.clear();
        now.too_long = false;
        if (!goes_on)
            return false;
    }
    return true;
}

// Serves both sides until one ends or no byte has moved for `idle_s` seconds; 0: no limit.
static void filter(session &now, int idle_s)
{
    std::array<char, 4096> block{};
    pollfd sides[] = {{STDIN_FILENO, POLLIN, 0}, {now.server, POLLIN, 0}};
    for (;;) {
        const int ready = poll(sides, 2, idle_s > 0 ? idle_s * 1000 : -1);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return;
        for (const pollfd &side : sides) {
            if (side.revents == 0)
                continue;
            const ssize_t got = read(side.fd, block.data(), block.size());
            if (got < 0 && errno == EINTR)
                continue;
            if (got <= 0)
                return;
            const std::string_view bytes{block.data(), static_cast<std::size_t>(got)};
            const bool goes_on = side.fd == now.server ? write_all(STDOUT_FILENO, bytes)
                                                       : take_client_bytes(now, bytes);
            if (!goes_on)
                return;
        }
    }
}

// The connected server, or -1 after a report.
static int connect_to_server()
{
    const cfgrec *entry = cfg_first("forward-to", policy_confp);
    if (entry == nullptr || entry->argc != 2) {
        notice(EVENT_BAD_ENTRY, entry == nullptr ? 0 : entry->lineno,
               "cfgerr: forward-to needs a host and a port");
        return -1;
    }
    const char *host = entry->argv[0];
    const int port = str_to_port(entry->argv[1]);
    if (port < 1 || port > 65535 || permit_dst_chk(host, port, policy_confp) != DST_ALLOWED) {
        notice(EVENT_DEST_BLOCKED, 0, "deny host=%s/%s connect to %s/%d", proxy_rladdr,
               proxy_riaddr, host, port);
        return -1;
    }
    return cli_conn(host, AF_INET, htons(static_cast<in_port_t>(port)), nullptr);
}

int main(int argc, char **argv)
{
    if (const int status = answer_usage(argc, argv, "line-filter", USAGE); status >= 0)
        return status;
    servContext = InitServiceContextG();
    connContext = InitConnectionContextG();
    uselog = 1; // descriptor 2 is the client: messages must not go there
    (void)std::signal(SIGPIPE, SIG_IGN);
    proxy_init(&argc, &argv); // a daemon comes back in a child for each connection

    if (rule_src_chk(STDIN_FILENO, line_filter_options, "", true) == 0)
        return 1;
    session now;
    now.server = connect_to_server();
    if (now.server < 0)
        return 1;
    filter(now, proxy_timeout);
    notice(EVENT_FILTER_END, 0, "exit host=%s/%s passed=%ld refused=%ld", proxy_rladdr,
           proxy_riaddr, now.passed, now.refused);
    (void)close(now.server); // both sides are done
    return 0;
}
