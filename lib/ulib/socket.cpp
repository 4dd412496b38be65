#include "lib/ulib/socket.h"

#include "lib/ulib/events.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/pmsg.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <netdb.h>
#include <netinet/in.h>
#include <string>
#include <sys/un.h>
#include <unistd.h>

using namespace flatlink;

static constexpr int BACKLOG = 16;
static constexpr socklen_t INET_LENGTH = sizeof(sockaddr_in);
static_assert(INET_LENGTH == 16 && sizeof(sockaddr_un) == 110);

// When serv_select last saw activity, in seconds of the monotonic clock; 0 for never.
static std::time_t last_activity = 0;

// Filled by serv_listen for callers without an address; fits either family.
static sockaddr_un shared_address;

enum class tell_errno { NO, YES };

static void tell(events event, const std::string &message, tell_errno with)
{
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = event;
    pmsg(message.c_str(), with == tell_errno::YES ? 1 : 0, uniq);
}

void clear_close_fd(int fd, fd_set *set1, fd_set *set2)
{
    for (fd_set *set : {set1, set2})
        if (set != nullptr && fd >= 0 && fd < FD_SETSIZE)
            FD_CLR(fd, set);
    (void)close(fd); // the caller can't act on a failure
}

int get_local_hostname(char *name)
{
    constexpr std::size_t NAME_SIZE = 256;
    if (gethostname(name, NAME_SIZE) != 0)
        name[0] = '\0';
    name[NAME_SIZE - 1] = '\0';
    if (name_service->host_by_name(name) != nullptr)
        return 0;
    tell(EVENT_SYSTEM, std::string(" Can't lookup up my own hostname: ") + name, tell_errno::NO);
    return -1;
}

static std::time_t now_s()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

int serv_select(int nfds, fd_set *readset, void *, int seconds, int idlelimit)
{
    constexpr int DEFAULT_WAIT_S = 3;
    timeval wait{.tv_sec = seconds > 0 ? seconds : DEFAULT_WAIT_S, .tv_usec = 0};
    const int ready = select(nfds, readset, nullptr, nullptr, &wait);
    if (ready < 0) {
        const int error = errno;
        if (error != EINTR)
            tell(EVENT_SELECT, "select", tell_errno::YES);
        return -error;
    }
    if (ready > 0 || idlelimit < 1 || last_activity == 0) {
        last_activity = now_s();
        return ready;
    }
    if (now_s() - last_activity <= idlelimit)
        return 0;
    tell(EVENT_IDLE, "idle timed out duration=" + std::to_string(idlelimit) + " seconds",
         tell_errno::NO);
    return SELECT_IDLE;
}

// Looks up `host`. False after a report.
static bool find_host(const char *host, in_addr &address)
{
    if (host[std::strspn(host, ".")] == '\0') {
        tell(EVENT_BAD_ENTRY, "hostname unparsable", tell_errno::NO);
        return false;
    }
    const hostent *answer = name_service->host_by_name(host);
    if (answer == nullptr || answer->h_addr_list[0] == nullptr) {
        tell(EVENT_NO_NAME, std::string("hostname unknown: ") + host, tell_errno::NO);
        return false;
    }
    if (!h_lengthCorrect(answer->h_length, host))
        return false;
    std::memcpy(&address, answer->h_addr_list[0], sizeof address);
    return true;
}

int saddr_init(const char *host, int family, int port, sockaddr *saddr)
{
    if (saddr != nullptr)
        std::memset(saddr, 0, INET_LENGTH);
    in_addr address{};
    if (host != nullptr && !find_host(host, address))
        return -1;
    sockaddr_in filled{};
    filled.sin_family = static_cast<sa_family_t>(family);
    if (family == AF_INET) {
        filled.sin_port = static_cast<in_port_t>(port);
        filled.sin_addr = address;
    } else if (family == AF_UNIX) {
        std::memcpy(reinterpret_cast<char *>(&filled) + offsetof(sockaddr_un, sun_path), &address,
                    sizeof address);
    } else {
        tell(EVENT_BAD_ENTRY, "The family(" + std::to_string(family) + ") not supported yet :-(",
             tell_errno::NO);
        return -1;
    }
    if (saddr != nullptr)
        std::memcpy(saddr, &filled, INET_LENGTH);
    return 0;
}

