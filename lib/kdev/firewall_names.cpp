// The ordinary name calls with the true ends in place of the redirected ones.
#include "lib/kdev/firewall_names.h"

#include "lib/kdev/internal/firewall_query.h"

#include <cerrno>
#include <fcntl.h>

using namespace flatlink;

// Asks for the true ends of `req` and stores `end`, one of its fields, as the result. A connection
// that is not redirected keeps the ordinary name that is stored already.
static int take_true_name(int sock, fw_name_req *req, const fw_address &end, sockaddr_in *addr,
                          socklen_t *lenp)
{
    const int found = fw_query_names(sock, req);
    if (found != 0)
        return found == FW_NOT_REDIRECTED ? 0 : -1;
    *addr = from_record(end);
    *lenp = sizeof *addr;
    return 0;
}

int vfw_getpeername(int sock, sockaddr_in *addr, socklen_t *lenp)
{
    fw_name_req req{};
    if (fw_plain_name(getpeername, sock, addr, lenp) != 0 ||
        fw_plain_end(getsockname, sock, &req.local) != 0)
        return -1;
    req.peer = to_record(*addr);
    return take_true_name(sock, &req, req.peer, addr, lenp);
}

int vfw_getsockname(int sock, sockaddr_in *addr, socklen_t *lenp)
{
    fw_name_req req{};
    if (fw_plain_name(getsockname, sock, addr, lenp) != 0)
        return -1;
    if (fw_plain_end(getpeername, sock, &req.peer) != 0)
        return errno == ENOTCONN ? 0 : -1;
    req.local = to_record(*addr);
    return take_true_name(sock, &req, req.local, addr, lenp);
}

int flatlink::vfw_getends(int sock, sockaddr_in *peer, sockaddr_in *local)
{
    sockaddr_in far{}, near{};
    socklen_t length = 0;
    if (fw_plain_name(getpeername, sock, &far, &length) != 0 ||
        fw_plain_name(getsockname, sock, &near, &length) != 0)
        return -1;
    fw_name_req req{};
    req.peer = to_record(far);
    req.local = to_record(near);
    const int found = fw_query_names(sock, &req);
    if (found != 0 && found != FW_NOT_REDIRECTED)
        return -1;
    *peer = found == 0 ? from_record(req.peer) : far;
    *local = found == 0 ? from_record(req.local) : near;
    return 0;
}

int vfw_getdstname(int sock, sockaddr_in *addr, socklen_t *lenp)
{
    fw_name_req req{};
    std::int32_t local = 0;
    if (fw_query_session(sock, &req, &local) != 0)
        return -1;
    if (local != 0)
        return 1;
    *addr = from_record(req.local);
    *lenp = sizeof *addr;
    return 0;
}

int vfw_getbothnames(int sock, sockaddr_in *peer, sockaddr_in *dst, u32 *localaddr_be)
{
    fw_name_req req{};
    std::int32_t local = 0;
    if (fw_query_session(sock, &req, &local) != 0)
        return -1;
    *peer = from_record(req.peer);
    *localaddr_be = req.local.addr_be;
    if (local != 0)
        return 1;
    *dst = from_record(req.local);
    return 0;
}

int vfw_checklocal(const sockaddr_in *addr)
{
    const platform_handle device = fw_open_device(O_RDONLY);
    if (!device.is_open())
        return -1;
    const u32 addr_be = addr->sin_addr.s_addr;
    if (fw_is_loopback(addr_be) || addr_be == 0)
        return 1;
    return fw_query_local(device, addr_be);
}
