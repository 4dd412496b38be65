#include "lib/fwall/serve/service_manager.h"

#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

using namespace flatlink;

namespace
{

struct service_manager {
    std::string notices; // name of the socket for notices; empty for none
    int listener = -1;
};

} // namespace

// The value of a variable, which is unset; empty without it.
static std::string take_variable(const char *name)
{
    std::string value(text_of(std::getenv(name)));
    (void)unsetenv(name); // the name is valid
    return value;
}

static int socket_option(int fd, int option)
{
    int value = -1;
    socklen_t length = sizeof value;
    return getsockopt(fd, SOL_SOCKET, option, &value, &length) == 0 ? value : -1;
}

static bool is_tcp_listener(int fd)
{
    return socket_option(fd, SO_ACCEPTCONN) == 1 && socket_option(fd, SO_DOMAIN) == AF_INET &&
           socket_option(fd, SO_PROTOCOL) == IPPROTO_TCP;
}

// Sockets for another process, which is where LISTEN_PID points when a shell stands between the
// manager and us, are not ours.
static int take_listener()
{
    constexpr int FIRST_HANDED = 3;
    const std::string pid = take_variable("LISTEN_PID");
    const int count = lenient_number(take_variable("LISTEN_FDS"));
    (void)take_variable("LISTEN_FDNAMES"); // one socket needs no name
    if (pid != std::to_string(getpid()) || count <= 0)
        return -1;
    if (count > 1 || !is_tcp_listener(FIRST_HANDED)) {
        notice(EVENT_SOCKET, 0, "Failed to take over %s",
               count > 1 ? "more than one socket" : "descriptor 3, no TCP listener over IPv4");
        std::exit(1);
    }
    // Both are done on an open descriptor and cannot fail.
    (void)fcntl(FIRST_HANDED, F_SETFD, FD_CLOEXEC);
    (void)fcntl(FIRST_HANDED, F_SETFL, fcntl(FIRST_HANDED, F_GETFL) & ~O_NONBLOCK);
    return FIRST_HANDED;
}

static service_manager &manager()
{
    static service_manager met = {take_variable("NOTIFY_SOCKET"), take_listener()};
    return met;
}

bool flatlink::has_service_manager()
{
    return manager().listener >= 0 || !manager().notices.empty();
}

int flatlink::handed_listener()
{
    return manager().listener;
}

void flatlink::tell_service_manager(const char *lines)
{
    const std::string &name = manager().notices;
    sockaddr_un address{};
    if (name.size() < 2 || name.size() > sizeof address.sun_path)
        return;
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@')
        address.sun_path[0] = '\0'; // a name that is no path
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    const timeval limit{.tv_sec = NOTICE_WAIT_S, .tv_usec = 0};
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    (void)sendto(fd, lines, std::strlen(lines), MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr *>(&address), length);
    (void)close(fd); // nothing is left in it
}

void flatlink::leave_service_manager()
{
    manager().notices.clear();
}
