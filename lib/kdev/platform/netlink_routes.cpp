// Translates routing messages to netlink requests and the found route back to an answer.
#include "lib/kdev/platform/netlink_routes.h"

#include "lib/kdev/platform/handle.h"
#include "lib/kdev/platform/netlink.h"
#include "lib/kdev/platform/own_address.h"
#include "lib/kdev/platform/route_message.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <net/if.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace flatlink;

namespace
{

constexpr int HOST_PREFIX = 32;

// A message taken apart; an address that it does not carry is 0.
struct route_order {
    route_header head;
    in_addr_t dst_be = 0;
    in_addr_t gateway_be = 0;
    in_addr_t mask_be = 0;
};

bool parse_message(byte_view message, route_order &order)
{
    order.head = load<route_header>(message, 0);
    const route_header &head = order.head;
    if (message.size() < sizeof head || head.length != message.size() ||
        head.version != ROUTE_VERSION || (head.addrs & HAS_DST) == 0)
        return false;

    const std::pair<std::int32_t, in_addr_t *> addresses[] = {
        {HAS_DST, &order.dst_be},
        {HAS_GATEWAY, &order.gateway_be},
        {HAS_NETMASK, &order.mask_be},
    };
    std::size_t offset = sizeof head;
    for (const auto &[bit, address] : addresses) {
        if ((head.addrs & bit) == 0)
            continue;
        if (!holds(message, offset, sizeof(sockaddr_in)))
            return false;
        *address = load<sockaddr_in>(message, offset).sin_addr.s_addr;
        offset += sizeof(sockaddr_in);
    }
    return true;
}

in_addr_t mask_of_prefix(int prefix)
{
    return prefix == 0 ? 0 : htonl(~std::uint32_t{0} << (HOST_PREFIX - prefix));
}

// Length of the prefix that an order speaks of, -1 for a mask with holes.
int prefix_of(const route_order &order)
{
    if ((order.head.flags & ROUTE_HOST) != 0 || (order.head.addrs & HAS_NETMASK) == 0)
        return HOST_PREFIX;
    const int prefix = std::popcount(order.mask_be);
    return mask_of_prefix(prefix) == order.mask_be ? prefix : -1;
}

// A change of the main table, with the destination filled in; false with errno.
bool begin_change(const route_order &order, route_request &request)
{
    const int prefix = prefix_of(order);
    if (prefix < 0) {
        errno = EINVAL;
        return false;
    }
    request.route.rtm_table = RT_TABLE_MAIN;
    request.route.rtm_type = RTN_UNICAST;
    request.route.rtm_dst_len = static_cast<unsigned char>(prefix);
    request.add(RTA_DST, order.dst_be & mask_of_prefix(prefix));
    return true;
}

int run_change(const route_request &request)
{
    return ask_kernel(request, [](const kernel_route &) {});
}

// A gateway that is an own address stands for the interface that has it: its neighbours are
// reached directly.
int add_route(const route_order &order)
{
    route_request request(RTM_NEWROUTE, NLM_F_CREATE | NLM_F_EXCL);
    if (!begin_change(order, request))
        return -1;
    const bool is_static = (order.head.flags & ROUTE_STATIC) != 0;
    request.route.rtm_protocol = is_static ? RTPROT_STATIC : RTPROT_BOOT;
    if ((order.head.flags & ROUTE_GATEWAY) != 0) {
        request.route.rtm_scope = RT_SCOPE_UNIVERSE;
        request.add(RTA_GATEWAY, order.gateway_be);
        return run_change(request);
    }
    const int index = interface_of_address(order.gateway_be);
    if (index <= 0) {
        if (index == 0)
            errno = ENETUNREACH;
        return -1;
    }
    request.route.rtm_scope = RT_SCOPE_LINK;
    request.add(RTA_OIF, static_cast<std::uint32_t>(index));
    return run_change(request);
}

// The gateway 0 of a look-up's answer removes the direct route.
int remove_route(const route_order &order)
{
    route_request request(RTM_DELROUTE, 0);
    if (!begin_change(order, request))
        return -1;
    request.route.rtm_scope = RT_SCOPE_NOWHERE; // any scope
    if (order.gateway_be == 0)
        return run_change(request);
    const int index = interface_of_address(order.gateway_be);
    if (index < 0)
        return -1;
    if (index > 0)
        request.add(RTA_OIF, static_cast<std::uint32_t>(index));
    else
        request.add(RTA_GATEWAY, order.gateway_be);
    return run_change(request);
}

bool is_no_route(int error)
{
    return error == ENETUNREACH || error == EHOSTUNREACH || error == ESRCH;
}

route_request question_for(in_addr_t dst_be)
{
    route_request request(RTM_GETROUTE, 0);
    request.route.rtm_dst_len = HOST_PREFIX;
    request.add(RTA_DST, dst_be);
    return request;
}

// Asks which way packets to `dst_be` take, with `flags` and, if it is not 0, through that
// interface only. The answer's last route is the result.
int ask_way(in_addr_t dst_be, std::uint32_t flags, std::uint32_t interface_index, kernel_route &way)
{
    route_request request = question_for(dst_be);
    request.route.rtm_flags = flags;
    if (interface_index != 0)
        request.add(RTA_OIF, interface_index);
    return ask_kernel(request, [&way](const kernel_route &route) { way = route; });
}

// The kernel answers a question for destination 0 with the loopback, so the default route is
// taken from a listing. Its source is what its interface gives to packets for anywhere.
int find_default_route(kernel_route &found)
{
    bool any = false;
    const auto keep_best = [&](const kernel_route &route) {
        const bool is_default = route.table == RT_TABLE_MAIN && route.head.rtm_dst_len == 0 &&
                                route.head.rtm_type == RTN_UNICAST && route.interface_index != 0;
        if (!is_default || (any && found.metric <= route.metric))
            return;
        found = route;
        any = true;
    };
    if (ask_kernel(route_request(RTM_GETROUTE, NLM_F_DUMP), keep_best) != 0)
        return -1;
    if (!any) {
        errno = ESRCH;
        return -1;
    }
    if (found.source_be != 0)
        return 0;
    kernel_route way;
    const int result = ask_way(0, 0, found.interface_index, way);
    found.source_be = way.source_be;
    return result;
}

// Gateway, interface and source come from the way that a packet would take; destination and
// prefix only from the table's entry, which in turn names no source.
int find_route(in_addr_t dst_be, kernel_route &found)
{
    if (dst_be == 0)
        return find_default_route(found);
    kernel_route entry;
    if (ask_way(dst_be, 0, 0, found) != 0 || ask_way(dst_be, RTM_F_FIB_MATCH, 0, entry) != 0) {
        if (is_no_route(errno))
            errno = ESRCH;
        return -1;
    }
    found.head = entry.head;
    found.dst_be = entry.dst_be;
    return 0;
}

link_address link_of(std::uint32_t index)
{
    link_address link{};
    link.family = LINK_FAMILY;
    link.index = static_cast<std::uint16_t>(index);
    char name[IF_NAMESIZE] = {};
    static_assert(sizeof link.name >= sizeof name);
    if (if_indextoname(index, name) != nullptr) {
        link.name_length = static_cast<std::uint8_t>(std::string_view(name).size());
        std::copy_n(name, link.name_length, link.name);
    }
    return link;
}

route_answer answer_of(const route_header &question, const kernel_route &found)
{
    const int prefix = std::min<int>(found.head.rtm_dst_len, HOST_PREFIX);
    const struct {
        bool applies;
        std::int32_t flag;
    } flags[] = {
        {true, ROUTE_UP | ROUTE_DONE},
        {found.gateway_be != 0, ROUTE_GATEWAY},
        {prefix == HOST_PREFIX, ROUTE_HOST},
        {found.head.rtm_protocol == RTPROT_STATIC, ROUTE_STATIC},
    };
    route_answer answer{};
    answer.head = question;
    answer.head.length = sizeof answer;
    answer.head.index = static_cast<std::uint16_t>(found.interface_index);
    answer.head.addrs = HAS_DST | HAS_GATEWAY | HAS_NETMASK | HAS_INTERFACE | HAS_SOURCE;
    answer.head.pid = getpid();
    answer.head.error = 0;
    answer.head.flags = 0;
    for (const auto &row : flags)
        answer.head.flags |= row.applies ? row.flag : 0;
    answer.dst = route_address(found.dst_be);
    answer.gateway = route_address(found.gateway_be);
    answer.netmask = route_address(mask_of_prefix(prefix));
    answer.interface = link_of(found.interface_index);
    answer.source = route_address(found.source_be);
    return answer;
}

int look_up(int fd, const route_order &order)
{
    kernel_route found;
    if (find_route(order.dst_be, found) != 0)
        return -1;
    const route_answer answer = answer_of(order.head, found);
    const ssize_t sent = send(fd, &answer, sizeof answer, MSG_NOSIGNAL);
    return sent == static_cast<ssize_t>(sizeof answer) ? 0 : -1;
}

} // namespace

