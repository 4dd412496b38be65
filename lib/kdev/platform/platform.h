// The narrow table through which this library reaches what not every host has: the firewall
// device, the VPN device and a routing socket. The host's own table uses the device files where
// they stand, and answers by this host's means otherwise; a test puts a scripted table in its
// place.
#pragma once

#include "lib/ulib/bytes.h"

#include <functional>
#include <netinet/in.h>
#include <span>
#include <sys/types.h>

// Takes the source address of packets to a destination, 0 when no route leads there.
using source_taker = std::function<void(in_addr_t dst_be, in_addr_t source_be)>;

// Every call returns -1 with errno on failure. A descriptor goes back only to the calls of its
// own group, and to that group's close exactly once. No argument is kept after the call.
struct platform_calls {
    // The firewall driver (records: firewall_records.h). `access` is O_RDONLY or O_RDWR. `sock`
    // is the connection that a name query is about, for a host that answers without a driver; -1
    // with any other request.
    int (*fw_open)(int access);
    int (*fw_ioctl)(int device, int sock, unsigned long request, byte_area record);
    int (*fw_close)(int device);

    // The VPN driver, opened for reading and writing. ENOENT where the host has none.
    int (*vpn_open)();
    int (*vpn_ioctl)(int device, unsigned long request, byte_area message);
    int (*vpn_close)(int device);

    // A routing socket for Internet addresses (messages: route_message.h). A write is one whole
    // message and fails with the error of the change or look-up that it asks for: ESRCH no such
    // route, EEXIST the route is there already, ENETUNREACH the gateway cannot be reached, EPERM
    // no right to change routes. A read returns one whole message, whichever request caused it.
    int (*route_open)();
    ssize_t (*route_write)(int fd, byte_view message);
    ssize_t (*route_read)(int fd, byte_area message);
    int (*route_close)(int fd);

    // Null where the host has no such means. Finds the source addresses of packets to many
    // destinations at once, without a routing socket.
    void (*route_sources)(std::span<const in_addr_t> dsts_be, const source_taker &take) = nullptr;
};

namespace flatlink
{

// What this host can do.
extern const platform_calls HOST_PLATFORM;

// The table in use; HOST_PLATFORM by default. The table pointed at must outlive
// its use. Set it while no call of this library is running.
extern const platform_calls *platform;

} // namespace flatlink
