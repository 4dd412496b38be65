#include "start.h"

#include "lib/fwall/match/port.h"
#include "lib/fwall/serve/daemon.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/serve/service_manager.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/report.h"
#include "lib/ulib/usage.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace flatlink;

static constexpr int STATUS_USAGE = 2;

static constexpr char USAGE[] =
    "usage: plug-relay [-as NAME] -daemon PORT\n"
    "       plug-relay -version | --version | --help\n"
    "Relays TCP connections as the entries of plug-relay in netperm-table say. With -daemon it\n"
    "listens on PORT, a number or the name of a service, in the background, and ends with a "
    "signal\n"
    "to the process that /var/run/proxy.PORT.pid names. Without it the client is descriptor 0.\n";

static bool is_socket(int fd)
{
    int type = 0;
    socklen_t length = sizeof type;
    return getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) == 0;
}

static int refuse_usage()
{
    (void)std::fputs(USAGE, stderr); // a terminal that has gone reads nothing
    return STATUS_USAGE;
}

int answer_at_start(int argc, char **argv)
{
    if (argc < 2 && !is_socket(STDIN_FILENO))
        return refuse_usage();
    return answer_usage(argc, argv, "plug-relay", USAGE);
}

// Shows a report; it goes on to the log all the same.
__attribute__((format(printf, 3, 0))) static bool show_report(const UNIQUE_DATA_T &, int,
                                                              const char *format, va_list args)
{
    char text[1024];
    if (std::vsnprintf(text, sizeof text, format, args) >= 0)
        (void)std::fprintf(stderr, "plug-relay: %s\n", text);
    return false;
}

// True when the port can be had, else false with errno. The daemon itself waits for a port that is
// taken, in the background, and never says so to the one who started it.
static bool can_listen(int port)
{
    sockaddr_in address = proxy_bind;
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    const bool can = fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                     bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const int error = errno;
    if (fd >= 0)
        (void)close(fd); // it was never connected
    errno = error;
    return can;
}

static int start_daemon()
{
    const int port = str_to_port(gPortName);
    if (port > std::numeric_limits<in_port_t>::max()) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: cannot decode %s as port", gPortName);
        return 1;
    }
    if (handed_listener() < 0 && !can_listen(port)) {
        notice(EVENT_BIND, 0, "Failed to bind port %d, %s", port, std::strerror(errno));
        return 1;
    }
    report_tap = nullptr; // descriptor 2 of a child is its client
    if (do_daemon(gPortName) == 0)
        return 0;
    std::perror("plug-relay: fork");
    return 1;
}

int start_relay(int *argc, char ***argv)
{
    const bool is_shown = !is_socket(STDIN_FILENO);
    report_tap = is_shown ? show_report : nullptr;
    proxy_init_no_daemon(argc, argv);
    if (gPortName != nullptr)
        return start_daemon();
    report_tap = nullptr;
    return is_shown ? refuse_usage() : 0;
}
