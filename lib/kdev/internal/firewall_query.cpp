// Opens the firewall device and puts the questions to it.
#include "lib/kdev/internal/firewall_query.h"

#include "lib/kdev/platform/platform.h"

#include <cerrno>
#include <fcntl.h>

using namespace flatlink;

namespace
{

constexpr u32 LOOPBACK_OCTET = 127;
constexpr int NO_SOCKET = -1;

// The part of a name query that needs the device.
int ask_names(const platform_handle &device, int sock, int proto, fw_name_req *req)
{
    fw_name_req answer = *req;
    answer.proto_be = htons(static_cast<std::uint16_t>(proto));
    if (platform->fw_ioctl(device.fd(), sock, FW_NAMES, area_of(answer)) < 0)
        return errno == ENOENT ? FW_NOT_REDIRECTED : -1;
    *req = answer;
    return 0;
}

} // namespace

int flatlink::fw_plain_name(name_call call, int sock, sockaddr_in *addr, socklen_t *lenp)
{
    sockaddr_in name{};
    socklen_t length = sizeof name;
    if (call(sock, reinterpret_cast<sockaddr *>(&name), &length) != 0)
        return -1;
    *addr = name;
    *lenp = length;
    return 0;
}

int flatlink::fw_plain_end(name_call call, int sock, fw_address *end)
{
    sockaddr_in address{};
    socklen_t length = 0;
    if (fw_plain_name(call, sock, &address, &length) != 0)
        return -1;
    *end = to_record(address);
    return 0;
}

int flatlink::fw_protocol(int sock)
{
    int type = 0;
    socklen_t length = sizeof type;
    if (getsockopt(sock, SOL_SOCKET, SO_TYPE, &type, &length) != 0)
        return -1;
    return type == SOCK_STREAM ? FW_TCP : FW_UDP;
}

platform_handle flatlink::fw_open_device(int access)
{
    return {platform->fw_open(access), platform->fw_close};
}

int flatlink::fw_request(const platform_handle &device, unsigned long request, byte_area record)
{
    return platform->fw_ioctl(device.fd(), NO_SOCKET, request, record) < 0 ? -1 : 0;
}

bool flatlink::fw_is_loopback(u32 addr_be)
{
    return host_order(addr_be) >> 24 == LOOPBACK_OCTET;
}

std::int32_t flatlink::fw_query_local(const platform_handle &device, u32 addr_be)
{
    fw_local_req question{};
    question.addr_be = addr_be;
    if (fw_request(device, FW_LOCAL, area_of(question)) != 0)
        return -1;
    return static_cast<std::int32_t>(ntohl(question.result_be));
}

int fw_query_names(int sock, fw_name_req *req)
{
    const int proto = fw_protocol(sock);
    if (proto < 0)
        return -1;
    const platform_handle device = fw_open_device(O_RDONLY);
    return device.is_open() ? ask_names(device, sock, proto, req) : -1;
}

int fw_query_session(int sock, fw_name_req *req, std::int32_t *localout)
{
    if (fw_plain_end(getpeername, sock, &req->peer) != 0 ||
        fw_plain_end(getsockname, sock, &req->local) != 0)
        return -1;
    const int proto = fw_protocol(sock);
    if (proto < 0)
        return -1;
    const platform_handle device = fw_open_device(O_RDONLY);
    if (!device.is_open())
        return -1;
    if (ask_names(device, sock, proto, req) < 0)
        return -1;
    const u32 local_be = req->local.addr_be;
    *localout = fw_is_loopback(local_be) ? 1 : fw_query_local(device, local_be);
    return 0;
}
