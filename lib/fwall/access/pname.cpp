#include "lib/fwall/access/pname.h"

#include "lib/fwall/log/context_calls.h"
#include "lib/kdev/firewall_names.h"
#include "lib/ulib/address.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/report.h"

#include <cerrno>

using namespace flatlink;

int peer_addr_name(const sockaddr_in *addr, char *name, char *address, std::size_t size)
{
    if (size == 0)
        return 0;
    set_bytes(address, size, format_address(addr->sin_addr.s_addr).substr(0, size - 1));
    if (name[0] == '\0')
        set_bytes(name, size, std::string_view("unknown").substr(0, size - 1));
    return 0;
}

static int take_peer(const sockaddr_in &peer, char *name, char *address, std::size_t size)
{
    // Other families have no address that a pattern could be compared with.
    if (peer.sin_family != AF_INET) {
        errno = EAFNOSUPPORT;
        return 1;
    }
    (void)peer_addr_name(&peer, name, address, size); // can't fail
    SetSrcIPAddress(connContext, format_address(peer.sin_addr.s_addr).c_str());
    SetSrcPort(connContext, ntohs(peer.sin_port));
    return 0;
}

int peername(int fd, char *name, char *address, std::size_t size)
{
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    return vfw_getpeername(fd, &peer, &length) == 0 ? take_peer(peer, name, address, size) : 1;
}

int flatlink::endnames(int fd, char *name, char *address, std::size_t size, sockaddr_in *local)
{
    sockaddr_in peer{}, near{};
    if (vfw_getends(fd, &peer, &near) != 0 || take_peer(peer, name, address, size) != 0)
        return 1;
    *local = near;
    return 0;
}
