// Requests to the kernel's routing tables over netlink, one socket a request. Knows nothing of
// the messages of a routing socket.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <span>

namespace flatlink
{

// A request under construction: fixed head, then attributes of one word each.
struct route_request {
    struct word_attribute {
        rtattr head;
        std::uint32_t word;
    };
    static constexpr std::size_t MAX_WORDS = 4;

    nlmsghdr head{};
    rtmsg route{};
    std::array<word_attribute, MAX_WORDS> words{};

    // `type` and `flags` as netlink names them: RTM_NEWROUTE, NLM_F_CREATE and so on.
    route_request(std::uint16_t type, std::uint16_t flags);

    // Adds an attribute; an address goes in network order. At most MAX_WORDS of them.
    void add(std::uint16_t type, std::uint32_t word);
};

} // namespace flatlink

// A route as the kernel tells it. What an answer leaves out is 0.
struct kernel_route {
    rtmsg head{};
    std::uint32_t table = 0;
    in_addr_t dst_be = 0;
    in_addr_t gateway_be = 0;
    in_addr_t source_be = 0;
    std::uint32_t interface_index = 0;
    std::uint32_t metric = 0;
};

using route_taker = std::function<void(const kernel_route &)>;

namespace flatlink
{

// Sends `request`, hands each route of the answer to `take` and waits for the kernel's verdict.
// Returns 0, or -1 with the errno of the verdict or of the failed call. Begins again after a
// signal.
int ask_kernel(const route_request &request, const route_taker &take);

// Takes the answer to the request at `index`: `error` is 0 or an errno value, and then `route` is
// empty.
using answer_taker = std::function<void(std::size_t index, int error, const kernel_route &route)>;

// The kernel answers a whole datagram before its sender reads: a queue of the default size,
// 212,992 bytes, has room for more answers than this, each of which may take a page.
inline constexpr std::size_t MAX_QUESTIONS = 32;

// Asks for one route each, MAX_QUESTIONS of them with one datagram, all over one socket: opening
// and closing a socket costs several times as much as an answer. Hands over the answers; gives up
// on the rest, without a sign, when a call fails.
void ask_kernel_each(std::span<route_request> requests, const answer_taker &take);

} // namespace flatlink