int sock_init(const char *host, int family, int port, int type, sockaddr *saddr, int)
{
    const int fd = socket(family, type | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        tell(EVENT_SYSTEM, "socket init", tell_errno::YES);
        return fd;
    }
    if (saddr_init(host, family, port, saddr) == 0)
        return fd;
    (void)close(fd); // only just made
    return -1;
}

socklen_t saddrlen(int family, const sockaddr *saddr)
{
    if (saddr == nullptr)
        return 0;
    return family == AF_UNIX ? sizeof(sockaddr_un) : family == AF_INET ? INET_LENGTH : 0;
}

static void set_port(sockaddr *saddr, int natural_port)
{
    const in_port_t port_be = htons(static_cast<in_port_t>(natural_port));
    std::memcpy(reinterpret_cast<char *>(saddr) + offsetof(sockaddr_in, sin_port), &port_be,
                sizeof port_be);
}

// bindport with ports in host order; false after a report. A function of its own because the port
// of an AF_UNIX address, -1, looks like bindport's failure.
static bool bind_in_range(int fd, int family, int &port, int high, sockaddr *saddr)
{
    high = std::max(high, port);
    while (bind(fd, saddr, saddrlen(family, saddr)) != 0) {
        if (errno != EADDRINUSE) {
            tell(EVENT_BIND, "bindport", tell_errno::YES);
            return false;
        }
        if (++port > high) {
            tell(EVENT_PORTS_TAKEN, "All ports are in use", tell_errno::NO);
            return false;
        }
        if (family != AF_INET)
            return false;
        set_port(saddr, port);
    }
    return true;
}

static int natural(int family, int port)
{
    return family == AF_INET ? ntohs(static_cast<in_port_t>(port)) : port;
}

static int network(int family, int port)
{
    return family == AF_INET ? htons(static_cast<in_port_t>(port)) : port;
}

int bindport(int fd, int family, int low, int high, sockaddr *saddr)
{
    int port = natural(family, low);
    return bind_in_range(fd, family, port, natural(family, high), saddr) ? network(family, port)
                                                                         : -1;
}

// The steps of serv_listen after the socket is made. Returns 0, or serv_listen's failure.
static int listen_on(int fd, int family, sockaddr *saddr, int *portio, const int *highport)
{
    const int no_reuse = 0;
    if (family == AF_INET &&
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &no_reuse, sizeof no_reuse) != 0) {
        tell(EVENT_SOCKET_OPTION, "SO_REUSEADDR", tell_errno::YES);
        return -2;
    }
    int port = family == AF_INET ? natural(family, *portio) : -1;
    if (!bind_in_range(fd, family, port, highport == nullptr ? 0 : natural(family, *highport),
                       saddr))
        return -3;
    *portio = network(family, port);
    if (listen(fd, BACKLOG) == 0)
        return 0;
    tell(EVENT_LISTEN, "serv_listen", tell_errno::YES);
    return -4;
}

int serv_listen(const char *host, int family, sockaddr *saddr, int *portio, const int *highport)
{
    sockaddr *address = saddr == nullptr ? reinterpret_cast<sockaddr *>(&shared_address) : saddr;
    const int fd = sock_init(host, family, *portio, SOCK_STREAM, address, 0);
    if (fd < 0)
        return fd;
    const int failure = listen_on(fd, family, address, portio, highport);
    if (failure == 0)
        return fd;
    (void)close(fd); // not listening yet: nothing can be lost
    return failure;
}

// Connects `fd`, and closes it on failure. Returns `fd`, or `failure` after a report.
static int connect_or_close(int fd, const sockaddr *address, const char *what, int failure)
{
    if (connect(fd, address, INET_LENGTH) == 0)
        return fd;
    tell(EVENT_CONNECT, what, tell_errno::YES);
    (void)close(fd); // nothing was sent
    return failure;
}

int cli_conn(const char *host, int family, int port, sockaddr *saddr)
{
    sockaddr own{};
    sockaddr *address = saddr == nullptr ? &own : saddr;
    const int fd = sock_init(host, family, port, SOCK_STREAM, address, 0);
    return fd < 0 ? fd : connect_or_close(fd, address, "cli_conn", -2);
}

int conn_sd(const sockaddr *saddr)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        tell(EVENT_SOCKET_OPTION, "socket", tell_errno::YES);
        return -1;
    }
    return connect_or_close(fd, saddr, "connect:", -1);
}
