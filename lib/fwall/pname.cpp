#include "lib/fwall/pname.h"

#include "lib/fwall/context_calls.h"
#include "lib/fwall/fixed_text.h"
#include "lib/kdev/firewall_names.h"
#include "lib/ulib/report.h"

#include <cerrno>

int peer_addr_name(const sockaddr_in *addr, char *name, char *address, std::size_t size)
{
    if (size == 0)
        return 0;
    char text[INET_ADDRSTRLEN];
    (void)inet_ntop(AF_INET, &addr->sin_addr, text, sizeof text); // has room
    set_bytes(address, size, std::string_view(text).substr(0, size - 1));
    if (name[0] == '\0')
        set_bytes(name, size, std::string_view("unknown").substr(0, size - 1));
    return 0;
}

int peername(int fd, char *name, char *address, std::size_t size)
{
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (vfw_getpeername(fd, &peer, &length) != 0)
        return 1;
    // A socket of another family has no address that a pattern could be compared with.
    if (peer.sin_family != AF_INET) {
        errno = EAFNOSUPPORT;
        return 1;
    }
    (void)peer_addr_name(&peer, name, address, size); // can't fail
    char text[INET_ADDRSTRLEN];
    SetSrcIPAddress(connContext, inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text));
    SetSrcPort(connContext, ntohs(peer.sin_port));
    return 0;
}
