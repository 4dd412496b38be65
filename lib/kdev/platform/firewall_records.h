// The requests to the firewall device and their records. A record is the same bytes on every
// host: numbers, the address family among them, stand most significant byte first.
#pragma once

#include "lib/kdev/firewall_device.h"

#include <arpa/inet.h>
#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

inline constexpr unsigned long FW_NAMES = 0xC0246610;        // fw_name_req
inline constexpr unsigned long FW_LOCAL = 0xC00C6611;        // fw_local_req
inline constexpr unsigned long FW_FSA = 0xC0346612;          // fw_fsa_req
inline constexpr unsigned long FW_UDP_TIMER = 0xC0086614;    // FW_TIMER_SIZE bytes
inline constexpr unsigned long FW_ADD_REDIRECT = 0xC00C6615; // FW_REDIRECT_SIZE bytes
inline constexpr unsigned long FW_DEL_REDIRECT = 0xC00C6616; // FW_REDIRECT_SIZE bytes

namespace flatlink
{

// The number of a request tells the size of its record in the bits from 16 on.
constexpr std::size_t fw_record_size(unsigned long request)
{
    return request >> 16 & 0x3FFF;
}

} // namespace flatlink

// Protocols of a record.
inline constexpr std::uint16_t FW_TCP = 6;
inline constexpr std::uint16_t FW_UDP = 17;

// An Internet socket address.
struct fw_address {
    std::uint16_t family_be;
    std::uint16_t port_be;
    std::uint32_t addr_be;
    std::uint8_t zero[8];
};
static_assert(sizeof(fw_address) == 16);

// Asks for the true ends of a connection. The ends as the socket sees them go in; the driver
// puts the true ones in their place, or fails with ENOENT for a connection it has not redirected.
struct fw_name_req {
    std::uint16_t proto_be;
    std::uint16_t unset;
    fw_address peer;
    fw_address local;
};
static_assert(sizeof(fw_name_req) == 36);
static_assert(offsetof(fw_name_req, peer) == 4);
static_assert(offsetof(fw_name_req, local) == 20);

// Asks whether an address is the firewall's own.
struct fw_local_req {
    std::uint32_t addr_be;
    std::uint32_t unset;
    std::uint32_t result_be; // 0: it is not
};
static_assert(sizeof(fw_local_req) == 12);
static_assert(offsetof(fw_local_req, result_be) == 8);

// Binds the source address that the far end is to see.
struct fw_fsa_req {
    fw_address apparent;
    fw_address remote; // the driver may change it
    fw_address bound;
    std::uint32_t proto_be;
};
static_assert(sizeof(fw_fsa_req) == 52);
static_assert(offsetof(fw_fsa_req, remote) == 16);
static_assert(offsetof(fw_fsa_req, bound) == 32);
static_assert(offsetof(fw_fsa_req, proto_be) == 48);

static_assert(flatlink::fw_record_size(FW_NAMES) == sizeof(fw_name_req));
static_assert(flatlink::fw_record_size(FW_LOCAL) == sizeof(fw_local_req));
static_assert(flatlink::fw_record_size(FW_FSA) == sizeof(fw_fsa_req));
static_assert(flatlink::fw_record_size(FW_UDP_TIMER) == FW_TIMER_SIZE);
static_assert(flatlink::fw_record_size(FW_ADD_REDIRECT) == FW_REDIRECT_SIZE);
static_assert(flatlink::fw_record_size(FW_DEL_REDIRECT) == FW_REDIRECT_SIZE);

namespace flatlink
{

// The host's socket address in a record's form, and back.
inline fw_address to_record(const sockaddr_in &address)
{
    return {.family_be = htons(address.sin_family),
            .port_be = address.sin_port,
            .addr_be = address.sin_addr.s_addr,
            .zero = {}};
}

inline sockaddr_in from_record(const fw_address &address)
{
    sockaddr_in result{};
    result.sin_family = ntohs(address.family_be);
    result.sin_port = address.port_be;
    result.sin_addr.s_addr = address.addr_be;
    return result;
}

} // namespace flatlink
