// The VPN device: the message form of its driver, the gateway for requests to it, the routes that
// a new link needs once the driver has taken the link, and the question for a client's identity.
// Nothing is reported.
#pragma once

#include "lib/ulib/address.h"
#include "lib/ulib/bytes.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <type_traits>

inline constexpr std::size_t VPN_MESSAGE_SIZE = 256;
using vpn_message = std::array<std::uint8_t, VPN_MESSAGE_SIZE>;

// Offsets in a message. It is the driver's record, most significant byte first on every host;
// addresses and masks stand in network order anyhow. What is not named belongs to the driver.
inline constexpr std::size_t VPN_LENGTH = 0;  // 2 bytes: VPN_MESSAGE_SIZE
inline constexpr std::size_t VPN_COMMAND = 3; // 1 byte
inline constexpr std::size_t VPN_PAYLOAD = 8; // here begins what a command carries
inline constexpr std::size_t VPN_FLAGS = 10;  // 1 byte: 0 wants no routes
inline constexpr std::size_t VPN_NET1_START = 28;
inline constexpr std::size_t VPN_NET2_START = 32;
inline constexpr std::size_t VPN_GATEWAY = 36;        // the remote one
inline constexpr std::size_t VPN_LOCAL_ADDR = 40;     // this host's towards it; 0 not known yet
inline constexpr std::size_t VPN_NET1_DELIMITER = 44; // mask, or last address of a range
inline constexpr std::size_t VPN_NET2_DELIMITER = 48;
inline constexpr std::size_t VPN_NET1_TYPE = 56; // 1 byte
inline constexpr std::size_t VPN_NET2_TYPE = 57;

inline constexpr std::size_t VPN_CLIENT = 8; // client check: 4 bytes each, on the way in
inline constexpr std::size_t VPN_CLIENT_LOCAL = 12;
inline constexpr std::size_t VPN_IDENTITY = 8; // and two texts on the way out
inline constexpr std::size_t VPN_DISPLAY = 24;

// Bytes of those texts; none is NUL-terminated.
inline constexpr std::size_t VPN_IDENTITY_SIZE = 16;
inline constexpr std::size_t VPN_DISPLAY_SIZE = 232;

// Command byte: is this address a VPN client?
inline constexpr std::uint8_t VPN_CLIENT_CHECK = 'D';

// Values of the command byte that make or change a link, for which routes are managed.
inline constexpr std::uint8_t vpn_link_commands[] = {1, 3};

// Bit of the flags: the protected network is the first one; else it is the second.
inline constexpr std::uint8_t VPN_FIRST_NETWORK = 0x10;
// Type of a network that is a range of addresses.
inline constexpr std::uint8_t VPN_RANGE = 7;

// vvpn_add_routes: the link wants no routes.
inline constexpr int VVPN_NO_ROUTES = 4;

// The process's message to the driver; its user clears it first. Not thread-safe.
extern vpn_message k_msg;

// Replaces the address at `addrio_be` by this host's own address towards it. Returns 0; or -1
// with 0 stored there when no route leads to it or the look-up failed.
int vvpn_get_route(u32 *addrio_be);

namespace flatlink
{

// Finds this host's own addresses towards many others, at a fraction of what as many calls of
// vvpn_get_route cost, where the host has a way.
//   take  gets each address that was answered for, with the host's own address towards it, or 0
//         if no route leads there; for the others vvpn_get_route is to be asked
void find_own_addresses(std::span<const u32> addrs_be,
                        const std::function<void(u32 addr_be, u32 own_be)> &take);

} // namespace flatlink

// Passes a request to the VPN driver. A link command first gets the local address if it has
// none, and its routes once the driver has taken it.
//   fd       the open device; stays the caller's
//   message  the driver's answer takes its place
// Returns the driver's result, -1 with errno for a failed request. A link command gives -1 also
// when no local address was found (the driver is not asked; the field is 0), and when
// vvpn_add_routes gives anything but 0, which a link without routes does too: the driver has
// taken the link then, and routes added before the failure stay.
int vvpn_ioctl(int fd, unsigned long request, vpn_message &message);

// Adds the routes to the protected network of a link, through its remote gateway, or through the
// next hop towards that gateway where it is no neighbour. A network under a mask gets one
// network route; a range gets a host route for each address but that of the next hop, up to
// 2^32 of them. A range whose end lies below its start is empty. A route that exists is kept.
//   payload  a link message from VPN_PAYLOAD on; empty, or too short for its fields, counts as a
//            link that wants no routes
// Returns 0; VVPN_NO_ROUTES; or the RA_ code of the first failure.
[[nodiscard]] int vvpn_add_routes(byte_view payload);

// The same with the address of the payload in a whole message.
template <typename pointer>
requires std::is_pointer_v<pointer>
[[nodiscard]] int vvpn_add_routes(const pointer &payload)
{
    return vvpn_add_routes(byte_view(payload, sizeof(vpn_message) - VPN_PAYLOAD));
}

// Asks the VPN driver whether `client_be` is a VPN client that talks to `local_be`, and which.
//   identity  the client's identity, NUL-terminated
//   display   the name to show, NUL-terminated; begins with '~'
// Returns 1 when the driver knows the client, else 0, also without a device; both texts are left
// alone then. Uses k_msg.
[[nodiscard]] int vfw_vpnclientcheck(u32 client_be, u32 local_be,
                                     std::span<char, VPN_IDENTITY_SIZE + 1> identity,
                                     std::span<char, VPN_DISPLAY_SIZE + 1> display);

// The same with the addresses of texts of that size.
[[nodiscard]] inline int vfw_vpnclientcheck(u32 client_be, u32 local_be, char *identity,
                                            char *display)
{
    return vfw_vpnclientcheck(
        client_be, local_be,
        std::span<char, VPN_IDENTITY_SIZE + 1>(identity, VPN_IDENTITY_SIZE + 1),
        std::span<char, VPN_DISPLAY_SIZE + 1>(display, VPN_DISPLAY_SIZE + 1));
}
