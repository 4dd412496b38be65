#include "lib/fwall/serve/daemon.h"

#include "lib/fwall/log/log.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/serve/accept_lock.h"
#include "lib/fwall/serve/children.h"
#include "lib/fwall/serve/client_limits.h"
#include "lib/fwall/serve/daemon_signals.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/serve/service_manager.h"
#include "lib/fwall/serve/standard_fds.h"
#include "lib/fwall/serve/stop.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/log_sender.h"
#include "lib/ulib/notice.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

using namespace flatlink;

namespace
{

struct acceptor {
    int listener = -1;
    int spare = -1; // a reserve, closed when the process runs out of descriptors
};

} // namespace

static int port_number(const char *port)
{
    const int number = str_to_port(port);
    if (number <= std::numeric_limits<std::uint16_t>::max())
        return number;
    notice(EVENT_BAD_ENTRY, 0, "cfgerr: cannot decode %s as port", port);
    std::exit(1);
}

// Flushes before forking: otherwise each process would write the buffered output again.
static pid_t fork_clean()
{
    (void)std::fflush(nullptr);
    return fork();
}

// A prepared link or pipe at the path must neither redirect the write nor block it.
static void write_pid_file(int port, pid_t pid)
{
    constexpr mode_t READABLE = 0644;
    const std::string path = "/var/run/proxy." + std::to_string(port) + ".pid";
    const int fd =
        open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, READABLE);
    if (fd < 0)
        return;
    const std::string text = std::to_string(pid) + "\n";
    struct stat status;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && ftruncate(fd, 0) == 0)
        (void)!write(fd, text.data(), text.size()); // the daemon can do without it
    (void)close(fd);
}

static void sleep_whole(unsigned seconds)
{
    while (seconds > 0)
        seconds = sleep(seconds); // returns the rest after a signal
}

// Returns true when it had to retry.
static bool bind_listener(int listener, int port)
{
    constexpr unsigned PAUSE_S = 120;
    bool again = false;
    while (bind(listener, reinterpret_cast<const sockaddr *>(&proxy_bind), sizeof proxy_bind) !=
           0) {
        notice(EVENT_BIND, 0, "Failed to bind port %d, %s", port, std::strerror(errno));
        notice(EVENT_WAITING, 0, "sleeping for 2 minutes");
        sleep_whole(PAUSE_S);
        again = true;
    }
    return again;
}

static int open_listener(int port)
{
    constexpr int BACKLOG = 16;
    proxy_bind.sin_family = AF_INET;
    proxy_bind.sin_port = htons(static_cast<std::uint16_t>(port));
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener < 0) {
        notice(EVENT_SOCKET, 0, "Failed to create socket, %s", std::strerror(errno));
        std::exit(1);
    }
    const int on = 1;
    (void)setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on); // bind reports a failure
    const bool again = bind_listener(listener, port);
    if (listen(listener, BACKLOG) != 0) {
        notice(EVENT_LISTEN, 0, "Failed to listen, %s", std::strerror(errno));
        std::exit(1);
    }
    if (again)
        notice(EVENT_PORT_READY, 0, "Now ready on port %d", port);
    return listener;
}

// Forks until there are `proxy_accept_count` processes.
static void fork_acceptors()
{
    for (int i = 1; i < proxy_accept_count; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            clear_children();
            leave_service_manager();
            return;
        }
        if (pid < 0)
            notice(EVENT_SYSTEM, 0, "Fork failed: %s", std::strerror(errno));
        else
            add_acceptor(pid);
    }
}

