// Routes of this host: which one leads to an address, and adding and deleting them. Everything
// goes over a routing socket that each call opens and closes again (lib/kdev/platform/).
// All addresses and masks are in network order. Nothing is reported.
//
// A routing socket hears all routing messages of the system. Process id and thread id mark a
// request, so threads of one process may look up at the same time.
#pragma once

#include "lib/ulib/address.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

// Results of all functions below, unless one says otherwise.
inline constexpr int RA_DONE = 0;
inline constexpr int RA_FAILED = 1;   // with errno
inline constexpr int RA_NO_ROUTE = 2; // no route leads there, or no such route
inline constexpr int RA_EXISTS = 3;   // the route to add is there already

// Room for the answer to a look-up, in bytes.
inline constexpr std::size_t RA_REPLY_SIZE = 1024;
using ra_reply = std::span<std::uint8_t, RA_REPLY_SIZE>;

// Flags of a route; an added one is usually RA_UP | RA_STATIC and what applies of the others.
inline constexpr std::int32_t RA_UP = 0x1;
inline constexpr std::int32_t RA_GATEWAY = 0x2; // the next hop is another machine
inline constexpr std::int32_t RA_HOST = 0x4;    // to one address; its mask is not looked at
inline constexpr std::int32_t RA_STATIC = 0x800;

// Looks up the route to `addr_be`.
//   buffer  gets the answer, a route_answer (platform/route_message.h); worth nothing unless the
//           result is RA_DONE
// Returns RA_DONE, RA_NO_ROUTE or RA_FAILED; errno is EIO for an answer that is an error, lacks
// the destination, gateway, mask or interface, or ends before them, and when three messages in
// a row were meant for others.
[[nodiscard]] int ra_lookup_route(u32 addr_be, ra_reply buffer);

// Stores the source address that packets to `addr_be` leave with, which is this host's own
// address towards it. `out_be` is left alone unless the result is RA_DONE.
[[nodiscard]] int ra_get_route_address(u32 addr_be, u32 *out_be);

// Stores the name of the interface towards `addr_be`.
//   name  receives the NUL-terminated text; at least 16 bytes. A name above 16 bytes is cut to
//         15; one of 16 is stored whole where `name` has room for it, else cut too.
// `name` is left alone unless the result is RA_DONE.
[[nodiscard]] int ra_get_route_interface(u32 addr_be, std::span<char> name);

// The same with the address of 16 bytes.
template <typename pointer>
requires std::is_pointer_v<pointer>
[[nodiscard]] int ra_get_route_interface(u32 addr_be, const pointer &name)
{
    constexpr std::size_t SHORTEST_ROOM = 16;
    return ra_get_route_interface(addr_be, std::span<char>(name, SHORTEST_ROOM));
}

// Adds a route to `dst_be` under `mask_be`. Returns RA_DONE, RA_EXISTS or RA_FAILED.
[[nodiscard]] int ra_add_route(u32 dst_be, u32 gateway_be, u32 mask_be, std::int32_t flags);

// Removes the route to `dst_be` under `mask_be`. Returns RA_DONE, RA_NO_ROUTE or RA_FAILED.
[[nodiscard]] int ra_remove_route(u32 dst_be, u32 gateway_be, u32 mask_be, std::int32_t flags);

// Removes the route that leads to `addr_be`, if `addr_be` is its exact destination; a wider
// route that merely covers the address stays (RA_NO_ROUTE).
[[nodiscard]] int ra_delete_route(u32 addr_be);
