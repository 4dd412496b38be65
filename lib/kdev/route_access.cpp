// Builds the messages of the routing socket and judges the answers.
#include "lib/kdev/route_access.h"

#include "lib/kdev/platform/handle.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <unistd.h>

using namespace flatlink;

static_assert(RA_UP == ROUTE_UP && RA_GATEWAY == ROUTE_GATEWAY && RA_HOST == ROUTE_HOST &&
              RA_STATIC == ROUTE_STATIC);
static_assert(RA_REPLY_SIZE >= sizeof(route_answer));

namespace
{

// Messages to read before giving up on an answer among those meant for others.
constexpr int MAX_READS = 3;

// Longest interface name that is believed, and what a longer one is cut to.
constexpr std::size_t LONGEST_NAME = 16;
constexpr std::size_t CUT_NAME = 15;

constexpr std::int32_t NEEDED_ADDRS = HAS_DST | HAS_GATEWAY | HAS_NETMASK | HAS_INTERFACE;

enum class verdict { ACCEPTED, STRANGER, BROKEN };

route_header request_header(std::uint8_t type, std::int32_t flags, std::int32_t addrs,
                            std::size_t size_bytes)
{
    route_header head{};
    head.length = static_cast<std::uint16_t>(size_bytes);
    head.version = ROUTE_VERSION;
    head.type = type;
    head.flags = flags;
    head.addrs = addrs;
    head.pid = getpid();
    head.seq = gettid();
    return head;
}

// True when the whole message was taken. A routing socket takes all or nothing, so less is an
// error of the host; errno is 0 where the failed call set none.
bool write_whole(int fd, byte_view message)
{
    errno = 0;
    const ssize_t taken = platform->route_write(fd, message);
    if (taken == static_cast<ssize_t>(message.size()))
        return true;
    if (taken >= 0)
        errno = EIO;
    return false;
}

// Judges one message of `size_bytes` bytes in `buffer`, which is zero after them.
verdict judge(ra_reply buffer, std::size_t size_bytes)
{
    const auto head = load<route_header>(buffer, 0);
    if (head.pid != getpid() || head.seq != gettid())
        return verdict::STRANGER;
    if (head.error != 0 || (head.flags & ROUTE_DONE) == 0 ||
        (head.addrs & NEEDED_ADDRS) != NEEDED_ADDRS)
        return verdict::BROKEN;
    // An answer that ends early would pass zeros for a default route.
    const std::size_t needed_size =
        (head.addrs & HAS_SOURCE) != 0 ? sizeof(route_answer) : offsetof(route_answer, source);
    return size_bytes >= needed_size ? verdict::ACCEPTED : verdict::BROKEN;
}

platform_handle open_route_socket()
{
    return {platform->route_open(), platform->route_close};
}

// Sends a change of the routes, cut to `size_bytes`: with the mask or without it.
bool send_change(const platform_handle &route, std::uint8_t type, route_change change,
                 std::size_t size_bytes, std::int32_t flags)
{
    const std::int32_t mask_bit = size_bytes == sizeof change ? HAS_NETMASK : 0;
    change.head = request_header(type, flags, HAS_DST | HAS_GATEWAY | mask_bit, size_bytes);
    return write_whole(route.fd(), bytes_of(change).first(size_bytes));
}

route_change change_of(u32 dst_be, u32 gateway_be, u32 mask_be)
{
    return {.head = {},
            .dst = route_address(dst_be),
            .gateway = route_address(gateway_be),
            .netmask = route_address(mask_be)};
}

} // namespace

int ra_lookup_route(u32 addr_be, ra_reply buffer)
{
    const platform_handle route = open_route_socket();
    if (!route.is_open())
        return RA_FAILED;

    const route_question question = {.head = request_header(ROUTE_GET, 0,
                                                            HAS_DST | HAS_INTERFACE | HAS_SOURCE,
                                                            sizeof(route_question)),
                                     .dst = route_address(addr_be)};
    if (!write_whole(route.fd(), bytes_of(question)))
        return errno == ESRCH ? RA_NO_ROUTE : RA_FAILED;

    for (int reads = 0; reads < MAX_READS; ++reads) {
        std::ranges::fill(buffer, std::uint8_t{0});
        const ssize_t size_bytes = platform->route_read(route.fd(), buffer);
        if (size_bytes < 0)
            return RA_FAILED;
        const verdict found = judge(buffer, static_cast<std::size_t>(size_bytes));
        if (found == verdict::ACCEPTED)
            return RA_DONE;
        if (found == verdict::BROKEN)
            break;
    }
    errno = EIO;
    return RA_FAILED;
}

int ra_get_route_address(u32 addr_be, u32 *out_be)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(addr_be, reply);
    if (code == RA_DONE)
        *out_be = load<route_answer>(reply, 0).source.sin_addr.s_addr;
    return code;
}

int ra_get_route_interface(u32 addr_be, std::span<char> name)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(addr_be, reply);
    if (code != RA_DONE || name.empty())
        return code;
    const auto link = load<route_answer>(reply, 0).interface;
    std::size_t length = link.name_length > LONGEST_NAME ? CUT_NAME : link.name_length;
    length = std::min(length, name.size() - 1);
    std::copy_n(link.name, length, name.begin());
    name[length] = '\0';
    return code;
}

int ra_add_route(u32 dst_be, u32 gateway_be, u32 mask_be, std::int32_t flags)
{
    const platform_handle route = open_route_socket();
    if (!route.is_open())
        return RA_FAILED;
    const std::size_t size_bytes =
        (flags & RA_HOST) != 0 ? HOST_ROUTE_CHANGE_SIZE : sizeof(route_change);
    if (send_change(route, ROUTE_ADD, change_of(dst_be, gateway_be, mask_be), size_bytes, flags))
        return RA_DONE;
    // Hosts differ in how they say that the route is there.
    return errno == EEXIST || errno == ENOENT || errno == 0 ? RA_EXISTS : RA_FAILED;
}

int ra_remove_route(u32 dst_be, u32 gateway_be, u32 mask_be, std::int32_t flags)
{
    const platform_handle route = open_route_socket();
    if (!route.is_open())
        return RA_FAILED;
    if (send_change(route, ROUTE_DELETE, change_of(dst_be, gateway_be, mask_be),
                    sizeof(route_change), flags))
        return RA_DONE;
    return errno == ESRCH ? RA_NO_ROUTE : RA_FAILED;
}

int ra_delete_route(u32 addr_be)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(addr_be, reply);
    if (code != RA_DONE)
        return code;
    const auto found = load<route_answer>(reply, 0);
    if (found.dst.sin_addr.s_addr != addr_be)
        return RA_NO_ROUTE;
    const u32 mask_be = found.netmask.sin_addr.s_addr;
    return ra_remove_route(addr_be, found.gateway.sin_addr.s_addr, mask_be,
                           mask_be == NOT_AN_ADDRESS ? RA_HOST : 0);
}