static int open_spare()
{
    return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

static int wait_for_connection(int listener)
{
    const signals_open open;
    return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

static bool wait_for_client(int listener)
{
    pollfd client{.fd = listener, .events = POLLIN, .revents = 0};
    int ready = 0;
    do {
        const signals_open open;
        ready = poll(&client, 1, -1);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

// Out of descriptors accept fails at once and the loop would spin. Accepts the next client with the
// spare descriptor and closes the connection, or returns it if descriptors have become free. -1
// without a connection.
static int accept_with_spare(acceptor &own)
{
    if (own.spare < 0 || !wait_for_client(own.listener)) {
        own.spare = own.spare < 0 ? open_spare() : own.spare;
        return -1;
    }
    (void)close(own.spare);
    const int connection = wait_for_connection(own.listener);
    own.spare = open_spare();
    if (own.spare >= 0 || connection < 0)
        return connection;
    (void)close(connection);
    own.spare = open_spare();
    return -1;
}

// The next connection, or -1 if this turn brought none.
static int next_connection(acceptor &own)
{
    accept_lock();
    int connection = wait_for_connection(own.listener);
    if (connection < 0 && errno != EINTR) {
        const bool no_descriptor = errno == EMFILE || errno == ENFILE;
        notice(EVENT_ACCEPT, 0, "Accept failed, %s", std::strerror(errno));
        if (no_descriptor)
            connection = accept_with_spare(own);
    }
    accept_unlock();
    return connection;
}

static void become_connection_child(const acceptor &own, int connection)
{
    set_log_wait_ms(LOG_WAIT_MS);
    V_OpenLog(proxy_name, servContext, LOG_PID | LOG_NDELAY, LOG_DAEMON);
    (void)close(own.listener);
    if (own.spare >= 0)
        (void)close(own.spare);
    standard_fds_from(connection);
    give_signals_back();
}

static bool is_within_child_limit()
{
    if (proxy_child_limit <= 0 || proxy_child_count <= proxy_child_limit)
        return true;
    notice(EVENT_CHILD_LIMIT, 0, "deny use of proxy: too many active children (limit %d)",
           proxy_child_limit);
    return false;
}

// Accepts and forks. Returns the child of the connection, 0 in that child, or -1 when the
// connection is refused or there is none.
static pid_t fork_for(int connection)
{
    in_addr_t client_be = INADDR_ANY;
    if (!is_within_child_limit() || !is_within_client_limits(connection, client_be))
        return -1;
    proxy_check_reload();
    const pid_t pid = fork();
    if (pid < 0)
        notice(EVENT_SYSTEM, 0, "Fork failed, %s", std::strerror(errno));
    else if (pid > 0)
        add_client(pid, client_be);
    return pid;
}

// The accept loop of one accepting process. Returns in its connection children.
static void serve(acceptor &own)
{
    for (;;) {
        const int connection = next_connection(own);
        if (connection < 0)
            continue;
        ++proxy_child_count;
        const pid_t pid = fork_for(connection);
        if (pid == 0) {
            become_connection_child(own, connection);
            return;
        }
        if (pid < 0)
            --proxy_child_count;
        (void)close(connection); // the child has its own
    }
}

// False when the fork failed.
static bool continue_in_background(int port)
{
    (void)setsid(); // fails for a group leader, which is about to end
    const pid_t pid = fork_clean();
    if (pid > 0) {
        write_pid_file(port, pid);
        _exit(0);
    }
    return pid == 0;
}

// The port of a socket that was handed over, which counts before what the command line says.
static int port_of(int listener)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    (void)getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length); // it is a socket
    return ntohs(address.sin_port);
}

int do_daemon(const char *port)
{
    int number = port_number(port);
    if (!has_service_manager() && !continue_in_background(number))
        return -1;
    if (handed_listener() >= 0)
        number = port_of(handed_listener());
    (void)std::fflush(nullptr); // before the first connection forks, as in fork_clean
    standard_fds_to_null();
    set_log_wait_ms(0); // while an accepting process waits, so do all clients
    share_lost_counts();
    notice(EVENT_DAEMON, 0, "Starting daemon mode on port %s(%d)", port, number);
    acceptor own;
    own.listener = handed_listener() >= 0 ? handed_listener() : open_listener(number);
    own.spare = open_spare();
    prepare_stop(own.listener);
    start_daemon_signals();
    if (proxy_accept_count > 1)
        lock_init(port);
    tell_service_manager("READY=1");
    fork_acceptors();
    serve(own);
    return 0;
}

void daemonize()
{
    (void)std::signal(SIGHUP, SIG_IGN);
    (void)std::signal(SIGALRM, SIG_IGN);
    const pid_t pid = fork_clean();
    if (pid < 0) {
        notice(EVENT_SYSTEM, 0, "Fork failed: %s", std::strerror(errno));
        std::exit(1);
    }
    if (pid > 0)
        _exit(0);
    (void)setsid(); // can't fail: a new child leads no group
    notice(EVENT_DAEMON, 0, "daemon running");
}
