// A lower bound for a server with one process per connection: accept, fork, one datagram of the
// size of a log record, echo. No checks, no table, no signals but SIGCHLD.
//   accept_fork PORT LOG_PATH [names]
// With `names` it also looks up the client's name.
#include "bench/connections/echo.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr std::size_t RECORD_SIZE = 1680; // of the log daemon's records

static int open_listener(const char *port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int on = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(std::atoi(port)));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(fd, 128) != 0)
        std::abort();
    return fd;
}

static void send_datagram(std::string_view path)
{
    static const char record[RECORD_SIZE] = {};
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (sendto(fd, record, sizeof record, 0, reinterpret_cast<const sockaddr *>(&address),
               sizeof address) != RECORD_SIZE)
        std::abort();
    close(fd);
}

static void look_up(int connection)
{
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (getpeername(connection, reinterpret_cast<sockaddr *>(&peer), &length) != 0)
        std::abort();
    (void)gethostbyaddr(&peer.sin_addr, sizeof peer.sin_addr, AF_INET); // only its cost matters
}

static void collect(int)
{
    const int error = errno;
    while (waitpid(-1, nullptr, WNOHANG) > 0)
        continue;
    errno = error;
}

int main(int argc, char **argv)
{
    if (argc < 3)
        return 2;
    const int listener = open_listener(argv[1]);
    struct sigaction action = {};
    action.sa_handler = collect;
    if (sigaction(SIGCHLD, &action, nullptr) != 0)
        std::abort();
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0)
            continue;
        if (fork() == 0) {
            close(listener);
            if (argc > 3)
                look_up(connection);
            send_datagram(argv[2]);
            echo(connection);
            _exit(0);
        }
        close(connection);
    }
}
