// Source address bindings, datagrams and handed-through requests.
#include "lib/kdev/firewall_device.h"

#include "lib/kdev/internal/firewall_query.h"

#include <cerrno>
#include <fcntl.h>

using namespace flatlink;

namespace
{

int refuse_null()
{
    errno = EFAULT;
    return -1;
}

const sockaddr *generic(const sockaddr_in *address)
{
    return reinterpret_cast<const sockaddr *>(address);
}

int own_name(int sock, sockaddr_in *address)
{
    socklen_t length = 0;
    return fw_plain_name(getsockname, sock, address, &length);
}

// Opens the device, makes one request on it and closes it.
int device_request(int access, unsigned long request, byte_area record)
{
    const platform_handle device = fw_open_device(access);
    return device.is_open() ? fw_request(device, request, record) : -1;
}

struct sender_binding {
    const sockaddr_in &apparent;
    const sockaddr_in &bound;
    int proto;
};

// Has `remote` see the sender of the binding; `remote` becomes what the driver made of it.
int bind_sender(const sender_binding &binding, sockaddr_in *remote)
{
    fw_fsa_req req = {.apparent = to_record(binding.apparent),
                      .remote = to_record(*remote),
                      .bound = to_record(binding.bound),
                      .proto_be = htonl(static_cast<std::uint32_t>(binding.proto))};
    if (device_request(O_RDONLY, FW_FSA, area_of(req)) != 0)
        return -1;
    *remote = from_record(req.remote);
    return 0;
}

// Binds the socket and leaves in `addr` what it is bound to.
int bind_plain(int sock, sockaddr_in *addr)
{
    if (addr->sin_addr.s_addr == INADDR_ANY) {
        const int on = 1;
        if (setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
            return -1;
    }
    if (bind(sock, generic(addr), sizeof *addr) != 0)
        return -1;
    return addr->sin_port == 0 ? own_name(sock, addr) : 0;
}

// Before a datagram goes out: announces its sender, and sends it to the port that comes back.
int announce_sender(int sock, sockaddr_in *to, const sockaddr_in *apparent)
{
    if (to == nullptr || apparent == nullptr)
        return refuse_null();
    sockaddr_in bound;
    if (own_name(sock, &bound) != 0)
        return -1;
    sockaddr_in remote = *to;
    if (bind_sender({.apparent = *apparent, .bound = bound, .proto = FW_UDP}, &remote) != 0)
        return -1;
    to->sin_port = remote.sin_port;
    return 0;
}

} // namespace

int vfw_bind_fsa(int sock, sockaddr_in *addr, sockaddr_in *remote, const sockaddr_in *apparent)
{
    if (addr == nullptr || remote == nullptr || apparent == nullptr)
        return refuse_null();
    const int proto = fw_protocol(sock);
    if (proto < 0 || bind_plain(sock, addr) != 0)
        return -1;
    return bind_sender({.apparent = *apparent, .bound = *addr, .proto = proto}, remote);
}

ssize_t vfw_recvfrom(int sock, void *buffer, std::size_t length, int flags, sockaddr_in *from,
                     socklen_t *fromlen, sockaddr_in *to)
{
    if (from == nullptr || fromlen == nullptr || to == nullptr)
        return refuse_null();
    // A connected stream tells no sender; all zero then.
    sockaddr_in sender{};
    socklen_t sender_length = sizeof sender;
    const ssize_t count = recvfrom(sock, buffer, length, flags,
                                   reinterpret_cast<sockaddr *>(&sender), &sender_length);
    if (count < 0)
        return -1;
    *from = sender;
    *fromlen = sender_length;

    fw_name_req req{};
    req.peer = to_record(sender);
    req.local.family_be = htons(AF_INET);
    const int found = fw_query_names(sock, &req);
    if (found == 0) {
        *from = from_record(req.peer);
        *fromlen = sizeof *from;
        *to = from_record(req.local);
    } else if (found != FW_NOT_REDIRECTED || own_name(sock, to) != 0) {
        return -1;
    }
    return count;
}

ssize_t vfw_sendto(int sock, const void *buffer, std::size_t length, int flags, sockaddr_in *to,
                   socklen_t tolen, const sockaddr_in *apparent)
{
    if ((flags & VFW_APPARENT_SENDER) != 0 && announce_sender(sock, to, apparent) != 0)
        return -1;
    return sendto(sock, buffer, length, flags & ~VFW_APPARENT_SENDER, generic(to), tolen);
}

int vfw_set_udp_timer(std::span<std::uint8_t, FW_TIMER_SIZE> record)
{
    return device_request(O_RDONLY, FW_UDP_TIMER, record);
}

int vfw_addredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE> record)
{
    return device_request(O_RDWR, FW_ADD_REDIRECT, record);
}

int vfw_delredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE> record)
{
    return device_request(O_RDWR, FW_DEL_REDIRECT, record);
}

int vfw_set_udp_timer(void *record)
{
    return vfw_set_udp_timer(
        std::span<std::uint8_t, FW_TIMER_SIZE>(static_cast<std::uint8_t *>(record), FW_TIMER_SIZE));
}

int vfw_addredirect(void *record)
{
    return vfw_addredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE>(
        static_cast<std::uint8_t *>(record), FW_REDIRECT_SIZE));
}

int vfw_delredirect(void *record)
{
    return vfw_delredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE>(
        static_cast<std::uint8_t *>(record), FW_REDIRECT_SIZE));
}
