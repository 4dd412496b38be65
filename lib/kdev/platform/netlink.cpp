// The netlink socket, and the walk over the messages and attributes that come back. The kernel
// is trusted no further than its lengths reach: each step is checked against what was received.
#include "lib/kdev/platform/netlink.h"

#include "lib/kdev/platform/handle.h"
#include "lib/ulib/bytes.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

using namespace flatlink;

// The head, the route and the attributes follow each other without gaps.
static_assert(offsetof(route_request, route) == NLMSG_HDRLEN);
static_assert(offsetof(route_request, words) == NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(rtmsg)));
static_assert(sizeof(route_request::word_attribute) == RTA_LENGTH(sizeof(std::uint32_t)));

namespace
{

// Any number will do: a socket carries one request.
constexpr std::uint32_t SEQUENCE = 1;

// The kernel fills a datagram of a long answer only as far as the reader showed room for.
constexpr std::size_t DATAGRAM_SIZE = 32768;

// Takes the first item off `bytes`: its head to `head`, what follows in it to `body`. Netlink's
// messages and attributes are built alike. False at the end and at a length that doesn't fit.
template <typename item_head, typename length_type>
bool take_item(byte_view &bytes, length_type item_head::*length, item_head &head, byte_view &body)
{
    head = load<item_head>(bytes, 0);
    const std::size_t size_bytes = head.*length;
    if (size_bytes < sizeof head || size_bytes > bytes.size())
        return false;
    body = bytes.subspan(sizeof head, size_bytes - sizeof head);
    constexpr std::size_t ALIGNMENT = 4;
    const std::size_t step = (size_bytes + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    bytes = bytes.subspan(std::min(step, bytes.size()));
    return true;
}

// One-word attributes that matter here.
constexpr struct {
    std::uint16_t type;
    std::uint32_t kernel_route::*field;
} route_fields[] = {
    {RTA_DST, &kernel_route::dst_be},        {RTA_GATEWAY, &kernel_route::gateway_be},
    {RTA_PREFSRC, &kernel_route::source_be}, {RTA_OIF, &kernel_route::interface_index},
    {RTA_PRIORITY, &kernel_route::metric},   {RTA_TABLE, &kernel_route::table},
};

kernel_route parse_route(byte_view body)
{
    kernel_route route;
    route.head = load<rtmsg>(body, 0);
    route.table = route.head.rtm_table;
    byte_view rest = body.subspan(std::min(sizeof(rtmsg), body.size()));
    rtattr head;
    byte_view value;
    while (take_item(rest, &rtattr::rta_len, head, value)) {
        for (const auto &row : route_fields) {
            if (row.type == head.rta_type && value.size() == sizeof(std::uint32_t))
                route.*row.field = load<std::uint32_t>(value, 0);
        }
    }
    return route;
}

// The errno value of a verdict. The smallest number has no counterpart, and is no verdict either.
int error_of(std::int32_t verdict)
{
    return verdict == std::numeric_limits<std::int32_t>::min() ? EPROTO : -verdict;
}

// Walks one datagram. Returns the verdict once it was met: 0 or an errno value.
std::optional<int> take_answers(byte_view datagram, const route_taker &take)
{
    nlmsghdr head;
    byte_view body;
    while (take_item(datagram, &nlmsghdr::nlmsg_len, head, body)) {
        if (head.nlmsg_seq != SEQUENCE)
            continue;
        // Both ends of an answer begin with a number: 0, or an errno value below 0.
        if (head.nlmsg_type == NLMSG_ERROR || head.nlmsg_type == NLMSG_DONE)
            return error_of(load<std::int32_t>(body, 0));
        if (head.nlmsg_type == RTM_NEWROUTE && body.size() >= sizeof(rtmsg))
            take(parse_route(body));
    }
    return std::nullopt;
}

// Receives one datagram from the kernel; datagrams from other senders are dropped.
ssize_t receive(int fd, byte_area area, int flags)
{
    for (;;) {
        sockaddr_nl sender{};
        socklen_t length = sizeof sender;
        const ssize_t size_bytes = recvfrom(fd, area.data(), area.size(), flags,
                                            reinterpret_cast<sockaddr *>(&sender), &length);
        if (size_bytes < 0 && errno == EINTR)
            continue;
        if (size_bytes < 0 || (length == sizeof sender && sender.nl_pid == 0))
            return size_bytes;
    }
}

bool send_bytes(int fd, byte_view message)
{
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    ssize_t sent = -1;
    do {
        sent = sendto(fd, message.data(), message.size(), 0,
                      reinterpret_cast<const sockaddr *>(&kernel), sizeof kernel);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(message.size());
}

byte_view message_of(const route_request &request)
{
    return bytes_of(request).first(request.head.nlmsg_len);
}

platform_handle open_netlink()
{
    return {socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE), ::close};
}

// Hands over one answer if it is one to the requests from `first` on, of which there are `count`.
void take_answer(byte_view datagram, std::size_t first, std::size_t count, const answer_taker &take)
{
    nlmsghdr head;
    byte_view body;
    if (!take_item(datagram, &nlmsghdr::nlmsg_len, head, body) || head.nlmsg_seq - first >= count)
        return;
    if (head.nlmsg_type == NLMSG_ERROR)
        take(head.nlmsg_seq, error_of(load<std::int32_t>(body, 0)), {});
    else if (head.nlmsg_type == RTM_NEWROUTE && body.size() >= sizeof(rtmsg))
        take(head.nlmsg_seq, 0, parse_route(body));
}

} // namespace

route_request::route_request(std::uint16_t type, std::uint16_t flags)
{
    head.nlmsg_len = offsetof(route_request, words);
    head.nlmsg_type = type;
    head.nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
    // A listing ends with a mark of its own; anything else is to be confirmed.
    if ((flags & NLM_F_DUMP) != NLM_F_DUMP)
        head.nlmsg_flags |= NLM_F_ACK;
    head.nlmsg_seq = SEQUENCE;
    route.rtm_family = AF_INET;
}

void route_request::add(std::uint16_t type, std::uint32_t word)
{
    const std::size_t used =
        (head.nlmsg_len - offsetof(route_request, words)) / sizeof(word_attribute);
    words.at(used) = {.head = {.rta_len = sizeof(word_attribute), .rta_type = type}, .word = word};
    head.nlmsg_len += static_cast<std::uint32_t>(sizeof(word_attribute));
}

int flatlink::ask_kernel(const route_request &request, const route_taker &take)
{
    const platform_handle netlink = open_netlink();
    if (!netlink.is_open() || !send_bytes(netlink.fd(), message_of(request)))
        return -1;
    alignas(nlmsghdr) std::array<std::uint8_t, DATAGRAM_SIZE> datagram;
    for (;;) {
        const ssize_t size_bytes = receive(netlink.fd(), datagram, 0);
        if (size_bytes < 0)
            return -1;
        const auto verdict =
            take_answers(byte_view(datagram).first(static_cast<std::size_t>(size_bytes)), take);
        if (verdict && *verdict != 0)
            errno = *verdict;
        if (verdict)
            return *verdict == 0 ? 0 : -1;
    }
}

// A request's number is its place. None is to be confirmed: the answer, or the error, is enough.
void flatlink::ask_kernel_each(std::span<route_request> requests, const answer_taker &take)
{
    const platform_handle netlink = open_netlink();
    std::vector<std::uint8_t> message;
    alignas(nlmsghdr) std::array<std::uint8_t, DATAGRAM_SIZE> datagram;
    for (std::size_t first = 0; netlink.is_open() && first < requests.size();
         first += MAX_QUESTIONS) {
        const std::size_t count = std::min(MAX_QUESTIONS, requests.size() - first);
        message.clear();
        for (std::size_t i = first; i < first + count; ++i) {
            requests[i].head.nlmsg_flags = NLM_F_REQUEST;
            requests[i].head.nlmsg_seq = static_cast<std::uint32_t>(i);
            const byte_view bytes = message_of(requests[i]);
            message.insert(message.end(), bytes.begin(), bytes.end());
        }
        if (!send_bytes(netlink.fd(), message))
            return;
        for (std::size_t i = 0; i < count; ++i) {
            const ssize_t size_bytes = receive(netlink.fd(), datagram, MSG_DONTWAIT);
            if (size_bytes < 0)
                return;
            take_answer(byte_view(datagram).first(static_cast<std::size_t>(size_bytes)), first,
                        count, take);
        }
    }
}
