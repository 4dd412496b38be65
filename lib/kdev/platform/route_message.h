// The messages of a routing socket: one header, then the socket addresses that `addrs` names, in
// the order of its bits. Numbers of the header stand in the host's byte order, since the reader is
// the kernel of the same host; ports and addresses stand in network order, as in every socket
// address. The layout is part of the interface, so each offset is fixed by an assertion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

// Arguments of the routing socket: family, type and protocol.
inline constexpr int ROUTE_FAMILY = 24;
inline constexpr int ROUTE_TYPE = 4;
inline constexpr int ROUTE_PROTOCOL = 2;

inline constexpr std::uint8_t ROUTE_VERSION = 3;

// `type` of a message.
inline constexpr std::uint8_t ROUTE_ADD = 1;
inline constexpr std::uint8_t ROUTE_DELETE = 2;
inline constexpr std::uint8_t ROUTE_GET = 4;

// Bits of `flags`.
inline constexpr std::int32_t ROUTE_UP = 0x1;
inline constexpr std::int32_t ROUTE_GATEWAY = 0x2; // the next hop is a gateway, no own interface
inline constexpr std::int32_t ROUTE_HOST = 0x4;    // one address, no mask
inline constexpr std::int32_t ROUTE_DONE = 0x40;   // the kernel has answered
inline constexpr std::int32_t ROUTE_STATIC = 0x800;

// Bits of `addrs`.
inline constexpr std::int32_t HAS_DST = 0x1;
inline constexpr std::int32_t HAS_GATEWAY = 0x2;
inline constexpr std::int32_t HAS_NETMASK = 0x4;
inline constexpr std::int32_t HAS_INTERFACE = 0x10;
inline constexpr std::int32_t HAS_SOURCE = 0x20; // the route's own (interface) address

struct route_header {
    std::uint16_t length; // bytes of the whole message
    std::uint8_t version; // ROUTE_VERSION
    std::uint8_t type;    // ROUTE_ADD, ROUTE_DELETE or ROUTE_GET
    std::uint16_t index;  // of the interface
    std::uint16_t unused; // keeps the words aligned
    std::int32_t flags;   // ROUTE_ bits
    std::int32_t addrs;   // HAS_ bits
    std::int32_t pid;     // process that asked
    std::int32_t seq;     // chosen by that process
    std::int32_t error;   // an errno value, 0 for none
    std::int32_t use;     // not used here, as all that follows
    std::uint32_t inits;  // which metrics to set
    std::uint32_t metrics[10];
};

static_assert(sizeof(route_header) == 76);
static_assert(offsetof(route_header, version) == 2);
static_assert(offsetof(route_header, type) == 3);
static_assert(offsetof(route_header, index) == 4);
static_assert(offsetof(route_header, flags) == 8);
static_assert(offsetof(route_header, addrs) == 12);
static_assert(offsetof(route_header, pid) == 16);
static_assert(offsetof(route_header, seq) == 20);
static_assert(offsetof(route_header, error) == 24);
static_assert(offsetof(route_header, use) == 28);
static_assert(offsetof(route_header, inits) == 32);
static_assert(offsetof(route_header, metrics) == 36);

static_assert(sizeof(sockaddr_in) == 16);
static_assert(offsetof(sockaddr_in, sin_port) == 2);
static_assert(offsetof(sockaddr_in, sin_addr) == 4);

// What a look-up sends: `addrs` asks for the interface and the source too, but only the
// destination follows.
struct route_question {
    route_header head;
    sockaddr_in dst;
};
static_assert(sizeof(route_question) == 92);

// What a change sends. An added host route ends before the mask.
struct route_change {
    route_header head;
    sockaddr_in dst;
    sockaddr_in gateway;
    sockaddr_in netmask;
};
static_assert(sizeof(route_change) == 124);
inline constexpr std::size_t HOST_ROUTE_CHANGE_SIZE = offsetof(route_change, netmask);
static_assert(HOST_ROUTE_CHANGE_SIZE == 108);

// The link-level address that tells the interface.
inline constexpr std::uint16_t LINK_FAMILY = 25;
struct link_address {
    std::uint16_t family; // LINK_FAMILY
    std::uint16_t index;
    std::uint8_t type;
    std::uint8_t name_length; // in bytes; the name is not NUL-terminated
    std::uint8_t address_length;
    std::uint8_t selector_length;
    char name[244];
};
static_assert(sizeof(link_address) == 252);
static_assert(offsetof(link_address, name_length) == 5);
static_assert(offsetof(link_address, name) == 8);

// The complete answer to a look-up.
struct route_answer {
    route_header head;
    sockaddr_in dst;
    sockaddr_in gateway;
    sockaddr_in netmask;
    link_address interface;
    sockaddr_in source;
};
static_assert(offsetof(route_answer, dst) == 76);
static_assert(offsetof(route_answer, gateway) == 92);
static_assert(offsetof(route_answer, netmask) == 108);
static_assert(offsetof(route_answer, interface) == 124);
static_assert(offsetof(route_answer, source) == 376);
static_assert(sizeof(route_answer) == 392);

namespace flatlink
{

// An Internet address with port 0 as the messages carry it.
inline sockaddr_in route_address(in_addr_t addr_be)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = addr_be;
    return address;
}

} // namespace flatlink
