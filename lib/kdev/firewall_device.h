// Sending, receiving and binding with the true addresses of the firewall device, and the
// requests that are handed through to it. See firewall_names.h for what the device is for.
//
// Each call opens and closes the device itself; nothing is kept and nothing is reported. All
// return 0, or -1 with the errno of the failed call, unless their comment says otherwise. A host
// without the device refuses what would need it with EOPNOTSUPP: every binding of a source
// address, the timer and the redirects. Datagrams are received there under their plain addresses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <span>
#include <sys/socket.h>
#include <sys/types.h>

// Flag of vfw_sendto: the far end is to see another sender. Never reaches the socket.
inline constexpr int VFW_APPARENT_SENDER = 0x02000000;

// Bytes of the records that are handed through to the driver unread; the numbers of its requests
// hold the same sizes.
inline constexpr std::size_t FW_TIMER_SIZE = 8;
inline constexpr std::size_t FW_REDIRECT_SIZE = 12;

// Binds a socket to `addr` and asks that `remote` sees `apparent` as the sender.
//   addr      the address 0 allows the address's reuse; with port 0 it gets the port chosen
//   remote    the far end; what the driver made of it, whose port is to be used from now on
//   apparent  not changed
// Null for any of them: EFAULT, and the socket is untouched. On a later failure the socket may
// be bound already.
[[nodiscard]] int vfw_bind_fsa(int sock, sockaddr_in *addr, sockaddr_in *remote,
                               const sockaddr_in *apparent);

// Receives a datagram with its true ends.
//   from, fromlen  the sender and its length; the room is 16 bytes whatever the length says before
//   to             the destination that the sender asked for; where nothing was redirected, the
//                  address that the socket is bound to
// Returns the bytes received, or -1; the datagram is lost when the failure comes after it. Null
// for an address: EFAULT, and nothing is received.
[[nodiscard]] ssize_t vfw_recvfrom(int sock, void *buffer, std::size_t length, int flags,
                                   sockaddr_in *from, socklen_t *fromlen, sockaddr_in *to);

// Sends a datagram.
//   flags     the socket's, and VFW_APPARENT_SENDER
//   to        with VFW_APPARENT_SENDER its port becomes the one that the driver chose
//   apparent  the sender to be seen; read with VFW_APPARENT_SENDER only
// Returns the bytes sent, or -1, when nothing was sent. Null for an address that is needed for
// VFW_APPARENT_SENDER: EFAULT.
[[nodiscard]] ssize_t vfw_sendto(int sock, const void *buffer, std::size_t length, int flags,
                                 sockaddr_in *to, socklen_t tolen, const sockaddr_in *apparent);

// Hand a record through to the driver, which may change it. The second form of each takes the
// address of a record of that size.
[[nodiscard]] int vfw_set_udp_timer(std::span<std::uint8_t, FW_TIMER_SIZE> record);
[[nodiscard]] int vfw_addredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE> record);
[[nodiscard]] int vfw_delredirect(std::span<std::uint8_t, FW_REDIRECT_SIZE> record);
[[nodiscard]] int vfw_set_udp_timer(void *record);
[[nodiscard]] int vfw_addredirect(void *record);
[[nodiscard]] int vfw_delredirect(void *record);