int flatlink::open_netlink_routes()
{
    // A datagram socket that is connected to itself queues what is sent until it is read, and
    // takes nothing from others. Binding to the family alone gives it a name of its own.
    platform_handle queue(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), ::close);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    auto *address = reinterpret_cast<sockaddr *>(&name);
    socklen_t length = sizeof name;
    if (!queue.is_open() || bind(queue.fd(), address, sizeof name.sun_family) != 0 ||
        getsockname(queue.fd(), address, &length) != 0 || connect(queue.fd(), address, length) != 0)
        return -1;
    return queue.release();
}

ssize_t flatlink::write_netlink_routes(int fd, byte_view message)
{
    route_order order;
    if (!parse_message(message, order)) {
        errno = EINVAL;
        return -1;
    }
    int result = -1;
    switch (order.head.type) {
    case ROUTE_GET:
        result = look_up(fd, order);
        break;
    case ROUTE_ADD:
        result = add_route(order);
        break;
    case ROUTE_DELETE:
        result = remove_route(order);
        break;
    default:
        errno = EOPNOTSUPP;
        break;
    }
    return result == 0 ? static_cast<ssize_t>(message.size()) : -1;
}

void flatlink::find_netlink_sources(std::span<const in_addr_t> dsts_be, const source_taker &take)
{
    std::vector<route_request> requests;
    requests.reserve(dsts_be.size());
    for (const in_addr_t dst_be : dsts_be)
        requests.push_back(question_for(dst_be));
    ask_kernel_each(requests, [&](std::size_t index, int error, const kernel_route &way) {
        if (dsts_be[index] != 0 && (error == 0 || is_no_route(error)))
            take(dsts_be[index], way.source_be);
    });
}
